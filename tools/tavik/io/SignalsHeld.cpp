#include "io/SignalsHeld.h"

#include <initializer_list>

namespace tavik::tool {

SignalsHeld::SignalsHeld() noexcept {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) sigaddset(&ending, signal);
  pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

SignalsHeld::~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

}  // namespace tavik::tool

#include "io/StopRequest.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <iterator>

#include "ExitStatus.h"

namespace tavik::tool {
namespace {

std::atomic<bool> requested = false;
std::atomic<int> eventFile = -1;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free, "for a signal handler");

void request() noexcept {
  requested = true;
  const std::uint64_t one = 1;
  static_cast<void>(!write(eventFile, &one, sizeof one));  // fails only if the counter is at its maximum
}

void onSignal(int) {
  const int errorBefore = errno;
  request();
  errno = errorBefore;
}

int makeEvent() {
  const int event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) throw Unusable("no event descriptor: " + systemReason());
  return event;
}

}  // namespace

StopRequest::StopRequest() : event_(makeEvent()) {
  requested = false;
  eventFile = event_.number();
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], nullptr, &before_[i]);
    if (before_[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
  }
}

StopRequest::~StopRequest() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &before_[i], nullptr);
  eventFile = -1;
}

void StopRequest::make() noexcept { request(); }

bool StopRequest::made() const noexcept { return requested; }

}  // namespace tavik::tool

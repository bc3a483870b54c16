/// @file
/// Signals that wait while something must not be left half done.
#ifndef TAVIK_TOOL_IO_SIGNALS_HELD_H
#define TAVIK_TOOL_IO_SIGNALS_HELD_H

#include <csignal>

namespace tavik::tool {

/// While it lives, the signals that ask the command to end wait: they end it when what it began is done or undone.
class SignalsHeld {
 public:
  SignalsHeld() noexcept;
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld();

 private:
  sigset_t before_;
};

}  // namespace tavik::tool

#endif

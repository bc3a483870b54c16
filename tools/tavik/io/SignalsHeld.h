/// @file
/// Delays signals during work that must not be interrupted halfway.
#ifndef TAVIK_TOOL_IO_SIGNALS_HELD_H
#define TAVIK_TOOL_IO_SIGNALS_HELD_H

#include <csignal>

namespace tavik::tool {

/// During its lifetime, signals that end the command are held; they are delivered when the work is done or undone.
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

/// @file
/// A request to end a long run early but cleanly, made by a signal (SIGINT, SIGTERM, SIGHUP) or by the run itself.
#ifndef TAVIK_TOOL_IO_STOP_REQUEST_H
#define TAVIK_TOOL_IO_STOP_REQUEST_H

#include <csignal>

#include "io/FileDescriptor.h"

namespace tavik::tool {

/// During its lifetime, the first of the signals is a request, unless the process was started to ignore it; the second
/// one ends the process as usual. Only one at a time. Thread-safe.
class StopRequest {
 public:
  StopRequest();
  StopRequest(const StopRequest&) = delete;
  StopRequest& operator=(const StopRequest&) = delete;
  ~StopRequest();

  void make() noexcept;
  [[nodiscard]] bool made() const noexcept;
  /// For poll(2): becomes readable with the request and remains so.
  [[nodiscard]] int descriptor() const noexcept { return event_.number(); }

 private:
  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};
  FileDescriptor event_;
  struct sigaction before_[3] = {};
};

}  // namespace tavik::tool

#endif

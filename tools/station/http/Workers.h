/// @file
/// Threads that do one kind of work, so that slow queries do not delay checks.
#ifndef TAVIK_STATION_HTTP_WORKERS_H
#define TAVIK_STATION_HTTP_WORKERS_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace tavik::station {

class Workers {
 public:
  /// mostBytes: the limit of the total size of the work that waits or is in progress.
  Workers(std::size_t threads, std::size_t mostBytes);
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  /// Waits until all work is done.
  ~Workers();

  /// size: of the request. False if the work would exceed the limit. Thread-safe.
  bool add(std::size_t size, std::function<void()> work);

 private:
  void run();

  std::size_t mostBytes_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<std::size_t, std::function<void()>>> waiting_;
  std::size_t bytes_ = 0;
  bool ends_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tavik::station

#endif

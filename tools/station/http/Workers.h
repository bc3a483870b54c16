/// @file
/// Threads that do one kind of work, so that slow queries do not delay checks.
#ifndef TAVIK_STATION_HTTP_WORKERS_H
#define TAVIK_STATION_HTTP_WORKERS_H

#include <algorithm>
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
  explicit Workers(std::size_t threads);
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;
  /// Waits until all work is done.
  ~Workers();

  /// The number of threads for work that needs a processor.
  static std::size_t perProcessor() { return std::max<std::size_t>(2, std::thread::hardware_concurrency()); }

  /// size: of the request. False if too much work waits or is in progress. Thread-safe.
  bool add(std::size_t size, std::function<void()> work);

 private:
  static constexpr std::size_t kMostBytes = std::size_t{256} << 20;

  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<std::size_t, std::function<void()>>> waiting_;
  std::size_t bytes_ = 0;
  bool ends_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tavik::station

#endif

#include "http/Workers.h"

namespace tavik::station {

Workers::Workers(std::size_t threads) {
  for (std::size_t i = 0; i < threads; ++i) threads_.emplace_back(&Workers::run, this);
}

Workers::~Workers() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

bool Workers::add(std::size_t size, std::function<void()> work) {
  {
    const std::lock_guard lock(mutex_);
    if (bytes_ != 0 && bytes_ + size > kMostBytes) return false;
    bytes_ += size;
    waiting_.emplace_back(size, std::move(work));
  }
  changed_.notify_one();
  return true;
}

void Workers::run() {
  while (true) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ends_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const auto [size, work] = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    work();
    lock.lock();
    bytes_ -= size;
  }
}

}  // namespace tavik::station

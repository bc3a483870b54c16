#include "io/OrderedOutput.h"

#include <utility>

#include "io/StandardOutput.h"

namespace tavik::tool {

std::string OrderedOutput::emptyLines() {
  const std::lock_guard lock(mutex_);
  if (spare_.empty()) return {};
  std::string lines = std::move(spare_.back());
  spare_.pop_back();
  return lines;
}

void OrderedOutput::put(std::size_t number, Finished piece) {
  std::unique_lock lock(mutex_);
  room_.wait(lock, [&] { return abandoned_ || number <= due_ + window_; });
  pieces_.emplace(number, std::move(piece));
  if (writing_) return;  // the writing thread also writes this piece
  writing_ = true;
  while (!abandoned_ && pieces_.contains(due_)) {
    auto next = pieces_.extract(due_);
    lock.unlock();
    write(next.mapped());
    lock.lock();
    keepMemory(next.mapped().lines);
    ++due_;
    room_.notify_all();
  }
  writing_ = false;
}

void OrderedOutput::abandon() {
  const std::lock_guard lock(mutex_);
  abandoned_ = true;
  room_.notify_all();
}

/// Keeps the memory, because the allocator would return it to the system and get it back, cleared, for each piece.
void OrderedOutput::keepMemory(std::string& lines) {
  constexpr std::size_t kMost = std::size_t{1} << 20;
  if (lines.capacity() > kMost) return;
  lines.clear();
  spare_.push_back(std::move(lines));
}

void OrderedOutput::write(const Finished& piece) {
  progress_.makeWay();
  writeLinesToStandardOutput(piece.lines);
  written_.devices += piece.devices;
  written_.failed += piece.failed;
  written_.position = piece.position;
  progress_.show(written_);
}

}  // namespace tavik::tool

#include "io/LineReader.h"

#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "ExitStatus.h"
#include "io/Bytes.h"

namespace tavik::tool {
namespace {

/// The size of a block: stays in the cache of the processor whose thread reads it and checks its devices.
constexpr std::size_t kBlockSize = std::size_t{1} << 16;
/// Per piece of work: enough to make handover cheap, little enough to bound the size of the results.
constexpr std::size_t kMostLines = 32;
constexpr std::size_t kMostText = kBlockSize;
/// The kept part of a line that is too long, for the "id" at its beginning.
constexpr std::size_t kKeptOfLongLine = 4096;

bool isBlank(std::string_view text) { return text.find_first_not_of(" \t\r") == std::string_view::npos; }

/// The number of bytes left to read.
std::optional<std::uint64_t> sizeOf(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size - std::clamp<off_t>(lseek(file, 0, SEEK_CUR), 0, status.st_size));
}

}  // namespace

LineReader::LineReader(std::string name, FileDescriptor file, const StopRequest& stop, std::size_t longestLine)
    : name_(std::move(name)),
      file_(std::move(file)),
      stop_(stop),
      longestLine_(longestLine),
      size_(sizeOf(file_.number())) {}

std::vector<Line> LineReader::next() {
  std::vector<Line> lines;
  checkStop();
  const std::uint64_t begin = position();
  const auto isFull = [&] { return lines.size() == kMostLines || (!lines.empty() && position() - begin >= kMostText); };
  while (!isFull() && !whyEnded_) {
    if (takeLine(lines)) continue;
    if (atEnd_ || !lines.empty()) break;
    fill();
  }
  return lines;
}

bool LineReader::takeLine(std::vector<Line>& lines) {
  const std::string_view input(block_.get(), end_);
  searched_ = std::min(input.find('\n', searched_), end_);
  const bool ended = searched_ < end_;
  const bool last = !ended && atEnd_ && (start_ < searched_ || longLine_);
  if (!ended && !last) return false;
  addLine(input.substr(start_, searched_ - start_), lines);
  if (ended) ++searched_;
  start_ = searched_;
  return true;
}

void LineReader::addLine(std::string_view text, std::vector<Line>& lines) {
  const std::size_t number = ++linesTaken_;
  if (number == 1 && text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  if (text.ends_with('\r')) text.remove_suffix(1);
  if (!longLine_ && text.size() > longestLine_) longLine_ = text.substr(0, kKeptOfLongLine);
  if (longLine_) {
    addLongLine(lines);
  } else if (!isBlank(text)) {
    lines.push_back({.number = number, .text = text, .memory = block_});
  }
}

void LineReader::addLongLine(std::vector<Line>& lines) {
  const auto kept = std::make_shared<const std::string>(*std::exchange(longLine_, {}));
  lines.push_back({linesTaken_, *kept, fmt::format("is longer than {} MiB", longestLine_ >> 20U), kept});
}

/// Reads the next bytes, at least one unless the stream has ended.
void LineReader::fill() {
  dropLongLine();
  makeRoom();
  awaitInput();
  checkStop();
  if (whyEnded_) return;
  const ssize_t count = read(file_.number(), block_.get() + end_, room_ - end_);
  if (count < 0) {
    if (errno != EINTR && errno != EAGAIN) whyEnded_ = name_ + ": " + systemReason();
    return;
  }
  end_ += static_cast<std::size_t>(count);
  bytesRead_ += static_cast<std::uint64_t>(count);
  atEnd_ = count == 0;
}

/// Drops everything but the beginning of a line that is too long.
void LineReader::dropLongLine() {
  if (!longLine_ && end_ - start_ <= longestLine_) return;
  if (!longLine_) longLine_.emplace(block_.get() + start_, kKeptOfLongLine);
  start_ = end_;
}

/// Continues in a new block if the block is full.
void LineReader::makeRoom() {
  if (end_ < room_) return;
  const std::size_t kept = end_ - start_;
  const std::size_t room = std::max(kBlockSize, 2 * kept);
  auto block = std::make_shared_for_overwrite<char[]>(room);
  std::copy_n(block_.get() + start_, kept, block.get());
  block_ = std::move(block);
  room_ = room;
  start_ = 0;
  searched_ = end_ = kept;
}

/// Returns when input is available or a stop is requested.
void LineReader::awaitInput() const {
  pollfd files[] = {{file_.number(), POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}};
  while (poll(files, std::size(files), -1) < 0 && errno == EINTR) {
  }
}

void LineReader::checkStop() {
  const bool done = atEnd_ && start_ == end_;
  if (stop_.made() && !done) whyEnded_ = "interrupted before the end of the input";
}

void LineReader::checkEnd() const {
  if (whyEnded_) throw Unusable(*whyEnded_);
}

}  // namespace tavik::tool

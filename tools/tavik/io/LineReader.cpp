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

constexpr std::size_t kReadSize = std::size_t{1} << 18;
/// Lines per piece of work: enough to make handover cheap, few enough to bound the size of the results.
constexpr std::size_t kMostLines = 8;
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
      size_(sizeOf(file_.number())),
      piece_(kReadSize) {}

std::vector<Line> LineReader::next() {
  std::vector<Line> lines;
  checkStop();
  while (lines.size() < kMostLines && !whyEnded_) {
    if (takeLine(lines)) continue;
    if (atEnd_ || !lines.empty()) break;
    fill();
  }
  return lines;
}

bool LineReader::takeLine(std::vector<Line>& lines) {
  searched_ = std::min(buffer_.find('\n', searched_), buffer_.size());
  const bool ended = searched_ < buffer_.size();
  const bool last = !ended && atEnd_ && (start_ < searched_ || longLine_);
  if (!ended && !last) return false;
  addLine(std::string_view(buffer_).substr(start_, searched_ - start_), lines);
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
    lines.push_back({number, *std::exchange(longLine_, {}), fmt::format("is longer than {} MiB", longestLine_ >> 20U)});
  } else if (!isBlank(text)) {
    lines.push_back({number, std::string(text)});
  }
}

/// Reads the next bytes, at least one unless the stream has ended.
void LineReader::fill() {
  makeRoom();
  awaitInput();
  checkStop();
  if (whyEnded_) return;
  const ssize_t count = read(file_.number(), piece_.data(), piece_.size());
  if (count < 0) {
    if (errno != EINTR && errno != EAGAIN) whyEnded_ = name_ + ": " + systemReason();
    return;
  }
  buffer_.append(piece_.data(), static_cast<std::size_t>(count));
  bytesRead_ += static_cast<std::uint64_t>(count);
  atEnd_ = count == 0;
}

/// Drops the lines that were taken and, for a line that is too long, everything but its beginning.
void LineReader::makeRoom() {
  buffer_.erase(0, start_);
  if (longLine_ || buffer_.size() > longestLine_) {
    if (!longLine_) longLine_ = buffer_.substr(0, kKeptOfLongLine);
    buffer_.clear();
  }
  start_ = 0;
  searched_ = buffer_.size();
}

/// Returns when input is available or a stop is requested.
void LineReader::awaitInput() const {
  pollfd files[] = {{file_.number(), POLLIN, 0}, {stop_.descriptor(), POLLIN, 0}};
  while (poll(files, std::size(files), -1) < 0 && errno == EINTR) {
  }
}

void LineReader::checkStop() {
  const bool done = atEnd_ && start_ == buffer_.size();
  if (stop_.made() && !done) whyEnded_ = "interrupted before the end of the input";
}

void LineReader::checkEnd() const {
  if (whyEnded_) throw Unusable(*whyEnded_);
}

}  // namespace tavik::tool

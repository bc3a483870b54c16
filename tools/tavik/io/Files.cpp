#include "io/Files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <tavik/PropertyList.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "ExitStatus.h"
#include "io/Json.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::string_view kStandardStream = "-";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string systemReason() { return std::generic_category().message(errno); }

/// Returns when a file that others made non-blocking may go on.
void await(int file, short events) {
  pollfd waiting{file, events, 0};
  poll(&waiting, 1, -1);
}

/// What `work` gives; says that memory ran out over `name`.
template <class Work>
auto inMemory(const std::string& name, Work work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    throw Unusable(name + ": out of memory");
  }
}

/// Refuses what has no end or is no file: only files, pipes, sockets and a terminal on standard input are read.
void checkReadable(const std::string& name, int file, bool isStandardInput) {
  struct stat status {};
  if (fstat(file, &status) != 0) throw Unusable(name + ": " + systemReason());
  if ((fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY) throw Unusable(name + ": is not open for reading");
  if (S_ISDIR(status.st_mode)) throw Unusable(name + ": is a directory");
  const bool readable = S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) ||
                        (isStandardInput && isatty(file) != 0);
  if (!readable) throw Unusable(name + ": is a device, not a file");
}

[[noreturn]] void refuseSize(const std::string& name) { throw Unusable(name + ": is larger than 1 GiB"); }

/// What is there next, at least one byte; 0 at the end.
std::size_t readSome(const std::string& name, int file, std::span<char> room) {
  while (true) {
    const ssize_t count = read(file, room.data(), room.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EAGAIN) {
      await(file, POLLIN);
    } else if (errno != EINTR) {
      throw Unusable(name + ": " + systemReason());
    }
  }
}

std::string readAll(const std::string& name, int file) {
  constexpr std::size_t kSmallestRoom = std::size_t{1} << 16;
  struct stat status {};
  const bool isFile = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  const std::uint64_t expected = isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
  if (expected > kLargestInput) refuseSize(name);
  std::string bytes(std::max<std::size_t>(expected + 1, kSmallestRoom), '\0');  // a file ends with room left over
  std::size_t size = 0;
  while (const std::size_t count = readSome(name, file, std::span(bytes).subspan(size))) {
    size += count;
    if (size > kLargestInput) refuseSize(name);
    if (size == bytes.size()) bytes.resize(std::min(2 * size, kLargestInput + 1));
  }
  bytes.resize(size);
  return bytes;
}

std::string_view withoutByteOrderMark(std::string_view text) {
  return text.substr(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
}

std::string_view withoutWhiteSpace(std::string_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  return text;
}

/// What follows the text in quotes that `text` begins with; empty when it does not end.
std::string_view afterQuotedText(std::string_view text) {
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == '\\') {
      ++i;
    } else if (text[i] == '"') {
      return text.substr(i + 1);
    }
  }
  return {};
}

/// "{" begins a dictionary in old-style text too: there "=" or ";" follows a key in quotes, and a key may lack them.
bool objectIsJson(std::string_view text) {
  const std::string_view inside = withoutWhiteSpace(text.substr(1));
  if (!inside.starts_with('"')) return inside.empty() || inside.starts_with('}');
  const std::string_view next = withoutWhiteSpace(afterQuotedText(inside));
  return !next.starts_with('=') && !next.starts_with(';') && !next.starts_with('/');
}

bool isLiteral(std::string_view text) {
  return std::ranges::any_of(std::initializer_list<std::string_view>{"true", "false", "null"}, [&](auto word) {
    return text.starts_with(word) && withoutWhiteSpace(text.substr(word.size())).empty();
  });
}

Value parseJson(const std::string& name, std::string& text) {
  std::string error;
  std::optional<Value> value = JsonReader().read(text, error);
  if (!value) throw Unusable(name + ": " + error);
  return *std::move(value);
}

Value parse(const std::string& name, std::string& bytes) {
  if (bytes.empty()) throw Unusable(name + ": is empty");
  if (isJson(bytes)) {
    bytes.erase(0, bytes.size() - withoutByteOrderMark(bytes).size());
    return parseJson(name, bytes);
  }
  std::string error;
  std::optional<Value> value = readPropertyList(bytesOf(bytes), error);
  if (!value) throw Unusable(name + ": " + error);
  return *std::move(value);
}

/// Takes off the front of `bytes` what could be written; false with `errno` set when that is not all.
bool writeOff(int file, std::string_view& bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(file, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno == EAGAIN) {
      await(file, POLLOUT);
    } else if (errno != EINTR) {
      return false;
    }
  }
  return true;
}

[[noreturn]] void failStandardOutput(int reason) {
  if (reason == EPIPE) throw ReaderGone();
  throw Unusable("standard output: " + std::generic_category().message(reason));
}

/// Takes the last `count` bytes off the regular file that standard output may be.
void withdrawFromStandardOutput(std::size_t count) {
  struct stat status {};
  const off_t end = lseek(STDOUT_FILENO, 0, SEEK_CUR);
  if (fstat(STDOUT_FILENO, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size != end) return;
  const off_t wanted = end - static_cast<off_t>(count);
  if (ftruncate(STDOUT_FILENO, wanted) == 0) lseek(STDOUT_FILENO, wanted, SEEK_SET);
}

/// The place that `path` leads to, where there need not be a file yet: links stay.
std::string resolved(const std::string& path) {
  constexpr int kMostLinks = 40;  // as for the system
  std::filesystem::path place = path;
  for (int links = 0; links < kMostLinks; ++links) {
    std::error_code notALink;
    const std::filesystem::path target = std::filesystem::read_symlink(place, notALink);
    if (notALink) break;
    place = place.parent_path() / target;
  }
  return place.string();
}

/// Standard output's own file is not to be replaced: it may hold more. A device stands in where there is none.
bool isStandardOutput(const struct stat& file) {
  struct stat output {};
  return !S_ISCHR(file.st_mode) && fstat(STDOUT_FILENO, &output) == 0 && output.st_dev == file.st_dev &&
         output.st_ino == file.st_ino;
}

std::string folderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

void writeInPlace(const std::string& name, const std::string& path, std::string_view bytes) {
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
  if (file.number() < 0 || !writeAll(file.number(), bytes)) throw Unusable(name + ": " + systemReason());
}

}  // namespace

bool writeAll(int file, std::string_view bytes) { return writeOff(file, bytes); }

std::string nameOf(std::string_view argument, const std::string& path) {
  const std::string_view file = path == kStandardStream ? "standard input" : std::string_view(path);
  const bool joined = argument.empty() || argument.ends_with('=');
  return fmt::format("{}{}{}", argument, joined ? "" : " ", file);
}

FileDescriptor::~FileDescriptor() {
  if (number_ > STDERR_FILENO) close(number_);
}

FileDescriptor Inputs::open(std::string_view argument, const std::string& path) {
  const std::string name = nameOf(argument, path);
  const bool isStandardInput = path == kStandardStream;
  if (isStandardInput && std::exchange(standardInputTaken_, true)) {
    throw Unusable(name + ": only one argument can be \"-\"");
  }
  FileDescriptor file(isStandardInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  if (file.number() < 0) throw Unusable(name + ": " + systemReason());
  checkReadable(name, file.number(), isStandardInput);
  return file;
}

std::string Inputs::bytes(std::string_view argument, const std::string& path) {
  const std::string name = nameOf(argument, path);
  const FileDescriptor file = open(argument, path);
  return inMemory(name, [&] { return readAll(name, file.number()); });
}

bool isJson(std::string_view bytes) {
  const std::string_view text = withoutWhiteSpace(withoutByteOrderMark(bytes));
  if (text.empty()) return false;
  switch (text.front()) {
    case '{':
      return objectIsJson(text);
    case '[':
    case '"':
    case '-':
      return true;
    default:
      return (text.front() >= '0' && text.front() <= '9') || isLiteral(text);
  }
}

Value parseValue(const std::string& name, std::string& bytes) {
  return inMemory(name, [&] { return parse(name, bytes); });
}

Value Inputs::value(std::string_view argument, const std::string& path) {
  std::string contents = bytes(argument, path);
  return parseValue(nameOf(argument, path), contents);
}

Dictionary Inputs::dictionary(std::string_view argument, const std::string& path) {
  const Value read = value(argument, path);
  if (read.ifDictionary() == nullptr) throw Unusable(nameOf(argument, path) + ": is not a dictionary");
  return *read.ifDictionary();
}

Value Inputs::inPlace(std::string_view argument, const std::string& textOrFile) {
  if (textOrFile.starts_with('@')) return value(argument, textOrFile.substr(1));
  std::string text = textOrFile;
  return parseJson(std::string(argument), text);
}

SignalsHeld::SignalsHeld() noexcept {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) sigaddset(&ending, signal);
  pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

SignalsHeld::~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

PendingFile::PendingFile(std::string name, const std::string& path, mode_t permissions)
    : name_(std::move(name)), path_(path), pendingPath_(folderOf(path) + "/.tavik-XXXXXX") {
  file_ = mkostemp(pendingPath_.data(), O_CLOEXEC);
  if (file_ < 0) pendingPath_.clear();
  if (file_ < 0 || fchmod(file_, permissions) != 0) {
    const int reason = errno;
    abandon();
    errno = reason;
    fail();
  }
}

PendingFile::~PendingFile() { abandon(); }

void PendingFile::abandon() noexcept {
  if (file_ >= 0) close(file_);
  if (!pendingPath_.empty()) unlink(pendingPath_.c_str());
}

void PendingFile::fail() const {
  throw Unusable(name_ + ": " + (errno == EEXIST ? "is there already and stays as it is" : systemReason()));
}

void PendingFile::write(std::span<const std::uint8_t> bytes) {
  if (!writeAll(file_, textOf(bytes))) fail();
}

void PendingFile::commit(Existing existing) {
  if (fsync(file_) != 0 || close(std::exchange(file_, -1)) != 0) fail();
  const bool placed = existing == Existing::kKeep ? placeAsNew() : rename(pendingPath_.c_str(), path_.c_str()) == 0;
  if (!placed) fail();
  const FileDescriptor folder(open(folderOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  fsync(folder.number());  // some file systems cannot; the file is there all the same
}

/// Network file systems know links but not the renaming that keeps a file; on memory sticks it is the other way round.
bool PendingFile::placeAsNew() const {
  return link(pendingPath_.c_str(), path_.c_str()) == 0 ||
         (errno == EPERM && renameat2(AT_FDCWD, pendingPath_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0);
}

void PendingFile::withdraw() { unlink(path_.c_str()); }

mode_t ordinaryPermissions() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

void writeOutput(std::string_view argument, const std::string& path, std::span<const std::uint8_t> bytes) {
  if (path == kStandardStream) return writeStandardOutput(textOf(bytes));
  const std::string name = nameOf(argument, path);
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (!exists && errno != ENOENT) throw Unusable(name + ": " + systemReason());
  if (exists && S_ISDIR(status.st_mode)) throw Unusable(name + ": is a directory");
  if (exists && isStandardOutput(status)) return writeStandardOutput(textOf(bytes));
  if (exists && !S_ISREG(status.st_mode)) return writeInPlace(name, path, textOf(bytes));
  if (exists && access(path.c_str(), W_OK) != 0) throw Unusable(name + ": " + systemReason());
  PendingFile file(name, resolved(path), exists ? status.st_mode & 07777U : ordinaryPermissions());
  file.write(bytes);
  file.commit(PendingFile::Existing::kReplace);
}

void writeStandardOutput(std::string_view text) {
  if (!writeAll(STDOUT_FILENO, text)) failStandardOutput(errno);
}

void writeLinesToStandardOutput(std::string_view lines) {
  while (!lines.empty()) {
    const std::size_t lastEnd = lines.rfind('\n', PIPE_BUF - 1);
    const std::size_t size = (lastEnd == std::string_view::npos ? lines.find('\n') : lastEnd) + 1;
    std::string_view rest = lines.substr(0, size);
    if (!writeOff(STDOUT_FILENO, rest)) {
      const int reason = errno;
      const std::string_view written = lines.substr(0, size - rest.size());
      withdrawFromStandardOutput(written.size() - (written.rfind('\n') + 1));
      failStandardOutput(reason);
    }
    lines.remove_prefix(size);
  }
}

void BufferedOutput::append(std::string_view text) {
  constexpr std::size_t kPiece = std::size_t{1} << 16;
  pending_ += text;
  if (pending_.size() >= kPiece) flush();
}

void BufferedOutput::flush() {
  writeStandardOutput(pending_);
  pending_.clear();
}

void printToStandardError(std::string_view where, std::string_view message) {
  const std::string_view separator = where.empty() ? "" : ": ";
  writeStandardError(fmt::format("tavik: {}{}{}\n", where, separator, visible(message)));
}

void writeStandardError(std::string_view text) {
  static_cast<void>(writeAll(STDERR_FILENO, text));  // nobody is left to tell
}

}  // namespace tavik::tool

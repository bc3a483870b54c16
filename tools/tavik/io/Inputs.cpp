#include "io/Inputs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <tavik/Platform.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <span>
#include <utility>

#include "ExitStatus.h"
#include "io/ArgumentName.h"
#include "io/Encoding.h"

namespace tavik::tool {
namespace {

/// Rejects endless inputs and devices: only files, pipes, sockets and a terminal on standard input are read.
void checkReadable(const std::string& name, int file, bool isStandardInput, Inputs::Kinds kinds) {
  struct stat status {};
  if (fstat(file, &status) != 0) throw Unusable(name + ": " + systemReason());
  if ((fcntl(file, F_GETFL) & O_ACCMODE) == O_WRONLY) throw Unusable(name + ": is not open for reading");
  if (S_ISDIR(status.st_mode)) throw Unusable(name + ": is a directory");
  if (kinds == Inputs::Kinds::kFiles && !S_ISREG(status.st_mode)) throw Unusable(name + ": is not a file");
  const bool readable = S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) ||
                        (isStandardInput && isatty(file) != 0);
  if (!readable) throw Unusable(name + ": is a device, not a file");
}

[[noreturn]] void refuseSize(const std::string& name, std::size_t largest) {
  throw Unusable(fmt::format("{}: is larger than {} MiB", name, largest >> 20U));
}

/// Reads the next bytes, at least one; 0 at the end.
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

std::string readAll(const std::string& name, int file, std::size_t largest) {
  constexpr std::size_t kSmallestRoom = std::size_t{1} << 16;
  struct stat status {};
  const bool isFile = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
  const std::uint64_t expected = isFile ? static_cast<std::uint64_t>(status.st_size) : 0;
  if (expected > largest) refuseSize(name, largest);
  std::string bytes(std::max<std::size_t>(expected + 1, kSmallestRoom),
                    '\0');  // the spare byte detects the end of the file
  std::size_t size = 0;
  while (const std::size_t count = readSome(name, file, std::span(bytes).subspan(size))) {
    size += count;
    if (size > largest) refuseSize(name, largest);
    if (size == bytes.size()) bytes.resize(std::min(2 * size, largest + 1));
  }
  bytes.resize(size);
  return bytes;
}

}  // namespace

FileDescriptor Inputs::open(std::string_view argument, const std::string& path) {
  const std::string name = nameOf(argument, path);
  const bool isStandardInput = path == kStandardStream && kinds_ == Kinds::kAll;
  if (isStandardInput && std::exchange(standardInputTaken_, true)) {
    throw Unusable(name + ": only one argument can be \"-\"");
  }
  const int waiting = kinds_ == Kinds::kFiles ? O_NONBLOCK : 0;
  FileDescriptor file(isStandardInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | waiting));
  if (file.number() < 0) throw Unusable(name + ": " + systemReason());
  checkReadable(name, file.number(), isStandardInput, kinds_);
  return file;
}

std::string Inputs::bytes(std::string_view argument, const std::string& path, std::size_t largest) {
  const std::string name = nameOf(argument, path);
  const FileDescriptor file = open(argument, path);
  return inMemory(name, [&] { return readAll(name, file.number(), largest); });
}

Value Inputs::value(std::string_view argument, const std::string& path, std::size_t largest) {
  return parseValue(nameOf(argument, path), bytes(argument, path, largest));
}

Dictionary Inputs::ruleDocument(std::string_view argument, const std::string& path) {
  return dictionary(argument, path, kLargestRuleDocument);
}

Dictionary Inputs::dictionary(std::string_view argument, const std::string& path, std::size_t largest) {
  const Value read = value(argument, path, largest);
  if (read.ifDictionary() == nullptr) throw Unusable(nameOf(argument, path) + ": is not a dictionary");
  return *read.ifDictionary();
}

Value Inputs::inPlace(std::string_view argument, const std::string& textOrFile) {
  if (textOrFile.starts_with('@')) return value(argument, textOrFile.substr(1));
  try {
    return parseJson(std::string(argument), textOrFile);
  } catch (const Unusable& refusal) {
    const bool isWord = !textOrFile.empty() && textOrFile.find_first_of("\"'{}[]:,") == std::string::npos;
    throw Unusable(refusal.what() + (isWord ? "; write a string as '\"" + textOrFile + "\"'" : std::string()));
  }
}

}  // namespace tavik::tool

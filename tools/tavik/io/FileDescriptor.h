/// @file
/// Open files, and writing to them until all is written.
#ifndef TAVIK_TOOL_IO_FILE_DESCRIPTOR_H
#define TAVIK_TOOL_IO_FILE_DESCRIPTOR_H

#include <string>
#include <string_view>
#include <utility>

namespace tavik::tool {

/// An open file, closed at the end; a standard stream stays open.
class FileDescriptor {
 public:
  explicit FileDescriptor(int number) noexcept : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor();
  [[nodiscard]] int number() const noexcept { return number_; }

 private:
  int number_;
};

/// Why the last call to the system failed, in the words of `errno`.
std::string systemReason();

/// Waits, for poll(2)'s events, until a file that others made non-blocking is ready.
void await(int file, short events);

/// Takes what could be written off the front of `bytes`; false with `errno` set when that is not all.
bool writeOff(int file, std::string_view& bytes);

/// Writes all of it, waiting where the file is not ready; false with `errno` set when that fails.
bool writeAll(int file, std::string_view bytes);

}  // namespace tavik::tool

#endif

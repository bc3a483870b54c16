/// @file
/// Open files, and complete writes.
#ifndef TAVIK_TOOL_IO_FILE_DESCRIPTOR_H
#define TAVIK_TOOL_IO_FILE_DESCRIPTOR_H

#include <string>
#include <string_view>
#include <utility>

namespace tavik::tool {

/// An open file, closed on destruction; standard streams remain open.
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

/// The reason for the last failed system call, from `errno`.
std::string systemReason();

/// Waits for poll(2) events on a file that another process made non-blocking.
void await(int file, short events);

/// Removes the written part from the front of `bytes`; false with `errno` set if bytes remain.
bool writeOff(int file, std::string_view& bytes);

/// Writes everything, waiting if necessary; false with `errno` set on failure.
bool writeAll(int file, std::string_view bytes);

}  // namespace tavik::tool

#endif

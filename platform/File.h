/// @file
/// Small files of a station: keys, trust policies, trust states.
#ifndef TAVIK_PLATFORM_FILE_H
#define TAVIK_PLATFORM_FILE_H

#include <openssl/crypto.h>
#include <unistd.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

class FileDescriptor {
 public:
  explicit FileDescriptor(int number) noexcept : number_(number) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (number_ >= 0) close(number_);
  }
  [[nodiscard]] int number() const noexcept { return number_; }

 private:
  int number_;
};

/// Bytes that are wiped when no longer needed, because they may contain a private key.
class WipedBytes {
 public:
  explicit WipedBytes(std::size_t size) : bytes_(size) {}
  explicit WipedBytes(std::span<const unsigned char> bytes) : bytes_(bytes.begin(), bytes.end()) {}
  WipedBytes(WipedBytes&&) noexcept = default;
  WipedBytes& operator=(WipedBytes&&) = delete;
  ~WipedBytes() { OPENSSL_cleanse(bytes_.data(), bytes_.size()); }

  [[nodiscard]] std::span<unsigned char> span() noexcept { return bytes_; }
  [[nodiscard]] std::span<const unsigned char> span() const noexcept { return bytes_; }
  [[nodiscard]] std::string_view text() const noexcept {
    return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()};
  }

 private:
  std::vector<unsigned char> bytes_;
};

/// The reason for the last failed system call, from `errno`.
std::string systemReason();

/// The contents of an open regular file of 1 byte to 1 MiB. what: what the file should be, for messages.
std::optional<WipedBytes> readOpenFile(int file, std::string_view what, std::string& error);
/// The same for a file at a path.
std::optional<WipedBytes> readSmallFile(const std::string& path, std::string_view what, std::string& error);

}  // namespace tavik

#endif

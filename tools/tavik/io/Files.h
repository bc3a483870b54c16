/// @file
/// The files of a command line: what is read is bounded and told apart by content, what is written appears whole under
/// its name or not at all. Every function here raises `Unusable` with the argument, the place and the reason.
#ifndef TAVIK_TOOL_IO_FILES_H
#define TAVIK_TOOL_IO_FILES_H

#include <sys/types.h>
#include <tavik/Value.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tavik::tool {

/// No input may be larger.
inline constexpr std::size_t kLargestInput = std::size_t{1} << 30;

/// The bytes of a text.
inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
inline std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

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

/// Writes all of it, waiting where the file is not ready; false with `errno` set when that fails.
bool writeAll(int file, std::string_view bytes);

/// What a command reads. A path is that of a regular file or of a pipe; "-" is standard input, which can be read once.
/// `argument` names the option in messages and is empty for an argument without a name.
class Inputs {
 public:
  /// The file, to be read piece by piece however long it is.
  FileDescriptor open(std::string_view argument, const std::string& path);
  /// The contents as they are.
  std::string bytes(std::string_view argument, const std::string& path);
  /// A value: a property list in any encoding, or JSON.
  Value value(std::string_view argument, const std::string& path);
  /// The same, which must be a dictionary.
  Dictionary dictionary(std::string_view argument, const std::string& path);
  /// JSON text in place, or "@FILE".
  Value inPlace(std::string_view argument, const std::string& textOrFile);

 private:
  bool standardInputTaken_ = false;
};

/// "--rules local.plist" or "--source sfc=sfc.plist", as messages name an argument with its file.
std::string nameOf(std::string_view argument, const std::string& path);

/// Whether bytes are JSON, as far as their beginning tells it from the property-list encodings.
bool isJson(std::string_view bytes);

/// Reads a value from bytes that were read already; `name` is what messages begin with.
Value parseValue(const std::string& name, std::string& bytes);

/// While it lives, the signals that ask the command to end wait: they end it when what it began is done or undone.
class SignalsHeld {
 public:
  SignalsHeld() noexcept;
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld();

 private:
  sigset_t before_;
};

/// A file that is written under a name of its own, beside the place where it shall be, and takes that place when it is
/// whole.
class PendingFile {
 public:
  /// What becomes of a file that is there already.
  enum class Existing : std::uint8_t { kReplace, kKeep };

  /// `name`: what messages begin with.
  PendingFile(std::string name, const std::string& path, mode_t permissions);
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile();

  void write(std::span<const std::uint8_t> bytes);
  /// Puts the file in its place, on disk when this returns. With `kKeep`, refuses where there is a file already.
  void commit(Existing existing);
  /// Takes the file out of its place again.
  void withdraw();

 private:
  [[noreturn]] void fail() const;
  void abandon() noexcept;
  [[nodiscard]] bool placeAsNew() const;

  SignalsHeld signals_;  // first, so that the file is out of the way when they come
  std::string name_;
  std::string path_;
  std::string pendingPath_;  // empty when there is none
  int file_ = -1;
};

/// Permissions of a file that anybody may read, as far as the user's mask allows.
mode_t ordinaryPermissions();

/// Writes an output: a regular file is replaced whole, a pipe or device is written to. "-" and any name of the file
/// that standard output goes to are standard output.
void writeOutput(std::string_view argument, const std::string& path, std::span<const std::uint8_t> bytes);

/// Writes to standard output. Raises `ReaderGone` when nobody reads it.
void writeStandardOutput(std::string_view text);

/// The same for whole lines: a file that has no room for all of them ends with a whole one, and pipes are given lines
/// of up to 4096 bytes whole.
void writeLinesToStandardOutput(std::string_view lines);

/// Collects what goes to standard output and writes it in large pieces, for answers far larger than their input.
class BufferedOutput {
 public:
  void append(std::string_view text);
  void flush();

 private:
  std::string pending_;
};

/// One line on standard error, "tavik: WHERE: MESSAGE", whatever the message holds.
void printToStandardError(std::string_view where, std::string_view message);

/// The text as it is, as far as it can be written.
void writeStandardError(std::string_view text);

}  // namespace tavik::tool

#endif

// Property lists: detection of the encoding, and files.

#include <tavik/PropertyList.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "values/property_lists/Encodings.h"

namespace tavik {
namespace {

bool isLetter(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isHexLetter(char character) noexcept {
  return (character >= 'a' && character <= 'f') || (character >= 'A' && character <= 'F');
}

// Old-style text may begin with "<" too, for data. Hexadecimal digits cannot be mistaken for an element's name: all
// element names in property lists have a letter beyond F.
bool looksLikeXml(std::string_view document) noexcept {
  const std::size_t start = document.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos || document[start] != '<') return false;
  const std::string_view rest = document.substr(start + 1);
  if (rest.starts_with('?') || rest.starts_with('!') || rest.starts_with('/')) return true;
  const auto pastHexLetters = std::find_if_not(rest.begin(), rest.end(), isHexLetter);
  return pastHexLetters != rest.end() && isLetter(*pastHexLetters);
}

Value readText(std::string_view document, std::vector<ValueOffset>* offsets) {
  if (document.starts_with("\xFE\xFF") || document.starts_with("\xFF\xFE")) {
    throw Refusal{0, "the document is UTF-16 text; only UTF-8 is supported"};
  }
  return looksLikeXml(document) ? readXmlPropertyList(document, offsets) : readTextPropertyList(document, offsets);
}

std::optional<Value> readBinary(std::span<const std::uint8_t> document, std::string& error) {
  try {
    return readBinaryPropertyList(document);
  } catch (const Refusal& refusal) {
    const auto byte = [](std::size_t offset) { return "byte " + std::to_string(offset); };
    error = byte(refusal.offset) + ": " + refusal.what;
    if (refusal.other) error += " " + byte(*refusal.other);
    return std::nullopt;
  }
}

// `locations` may be null.
std::optional<Value> read(std::span<const std::uint8_t> bytes, std::string& error, ValueLocations* locations) {
  constexpr std::string_view kBinaryMagic = "bplist";
  const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (whole.starts_with(kBinaryMagic)) return readBinary(bytes, error);
  const std::string_view document = withoutByteOrderMark(whole);
  const LocationFinder finder(document, LocationFinder::LoneReturn::kEndsLine);
  std::vector<ValueOffset> offsets;
  try {
    Value value = readText(document, locations != nullptr ? &offsets : nullptr);
    if (locations != nullptr) *locations = locationsOf(offsets, finder);
    return value;
  } catch (const Refusal& refusal) {
    error = message(refusal, finder);
    return std::nullopt;
  }
}

// A file descriptor that closes itself.
class File {
 public:
  // Non-blocking, so that a pipe without a writer does not block the caller.
  explicit File(const std::string& path) noexcept
      : descriptor_(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {}
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  ~File() {
    if (isOpen()) ::close(descriptor_);
  }
  [[nodiscard]] bool isOpen() const noexcept { return descriptor_ >= 0; }
  [[nodiscard]] int descriptor() const noexcept { return descriptor_; }

 private:
  int descriptor_;
};

std::string systemReason() { return std::generic_category().message(errno); }

// Reads a file into `bytes`. Returns the reason for a failure, or empty text.
std::string readFile(const std::string& path, std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t kLargest = std::size_t{1} << 30;
  constexpr std::string_view kTooLarge = "the file is larger than 1 GiB";
  if (path.find('\0') != std::string::npos) return "the path contains a NUL character";
  const File file(path);
  struct stat status = {};
  if (!file.isOpen() || ::fstat(file.descriptor(), &status) != 0) return "the file cannot be opened: " + systemReason();
  if (S_ISDIR(status.st_mode)) return "this is a directory, not a file";
  if (!S_ISREG(status.st_mode)) return "this is a device, pipe or socket, not a regular file";
  if (static_cast<std::uintmax_t>(status.st_size) > kLargest) return std::string(kTooLarge);

  bytes.resize(static_cast<std::size_t>(status.st_size) + 1);  // one more, so that the end is found without growing
  std::size_t used = 0;
  while (true) {
    const ssize_t count = ::read(file.descriptor(), bytes.data() + used, bytes.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return "the file cannot be read: " + systemReason();
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used > kLargest) return std::string(kTooLarge);
    if (used == bytes.size()) bytes.resize(2 * used);  // the file has grown
  }
  bytes.resize(used);
  return {};
}

}  // namespace

std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error) {
  return read(bytes, error, nullptr);
}

std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error,
                                      ValueLocations& locations) {
  locations.clear();
  return read(bytes, error, &locations);
}

std::optional<Value> readPropertyListFile(const std::string& path, std::string& error) {
  std::vector<std::uint8_t> bytes;
  if (std::string why = readFile(path, bytes); !why.empty()) {
    error = std::move(why);
    return std::nullopt;
  }
  return readPropertyList(bytes, error);
}

std::optional<Data> writePropertyList(const Value& value, PropertyListFormat format, std::string& error) {
  try {
    return format == PropertyListFormat::kXml ? writeXmlPropertyList(value) : writeBinaryPropertyList(value);
  } catch (const Unwritable&) {
    error = whyUnwritable(value);
    return std::nullopt;
  }
}

}  // namespace tavik

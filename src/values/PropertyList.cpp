// Property lists: telling the encodings apart, files, places in messages, and what the readers and writers share.

#include <tavik/PropertyList.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "values/DateText.h"
#include "values/PropertyListEncodings.h"
#include "values/Text.h"
#include "values/ValueAccess.h"

namespace tavik {

using detail::Entry;
using detail::FixedArray;
using detail::FixedDictionary;

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBinaryMagic = "bplist";
constexpr std::string_view kTooDeep = "arrays and dictionaries stand in each other more than 512 deep";
static_assert(kPropertyListDepthLimit == 512);

bool isLetter(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isHexLetter(char character) noexcept {
  return (character >= 'a' && character <= 'f') || (character >= 'A' && character <= 'F');
}

// Old-style text may begin with "<" too: data, whose hexadecimal digits make up no element's name. Every element of
// property lists has a letter beyond F in its name.
bool looksLikeXml(std::string_view document) noexcept {
  const std::size_t start = document.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos || document[start] != '<') return false;
  const std::string_view rest = document.substr(start + 1);
  if (rest.starts_with('?') || rest.starts_with('!') || rest.starts_with('/')) return true;
  const auto pastHexLetters = std::find_if_not(rest.begin(), rest.end(), isHexLetter);
  return pastHexLetters != rest.end() && isLetter(*pastHexLetters);
}

// Both ends of a line are known, LF and CR LF, and the CR of old.
std::string placeInText(std::string_view document, std::size_t offset) {
  std::size_t line = 1;
  std::size_t column = 1;
  for (std::size_t index = 0; index < offset; ++index) {
    const char character = document[index];
    if (character == '\n' || (character == '\r' && !document.substr(index + 1).starts_with('\n'))) {
      ++line;
      column = 1;
    } else if ((static_cast<unsigned char>(character) & 0xC0) != 0x80) {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

template <class Place>
std::string message(const Refusal& refusal, Place place) {
  std::string text = place(refusal.offset) + ": " + refusal.what;
  if (refusal.other) text.append(" ").append(place(*refusal.other));
  return text;
}

Value readText(std::string_view document) {
  if (document.starts_with("\xFE\xFF") || document.starts_with("\xFF\xFE")) {
    throw Refusal{0, "the document is UTF-16 text; only UTF-8 is read"};
  }
  return looksLikeXml(document) ? readXmlPropertyList(document) : readTextPropertyList(document);
}

// A file descriptor that closes itself.
class File {
 public:
  // Non-blocking, lest a pipe without a writer holds up the caller.
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

// What keeps the file at `path` from being read; empty when nothing does, with its contents in `bytes`.
std::string readFile(const std::string& path, std::vector<std::uint8_t>& bytes) {
  constexpr std::size_t kLargest = std::size_t{1} << 30;
  constexpr std::string_view kTooLarge = "the file is larger than 1 GiB";
  if (path.find('\0') != std::string::npos) return "the path has a NUL character in it";
  const File file(path);
  struct stat status = {};
  if (!file.isOpen() || ::fstat(file.descriptor(), &status) != 0) return "the file cannot be opened: " + systemReason();
  if (S_ISDIR(status.st_mode)) return "this is a directory, not a file";
  if (!S_ISREG(status.st_mode)) return "this is a device, pipe or socket, not a regular file";
  if (static_cast<std::uintmax_t>(status.st_size) > kLargest) return std::string(kTooLarge);

  bytes.resize(static_cast<std::size_t>(status.st_size) + 1);  // one more, so that the end shows without growing
  std::size_t used = 0;
  while (true) {
    const ssize_t count = ::read(file.descriptor(), bytes.data() + used, bytes.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return "the file cannot be read: " + systemReason();
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
    if (used > kLargest) return std::string(kTooLarge);
    if (used == bytes.size()) bytes.resize(2 * used);  // the file has grown meanwhile
  }
  bytes.resize(used);
  return {};
}

// Where a value stands in an array, or in a dictionary.
struct Step {
  std::size_t index;
  const Value* key;  // null in an array
};

// The first value in `value` that has no form in property lists, null when there is none; `way` leads to it, backwards.
const Value* findUnwritable(const Value& value, int depth, std::vector<Step>& way) {
  const Array* array = value.ifArray();
  const Dictionary* dictionary = value.ifDictionary();
  if (array == nullptr && dictionary == nullptr) {
    const std::optional<Date> date = value.ifDate();
    return date && !isInCalendar(*date) ? &value : nullptr;
  }
  if (depth == kPropertyListDepthLimit) return &value;
  std::size_t index = 0;
  const auto findIn = [&](const Value& element, const Value* key) {
    const Value* found = findUnwritable(element, depth + 1, way);
    if (found != nullptr) way.push_back({index, key});
    ++index;
    return found;
  };
  if (array != nullptr) {
    for (const Value& element : *array) {
      if (const Value* found = findIn(element, nullptr)) return found;
    }
    return nullptr;
  }
  for (auto entry = dictionary->begin(); entry != dictionary->end(); ++entry) {
    if (const Value* found = findIn(entry.value(), &entry.key())) return found;
  }
  return nullptr;
}

// What keeps `value` from being written, and where in it: `"Rules": element 3: the date ...`.
std::string whyNotWritable(const Value& value) {
  constexpr std::size_t kNamedSteps = 8;  // the way to a fault further inside is not told to its end
  std::vector<Step> way;
  const std::optional<Date> date = findUnwritable(value, 0, way)->ifDate();
  std::string text;
  for (std::size_t step = 0; step < std::min(way.size(), kNamedSteps); ++step) {
    const auto [index, key] = way[way.size() - 1 - step];
    text += (key == nullptr ? "element " + std::to_string(index) : quoted(key->ifString().value())) + ": ";
  }
  return text +
         (date ? "the date " + descriptionOfDate(*date) + " lies outside the years 1 to 9999" : std::string(kTooDeep));
}

}  // namespace

std::optional<Value> readPropertyList(std::span<const std::uint8_t> bytes, std::string& error) {
  std::string_view document(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (document.starts_with(kBinaryMagic)) {
    try {
      return readBinaryPropertyList(bytes);
    } catch (const Refusal& refusal) {
      error = message(refusal, [](std::size_t offset) { return "byte " + std::to_string(offset); });
      return std::nullopt;
    }
  }
  if (document.starts_with(kByteOrderMark)) document.remove_prefix(kByteOrderMark.size());
  try {
    return readText(document);
  } catch (const Refusal& refusal) {
    error = message(refusal, [=](std::size_t offset) { return placeInText(document, offset); });
    return std::nullopt;
  }
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
    error = whyNotWritable(value);
    return std::nullopt;
  }
}

void requireUtf8(std::string_view document) {
  const std::size_t valid = validUtf8Prefix(document);
  if (valid != document.size()) throw Refusal{valid, "this is not UTF-8 text"};
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  std::string result = "\"";
  const std::string wellFormed = replacingIllFormedUtf8(text.substr(0, 4 * (kLongest + 1)));
  std::string_view rest = wellFormed;
  for (std::size_t count = 0; !rest.empty() && count < kLongest; ++count) {
    const char32_t character = takeCharacter(rest);
    const bool isControl = character < 0x20 || (character >= 0x7F && character < 0xA0);
    appendUtf8(result, isControl ? U'?' : character);
  }
  return result += rest.empty() ? "\"" : "...\"";
}

void requireDepth(int depth, std::size_t offset) {
  if (depth > kPropertyListDepthLimit) throw Refusal{offset, std::string(kTooDeep)};
}

void refuseRepeatedKey(std::string_view key, std::size_t second, std::size_t first) {
  throw Refusal{second, "the key " + quoted(key) + " is given twice, first at", first};
}

Array OpenContainers::closeArray(std::size_t begin) {
  const std::span<Value> elements = std::span(elements_).subspan(begin);
  if (elements.empty()) return {};
  FixedArray array(elements.size());
  for (Value& element : elements) array.add(std::move(element));
  elements_.resize(begin);
  return std::move(array).take();
}

Dictionary OpenContainers::closeDictionary(std::size_t begin) {
  const std::span<Entry> entries = std::span(entries_).subspan(begin);
  if (entries.empty()) return {};
  FixedDictionary dictionary(entries.size());
  for (auto& [key, value] : entries) dictionary.add(std::move(key), std::move(value));
  if (const auto repeated = dictionary.makeIndex()) {
    refuseRepeatedKey(repeated->key, keyOffsets_[begin + repeated->second], keyOffsets_[begin + repeated->first]);
  }
  entries_.resize(begin);
  keyOffsets_.resize(begin);
  return std::move(dictionary).take();
}

}  // namespace tavik

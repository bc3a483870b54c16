/// @file
/// The readers and writers behind PropertyList.h and Json.h, and their common parts.
///
/// Readers throw a `Refusal` at the first error; the public function catches it and makes the message. Writers throw
/// `Unwritable` at the first value that could not be read back; the public function then finds its path.
#ifndef TAVIK_VALUES_PROPERTY_LISTS_ENCODINGS_H
#define TAVIK_VALUES_PROPERTY_LISTS_ENCODINGS_H

#include <tavik/PropertyList.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "values/SharedContents.h"
#include "values/property_lists/LocationFinder.h"

namespace tavik {

/// Why a document is rejected, and where.
struct Refusal {
  std::size_t offset = 0;  ///< in bytes from the start of the document
  std::string what;
  std::optional<std::size_t> other = std::nullopt;  ///< a second offset; the message ends with its location
};

/// The message for a text document: "line 3, column 9 (path): what [line 1, column 2]".
std::string message(const Refusal& refusal, const LocationFinder& finder, std::string_view path = {});

/// A value could not be read back.
struct Unwritable {};

/// The path and the reason for a value that cannot be written: "RuleSets.Base[2]: the date ...".
std::string whyUnwritable(const Value& value);

/// A step from a container to a value inside it.
struct PathStep {
  std::optional<std::string_view> key;  ///< absent: an element of an array
  std::size_t index = 0;
};

/// The path as text, "RuleSets.Base[2]"; only the end of a long path.
std::string pathText(std::span<const PathStep> path);

/// Removes a UTF-8 byte order mark.
std::string_view withoutByteOrderMark(std::string_view document) noexcept;

/// Read documents without their byte order mark, which need not be valid UTF-8. If `offsets` is not null, the offsets
/// of all values are appended to it.
Value readXmlPropertyList(std::string_view document, std::vector<ValueOffset>* offsets);
Value readTextPropertyList(std::string_view document, std::vector<ValueOffset>* offsets);
Value readBinaryPropertyList(std::span<const std::uint8_t> document);

Data writeXmlPropertyList(const Value& value);
Data writeBinaryPropertyList(const Value& value);

/// Rejects text that is not UTF-8. offset: the offset of the text in the document.
void requireUtf8(std::string_view text, std::size_t offset = 0);

inline bool isAscii(std::string_view text) noexcept {
  std::uint64_t word = 0;
  std::uint64_t all = 0;
  for (; text.size() > sizeof word; text.remove_prefix(sizeof word)) {
    std::memcpy(&word, text.data(), sizeof word);
    all |= word;
  }
  word = 0;
  std::copy_n(text.data(), text.size(), reinterpret_cast<char*>(&word));
  return ((all | word) & 0x8080808080808080) == 0;
}

/// `text` in quotes for a message of one line: long text is truncated, control characters are replaced.
std::string quoted(std::string_view text);

/// Rejects an array or dictionary at `offset` if its nesting depth, from 1, exceeds the limit.
void requireDepth(int depth, std::size_t offset);
/// The same for writers.
inline void requireDepth(int depth) {
  if (depth > kPropertyListDepthLimit) throw Unwritable{};
}

/// Rejects a dictionary with two entries of the same key.
[[noreturn]] void refuseRepeatedKey(std::string_view key, std::size_t second, std::size_t first);

/// The message for an integer outside signed 64 bits.
std::string outOfIntegerRange(std::string_view number);

/// The elements and entries that a reader has collected for open arrays and dictionaries. A container is created when
/// it is closed, with its exact size.
class OpenContainers {
 public:
  OpenContainers() {
    elements_.reserve(kUsualElements);
    entries_.reserve(kUsualEntries);
    keyOffsets_.reserve(kUsualEntries);
  }

  /// Opens an array. Pass the result to `closeArray`. Containers are closed in the reverse order of opening.
  [[nodiscard]] std::size_t openArray() const noexcept { return elements_.size(); }
  void addElement(Value&& element) { elements_.push_back(std::move(element)); }
  Array closeArray(std::size_t begin, detail::SlabCutter* slabs = nullptr);

  /// The same for a dictionary, whose keys are strings. keyOffset: the offset of a key in the document.
  [[nodiscard]] std::size_t openDictionary() const noexcept { return entries_.size(); }
  void addEntry(detail::Entry&& entry, std::size_t keyOffset) {
    entries_.push_back(std::move(entry));
    keyOffsets_.push_back(keyOffset);
  }
  /// The entry of a dictionary that has exactly one, otherwise null.
  [[nodiscard]] const detail::Entry* onlyEntry(std::size_t begin) const noexcept {
    return entries_.size() == begin + 1 ? &entries_.back() : nullptr;
  }
  /// Rejects duplicate keys.
  Dictionary closeDictionary(std::size_t begin, detail::SlabCutter* slabs = nullptr);
  void dropDictionary(std::size_t begin) {
    entries_.resize(begin);
    keyOffsets_.resize(begin);
  }

 private:
  static constexpr std::size_t kUsualElements = 16;
  static constexpr std::size_t kUsualEntries = 48;

  std::vector<Value> elements_;
  std::vector<detail::Entry> entries_;
  std::vector<std::size_t> keyOffsets_;
};

/// Binary documents may refer to one object many times. The weight of an object approximates the memory that it would
/// need with all its contents if nothing were shared. Each object weighs this much plus its bytes in the document.
inline constexpr std::uint64_t kObjectWeight = sizeof(Value);

/// The maximum weight of an object in a document of this size. Readers reject heavier objects; writers avoid them.
constexpr std::uint64_t heaviestObject(std::uint64_t documentSize) noexcept { return 100 * documentSize + (1 << 20); }

}  // namespace tavik

#endif

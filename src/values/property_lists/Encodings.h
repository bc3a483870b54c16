/// @file
/// The encodings behind PropertyList.h and Json.h: readers, writers and what they share.
///
/// Readers throw a `Refusal` at the first error; the public function catches it and makes the message. Writers throw
/// `Unwritable` at the first value that cannot be read back; the public function then looks for it and says where it
/// is.
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

/// Why a document is refused, and where.
struct Refusal {
  std::size_t offset = 0;  ///< in bytes from the start of the document
  std::string what;
  std::optional<std::size_t> other = std::nullopt;  ///< a second place, which the message names behind `what`
};

/// The message about a text document: "line 3, column 9 (path): what [line 1, column 2]".
std::string message(const Refusal& refusal, const LocationFinder& finder, std::string_view path = {});

/// A value could not be read back.
struct Unwritable {};

/// What keeps `value` from being written, and where it is in it: "RuleSets.Base[2]: the date ...".
std::string whyUnwritable(const Value& value);

/// From a container to a value inside it.
struct PathStep {
  std::optional<std::string_view> key;  ///< absent: an element of an array
  std::size_t index = 0;
};

/// "RuleSets.Base[2]"; of a long path only its end.
std::string pathText(std::span<const PathStep> path);

/// Removes a UTF-8 byte order mark.
std::string_view withoutByteOrderMark(std::string_view document) noexcept;

/// Documents without their byte order mark, not known to be UTF-8. If `offsets` is not null, those of all values are
/// appended.
Value readXmlPropertyList(std::string_view document, std::vector<ValueOffset>* offsets);
Value readTextPropertyList(std::string_view document, std::vector<ValueOffset>* offsets);
Value readBinaryPropertyList(std::span<const std::uint8_t> document);

Data writeXmlPropertyList(const Value& value);
Data writeBinaryPropertyList(const Value& value);

/// Refuses what is not UTF-8. `offset`: of the text in the document.
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

/// `text` in quotes and fit for a message of one line: cut where it is long, control characters replaced.
std::string quoted(std::string_view text);

/// Refuses an array or dictionary at `offset` that would be the `depth`th of those that stand in each other.
void requireDepth(int depth, std::size_t offset);
/// The same when it is written.
inline void requireDepth(int depth) {
  if (depth > kPropertyListDepthLimit) throw Unwritable{};
}

/// A key that is given twice in a dictionary.
[[noreturn]] void refuseRepeatedKey(std::string_view key, std::size_t second, std::size_t first);

/// Why an integer outside signed 64 bits is refused.
std::string outOfIntegerRange(std::string_view number);

/// What readers have gathered for the arrays and dictionaries that are still open. A container is made when it closes,
/// in one go and of its exact size.
class OpenContainers {
 public:
  /// Where an array begins: to be given back when it closes. What was opened later closes earlier.
  [[nodiscard]] std::size_t openArray() const noexcept { return elements_.size(); }
  void addElement(Value&& element) { elements_.push_back(std::move(element)); }
  Array closeArray(std::size_t begin, detail::SlabCutter* slabs = nullptr);

  /// The same for a dictionary, whose keys are strings; `keyOffset` is a key's place in the document.
  [[nodiscard]] std::size_t openDictionary() const noexcept { return entries_.size(); }
  void addEntry(detail::Entry&& entry, std::size_t keyOffset) {
    entries_.push_back(std::move(entry));
    keyOffsets_.push_back(keyOffset);
  }
  /// The entry of a dictionary that has only one, else null.
  [[nodiscard]] const detail::Entry* onlyEntry(std::size_t begin) const noexcept {
    return entries_.size() == begin + 1 ? &entries_.back() : nullptr;
  }
  /// Refuses a key that is given twice.
  Dictionary closeDictionary(std::size_t begin, detail::SlabCutter* slabs = nullptr);
  void dropDictionary(std::size_t begin) {
    entries_.resize(begin);
    keyOffsets_.resize(begin);
  }

 private:
  std::vector<Value> elements_;
  std::vector<detail::Entry> entries_;
  std::vector<std::size_t> keyOffsets_;
};

/// Binary documents may refer to one object many times over. An object's weight is about what it and all it holds would
/// take in memory if every reference were an object of its own: this much, and its own bytes in the document.
inline constexpr std::uint64_t kObjectWeight = sizeof(Value);

/// The most that anything in a document of so many bytes may weigh. Readers refuse what is heavier, writers avoid it.
constexpr std::uint64_t heaviestObject(std::uint64_t documentSize) noexcept { return 100 * documentSize + (1 << 20); }

}  // namespace tavik

#endif

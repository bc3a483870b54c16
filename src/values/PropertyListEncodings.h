/// @file
/// The encodings behind PropertyList.h: three readers, two writers, and what they share.
///
/// Readers throw a `Refusal` at the first thing that is wrong; PropertyList.cpp catches it and turns it into the
/// message. Writers throw `Unwritable` at the first value that has no form in property lists; PropertyList.cpp then
/// looks for it and tells where it is.
#ifndef TAVIK_VALUES_PROPERTY_LIST_ENCODINGS_H
#define TAVIK_VALUES_PROPERTY_LIST_ENCODINGS_H

#include <tavik/PropertyList.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "values/CopyBytes.h"
#include "values/SharedContents.h"

namespace tavik {

/// Why a document is refused, and where.
struct Refusal {
  std::size_t offset = 0;  ///< in bytes from the start of the document
  std::string what;
  std::optional<std::size_t> other = std::nullopt;  ///< a second place, which the message names behind `what`
};

/// A value has no form in property lists.
struct Unwritable {};

/// Documents without their byte order mark, not known to be UTF-8.
Value readXmlPropertyList(std::string_view document);
Value readTextPropertyList(std::string_view document);
Value readBinaryPropertyList(std::span<const std::uint8_t> document);

Data writeXmlPropertyList(const Value& value);
Data writeBinaryPropertyList(const Value& value);

/// Refuses what is not UTF-8.
void requireUtf8(std::string_view document);

inline bool isAscii(std::string_view text) noexcept {
  std::uint64_t word = 0;
  std::uint64_t all = 0;
  for (; text.size() > sizeof word; text.remove_prefix(sizeof word)) {
    std::memcpy(&word, text.data(), sizeof word);
    all |= word;
  }
  word = 0;
  copyBytes(reinterpret_cast<char*>(&word), text.data(), text.size());
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

/// A key that stands at two places of a dictionary.
[[noreturn]] void refuseRepeatedKey(std::string_view key, std::size_t second, std::size_t first);

/// What readers have gathered for the arrays and dictionaries that are still open. A container is made when it closes,
/// in one go and of its exact size.
class OpenContainers {
 public:
  /// Where an array begins: to be given back when it closes. What was opened later closes earlier.
  [[nodiscard]] std::size_t openArray() const noexcept { return elements_.size(); }
  void addElement(Value&& element) { elements_.push_back(std::move(element)); }
  Array closeArray(std::size_t begin);

  /// The same for a dictionary, whose keys are strings; `keyOffset` is a key's place in the document.
  [[nodiscard]] std::size_t openDictionary() const noexcept { return entries_.size(); }
  void addEntry(detail::Entry&& entry, std::size_t keyOffset) {
    entries_.push_back(std::move(entry));
    keyOffsets_.push_back(keyOffset);
  }
  /// Refuses a key that is given twice.
  Dictionary closeDictionary(std::size_t begin);

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

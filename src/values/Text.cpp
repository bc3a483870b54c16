// UTF-8 text: validity, characters, comparison ignoring case.

#include "values/Text.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "values/CaseMapping.h"

namespace tavik {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isAscii(char byte) noexcept { return static_cast<unsigned char>(byte) < 0x80; }

bool isContinuation(char byte) noexcept { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

// The properties of a sequence by its first byte: its length, and the range of the second byte (Unicode 15, table 3-7).
// Length 0: not the start of a sequence.
struct Lead {
  std::size_t length;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
};

Lead leadOf(unsigned char byte) noexcept {
  if (byte < 0x80) return {1};
  if (byte < 0xC2) return {0};
  if (byte < 0xE0) return {2};
  if (byte == 0xE0) return {3, 0xA0, 0xBF};
  if (byte == 0xED) return {3, 0x80, 0x9F};
  if (byte < 0xF0) return {3};
  if (byte == 0xF0) return {4, 0x90, 0xBF};
  if (byte < 0xF4) return {4};
  if (byte == 0xF4) return {4, 0x80, 0x8F};
  return {0};
}

struct Sequence {
  std::size_t length;  // in bytes, at least one
  bool wellFormed;
};

Sequence firstSequence(std::string_view bytes) noexcept {
  const auto at = [&](std::size_t index) { return static_cast<unsigned char>(bytes[index]); };
  const Lead lead = leadOf(at(0));
  std::size_t length = 1;
  while (length < lead.length && length < bytes.size()) {
    const unsigned char low = length == 1 ? lead.low : 0x80;
    const unsigned char high = length == 1 ? lead.high : 0xBF;
    if (at(length) < low || at(length) > high) break;
    ++length;
  }
  return {length, length == lead.length};
}

std::size_t asciiPrefix(std::string_view bytes) noexcept {
  std::size_t length = 0;
  const auto isAsciiAt = [&](std::size_t position) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + position, sizeof word);
    return (word & 0x8080808080808080) == 0;
  };
  constexpr std::size_t kWord = sizeof(std::uint64_t);
  while (bytes.size() - length >= kWord && isAsciiAt(length)) length += kWord;
  if (bytes.size() - length < kWord && length != 0 && isAsciiAt(bytes.size() - kWord)) return bytes.size();
  while (length < bytes.size() && isAscii(bytes[length])) ++length;
  return length;
}

constexpr std::uint64_t kEachByte = 0x0101010101010101;
constexpr std::uint64_t kHighBits = kEachByte * 0x80;

// The bits in which eight ASCII characters differ, without the case of letters.
std::uint64_t differenceIgnoringCase(std::uint64_t left, std::uint64_t right) noexcept {
  constexpr std::uint64_t kCaseBits = kEachByte * ('a' - 'A');
  const std::uint64_t lower = left | kCaseBits;
  const std::uint64_t isLetter = (lower + kEachByte * (0x80 - 'a')) ^ (lower + kEachByte * (0x7F - 'z'));  // high bits
  return (left ^ right) & ~(isLetter >> 2 & kCaseBits);
}

template <class Word = std::uint64_t>
Word wordAt(std::string_view text, std::size_t offset) noexcept {
  Word word = 0;
  std::memcpy(&word, text.data() + offset, sizeof word);
  return word;
}

bool equalFolded(std::string_view left, std::string_view right) noexcept {
  while (!left.empty() && !right.empty()) {
    if (simpleFolding(takeCharacter(left)) != simpleFolding(takeCharacter(right))) return false;
  }
  return left.empty() && right.empty();
}

// The Knuth-Morris-Pratt algorithm, which is linear in the worst case.
bool occursInLinearTime(std::string_view text, std::string_view pattern) {
  // borders[n]: the length of the longest proper prefix of the pattern's first n bytes that is also their suffix.
  std::vector<std::size_t> borders(pattern.size() + 1, 0);
  const auto extended = [&](std::size_t matched, char next) {
    while (matched != 0 && pattern[matched] != next) matched = borders[matched];
    return pattern[matched] == next ? matched + 1 : 0;
  };
  for (std::size_t end = 1; end < pattern.size(); ++end) borders[end + 1] = extended(borders[end], pattern[end]);
  std::size_t matched = 0;
  for (const char next : text) {
    matched = extended(matched, next);
    if (matched == pattern.size()) return true;
  }
  return false;
}

}  // namespace

std::size_t validUtf8Prefix(std::string_view bytes) noexcept {
  std::size_t length = asciiPrefix(bytes);
  while (length < bytes.size()) {
    const Sequence next = firstSequence(bytes.substr(length));
    if (!next.wellFormed) break;
    length += next.length;
    length += asciiPrefix(bytes.substr(length));
  }
  return length;
}

std::string replacingIllFormedUtf8(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const Sequence next = firstSequence(bytes);
    next.wellFormed ? static_cast<void>(text.append(bytes, 0, next.length)) : appendUtf8(text, kReplacement);
    bytes.remove_prefix(next.length);
  }
  return text;
}

char* putUtf8(char* to, char32_t character) noexcept {
  const auto put = [&](char32_t byte) { *to++ = static_cast<char>(static_cast<unsigned char>(byte)); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0 | character >> 6);
    put(0x80 | (character & 0x3F));
  } else if (character < 0x10000) {
    put(0xE0 | character >> 12);
    put(0x80 | (character >> 6 & 0x3F));
    put(0x80 | (character & 0x3F));
  } else {
    put(0xF0 | character >> 18);
    put(0x80 | (character >> 12 & 0x3F));
    put(0x80 | (character >> 6 & 0x3F));
    put(0x80 | (character & 0x3F));
  }
  return to;
}

void appendUtf8(std::string& text, char32_t character) {
  std::array<char, 4> bytes;
  text.append(bytes.data(), putUtf8(bytes.data(), character));
}

char32_t takeCharacter(std::string_view& text) noexcept {
  const auto first = static_cast<unsigned char>(text.front());
  const auto [length, wellFormed] = firstSequence(text);
  char32_t character = length == 1 ? first : first & (0xFFU >> (length + 1));
  for (std::size_t index = 1; index < length; ++index) {
    character = character << 6 | (static_cast<unsigned char>(text[index]) & 0x3FU);
  }
  text.remove_prefix(length);
  return wellFormed ? character : kReplacement;
}

std::size_t characterCount(std::string_view text) noexcept {
  std::size_t count = 0;
  for (const char byte : text) {
    if (!isContinuation(byte)) ++count;
  }
  return count;
}

std::optional<std::size_t> offsetFromEnd(std::string_view text, std::size_t count) noexcept {
  std::size_t offset = text.size();
  for (; count != 0; --count) {
    if (offset == 0) return std::nullopt;
    do --offset;
    while (isContinuation(text[offset]));
  }
  return offset;
}

std::optional<std::size_t> offsetFromStart(std::string_view text, std::size_t count) noexcept {
  std::size_t offset = 0;
  for (; count != 0; --count) {
    if (offset == text.size()) return std::nullopt;
    offset += leadOf(static_cast<unsigned char>(text[offset])).length;
  }
  return offset;
}

bool isWhiteSpace(char32_t character) noexcept {
  switch (character) {
    case 0x20:
    case 0x85:
    case 0xA0:
    case 0x1680:
    case 0x2028:
    case 0x2029:
    case 0x202F:
    case 0x205F:
    case 0x3000:
      return true;
    default:
      return (character >= 0x09 && character <= 0x0D) || (character >= 0x2000 && character <= 0x200A);
  }
}

bool equalIgnoringCase(std::string_view left, std::string_view right) noexcept {
  if (left.size() != right.size()) return equalFolded(left, right);
  std::uint64_t difference = 0;
  std::uint64_t all = 0;
  const auto compare = [&](std::uint64_t l, std::uint64_t r) {
    difference |= differenceIgnoringCase(l, r);
    all |= l | r;
  };
  const std::size_t size = left.size();
  if (size < sizeof(std::uint32_t)) {
    for (std::size_t at = 0; at < size; ++at) {
      compare(static_cast<unsigned char>(left[at]), static_cast<unsigned char>(right[at]));
    }
  } else if (size < sizeof difference) {
    const std::size_t last = size - sizeof(std::uint32_t);
    compare(wordAt<std::uint32_t>(left, 0), wordAt<std::uint32_t>(right, 0));
    compare(wordAt<std::uint32_t>(left, last), wordAt<std::uint32_t>(right, last));
  } else {
    for (std::size_t at = 0; at < size - sizeof difference; at += sizeof difference) {
      compare(wordAt(left, at), wordAt(right, at));
    }
    compare(wordAt(left, size - sizeof difference), wordAt(right, size - sizeof difference));
  }
  return (all & kHighBits) == 0 ? difference == 0 : equalFolded(left, right);
}

std::string upperCase(std::string_view text) {
  std::string upper(text.substr(0, asciiPrefix(text)));
  for (char& character : upper) {
    if (character >= 'a' && character <= 'z') character = static_cast<char>(character - 'a' + 'A');
  }
  text.remove_prefix(upper.size());
  while (!text.empty()) appendUtf8(upper, simpleUpper(takeCharacter(text)));
  return upper;
}

bool beginsWith(std::string_view text, std::string_view pattern) noexcept {
  return !pattern.empty() && text.starts_with(pattern);
}

bool endsWith(std::string_view text, std::string_view pattern) noexcept {
  return !pattern.empty() && text.ends_with(pattern);
}

bool occursIn(std::string_view text, std::string_view pattern) {
  constexpr std::size_t kShort = 64;
  if (pattern.empty()) return false;
  if (pattern.size() <= kShort) return text.find(pattern) != std::string_view::npos;
  return occursInLinearTime(text, pattern);
}

}  // namespace tavik

// Writes JSON (RFC 8259).

#include <tavik/Json.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "values/Numbers.h"
#include "values/ValueAccess.h"
#include "values/property_lists/Base64.h"
#include "values/property_lists/Encodings.h"
#include "values/property_lists/JsonCharacters.h"
#include "values/property_lists/JsonWriter.h"

namespace tavik {
namespace {

using detail::DataBuffer;
using detail::ValueAccess;

// The longest escape: \u001f.
constexpr std::size_t kLongestEscape = 6;

char* putEscape(char* to, char character) noexcept {
  constexpr std::string_view kShort = "\"\"\\\\\bb\ff\nn\rr\tt";  // each character with its letter
  constexpr std::string_view kDigits = "0123456789abcdef";
  *to++ = '\\';
  for (std::size_t index = 0; index < kShort.size(); index += 2) {
    if (character != kShort[index]) continue;
    *to++ = kShort[index + 1];
    return to;
  }
  const auto code = static_cast<unsigned char>(character);
  for (const char digit : {'u', '0', '0', kDigits[code >> 4], kDigits[code & 0xF]}) *to++ = digit;
  return to;
}

struct Places {
  const char* from;
  char* to;
};

// Copies eight characters. Returns the number before the first special one.
int copyEight(char* to, const char* from) noexcept {
  const std::uint64_t characters = eightCharacters(from);
  std::memcpy(to, from, 8);
  return std::countr_zero(specialAmong(characters)) / 8;
}

// Copies characters up to the first special one, eight at a time; the last eight may overlap those before.
Places copyPlain(Places at, const char* end) noexcept {
  const bool isLong = end - at.from >= 8;
  for (; end - at.from >= 8; at.from += 8, at.to += 8) {
    if (const int plain = copyEight(at.to, at.from); plain != 8) return {at.from + plain, at.to + plain};
  }
  if (isLong) {
    const std::ptrdiff_t overlap = 8 - (end - at.from);
    const std::ptrdiff_t plain = copyEight(at.to - overlap, at.from - overlap) - overlap;
    return {at.from + plain, at.to + plain};
  }
  while (at.from != end && !isSpecialInJson(*at.from)) *at.to++ = *at.from++;
  return at;
}

// Writes the rest of a string, whose first character needs an escape.
[[gnu::noinline]] void appendEscaped(DataBuffer& out, const char* from, const char* end) {
  while (from != end) {
    char* const room = putEscape(out.room(kLongestEscape + static_cast<std::size_t>(end - from)), *from);
    const Places at = copyPlain({from + 1, room}, end);
    out.advanceTo(at.to);
    from = at.from;
  }
  out += '"';
}

void appendString(DataBuffer& out, std::string_view text) {
  const char* const end = text.data() + text.size();
  char* const room = out.room(text.size() + 2);
  *room = '"';
  const Places at = copyPlain({text.data(), room + 1}, end);
  if (at.from != end) {
    out.advanceTo(at.to);
    return appendEscaped(out, at.from, end);
  }
  *at.to = '"';
  out.advanceTo(at.to + 1);
}

// A short string lies in its value, followed by zeros and the length, which count as special characters.
void appendShortString(DataBuffer& out, std::string_view text) {
  char* const room = out.room(sizeof(Value) + 2);
  *room = '"';
  int plain = copyEight(room + 1, text.data());
  if (plain == 8) plain += copyEight(room + 9, text.data() + 8);
  if (static_cast<std::size_t>(plain) != text.size()) {
    out.advanceTo(room + 1 + plain);
    return appendEscaped(out, text.data() + plain, text.data() + text.size());
  }
  room[1 + plain] = '"';
  out.advanceTo(room + 2 + plain);
}

void appendString(DataBuffer& out, const Value& text) {
  if (ValueAccess::isShort(text)) return appendShortString(out, *ValueAccess::text(text));
  appendString(out, *ValueAccess::text(text));
}

}  // namespace

void JsonWriter::append(const Value& value, int depth) {
  if (value.isString()) return appendString(out_, value);
  if (const auto integer = value.ifInteger()) return appendInteger(*integer);
  if (const auto truth = value.ifBoolean()) return static_cast<void>(out_ += *truth ? "true" : "false");
  if (const Dictionary* dictionary = value.ifDictionary()) return appendDictionary(*dictionary, depth);
  if (const Array* array = value.ifArray()) return appendArray(*array, depth);
  if (const Data* data = value.ifData()) return appendData(data->bytes());
  if (const auto real = value.ifReal()) return appendReal(*real);
  appendDate(value.ifDate().value());
}

void JsonWriter::appendInteger(std::int64_t number) {
  constexpr std::size_t kLongest = 20;
  char* const room = out_.room(kLongest);
  out_.advanceTo(std::to_chars(room, room + kLongest, number).ptr);
}

void JsonWriter::appendReal(double number) {
  const RealText text(number);
  if (!std::isfinite(number)) {
    out_ += R"({"$number": ")";
    out_ += std::isnan(number) ? "nan" : text.view();
    return static_cast<void>(out_ += R"("})");
  }
  out_ += text.view();
  if (text.view().find_first_of(".e") == std::string_view::npos) out_ += ".0";
}

void JsonWriter::appendData(std::span<const std::uint8_t> bytes) {
  const std::size_t size = base64Size(bytes.size());
  out_ += R"({"$data": ")";
  char* const room = out_.room(size);
  putBase64(room, bytes);
  out_.advanceTo(room + size);
  out_ += R"("})";
}

void JsonWriter::appendDate(Date date) {
  const std::optional<std::string> text = dateToIsoText(date);
  if (!text) throw Unwritable{};
  out_ += R"({"$date": ")";
  out_ += *text;
  out_ += R"("})";
}

void JsonWriter::appendArray(const Array& array, int depth) {
  requireDepth(depth);
  out_ += '[';
  for (const Value& element : array) {
    beginElement(&element == array.begin(), depth);
    append(element, depth + 1);
  }
  if (!array.empty()) breakLine(depth - 1);
  out_ += ']';
}

// A dictionary that could be mistaken for a "$" form is written as a "$dictionary" form.
void JsonWriter::appendDictionary(const Dictionary& dictionary, int depth) {
  requireDepth(depth);
  const bool isForm = dictionary.size() == 1 && (*dictionary.begin()).key.starts_with('$');
  if (isForm) out_ += R"({"$dictionary": )";
  appendEntries(dictionary, depth);
  if (isForm) out_ += '}';
}

void JsonWriter::appendEntries(const Dictionary& dictionary, int depth) {
  out_ += '{';
  const auto begin = dictionary.begin();
  const auto end = dictionary.end();
  for (auto entry = begin; entry != end; ++entry) {
    beginElement(entry == begin, depth);
    appendString(out_, entry.key());
    out_ += ": ";
    append(entry.value(), depth + 1);
  }
  if (begin != end) breakLine(depth - 1);
  out_ += '}';
}

void JsonWriter::beginElement(bool isFirst, int depth) {
  if (!isFirst) out_ += isIndented_ ? "," : ", ";
  breakLine(depth);
}

void JsonWriter::breakLine(int depth) {
  if (!isIndented_) return;
  const auto count = 1 + 2 * static_cast<std::size_t>(depth);
  char* const room = out_.room(count);
  *room = '\n';
  out_.advanceTo(std::fill_n(room + 1, count - 1, ' '));
}

bool appendJson(std::string& out, const Value& value, std::string& error, JsonLayout layout) {
  try {
    DataBuffer text;
    JsonWriter(text, layout).append(value);
    out += text.view();
    return true;
  } catch (const Unwritable&) {
    error = whyUnwritable(value);
    return false;
  }
}

std::optional<std::string> writeJson(const Value& value, std::string& error, JsonLayout layout) {
  std::string text;
  return appendJson(text, value, error, layout) ? std::optional(std::move(text)) : std::nullopt;
}

void appendJsonString(std::string& out, std::string_view text) {
  DataBuffer written;
  appendString(written, text);
  out += written.view();
}

}  // namespace tavik

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
#include "values/property_lists/DataBuffer.h"
#include "values/property_lists/Encodings.h"
#include "values/property_lists/JsonCharacters.h"

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

// Copies characters up to the first special one, eight at a time.
Places copyPlain(Places at, const char* end) noexcept {
  for (; end - at.from >= 8; at.from += 8, at.to += 8) {
    std::memcpy(at.to, at.from, 8);
    if (const std::uint64_t special = specialAmong(eightCharacters(at.from)); special != 0) {
      const int plain = std::countr_zero(special) / 8;
      return {at.from + plain, at.to + plain};
    }
  }
  while (at.from != end && !isSpecialInJson(*at.from)) *at.to++ = *at.from++;
  return at;
}

void appendString(DataBuffer& out, std::string_view text) {
  const char* const end = text.data() + text.size();
  char* room = out.room(text.size() + 2);
  *room++ = '"';
  Places at = copyPlain({text.data(), room}, end);
  while (at.from != end) {
    out.advanceTo(at.to);
    room = putEscape(out.room(kLongestEscape + static_cast<std::size_t>(end - at.from)), *at.from);
    at = copyPlain({at.from + 1, room}, end);
  }
  *at.to++ = '"';
  out.advanceTo(at.to);
}

class JsonWriter {
 public:
  JsonWriter(DataBuffer& out, JsonLayout layout) : out_(out), isIndented_(layout == JsonLayout::kIndented) {}

  // depth: the value's nesting depth if it is a container.
  void append(const Value& value, int depth);

 private:
  void appendInteger(std::int64_t number);
  void appendReal(double number);
  void appendData(std::span<const std::uint8_t> bytes);
  void appendDate(Date date);
  void appendArray(const Array& array, int depth);
  void appendDictionary(const Dictionary& dictionary, int depth);
  void appendEntries(const Dictionary& dictionary, int depth);
  void beginElement(bool isFirst, int depth);
  void breakLine(int depth);

  DataBuffer& out_;
  bool isIndented_;
};

void JsonWriter::append(const Value& value, int depth) {
  if (const auto text = ValueAccess::text(value)) return appendString(out_, *text);
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
    appendString(out_, *ValueAccess::text(entry.key()));
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

}  // namespace

bool appendJson(std::string& out, const Value& value, std::string& error, JsonLayout layout) {
  try {
    DataBuffer text;
    JsonWriter(text, layout).append(value, 1);
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

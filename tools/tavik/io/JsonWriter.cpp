#include <fmt/format.h>
#include <tavik/PropertyList.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>

#include "ExitStatus.h"
#include "io/Base64.h"
#include "io/Json.h"

namespace tavik::tool {
namespace {

/// The exponents for which a number is written without one: 0.0001 and 1000000000000000.0, but 1e-05 and 1e+16.
constexpr int kSmallestFixedExponent = -4;
constexpr int kLargestFixedExponent = 15;

std::string_view shortestText(double number, std::chars_format format, std::span<char> room) {
  const std::to_chars_result result = std::to_chars(room.data(), room.data() + room.size(), number, format);
  return {room.data(), result.ptr};
}

void appendFinite(std::string& out, double number) {
  char room[40] = {};  // stays terminated: no text here has 40 characters
  const std::string_view scientific = shortestText(number, std::chars_format::scientific, room);
  const int exponent = std::atoi(room + scientific.rfind('e') + 1);
  if (exponent < kSmallestFixedExponent || exponent > kLargestFixedExponent) {
    out += scientific;
    return;
  }
  const std::string_view fixed = shortestText(number, std::chars_format::fixed, room);
  out += fixed;
  if (fixed.find('.') == std::string_view::npos) out += ".0";
}

void appendReal(std::string& out, double number) {
  if (std::isfinite(number)) return appendFinite(out, number);
  out += R"({"$number": ")";
  out += std::isnan(number) ? "nan" : number > 0 ? "inf" : "-inf";
  out += R"("})";
}

void appendData(std::string& out, const Data& data) {
  out += R"({"$data": ")";
  appendBase64(out, data.bytes());
  out += R"("})";
}

void appendDate(std::string& out, Date date) {
  const std::optional<std::string> text = dateToIsoText(date);
  if (!text) throw Unusable("a date outside the years 1 to 9999 cannot be written");
  out += fmt::format(R"({{"$date": "{}"}})", *text);
}

class JsonWriter {
 public:
  JsonWriter(std::string& out, JsonLayout layout) : out_(out), layout_(layout) {}

  void append(const Value& value) {
    switch (value.kind()) {
      case Kind::kString:
        return appendJsonString(out_, *value.ifString());
      case Kind::kNumber:
        return appendNumber(value);
      case Kind::kBoolean:
        out_ += *value.ifBoolean() ? "true" : "false";
        return;
      case Kind::kData:
        return appendData(out_, *value.ifData());
      case Kind::kDate:
        return appendDate(out_, *value.ifDate());
      case Kind::kArray:
        return appendArray(*value.ifArray());
      case Kind::kDictionary:
        return appendDictionary(*value.ifDictionary());
    }
  }

 private:
  void appendNumber(const Value& value) {
    if (const std::optional<std::int64_t> integer = value.ifInteger()) {
      out_ += fmt::to_string(*integer);
    } else {
      appendReal(out_, *value.ifReal());
    }
  }

  void appendArray(const Array& array) {
    open('[');
    bool first = true;
    for (const Value& element : array) {
      separate(first);
      append(element);
    }
    close(']', array.empty());
  }

  void appendDictionary(const Dictionary& dictionary) {
    const bool looksLikeAForm = dictionary.size() == 1 && (*dictionary.begin()).key.starts_with('$');
    if (!looksLikeAForm) return appendEntries(dictionary);
    out_ += R"({"$dictionary": )";
    appendEntries(dictionary);
    out_ += '}';
  }

  void appendEntries(const Dictionary& dictionary) {
    open('{');
    bool first = true;
    for (const auto [key, value] : dictionary) {
      separate(first);
      appendJsonString(out_, key);
      out_ += ": ";
      append(value);
    }
    close('}', dictionary.empty());
  }

  void open(char bracket) {
    out_ += bracket;
    ++depth_;
  }

  void separate(bool& first) {
    if (!first) out_ += layout_ == JsonLayout::kOneLine ? ", " : ",";
    first = false;
    breakLine();
  }

  void close(char bracket, bool empty) {
    --depth_;
    if (!empty) breakLine();
    out_ += bracket;
  }

  void breakLine() {
    if (layout_ == JsonLayout::kIndented) out_.append(1, '\n').append(2 * depth_, ' ');
  }

  std::string& out_;
  JsonLayout layout_;
  std::size_t depth_ = 0;
};

bool needsEscape(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\';
}

void appendEscape(std::string& out, char character) {
  constexpr std::string_view kShort = "\"\"\\\\\bb\ff\nn\rr\tt";  // each character with its letter
  for (std::size_t i = 0; i < kShort.size(); i += 2) {
    if (character == kShort[i]) {
      out += '\\';
      out += kShort[i + 1];
      return;
    }
  }
  fmt::format_to(std::back_inserter(out), "\\u{:04x}", static_cast<unsigned>(character));
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  out += '"';
  std::size_t copied = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!needsEscape(text[i])) continue;
    out.append(text, copied, i - copied);
    appendEscape(out, text[i]);
    copied = i + 1;
  }
  out.append(text, copied).append(1, '"');
}

void appendJson(std::string& out, const Value& value, JsonLayout layout) { JsonWriter(out, layout).append(value); }

std::string toJson(const Value& value, JsonLayout layout) {
  std::string text;
  appendJson(text, value, layout);
  return text;
}

}  // namespace tavik::tool

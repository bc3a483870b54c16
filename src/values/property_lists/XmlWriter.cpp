// Writes XML property lists: UTF-8, one element per line, indented by tabs, without a document type declaration.

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iterator>

#include "values/property_lists/Base64.h"
#include "values/property_lists/DataBuffer.h"
#include "values/property_lists/Encodings.h"

namespace tavik {
namespace {

// Characters that are written unchanged. EF is not among them because it starts U+FFFE and U+FFFF, which XML forbids.
constexpr std::array<bool, 256> kPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t byte = 0x20; byte < plain.size(); ++byte) {
    plain[byte] = byte != '<' && byte != '>' && byte != '&' && byte != 0xEF;
  }
  plain['\t'] = plain['\n'] = true;
  return plain;
}();

// Deeper lines are not indented further, so that the size of the document is proportional to that of the value.
std::size_t indentAt(int depth) noexcept { return static_cast<std::size_t>(std::min(depth, 16)); }

// Estimates the number of characters of a value at nesting depth `depth`, so that the document is not moved as it
// grows. Does not count escapes.
std::size_t expectedSize(const Value& value, int depth) {
  constexpr std::size_t kTags = 18;  // of a string; roughly the tags and contents of other values
  constexpr std::size_t kKeyTags = 12;
  const std::size_t line = indentAt(depth) + kTags;
  if (const auto text = value.ifString()) return line + text->size();
  if (const Data* data = value.ifData()) return line + data->size() / 2 * 3;
  std::size_t size = line;
  if (const Array* array = value.ifArray()) {
    requireDepth(depth + 1);
    for (const Value& element : *array) size += expectedSize(element, depth + 1);
  } else if (const Dictionary* dictionary = value.ifDictionary()) {
    requireDepth(depth + 1);
    for (const auto [key, element] : *dictionary) {
      size += indentAt(depth + 1) + kKeyTags + key.size() + expectedSize(element, depth + 1);
    }
  }
  return size;
}

class XmlWriter {
 public:
  Data write(const Value& value);

 private:
  void appendLine(const Value& value, int depth);
  void append(const Value& value, int depth);
  void appendArray(const Array& array, int depth);
  void appendDictionary(const Dictionary& dictionary, int depth);
  void appendDate(Date date);
  void appendData(std::span<const std::uint8_t> bytes, int depth);
  void appendBase64(std::span<const std::uint8_t> bytes);
  template <class Number>
  void appendNumber(std::string_view begin, Number number, std::string_view end);
  void appendElement(std::string_view begin, std::string_view text, std::string_view end);
  void appendText(std::string_view text);
  std::size_t appendSpecial(std::string_view text);
  void appendIndent(int depth);

  detail::DataBuffer document_;
};

Data XmlWriter::write(const Value& value) {
  constexpr std::size_t kFrameSize = 100;
  document_.reserve(kFrameSize + expectedSize(value, 0));
  document_ += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n";
  appendLine(value, 0);
  document_ += "</plist>\n";
  return std::move(document_).take();
}

void XmlWriter::appendLine(const Value& value, int depth) {
  appendIndent(depth);
  append(value, depth);
  document_ += '\n';
}

void XmlWriter::append(const Value& value, int depth) {
  if (const auto text = value.ifString()) return appendElement("<string>", *text, "</string>");
  if (const Dictionary* dictionary = value.ifDictionary()) return appendDictionary(*dictionary, depth);
  if (const Array* array = value.ifArray()) return appendArray(*array, depth);
  if (const Data* data = value.ifData()) return appendData(data->bytes(), depth);
  if (const auto integer = value.ifInteger()) return appendNumber("<integer>", *integer, "</integer>");
  if (const auto real = value.ifReal()) return appendNumber("<real>", *real, "</real>");
  if (const auto date = value.ifDate()) return appendDate(*date);
  document_ += value.ifBoolean().value() ? "<true/>" : "<false/>";
}

void XmlWriter::appendArray(const Array& array, int depth) {
  if (array.empty()) return static_cast<void>(document_ += "<array/>");
  document_ += "<array>\n";
  for (const Value& element : array) appendLine(element, depth + 1);
  appendIndent(depth);
  document_ += "</array>";
}

void XmlWriter::appendDictionary(const Dictionary& dictionary, int depth) {
  if (dictionary.empty()) return static_cast<void>(document_ += "<dict/>");
  document_ += "<dict>\n";
  for (const auto [key, value] : dictionary) {
    appendIndent(depth + 1);
    appendElement("<key>", key, "</key>\n");
    appendLine(value, depth + 1);
  }
  appendIndent(depth);
  document_ += "</dict>";
}

// Long data is written over several lines.
void XmlWriter::appendData(std::span<const std::uint8_t> bytes, int depth) {
  constexpr std::size_t kBytesALine = 57;  // 76 digits
  document_ += "<data>";
  if (bytes.size() <= kBytesALine) {
    appendBase64(bytes);
  } else {
    while (!bytes.empty()) {
      const std::size_t count = std::min(bytes.size(), kBytesALine);
      document_ += '\n';
      appendIndent(depth);
      appendBase64(bytes.first(count));
      bytes = bytes.subspan(count);
    }
    document_ += '\n';
    appendIndent(depth);
  }
  document_ += "</data>";
}

void XmlWriter::appendBase64(std::span<const std::uint8_t> bytes) {
  putBase64(document_.extend(base64Size(bytes.size())), bytes);
}

void XmlWriter::appendDate(Date date) {
  const std::optional<std::string> text = dateToIsoText(date);
  if (!text) throw Unwritable{};
  appendElement("<date>", *text, "</date>");
}

// The shortest text that reads back as the same number.
template <class Number>
void XmlWriter::appendNumber(std::string_view begin, Number number, std::string_view end) {
  char text[32];
  char* textEnd = std::to_chars(text, std::end(text), number).ptr;
  document_ += begin;
  document_ += {text, textEnd};
  document_ += end;
}

void XmlWriter::appendElement(std::string_view begin, std::string_view text, std::string_view end) {
  document_ += begin;
  appendText(text);
  document_ += end;
}

void XmlWriter::appendText(std::string_view text) {
  while (true) {
    const auto special = std::ranges::find_if(text, [](char c) { return !kPlain[static_cast<unsigned char>(c)]; });
    document_ += {text.begin(), special};
    text.remove_prefix(static_cast<std::size_t>(special - text.begin()));
    if (text.empty()) return;
    text.remove_prefix(appendSpecial(text));
  }
}

// Writes the first character of `text`, which is not plain, and returns its length. Characters that XML forbids, and
// CR, which readers would convert to LF, are written as numeric references.
std::size_t XmlWriter::appendSpecial(std::string_view text) {
  switch (text.front()) {
    case '<':
      document_ += "&lt;";
      return 1;
    case '>':
      document_ += "&gt;";
      return 1;
    case '&':
      document_ += "&amp;";
      return 1;
    case '\xEF': {
      const std::string_view character = text.substr(0, 3);
      document_ += character == "\xEF\xBF\xBE" ? "&#65534;" : character == "\xEF\xBF\xBF" ? "&#65535;" : character;
      return character.size();
    }
    default:
      document_ += "&#";
      document_ += std::to_string(static_cast<int>(text.front()));
      document_ += ';';
      return 1;
  }
}

void XmlWriter::appendIndent(int depth) { document_.append(indentAt(depth), '\t'); }

}  // namespace

Data writeXmlPropertyList(const Value& value) { return XmlWriter().write(value); }

}  // namespace tavik

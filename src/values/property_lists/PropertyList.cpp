// Property lists: detection of the encoding, and files.

#include <tavik/PropertyList.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "values/File.h"
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
  constexpr std::size_t kLargest = std::size_t{1} << 30;
  std::vector<std::uint8_t> bytes;
  std::string why = readFile(path, {kLargest, "the file is larger than 1 GiB"}, bytes);
  if (why.empty()) return readPropertyList(bytes, error);
  error = std::move(why);
  return std::nullopt;
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

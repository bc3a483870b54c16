// Reads JSON (RFC 8259) in one pass. A string without escapes is made directly from the text.

#include <tavik/Json.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <system_error>
#include <utility>

#include "values/Numbers.h"
#include "values/Slab.h"
#include "values/Text.h"
#include "values/ValueAccess.h"
#include "values/property_lists/Base64.h"
#include "values/property_lists/Encodings.h"
#include "values/property_lists/JsonCharacters.h"

namespace tavik {
namespace {

using detail::Entry;
using detail::SlabCutter;
using detail::ValueAccess;

bool isSpace(char character) noexcept {
  if (static_cast<unsigned char>(character) > ' ') return false;
  return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

// The value of a "$" form; absent if it is malformed, with the reason in `why`.
std::optional<Value> valueOfForm(const Entry& form, SlabCutter& slabs, std::string& why) {
  const std::string_view name = *form.key.ifString();
  const std::optional<std::string_view> text = form.value.ifString();
  if (name == "$data") {
    if (std::optional<Data> data = text ? dataFromBase64(*text, &slabs) : std::nullopt) return *std::move(data);
    why = R"("$data" must be a string in padded base64)";
  } else if (name == "$date") {
    if (const std::optional<Date> date = text ? dateFromIsoText(*text) : std::nullopt) return *date;
    why = R"("$date" must be a string such as "2026-11-21T01:02:03Z", in the years 1 to 9999)";
  } else if (name == "$number") {
    if (text == "nan") return Value(std::numeric_limits<double>::quiet_NaN());
    if (text == "inf") return Value(std::numeric_limits<double>::infinity());
    if (text == "-inf") return Value(-std::numeric_limits<double>::infinity());
    why = R"("$number" must be "nan", "inf" or "-inf")";
  } else if (name == "$dictionary") {
    if (form.value.ifDictionary() != nullptr) return form.value;
    why = R"("$dictionary" must be an object)";
  } else {
    why = quoted(name) + R"( is not one of "$data", "$date", "$dictionary", "$number"; write a dictionary with only )"
                         R"(this key as {"$dictionary": {...}})";
  }
  return std::nullopt;
}

// Finds whether a container has less than two elements or entries before it is read. Scans all text of the container,
// and keeps the answers for the containers inside it.
class LookAhead {
 public:
  explicit LookAhead(std::string_view text) noexcept : text_(text) {}

  // Must be called in the order in which containers are read. In malformed text the answer may be wrong.
  bool isSmall(std::size_t container) {
    if (container >= end_) lookFrom(container);
    return std::ranges::binary_search(small_, container);
  }

 private:
  void lookFrom(std::size_t start);

  std::string_view text_;
  std::size_t end_ = 0;  // the end of the text scanned so far
  std::vector<std::size_t> small_;
};

void LookAhead::lookFrom(std::size_t start) {
  struct Open {
    std::size_t offset;
    bool isSmall = true;
  };
  constexpr std::size_t kMostOpen = 2 * kPropertyListDepthLimit + 1;  // deeper text is rejected
  std::vector<Open> open = {{start}};
  small_.clear();
  for (end_ = start + 1; end_ < text_.size() && !open.empty() && open.size() <= kMostOpen; ++end_) {
    switch (text_[end_]) {
      case '"':
        for (++end_; end_ < text_.size() && text_[end_] != '"'; ++end_) {
          if (text_[end_] == '\\') ++end_;
        }
        break;
      case '{':
      case '[':
        open.push_back({end_});
        break;
      case ',':
        open.back().isSmall = false;
        break;
      case '}':
      case ']':
        if (open.back().isSmall) small_.push_back(open.back().offset);
        open.pop_back();
        break;
      default:
        break;
    }
  }
  std::ranges::sort(small_);
}

class JsonReader {
 public:
  JsonReader(std::string_view text, std::vector<ValueOffset>* offsets)
      : text_(text),
        next_(text.data()),
        end_(text.data() + text.size()),
        offsets_(offsets),
        slabs_(text.size()),
        ahead_(text) {
    constexpr std::size_t kUsualDepth = 8;
    path_.reserve(kUsualDepth);
  }

  Value read();

  // Reads the beginning of an object, up to the value of `key`. Accepts well-formed JSON that is not a valid value.
  // Absent if there is no such key.
  std::optional<std::string_view> findMember(std::string_view key);

  // After a refusal was thrown: the path to the value being read.
  [[nodiscard]] std::string path() const;

 private:
  // A step of the path, into an open container.
  struct Step {
    bool isArray;
    std::size_t place;  // the index of an element, or the offset of a key
  };
  static constexpr std::size_t kNoKey = ValueOffset::kNoKey;

  Value readValue(int depth, std::size_t keyOffset = kNoKey);
  Array readArray(int depth);
  Value readObject(int depth);
  Value takeForm(std::size_t begin, std::size_t start);
  Dictionary readLiteral(int depth);
  Dictionary closeDictionary(std::size_t begin);
  void readEntries(int depth, bool isLiteral);
  std::size_t beginEntry();
  bool isLiteralNext(std::size_t object, const Value& key);
  void close(char bracket, std::size_t start);

  Value readWord(std::string_view word, bool truth);
  Value readNumber();
  Value readReal(std::size_t start);
  void skipDigits(const char* missing);

  Value readString() {
    ValueAccess::Bits bits;
    return takeShortString(bits) ? ValueAccess::shortString(bits) : readLongString();
  }
  bool takeShortString(ValueAccess::Bits& bits) noexcept;
  Value readLongString() { return ValueAccess::string(readText(), &slabs_); }
  std::string_view readText();
  std::string_view readEscapedText(std::size_t start, std::string_view plain);
  std::string_view takePlain();
  void appendEscape();
  char32_t readUtf16Escape(std::size_t start);

  // Rejects well-formed JSON that is not a valid value.
  Value refuseValue(std::size_t offset, std::string_view why) const;
  [[noreturn]] void refuse(std::string_view what) const;
  [[noreturn]] void refuseCharacter() const;
  [[nodiscard]] std::size_t offset() const noexcept { return static_cast<std::size_t>(next_ - text_.data()); }
  [[nodiscard]] bool isAtEnd() const noexcept { return next_ == end_; }
  [[nodiscard]] char peek() const noexcept { return isAtEnd() ? '\0' : *next_; }
  bool take(char character) noexcept {
    if (peek() != character) return false;
    ++next_;
    return true;
  }
  bool take(std::string_view text) noexcept {
    if (!std::string_view(next_, end_).starts_with(text)) return false;
    next_ += text.size();
    return true;
  }
  void skipSpace() noexcept {
    while (!isAtEnd() && isSpace(*next_)) ++next_;
  }
  bool takeNext(char character) noexcept {
    skipSpace();
    return take(character);
  }

  std::string_view text_;
  const char* next_;
  const char* end_;
  std::vector<ValueOffset>* offsets_;  // of all values; may be null
  SlabCutter slabs_;
  OpenContainers open_;
  std::vector<Step> path_;
  std::string scratch_;  // a string with escapes
  LookAhead ahead_;
  bool isTolerant_ = false;
};

Value JsonReader::read() {
  skipSpace();
  if (isAtEnd()) refuse("the document is empty");
  Value value = readValue(1);
  skipSpace();
  if (!isAtEnd()) refuse("unexpected text after the value");
  return value;
}

std::optional<std::string_view> JsonReader::findMember(std::string_view key) {
  isTolerant_ = true;
  if (!takeNext('{')) return std::nullopt;
  do {
    skipSpace();
    if (peek() != '"') return std::nullopt;
    const bool isWanted = readText() == key;
    if (!takeNext(':')) return std::nullopt;
    skipSpace();
    const char* const start = next_;
    readValue(2);
    if (isWanted) return std::string_view(start, next_);
  } while (takeNext(','));
  return std::nullopt;
}

// depth: the value's nesting depth if it is a container.
Value JsonReader::readValue(int depth, std::size_t keyOffset) {
  skipSpace();
  if (offsets_ != nullptr) offsets_->push_back({offset(), keyOffset});
  switch (peek()) {
    case '"':
      return readString();
    case '{':
      return readObject(depth);
    case '[':
      return readArray(depth);
    case 't':
      return readWord("true", true);
    case 'f':
      return readWord("false", false);
    case 'n':
      if (!take("null")) refuseCharacter();
      return refuseValue(offset() - 4, "null is not allowed");
    default:
      return readNumber();
  }
}

Array JsonReader::readArray(int depth) {
  const std::size_t start = offset();
  requireDepth(depth, start);
  ++next_;
  const std::size_t begin = open_.openArray();
  path_.push_back({true, 0});
  if (!takeNext(']')) {
    do {
      open_.addElement(readValue(depth + 1));
      ++path_.back().place;
    } while (takeNext(','));
    close(']', start);
  }
  path_.pop_back();
  return open_.closeArray(begin, &slabs_);
}

// An object with a single entry whose key begins with "$" is a form. A form is not a container, so it may be nested one
// level deeper, except for {"$dictionary": {...}}, which is the inner dictionary.
Value JsonReader::readObject(int depth) {
  const std::size_t start = offset();
  requireDepth(depth - 1, start);
  const std::size_t begin = open_.openDictionary();
  readEntries(depth, false);
  const Entry* only = open_.onlyEntry(begin);
  if (only == nullptr || !only->key.ifString()->starts_with('$')) {
    requireDepth(depth, start);
    return closeDictionary(begin);
  }
  return takeForm(begin, start);
}

[[gnu::noinline]] Value JsonReader::takeForm(std::size_t begin, std::size_t start) {
  std::string why;
  std::optional<Value> value = valueOfForm(*open_.onlyEntry(begin), slabs_, why);
  if (!value) value = refuseValue(start, why);
  if (offsets_ != nullptr && value->ifDictionary() == nullptr) offsets_->pop_back();
  open_.dropDictionary(begin);
  return *std::move(value);
}

// Reads the object under "$dictionary", in which keys have no special meaning.
Dictionary JsonReader::readLiteral(int depth) {
  requireDepth(depth, offset());
  const std::size_t begin = open_.openDictionary();
  readEntries(depth, true);
  return closeDictionary(begin);
}

Dictionary JsonReader::closeDictionary(std::size_t begin) {
  try {
    return open_.closeDictionary(begin, &slabs_);
  } catch (const Refusal& repeatedKey) {
    if (isTolerant_) {
      open_.dropDictionary(begin);
      return {};
    }
    path_.push_back({false, repeatedKey.offset});
    throw;
  }
}

void JsonReader::readEntries(int depth, bool isLiteral) {
  const std::size_t start = offset();
  ++next_;
  path_.push_back({false, kNoKey});
  if (!takeNext('}')) {
    do {
      const std::size_t keyOffset = beginEntry();
      Entry entry{readString(), Value()};
      path_.back().place = keyOffset;
      if (!takeNext(':')) refuse("expected \":\"");
      const bool isForm = !isLiteral && isLiteralNext(start, entry.key);
      entry.value = isForm ? Value(readLiteral(depth)) : readValue(depth + 1, keyOffset);
      open_.addEntry(std::move(entry), keyOffset);
      path_.back().place = kNoKey;
    } while (takeNext(','));
    close('}', start);
  }
  path_.pop_back();
}

// Returns the offset of the key.
std::size_t JsonReader::beginEntry() {
  skipSpace();
  if (isAtEnd()) refuseCharacter();
  if (*next_ != '"') refuse("expected a key in double quotes");
  return offset();
}

// Whether {"$dictionary": {...}} has been read up to the inner object and has no other entries. This must be known
// before the inner object is read.
bool JsonReader::isLiteralNext(std::size_t object, const Value& key) {
  if (!ValueAccess::is(key, "$dictionary")) return false;
  skipSpace();
  return peek() == '{' && ahead_.isSmall(object);
}

// Reads the end of a container that is not empty.
void JsonReader::close(char bracket, std::size_t start) {
  if (take(bracket)) return;
  path_.pop_back();
  const bool isArray = bracket == ']';
  if (isAtEnd()) {
    throw Refusal{offset(), std::string("unexpected end inside the ") + (isArray ? "array" : "object") + " opened at",
                  start};
  }
  refuse(isArray ? R"(expected "," or "]")" : R"(expected "," or "}")");
}

Value JsonReader::readWord(std::string_view word, bool truth) {
  if (!take(word)) refuseCharacter();
  return Value(truth);
}

Value JsonReader::readNumber() {
  const std::size_t start = offset();
  const bool isNegative = take('-');
  if (!isDigit(peek())) {
    if (isNegative) refuse("expected a digit");
    refuseCharacter();
  }
  const char* const digits = next_;
  std::uint64_t magnitude = 0;
  for (; !isAtEnd() && isDigit(*next_); ++next_) magnitude = 10 * magnitude + static_cast<std::uint64_t>(*next_ - '0');
  const auto count = next_ - digits;
  if (*digits == '0' && count > 1) throw Refusal{start, "leading zeros are not allowed"};
  if (peek() == '.' || peek() == 'e' || peek() == 'E') return readReal(start);
  constexpr int kMostDigits = 19;
  const std::uint64_t largest = std::numeric_limits<std::int64_t>::max() + std::uint64_t{isNegative};
  if (count > kMostDigits || magnitude > largest) {
    return refuseValue(start, outOfIntegerRange(text_.substr(start, offset() - start)));
  }
  return Value(static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude));
}

// Reads the rest of a number after its integer digits.
Value JsonReader::readReal(std::size_t start) {
  if (take('.')) skipDigits("expected a digit after the decimal point");
  if (take('e') || take('E')) {
    if (!take('+')) take('-');
    skipDigits("expected a digit in the exponent");
  }
  double number = 0;
  tavik::readReal(text_.substr(start, offset() - start), number);
  if (std::isinf(number)) return refuseValue(start, "the number is out of range for a 64-bit floating-point number");
  return Value(number);
}

void JsonReader::skipDigits(const char* missing) {
  if (!isDigit(peek())) refuse(missing);
  while (isDigit(peek())) ++next_;
}

// Takes a string of up to 15 ASCII characters without escapes, whose bytes in a value are those of the text. False for
// other strings.
inline bool JsonReader::takeShortString(ValueAccess::Bits& bits) noexcept {
  if (std::endian::native != std::endian::little || end_ - next_ <= 16) return false;
  bits = {eightCharacters(next_ + 1), 0};
  std::uint64_t special = specialAmong(bits.low);
  int size = std::countr_zero(special) / 8;
  if (special != 0) {
    bits.low = charactersBefore(special, bits.low);
  } else {
    bits.high = eightCharacters(next_ + 9);
    special = specialAmong(bits.high);
    if (special == 0) return false;
    size = 8 + std::countr_zero(special) / 8;
    bits.high = charactersBefore(special, bits.high);
  }
  if (next_[1 + size] != '"' || !isAscii(bits.low | bits.high)) return false;
  next_ += size + 2;
  bits.high |= static_cast<std::uint64_t>(size) << 56;
  return true;
}

// Reads the contents of a string, which are valid until the next one is read.
std::string_view JsonReader::readText() {
  const std::size_t start = offset();
  ++next_;
  const std::string_view plain = takePlain();
  return take('"') ? plain : readEscapedText(start, plain);
}

std::string_view JsonReader::readEscapedText(std::size_t start, std::string_view plain) {
  scratch_ = plain;
  while (!take('"')) {
    if (isAtEnd()) throw Refusal{start, "unterminated string"};
    if (*next_ != '\\') refuse("unescaped control character in a string");
    appendEscape();
    scratch_ += takePlain();
  }
  return scratch_;
}

std::string_view JsonReader::takePlain() {
  const char* const start = next_;
  std::uint64_t special = 0;
  std::uint64_t all = 0;
  for (; end_ - next_ >= 8; next_ += 8) {
    const std::uint64_t characters = eightCharacters(next_);
    special = specialAmong(characters);
    if (special != 0) {
      all |= charactersBefore(special, characters);
      next_ += std::countr_zero(special) / 8;
      break;
    }
    all |= characters;
  }
  for (; special == 0 && !isAtEnd() && !isSpecialInJson(*next_); ++next_) all |= static_cast<unsigned char>(*next_);
  const std::string_view plain(start, next_);
  if (!isAscii(all)) requireUtf8(plain, static_cast<std::size_t>(start - text_.data()));
  return plain;
}

void JsonReader::appendEscape() {
  constexpr std::string_view kEscapes = "\"\\/bfnrt";
  constexpr std::string_view kCharacters = "\"\\/\b\f\n\r\t";
  const std::size_t start = offset();
  ++next_;
  if (const std::size_t index = kEscapes.find(peek()); index != std::string_view::npos) {
    ++next_;
    scratch_ += kCharacters[index];
  } else if (peek() == 'u') {
    appendUtf8(scratch_, readUtf16Escape(start));
  } else {
    throw Refusal{start, "unknown escape"};
  }
}

// Reads one character: "uhhhh", or a surrogate pair "uhhhh\uhhhh".
char32_t JsonReader::readUtf16Escape(std::size_t start) {
  const auto readUnit = [&] {
    ++next_;  // "u"
    std::uint16_t unit = 0;
    const char* const unitEnd = end_ - next_ < 4 ? next_ : next_ + 4;
    if (unitEnd == next_ || std::from_chars(next_, unitEnd, unit, 16).ptr != unitEnd) {
      throw Refusal{start, "\\u needs four hexadecimal digits"};
    }
    next_ = unitEnd;
    return unit;
  };
  constexpr const char* kUnpaired = "unpaired surrogate";
  const std::uint32_t first = readUnit();
  if (first < 0xD800 || first > 0xDFFF) return first;
  if (first > 0xDBFF || !take('\\') || peek() != 'u') throw Refusal{start, kUnpaired};
  const std::uint32_t second = readUnit();
  if (second < 0xDC00 || second > 0xDFFF) throw Refusal{start, kUnpaired};
  return 0x10000 + ((first - 0xD800) << 10 | (second - 0xDC00));
}

Value JsonReader::refuseValue(std::size_t offset, std::string_view why) const {
  if (isTolerant_) return Value();
  throw Refusal{offset, std::string(why)};
}

void JsonReader::refuse(std::string_view what) const { throw Refusal{offset(), std::string(what)}; }

void JsonReader::refuseCharacter() const {
  if (isAtEnd()) refuse("unexpected end of the document");
  std::string_view rest(next_, end_);
  std::string_view character = rest;
  takeCharacter(rest);
  character.remove_suffix(rest.size());
  if (validUtf8Prefix(character) == 0) refuse("invalid UTF-8");
  refuse("unexpected " + quoted(character) + "; expected a value");
}

std::string JsonReader::path() const {
  std::vector<std::string> keys;
  keys.reserve(path_.size());  // the steps refer to the elements
  std::vector<PathStep> steps;
  for (const auto& [isArray, place] : path_) {
    if (isArray) {
      steps.push_back({std::nullopt, place});
    } else if (place != kNoKey) {
      keys.emplace_back(JsonReader(text_.substr(place), nullptr).readText());
      steps.push_back({keys.back()});
    }
  }
  return pathText(steps);
}

// `locations` may be null.
std::optional<Value> read(std::string_view text, std::string& error, std::size_t firstLine, ValueLocations* locations) {
  text = withoutByteOrderMark(text);
  const LocationFinder finder(text, LocationFinder::LoneReturn::kIsPartOfLine, firstLine);
  std::vector<ValueOffset> offsets;
  JsonReader reader(text, locations != nullptr ? &offsets : nullptr);
  try {
    Value value = reader.read();
    if (locations != nullptr) *locations = locationsOf(offsets, finder);
    return value;
  } catch (const Refusal& refusal) {
    error = message(refusal, finder, reader.path());
    return std::nullopt;
  }
}

}  // namespace

std::optional<Value> readJson(std::string_view text, std::string& error, std::size_t firstLine) {
  return read(text, error, firstLine, nullptr);
}

std::optional<Value> readJsonMember(std::string_view text, std::string_view key) {
  std::string ignored;
  try {
    const auto member = JsonReader(withoutByteOrderMark(text), nullptr).findMember(key);
    return member ? readJson(*member, ignored) : std::nullopt;
  } catch (const Refusal&) {
    return std::nullopt;
  }
}

std::optional<Value> readJson(std::string_view text, std::string& error, ValueLocations& locations) {
  locations.clear();
  return read(text, error, 1, &locations);
}

}  // namespace tavik

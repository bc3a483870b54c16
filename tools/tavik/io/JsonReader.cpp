#include <fmt/format.h>
#include <simdjson.h>
#include <tavik/PropertyList.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <system_error>
#include <utility>
#include <vector>

#include "io/Base64.h"
#include "io/Json.h"
#include "io/JsonSyntax.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

namespace ondemand = simdjson::ondemand;

struct Refusal {
  std::size_t offset;
  std::string why;
};

constexpr std::string_view kDictionaryForm = "$dictionary";

/// An object, read but not yet taken for a dictionary or for a "$" form: which of the two it is depends on what it
/// stands in.
struct Object {
  Dictionary entries;
  std::unique_ptr<Object>
      wrapped;  // the object under "$dictionary", when that is the only entry; `entries` is empty then
  std::size_t offset = 0;
  int depth = 0;
};

Value realForm(std::string_view name) {
  if (name == "nan") return Value(std::numeric_limits<double>::quiet_NaN());
  return Value(name == "inf" ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity());
}

/// The value that {"$data": "..."} and its like stand for; absent with `why` set when they stand for none.
std::optional<Value> fromForm(std::string_view name, const Value& content, std::string& why) {
  const std::string_view text = content.ifString().value_or("");
  if (name == "$data") {
    const auto bytes = fromBase64(text);
    if (bytes && content.isString()) return Value(Data(*bytes));
    why = R"("$data" needs a text of padded base64)";
  } else if (name == "$date") {
    if (const std::optional<Date> date = dateFromIsoText(text)) return Value(*date);
    why = R"("$date" needs a text such as "2026-11-21T01:02:03Z" that names a time of the years 1 to 9999)";
  } else if (name == "$number") {
    if (text == "nan" || text == "inf" || text == "-inf") return realForm(text);
    why = R"("$number" needs "nan", "inf" or "-inf")";
  } else if (name == kDictionaryForm) {
    why = R"("$dictionary" needs an object)";
  } else {
    why =
        fmt::format(R"("{}" is none of "$data", "$date", "$dictionary", "$number"; a dictionary with only this key is )"
                    R"(written {{"$dictionary": {{...}}}})",
                    shortened(visible(name), 40));
  }
  return std::nullopt;
}

/// The floating-point number nearest to a well-formed text; absent when there is none.
std::optional<double> nearestReal(std::string_view text) {
  double real = 0;
  const std::errc error = std::from_chars(text.data(), text.data() + text.size(), real).ec;
  if (error == std::errc::result_out_of_range) real = std::strtod(std::string(text).c_str(), nullptr);  // or too small
  return std::isinf(real) ? std::nullopt : std::optional(real);
}

/// Reads one document: its structure and its texts with simdjson, words and numbers here, since simdjson 3.0 misreads
/// numbers of more than 19 digits. A syntax error is raised as simdjson's, what is no value as a Refusal.
class Reading {
 public:
  Reading(ondemand::document& document, std::string_view text, std::size_t firstLine)
      : document_(document), text_(text), firstLine_(firstLine) {}

  Value root() {
    const std::string_view token = document_.raw_json_token();
    const bool isWord = token.find_first_of("{[\"") != 0;
    if (isWord) return readWord(text_.substr(offsetOf(token.data())));
    Value value = readAny(document_, token, 0);
    const bool atEnd = document_.current_location().error() == simdjson::OUT_OF_BOUNDS;
    if (!atEnd) throw simdjson::simdjson_error(simdjson::TRAILING_CONTENT);
    return value;
  }

  /// The path to where a Refusal was raised.
  [[nodiscard]] const std::vector<JsonStep>& path() const { return path_; }

 private:
  /// `token`: the first of the value, with the white space after it. `depth`: the arrays and dictionaries around the
  /// value.
  template <class Node>  // a document or a value inside one
  Value readAny(Node& node, std::string_view token, int depth) {
    const std::size_t offset = offsetOf(token.data());
    switch (token.front()) {
      case '{':
        return interpreted(readObject(node.get_object().value(), offset, depth, false));
      case '[':
        return readArray(node.get_array().value(), offset, depth);
      case '"':
        return Value(std::string_view(node.get_string().value()));
      default:
        return readWord(token);
    }
  }

  /// true, false, null or a number, with the white space after it.
  Value readWord(std::string_view token) {
    const std::string_view word = token.substr(0, token.find_last_not_of(" \t\r\n") + 1);
    if (word == "true" || word == "false") return Value(word == "true");
    const std::size_t offset = offsetOf(word.data());
    if (word == "null") throw Refusal{offset, "null is no value"};
    if (findSyntaxError(word)) throw simdjson::simdjson_error(simdjson::NUMBER_ERROR);
    if (word.find_first_of(".eE") != std::string_view::npos) return readReal(word, offset);
    std::int64_t integer = 0;
    const std::errc error = std::from_chars(word.data(), word.data() + word.size(), integer).ec;
    if (error != std::errc()) throw Refusal{offset, "this integer does not fit in 64 bits"};
    return Value(integer);
  }

  static Value readReal(std::string_view number, std::size_t offset) {
    const std::optional<double> real = nearestReal(number);
    if (!real) throw Refusal{offset, "this number is beyond what a floating-point number holds"};
    return Value(*real);
  }

  [[nodiscard]] std::size_t offsetOf(const char* place) const { return static_cast<std::size_t>(place - text_.data()); }

  Value readArray(ondemand::array elements, std::size_t offset, int depth) {
    if (depth == kPropertyListDepthLimit) refuseDepth(offset);
    Array array;
    path_.push_back({});
    for (simdjson::simdjson_result<ondemand::value> element : elements) {
      path_.back().index = array.size();
      ondemand::value value = element.value();
      array.append(readAny(value, value.raw_json_token(), depth + 1));
    }
    path_.pop_back();
    return array;
  }

  /// `wrapped`: the object stands under the key "$dictionary" that comes first in another.
  Object readObject(ondemand::object fields, std::size_t offset, int depth, bool wrapped) {
    if (depth > kPropertyListDepthLimit) refuseDepth(offset);
    Object object{.entries = {}, .wrapped = nullptr, .offset = offset, .depth = depth};
    std::vector<std::size_t> keyOffsets;
    path_.push_back({});
    for (simdjson::simdjson_result<ondemand::field> field : fields) {
      const std::size_t keyOffset = offsetOf(field.key().value().raw()) - 1;
      const std::string_view key = field.unescaped_key().value();
      unwrap(object);
      path_.back().key = key;
      checkNew(object.entries, key, keyOffset, keyOffsets);
      keyOffsets.push_back(keyOffset);
      readEntry(object, key, field.value().value(), wrapped ? depth + 1 : depth);
    }
    path_.pop_back();
    return object;
  }

  /// `wrapDepth`: the depth of an object under "$dictionary", which is no level of its own unless `object` itself
  /// stands there.
  void readEntry(Object& object, std::string_view key, ondemand::value value, int wrapDepth) {
    const std::string_view token = value.raw_json_token();
    if (object.entries.empty() && key == kDictionaryForm && token.front() == '{') {
      const std::size_t offset = offsetOf(token.data());
      object.wrapped = std::make_unique<Object>(readObject(value.get_object().value(), offset, wrapDepth, true));
    } else {
      object.entries.set(key, readAny(value, token, object.depth + 1));
    }
  }

  /// Another key follows "$dictionary": it is a key like any other.
  void unwrap(Object& object) {
    if (object.wrapped) object.entries.set(kDictionaryForm, interpreted(std::move(*std::exchange(object.wrapped, {}))));
  }

  void checkNew(const Dictionary& entries, std::string_view key, std::size_t offset,
                const std::vector<std::size_t>& earlier) {
    if (!entries.contains(key)) return;
    std::size_t index = 0;
    for (const auto [otherKey, value] : entries) {
      if (otherKey == key) break;
      ++index;
    }
    throw Refusal{offset, fmt::format("the key \"{}\" is given twice, first at {}", shortened(visible(key), 40),
                                      placeInText(text_, earlier[index], firstLine_))};
  }

  /// The object as the form or dictionary that it is.
  Value interpreted(Object object) {
    if (object.wrapped) return plain(std::move(*object.wrapped));
    if (object.entries.size() == 1 && (*object.entries.begin()).key.starts_with('$')) return formOf(object);
    return plain(std::move(object));
  }

  Value formOf(const Object& object) {
    const auto [name, content] = *object.entries.begin();
    std::string why;
    std::optional<Value> value = fromForm(name, content, why);
    if (!value) throw Refusal{object.offset, std::move(why)};
    return *std::move(value);
  }

  /// The object as the dictionary it spells out, whatever its keys.
  Dictionary plain(Object object) {
    if (object.depth == kPropertyListDepthLimit) refuseDepth(object.offset);
    unwrap(object);
    return std::move(object.entries);
  }

  [[noreturn]] static void refuseDepth(std::size_t offset) {
    throw Refusal{offset, fmt::format("arrays and dictionaries are nested more than {} deep", kPropertyListDepthLimit)};
  }

  ondemand::document& document_;
  std::string_view text_;
  std::size_t firstLine_;
  std::vector<JsonStep> path_;
};

std::string describe(std::string place, const std::vector<JsonStep>& path, std::string_view why) {
  if (!path.empty()) place += " (" + jsonPath(path) + ")";
  return place + ": " + std::string(why);
}

/// Why simdjson refused the text, told by a reading that knows places.
std::string describeSyntaxError(std::string_view text, std::size_t firstLine, const simdjson::simdjson_error& error) {
  const std::optional<SyntaxError> found = findSyntaxError(text);
  return found ? describe(placeInText(text, found->offset, firstLine), {}, found->why) : error.what();
}

}  // namespace

struct JsonReader::Parser {
  ondemand::parser parser;
};

JsonReader::JsonReader() : parser_(std::make_unique<Parser>()) {}
JsonReader::~JsonReader() = default;

std::optional<Value> JsonReader::read(std::string& text, std::string& error, std::size_t firstLine) {
  text.reserve(text.size() + simdjson::SIMDJSON_PADDING);
  try {
    ondemand::document document =
        parser_->parser.iterate(simdjson::padded_string_view(text.data(), text.size(), text.capacity())).value();
    Reading reading(document, text, firstLine);
    try {
      return reading.root();
    } catch (const Refusal& refusal) {
      error = describe(placeInText(text, refusal.offset, firstLine), reading.path(), refusal.why);
    }
  } catch (const simdjson::simdjson_error& refusal) {
    error = describeSyntaxError(text, firstLine, refusal);
  }
  return std::nullopt;
}

}  // namespace tavik::tool

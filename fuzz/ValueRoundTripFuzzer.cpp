// Builds and changes values as directed by the input, together with a model: the exact text of each value, which shares
// nothing with it. In the end each value must match its model, equal its copies, and read back the same after writing,
// unless readers and writers both reject it.

#include <tavik/PropertyList.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "Choices.h"

namespace {

using namespace tavik;

constexpr std::size_t kMostSteps = 150;
constexpr std::size_t kMostText = 1 << 12;  // of one value, which may contain shared parts many times
constexpr double kYear1 = -63113904000;     // start of the year, in seconds since 2001
constexpr double kYear10000 = 252423993600;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << what << std::endl;
  std::abort();
}

// A value with its model.
struct Modelled {
  explicit Modelled(Value made) : value(std::move(made)), text(exact::text(value)) {}
  Modelled(Value made, std::string is) : value(std::move(made)), text(std::move(is)) {}

  Value value;
  std::string text;
};

// Properties of a value that matter to writers and comparisons.
struct Facts {
  std::size_t depth = 0;  // nesting depth of containers
  bool hasNan = false;
  bool hasUnwritableDate = false;

  void add(const Facts& part) {
    depth = std::max(depth, part.depth + 1);
    hasNan = hasNan || part.hasNan;
    hasUnwritableDate = hasUnwritableDate || part.hasUnwritableDate;
  }
};

Facts factsOf(const Value& value) {
  Facts facts;
  if (const auto real = value.ifReal()) facts.hasNan = std::isnan(*real);
  if (const auto date = value.ifDate()) {
    const double seconds = date->secondsSinceReference();
    facts.hasNan = std::isnan(seconds);
    facts.hasUnwritableDate = !(seconds >= kYear1 && seconds < kYear10000);
  }
  if (const Array* array = value.ifArray()) {
    facts.depth = 1;
    for (const Value& each : *array) facts.add(factsOf(each));
  }
  if (const Dictionary* dictionary = value.ifDictionary()) {
    facts.depth = 1;
    for (const auto [key, each] : *dictionary) facts.add(factsOf(each));
  }
  return facts;
}

std::string modelText(Choices& choices) {
  if (choices.often(8)) {
    return std::string(
        choices.wordOf("|a|key|two words|<&>\"'|fifteen letters|sixteen letters.|\r\n\t|\xF0\x9F\x98\x80"
                       "|\xEF\xBF\xBE|YES|5|\\U0041|//"));
  }
  std::string text(choices.text(40));
  if (choices.often(2)) text.insert(0, choices.below(256) * 8, 'x');
  if (choices.often(2)) text.push_back('\0');
  return text;
}

double modelNumber(Choices& choices) {
  static constexpr double kOdd[] = {0.5,    -0.0,   1e16,           1e-7,       HUGE_VAL,   -HUGE_VAL,         5,
                                    0x1p63, kYear1, kYear10000 - 1, kYear10000, kYear1 - 1, 9007199254740993.0};
  return choices.often(8) ? choices.oneOf(kOdd) : choices.number<double>();
}

Value modelScalar(Choices& choices) {
  const std::size_t kind = choices.below(8);
  if (kind == 0) return Value(choices.number<std::int64_t>());
  if (kind == 1) return Value(choices.number<std::int8_t>());
  if (kind == 2) return Value(modelNumber(choices));
  if (kind == 3) return Value(choices.often(8));
  if (kind == 4) return Data(choices.bytes(40));
  if (kind == 5) return Date::sinceReference(modelNumber(choices));
  return modelText(choices);
}

// A dictionary and its entries.
struct DictionaryModel {
  Dictionary dictionary;
  std::vector<std::pair<std::string, Modelled>> entries;

  auto place(const std::string& key) {
    return std::ranges::find(entries, key, &std::pair<std::string, Modelled>::first);
  }
  void store(const std::string& key, const Modelled& part, bool first = false) {
    if (const auto found = place(key); found != entries.end()) {
      found->second = part;
    } else {
      entries.emplace(first ? entries.begin() : entries.end(), key, part);
    }
  }
  bool remove(const std::string& key) {
    const auto found = place(key);
    if (found == entries.end()) return false;
    entries.erase(found);
    return true;
  }

  [[nodiscard]] Modelled whole() const {
    std::string text = "{";
    for (const auto& [key, part] : entries) text += exact::entry(key, part.text);
    return {dictionary, text + '}'};
  }
};

struct ArrayModel {
  Array array;
  std::vector<Modelled> elements;

  [[nodiscard]] Modelled whole() const {
    std::string text = "(";
    for (const Modelled& part : elements) text += part.text;
    return {array, text + ')'};
  }
};

class Workshop {
 public:
  explicit Workshop(Choices choices) : choices_(choices) {}

  void run() {
    for (std::size_t step = 0; step < kMostSteps && !choices_.done(); ++step) take();
    finish(dictionary_.whole());
    finish(array_.whole());
    for (const Modelled& each : made_) require(exact::text(each.value) == each.text, "a value changed by itself");
    for (std::size_t last = made_.size(); last > 0 && last + 4 > made_.size(); --last) examine(made_[last - 1]);
    compare();
  }

 private:
  void take() {
    const std::size_t step = choices_.below(16);
    if (step == 0) return finish(Modelled(modelScalar(choices_)));
    if (step == 1) return finish(dictionary_.whole());
    if (step == 2) return finish(array_.whole());
    if (step == 3) return nest();
    if (step == 4) dictionary_ = {};
    if (step == 5) array_ = {};
    if (step > 9) return changeDictionary();
    if (step > 5) changeArray();
  }

  // Keeps a value for use as a part of others, unless it is too large.
  void finish(Modelled whole) {
    require(exact::text(whole.value) == whole.text, "a value differs from its model");
    if (whole.text.size() > kMostText) return;
    made_.push_back(std::move(whole));
  }

  // Nests the last value in containers.
  void nest() {
    if (made_.empty()) return;
    const bool inArrays = choices_.often(8);
    const std::size_t count = choices_.often(4) ? choices_.below(256) * 3 : choices_.below(8);
    Value inner = made_.back().value;
    for (std::size_t rest = count; rest > 0; --rest) {
      inner = inArrays ? Value(Array::of(inner)) : Value(Dictionary{{"in", inner}});
    }
    finish(Modelled(inner));
  }

  Modelled part() {
    if (made_.empty() || choices_.often(5)) return Modelled(modelScalar(choices_));
    return made_[made_.size() - 1 - choices_.below(std::min<std::size_t>(made_.size(), 256))];
  }

  // A key, and the form in which a dictionary stores it: malformed UTF-8 is replaced.
  std::pair<std::string, std::string> key() {
    std::string raw = choices_.often(8) ? "key " + std::to_string(choices_.below(40)) : modelText(choices_);
    std::string kept(*Value(raw).ifString());
    return {std::move(raw), std::move(kept)};
  }

  void changeDictionary() {
    const Dictionary before = dictionary_.dictionary;
    const std::string textBefore = exact::text(before);
    if (textBefore.size() > kMostText) dictionary_ = {};
    const auto [raw, kept] = key();
    const Modelled stored = part();
    changeEntry(raw, kept, stored);
    require(exact::text(before) == textBefore, "a change shows in a copy");
    lookUp(kept);
  }

  void changeEntry(const std::string& raw, const std::string& kept, const Modelled& stored) {
    auto& [dictionary, entries] = dictionary_;
    switch (choices_.below(9)) {
      case 0:
        dictionary.set(raw, stored.value);
        return dictionary_.store(kept, stored);
      case 1:
        dictionary.set(raw, &stored.value);
        return dictionary_.store(kept, stored);
      case 2:
        dictionary.setFirst(raw, stored.value);
        return dictionary_.store(kept, stored, true);
      case 3:
        dictionary.setOrRemove(raw, &stored.value);
        return dictionary_.store(kept, stored);
      case 4:
        dictionary.setOrRemove(kept, nullptr);
        dictionary_.remove(kept);
        return;
      case 5:
        return require(dictionary.erase(kept) == dictionary_.remove(kept), "erase tells something else");
      case 6:
        return dictionary.reserve(choices_.below(64));
      case 7: {
        const Dictionary* other = stored.value.ifDictionary();
        const Dictionary added = other == nullptr ? dictionary : *other;
        dictionary.setAll(added);
        for (const auto [key, value] : added) dictionary_.store(std::string(key), Modelled(value));
        return;
      }
      default:
        return;
    }
  }

  void lookUp(const std::string& key) {
    const auto& dictionary = dictionary_.dictionary;
    const auto modelled = dictionary_.place(key);
    const Value* found = dictionary.find(key);
    require((found != nullptr) == (modelled != dictionary_.entries.end()), "a key is there, or not");
    require(found == nullptr || exact::text(*found) == modelled->second.text, "a key finds something else");
    require(dictionary.size() == dictionary_.entries.size(), "another number of entries");
  }

  void changeArray() {
    auto& [array, elements] = array_;
    const Array before = array;
    const std::string textBefore = exact::text(before);
    if (textBefore.size() > kMostText) array_ = {};
    const Modelled stored = part();
    const std::size_t index = choices_.below(elements.size() + 1 < 256 ? elements.size() + 1 : 256);
    if (choices_.often(10)) {
      array.append(stored.value);
      elements.push_back(stored);
    } else if (choices_.often(2)) {
      array.reserve(choices_.below(64));
    } else {
      try {
        array.set(index, stored.value);
        elements.at(index) = stored;
      } catch (const std::out_of_range&) {
        require(index == elements.size(), "an element could not be set");
      }
    }
    require(exact::text(before) == textBefore, "a change shows in a copy");
    require(array.size() == elements.size(), "another number of elements");
  }

  void examine(const Modelled& made) const {
    const Facts facts = factsOf(made.value);
    const Value copy = made.value;
    require(copy == made.value || facts.hasNan, "a value is not equal to its copy");
    for (const auto format : {PropertyListFormat::kXml, PropertyListFormat::kBinary}) roundTrip(made, facts, format);
    list(made, facts);
  }

  static void roundTrip(const Modelled& made, const Facts& facts, PropertyListFormat format) {
    std::string error;
    const auto once = writePropertyList(made.value, format, error);
    require(once.has_value() == error.empty(), "a refusal without a reason");
    const bool isWritable = facts.depth <= std::size_t{kPropertyListDepthLimit} && !facts.hasUnwritableDate;
    require(once.has_value() == isWritable, "a value is written, or refused, that should not be");
    if (!once) return;
    const auto again = readPropertyList(once->bytes(), error);
    require(again.has_value(), "the output cannot be read");
    require(exact::text(*again) == made.text, "the output reads back different");
    require((*again == made.value) == !facts.hasNan, "the output does not read back equal");
    require(writePropertyList(*again, format, error) == once, "it is written otherwise the second time");
  }

  // Text has no numbers, dates and booleans, so the descriptions are compared. The description of a single string has
  // no quotes.
  static void list(const Modelled& made, const Facts& facts) {
    const Value list(Array::of(made.value));
    const std::string listing = description(&list);
    std::string error;
    const auto again = readPropertyList({reinterpret_cast<const std::uint8_t*>(listing.data()), listing.size()}, error);
    require(again.has_value() == (facts.depth < std::size_t{kPropertyListDepthLimit}), "a listing is read, or refused");
    require(!again || description(&*again) == listing, "a listing reads as something else");
  }

  void compare() const {
    for (std::size_t index = 1; index < std::min<std::size_t>(made_.size(), 20); ++index) {
      const Modelled& left = made_[index - 1];
      const Modelled& right = made_[index];
      const bool equal = left.value == right.value;
      require(equal == (right.value == left.value), "equality hangs on the order");
      require(equal || left.text != right.text || factsOf(left.value).hasNan, "the same is not equal");
      require(!equal || left.value.kind() == right.value.kind(), "another kind is equal");
    }
  }

  Choices choices_;
  DictionaryModel dictionary_;
  ArrayModel array_;
  std::vector<Modelled> made_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Workshop(Choices({data, size})).run();
  return 0;
}

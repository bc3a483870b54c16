// Compares the facts about predicates with their behavior. Each sample is a call that passes. Calls derived from it
// omit the value, an entry or a reference, or change its kind, and must have the outcome stated by the facts.

#include <tavik/PredicateFacts.h>

#include <functional>
#include <map>
#include <set>

#include "support/Cases.h"
#include "support/TestSupport.h"

namespace tavik {
namespace {

constexpr Kind kAllKinds[] = {Kind::kString, Kind::kNumber, Kind::kBoolean,   Kind::kData,
                              Kind::kDate,   Kind::kArray,  Kind::kDictionary};

const Value& ofKind(Kind kind) {
  static const Value values[] = {
      "text", Value(7), Value(true), Data{7}, Date::sinceReference(7), Array::of("text"), Dictionary{{"key", "text"}}};
  return values[static_cast<std::size_t>(kind)];
}

/// A call that passes.
struct Sample {
  std::string word;
  Value attribute;
  std::optional<Dictionary> references;
  std::optional<Value> value;
};

std::vector<Sample> samples() {
  const Value yes(true);
  std::vector<Sample> all = {{"controlBitCheck", Data(std::vector<std::uint8_t>(8192)), {}, parsed("( 0, \"253\" )")}};
  for (const Case& c : casesIn("predicate-samples.json")) {
    const Value* value = c.entries.find("value");
    const Dictionary* references = c.entries.findDictionary("references");
    all.push_back({c["word"], *c.entries.find("attribute"),
                   references == nullptr ? std::nullopt : std::optional(*references),
                   value == nullptr ? std::nullopt : std::optional(*value)});
  }
  for (const Value& scalar : {Value(1), yes, Value("1 unit")}) {
    for (const char* word : {"equal", "equalLong"}) all.push_back({word, scalar, {}, scalar});
    for (const char* word : {"nandSizeCheck", "minimumNandSize"}) all.push_back({word, "1e9", {}, scalar});
    for (const char* word : {"systemPartitionSizeCheck", "varnockSystemPartitionSizeCheck"}) {
      all.push_back({word, Value(1'048'576), {}, scalar});
    }
  }
  return all;
}

enum class Outcome { kPasses, kFails, kUnknown, kRangeFault, kArgumentFault };

Outcome outcomeOf(const Sample& sample) {
  static const PredicateKernel kernel(std::make_shared<TestPlatform>());
  try {
    const auto record =
        kernel.perform(sample.word, &sample.attribute, sample.references ? &*sample.references : nullptr,
                       sample.value ? &*sample.value : nullptr);
    if (!record) return Outcome::kUnknown;
    return record->find("result")->ifBoolean().value() ? Outcome::kPasses : Outcome::kFails;
  } catch (const std::out_of_range&) {
    return Outcome::kRangeFault;
  } catch (const std::invalid_argument&) {
    return Outcome::kArgumentFault;
  }
}

Outcome outcomeOf(Without without) {
  if (without == Without::kPasses || without == Without::kSame) return Outcome::kPasses;
  return without == Without::kFault ? Outcome::kArgumentFault : Outcome::kFails;  // no sample expects 0 or false
}

/// Calls the predicate with changed values. Each function changes a part of the sample's value; `put` inserts the part.
class ValueProbe {
 public:
  using Put = std::function<Value(Value)>;

  explicit ValueProbe(const Sample& sample) : sample_(sample) {}

  void probe(const ValueFacts& facts, const Value& value, const Put& put) {
    EXPECT_TRUE(facts.kinds.contains(value.kind()));
    for (const Kind kind : kAllKinds) {
      const bool fails = !facts.kinds.contains(kind) && facts.otherKind == ValueFacts::OtherKind::kFails;
      if (fails) {
        EXPECT_EQ(with(put(ofKind(kind))), Outcome::kFails) << "kind " << static_cast<int>(kind);
      }
    }
    if (value.isString()) probeText(facts, *value.ifString(), put);
    if (const Array* array = value.ifArray()) probeElements(facts, *array, put);
    if (const Dictionary* dictionary = value.ifDictionary()) probeEntries(facts, *dictionary, put);
  }

  /// The outcomes of calls without an entry.
  std::map<const EntryFacts*, std::set<Outcome>> withoutEntry;

 private:
  [[nodiscard]] Outcome with(const Value& value) const {
    return outcomeOf({sample_.word, sample_.attribute, sample_.references, value});
  }

  void probeEmpty(const ValueFacts& facts, const Value& empty) const {
    using enum ValueFacts::Empty;
    if (facts.empty == kOrdinary) {
      // No sample has an empty attribute. An empty string that is read as a number is 0.
      if (facts.readAs == ValueFacts::ReadAs::kItself && !PredicateFacts::find(sample_.word)->forwards) {
        EXPECT_EQ(with(empty), Outcome::kFails);
      }
      return;
    }
    EXPECT_EQ(with(empty), facts.empty == kPassesAlways ? Outcome::kPasses : Outcome::kFails);
    if (facts.empty != kPassesEmptyAlone) return;
    const Value attribute = facts.elements->kinds == Kinds::any() ? Value(Array()) : Value(Dictionary());
    EXPECT_EQ(outcomeOf({sample_.word, attribute, {}, empty}), Outcome::kPasses);
  }

  void probeText(const ValueFacts& facts, std::string_view text, const Put& put) const {
    probeEmpty(facts, put(""));
    const std::string whole(text);
    if (facts.characters != 0) {
      EXPECT_EQ(text.size(), facts.characters);
    }
    if (facts.characters != 0 || facts.inPairs) {
      EXPECT_EQ(with(put(whole + "0")), Outcome::kFails);
      EXPECT_EQ(with(put(whole.substr(1))), Outcome::kFails);
    }
    EXPECT_EQ(text.find_first_of(facts.noneOf), std::string_view::npos);
    if (!facts.onlyOf.empty()) {
      EXPECT_EQ(text.find_first_not_of(facts.onlyOf), std::string_view::npos);
      EXPECT_EQ(with(put("<" + whole + ">")), Outcome::kFails);
    }
  }

  void probeElements(const ValueFacts& facts, const Array& array, const Put& put) {
    probeEmpty(facts, put(Array()));
    if (facts.elements == nullptr || facts.elements->kinds == Kinds::any()) return;
    const bool every = facts.elementsNeeded == ValueFacts::Elements::kEvery;
    const std::size_t last = array.size() - 1;  // matches in all samples
    probe(*facts.elements, array.at(last), [&](Value element) {
      Array changed = array;
      changed.set(last, std::move(element));
      return put(Value(changed));
    });
    EXPECT_EQ(with(put(Array::of(array.at(last), ofKind(Kind::kArray)))), every ? Outcome::kFails : Outcome::kPasses);
    const std::int32_t limit = facts.elements->numberLimit;
    if (limit == 0) return;
    EXPECT_EQ(with(put(Array::of(Value(limit - 1)))), Outcome::kPasses);
    for (const std::int32_t number : {-1, limit}) {
      EXPECT_EQ(with(put(Array::of(Value(number)))), Outcome::kRangeFault) << number;
    }
  }

  void probeEntries(const ValueFacts& facts, const Dictionary& dictionary, const Put& put) {
    probeEmpty(facts, put(Dictionary()));
    for (const auto item : dictionary) {
      const std::string key(item.key);
      SCOPED_TRACE(key);
      const auto putEntry = [&](Value changed) {
        Dictionary copy = dictionary;
        copy.set(key, std::move(changed));
        return put(Value(copy));
      };
      if (facts.tableEntries != nullptr) {
        const auto putKey = [&](const Value& name) { return put(Dictionary{{*name.ifString(), item.value}}); };
        probeText(*facts.tableKeys, key, putKey);
        probe(*facts.tableEntries, item.value, putEntry);
      }
      for (const EntryFacts& entry : facts.entries) {
        if (entry.key != key) continue;
        if (entry.value->kinds != Kinds::any()) probe(*entry.value, item.value, putEntry);
        Dictionary less = dictionary;
        less.erase(key);
        withoutEntry[&entry].insert(with(put(Value(less))));
      }
    }
    if (facts.entries.empty()) return;
    Dictionary more = dictionary;
    more.set("entry of another name", ofKind(Kind::kDate));
    EXPECT_EQ(with(put(Value(more))), Outcome::kPasses);
    if (facts.isMask) {
      EXPECT_EQ(with(put(parsed("{ Mask = <ff00>; Result = <0f>; }"))), Outcome::kFails);
    }
  }

  const Sample& sample_;
};

void probeReferences(const Sample& sample, const PredicateFacts& facts) {
  Sample other = sample;
  other.references = sample.references ? std::nullopt : std::optional(Dictionary{{"A", "b"}});
  EXPECT_EQ(outcomeOf(other), Outcome::kUnknown);
  if (!facts.takesReferences) return;
  for (const std::string_view name : facts.references) {
    SCOPED_TRACE(name);
    Sample changed = sample;
    changed.references->erase(name);
    EXPECT_EQ(outcomeOf(changed), Outcome::kFails);
    for (const Kind kind : kAllKinds) {
      changed.references->set(name, ofKind(kind));
      if (kind != Kind::kString) {
        EXPECT_NE(outcomeOf(changed), Outcome::kPasses);
      }
    }
  }
  Sample more = sample;
  more.references->set("another", "b");
  EXPECT_EQ(outcomeOf(more), facts.readsTheOnlyReference ? Outcome::kFails : Outcome::kPasses);
  more.references = Dictionary();
  EXPECT_EQ(outcomeOf(more), facts.readsTheOnlyReference ? Outcome::kRangeFault : Outcome::kFails);
}

void probeAttribute(const Sample& sample, const PredicateFacts& facts) {
  EXPECT_TRUE(facts.attribute.kinds.contains(sample.attribute.kind()));
  for (const Kind kind : kAllKinds) {
    Sample changed = sample;
    changed.attribute = ofKind(kind);
    if (!facts.attribute.kinds.contains(kind)) {
      EXPECT_EQ(outcomeOf(changed), Outcome::kFails);
    }
    if (!facts.readsAttribute) {
      EXPECT_EQ(outcomeOf(changed), Outcome::kPasses);
    }
  }
}

TEST(PredicateFactsTest, AllPredicates) {
  std::map<std::string_view, std::set<Kind>> valueKinds;
  std::map<const EntryFacts*, std::set<Outcome>> withoutEntry;
  for (const Sample& sample : samples()) {
    SCOPED_TRACE(sample.word + " of " + description(&sample.attribute).substr(0, 80));
    const PredicateFacts* facts = PredicateFacts::find(sample.word);
    ASSERT_NE(facts, nullptr);
    EXPECT_EQ(outcomeOf(sample), Outcome::kPasses);
    EXPECT_EQ(facts->takesReferences, sample.references.has_value());
    EXPECT_EQ(facts->withoutValue == Without::kSame, !sample.value);
    probeAttribute(sample, *facts);
    probeReferences(sample, *facts);
    Sample changed = sample;
    changed.value = std::nullopt;
    const bool passesAgainstZero = sample.word == "greaterThan";  // the sample's attribute is also greater than 0
    if (!passesAgainstZero) {
      EXPECT_EQ(outcomeOf(changed), outcomeOf(facts->withoutValue));
    }
    changed.value = ofKind(Kind::kDate);
    if (facts->withoutValue == Without::kSame) {
      EXPECT_EQ(outcomeOf(changed), Outcome::kPasses);
    }
    if (!sample.value) continue;
    valueKinds[facts->word].insert(sample.value->kind());
    ValueProbe probe(sample);
    probe.probe(facts->value, *sample.value, [](Value value) { return value; });
    for (const auto& [entry, outcomes] : probe.withoutEntry) {
      withoutEntry[entry].insert(outcomes.begin(), outcomes.end());
    }
  }
  for (const PredicateFacts& facts : PredicateFacts::all()) {
    SCOPED_TRACE(facts.word);
    for (const Kind kind : kAllKinds) {
      if (facts.withoutValue == Without::kSame) continue;
      EXPECT_EQ(facts.value.kinds.contains(kind), valueKinds[facts.word].contains(kind)) << static_cast<int>(kind);
    }
  }
  for (const auto& [entry, outcomes] : withoutEntry) {
    if (entry->without != Without::kSame) {
      EXPECT_TRUE(outcomes.contains(outcomeOf(entry->without))) << entry->key;
    }
  }
  EXPECT_EQ(withoutEntry.size(), 11U);  // all entries of all predicates
}

TEST(PredicateFactsTest, LookUp) {
  std::string_view before;
  for (const PredicateFacts& facts : PredicateFacts::all()) {
    EXPECT_LT(before, facts.word);
    EXPECT_EQ(PredicateFacts::find(facts.word), &facts);
    EXPECT_EQ(facts.firstReferenceMayBeValue, ZRTTavikKernel::useReferenceForValue(facts.word));
    EXPECT_FALSE(facts.meaning.empty());
    before = facts.word;
  }
  for (const char* word : {"", "Equal", "equal:value:", "checkNotExist", "NOT"}) {
    EXPECT_EQ(PredicateFacts::find(word), nullptr) << word;
  }
}

}  // namespace
}  // namespace tavik

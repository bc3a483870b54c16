/// @file
/// The records of a check run under construction.
#ifndef TAVIK_KERNEL_RECORDS_H
#define TAVIK_KERNEL_RECORDS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string_view>
#include <utility>

#include "values/DictionaryTemplate.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

/// All records and their texts are cut from the same slabs.
class Records {
 public:
  /// most: the maximum number of records.
  explicit Records(std::size_t most) : slabs_(most * kBytesEach), records_(most) {}

  void add(Dictionary&& record) noexcept {
    pass_ = pass_ && booleanValue(record.find("result"));
    records_.add(Value(std::move(record)));
  }
  void add(const Value& rule, bool result, Value&& actual, Value&& expected) {
    pass_ &= result;
    Value name = detail::ValueAccess::copied(rule, slabs_);
    detail::SmallDictionary record(detail::Entries::make(kEntries, slabs_));
    record.add("rule", std::move(name));
    record.add("result", Value(result));
    record.add("actual", std::move(actual));
    record.add("expected", std::move(expected));
    records_.add(detail::ValueAccess::valueOf(std::move(record).take()));
  }
  /// made: made by `templateFor`, with the rule and, here, with the expected text.
  void add(const detail::DictionaryTemplate& made, bool result, Value&& actual) {
    records_.add(detail::ValueAccess::valueOf(copy(made, result, std::move(actual))));
  }
  void add(const detail::DictionaryTemplate& made, bool result, Value&& actual, Value&& expected) {
    detail::Entries* record = copy(made, result, std::move(actual));
    record->begin()[kExpected].value = std::move(expected);
    records_.add(detail::ValueAccess::valueOf(record));
  }
  /// A template for the records of a rule.
  static detail::DictionaryTemplate templateFor(const Value& rule, const Value& expected) {
    return detail::DictionaryTemplate(
        Dictionary{{"rule", rule}, {"result", Value(false)}, {"actual", ""}, {"expected", expected}});
  }
  void setInLast(std::string_view key, Value value) {
    Dictionary record = *last().ifDictionary();
    records_.last() = Value();  // so that the record has one owner and is not copied
    record.set(key, std::move(value));
    records_.last() = std::move(record);
  }

  [[nodiscard]] const Value& last() noexcept { return records_.last(); }
  [[nodiscard]] detail::SlabCutter& slabs() noexcept { return slabs_; }
  /// Whether all records pass.
  [[nodiscard]] bool pass() const noexcept { return pass_; }
  Array take() && noexcept { return std::move(records_).take(); }

 private:
  static constexpr std::size_t kEntries = 4;
  static constexpr std::size_t kResult = 1;
  static constexpr std::size_t kActual = 2;
  static constexpr std::size_t kExpected = 3;
  static constexpr std::size_t kBytesEach = 320;

  detail::Entries* copy(const detail::DictionaryTemplate& made, bool result, Value&& actual) {
    pass_ &= result;
    detail::Entries* record = made.copy(slabs_);
    new (&record->begin()[kResult].value) Value(result);
    new (&record->begin()[kActual].value) Value(std::move(actual));
    return record;
  }

  detail::SlabCutter slabs_;
  detail::FixedArray records_;
  bool pass_ = true;
};

}  // namespace tavik

#endif

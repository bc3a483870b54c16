/// @file
/// The records of a check run under construction.
#ifndef TAVIK_KERNEL_RECORDS_H
#define TAVIK_KERNEL_RECORDS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string_view>
#include <utility>

#include "values/DictionarySheet.h"
#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {

/// All records and their texts are cut from the same slabs, or copied from a sheet. No other thread can see them before
/// this object is destroyed, except for attributes that are forwarded to the station.
class Records {
 public:
  using Place = detail::DictionarySheet::Place;

  /// most: the maximum number of records. sheet: filled by `addTo`; may be null.
  explicit Records(std::size_t most, const detail::DictionarySheet* sheet = nullptr)
      : slabs_(most * (sheet == nullptr ? kBytesEach : kBytesOfActual), detail::Visibility::kOneThread),
        sheet_(sheet),
        records_(most, &slabs_) {}

  void add(Dictionary&& record) noexcept {
    pass_ = pass_ && booleanValue(record.find("result"));
    records_.add(Value(std::move(record)));
  }
  void add(const Value& rule, bool result, Value&& actual, Value&& expected) {
    pass_ &= result;
    Value name = detail::ValueAccess::copied(rule, &slabs_);
    detail::SmallDictionary record(detail::Entries::make(kEntries, slabs_));
    record.add("rule", std::move(name));
    record.add("result", Value(result));
    record.add("actual", std::move(actual));
    record.add("expected", std::move(expected));
    records_.add(detail::ValueAccess::valueOf(record.take()));
  }
  /// A place for the copies of a record. What depends on the device has any value.
  static Place addTo(detail::DictionarySheet& sheet, const Value& rule, bool result, const Value& actual,
                     const Value& expected) {
    return sheet.add(Dictionary{{"rule", rule}, {"result", Value(result)}, {"actual", actual}, {"expected", expected}});
  }
  /// Adds the next record of the sheet: a complete one, which passes, or one with what depends on the device.
  void add(const Place& place) { records_.add(detail::ValueAccess::valueOf(sheet_.take(place))); }
  void add(const Place& place, bool result, Value&& actual) {
    records_.add(detail::ValueAccess::valueOf(copy(place, result, std::move(actual))));
  }
  void add(const Place& place, bool result, Value&& actual, Value&& expected) {
    detail::Entries* record = copy(place, result, std::move(actual));
    record->begin()[kExpected].value = std::move(expected);
    records_.add(detail::ValueAccess::valueOf(record));
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
  static constexpr std::size_t kBytesOfActual = 32;

  detail::Entries* copy(const Place& place, bool result, Value&& actual) {
    pass_ &= result;
    detail::Entries* record = sheet_.take(place);
    new (&record->begin()[kResult].value) Value(result);
    new (&record->begin()[kActual].value) Value(std::move(actual));
    return record;
  }

  detail::SlabCutter slabs_;
  detail::SheetCopy sheet_;
  detail::FixedArray records_;
  bool pass_ = true;
};

}  // namespace tavik

#endif

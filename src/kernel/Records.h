/// @file
/// The records of a check run under construction.
#ifndef TAVIK_KERNEL_RECORDS_H
#define TAVIK_KERNEL_RECORDS_H

#include <tavik/Value.h>

#include <cstddef>
#include <string_view>
#include <utility>

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
  /// attributes: for the station; may be null.
  void add(const Value& rule, bool result, Value&& actual, Value&& expected, const Value* attributes = nullptr) {
    pass_ = pass_ && result;
    Value name = detail::ValueAccess::copied(rule, slabs_);
    detail::SmallDictionary record(detail::Entries::make(kEntries + (attributes == nullptr ? 0 : 1), slabs_));
    record.add("rule", std::move(name));
    record.add("result", Value(result));
    record.add("actual", std::move(actual));
    record.add("expected", std::move(expected));
    if (attributes != nullptr) record.add("attributes", Value(*attributes));
    records_.add(detail::ValueAccess::valueOf(std::move(record).take()));
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
  static constexpr std::size_t kBytesEach = 320;

  detail::SlabCutter slabs_;
  detail::FixedArray records_;
  bool pass_ = true;
};

}  // namespace tavik

#endif

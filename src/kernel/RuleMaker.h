/// @file
/// Prepares the rules of one device, one after the other.
#ifndef TAVIK_KERNEL_RULE_MAKER_H
#define TAVIK_KERNEL_RULE_MAKER_H

#include <tavik/Value.h>

#include <cstdint>

#include "kernel/PreparedRule.h"
#include "kernel_private/EntryList.h"
#include "values/MaybeAbsent.h"

namespace tavik {

class RuleMaker {
 public:
  explicit RuleMaker(const Dictionary& library) noexcept : library_(library) {}

  PreparedRule make(const EntryList::Entry& local) {
    const Value* definition =
        detail::ValueAccess::find(library_, detail::Sought(*local.name), local.hash, likelyPosition_);
    if (definition != nullptr) likelyPosition_ = detail::ValueAccess::positionOf(library_, *definition) + 1;
    return {*local.name, *local.value->ifDictionary(), dictionaryOf(definition)};
  }

 private:
  const Dictionary& library_;
  std::uint32_t likelyPosition_ = 0;  // documents often list their rules in the same order
};

}  // namespace tavik

#endif

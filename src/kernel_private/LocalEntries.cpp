#include "kernel_private/LocalEntries.h"

#include <algorithm>

#include "kernel_private/DeviceLayers.h"
#include "values/Format.h"

namespace tavik {

LocalEntries::LocalEntries(const Dictionary& rules, const Selection& selection) { assemble(rules, selection); }

LocalEntries::LocalEntries(const Dictionary& rules, const Dictionary& device) {
  if (const auto selection = select(rules, device, failure_)) assemble(rules, *selection);
}

void LocalEntries::assemble(const Dictionary& rules, const Selection& selection) {
  DeviceLayers layers(rules);
  const auto all = layers.of(selection, &failure_);
  if (failure_) return;
  entries_ = EntryList(all).take();
  const auto isMalformed = [](const EntryList::Entry& entry) { return entry.value->ifDictionary() == nullptr; };
  const auto found = std::ranges::find_if(entries_, isMalformed);
  if (found == entries_.end()) return;
  failure_ = malformed(*found->name->ifString());
  entries_.erase(found + 1, entries_.end());
}

std::optional<Error> LocalEntries::report(const PredicateKernel& kernel) const {
  if (kernel.platform().logs()) {
    for (const EntryList::Entry& entry : entries_) log(kernel.platform(), "making local rule %@", *entry.name);
  }
  return failure_ ? std::optional(kernel.handleError(failure_->code, failure_->message)) : std::nullopt;
}

Dictionary completedRule(const Dictionary* definition, const Dictionary& localEntry) {
  Dictionary rule = definition == nullptr ? Dictionary() : *definition;
  if (const Value* value = localEntry.find("value")) rule.set("value", *value);
  return rule;
}

}  // namespace tavik

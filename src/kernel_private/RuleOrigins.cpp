// Device rule assembly once more, with a note of every layer that an entry comes from.

#include <tavik/RuleOrigins.h>

#include <utility>

#include "kernel_private/Assembly.h"
#include "values/DictionaryKey.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

// An entry list that knows of each entry which ones it replaced.
class TracedEntries {
 public:
  void reserve(std::size_t count) { list_.reserve(count); }

  void enter(LocalEntry::Layer layer, std::string_view set = {}) noexcept {
    layer_ = layer;
    set_ = set;
  }

  void set(const Value& name, const Value& value) {
    list_.set(name, value);
    const std::size_t position = list_.positionOf(name);
    if (position == traces_.size()) traces_.emplace_back();
    traces_[position].push_back({layer_, set_, &value});
  }

  void setAll(const Dictionary& layer) {
    reserve(layer.size());
    for (auto item = layer.begin(); item != layer.end(); ++item) set(item.key(), item.value());
  }

  void erase(std::size_t position) {
    sets_.push_back({*list_.all()[position].name->ifString(), std::move(traces_[position])});
    list_.erase(position);
  }

  [[nodiscard]] const std::vector<EntryList::Entry>& all() const noexcept { return list_.all(); }
  std::vector<LocalEntry> takeTrace(std::size_t position) noexcept { return std::move(traces_[position]); }
  std::vector<RuleSetOrigin> takeSets() noexcept { return std::move(sets_); }

 private:
  EntryList list_;
  std::vector<std::vector<LocalEntry>> traces_;  // of the entry at the same position
  std::vector<RuleSetOrigin> sets_;
  LocalEntry::Layer layer_ = LocalEntry::Layer::kPartNumber;
  std::string_view set_;
};

std::optional<RuleOrigins::Device> originsOf(const Dictionary& library, const Dictionary& localRules,
                                             const Selection& selection, std::optional<AssemblyFailure>& failure) {
  TracedEntries list;
  if (!addLayers(localRules, selection, list, failure)) return std::nullopt;
  RuleOrigins::Device device;
  device.rules.reserve(list.all().size());
  for (std::size_t position = 0; position < list.all().size(); ++position) {
    const EntryList::Entry& entry = list.all()[position];
    if (entry.name == nullptr) continue;
    const std::string_view name = *entry.name->ifString();
    if (dictionaryUnder(*entry.value, name, failure) == nullptr) return std::nullopt;
    device.rules.push_back({name, list.takeTrace(position),
                            dictionaryOf(ValueAccess::find(library, detail::Sought(*entry.name), entry.hash))});
  }
  device.sets = list.takeSets();
  return device;
}

}  // namespace

const Value* LocalEntry::value() const noexcept { return find(dictionaryOf(content), "value"); }

const Value* RuleOrigin::value() const noexcept {
  const Value* local = entries.back().value();
  return local != nullptr ? local : find(definition, "value");
}

Dictionary RuleOrigin::rule() const { return completedRule(definition, *entries.back().content->ifDictionary()); }

RuleOrigins::RuleOrigins(Dictionary library, Dictionary localRules)
    : library_(std::move(library)), localRules_(std::move(localRules)) {}

std::optional<RuleOrigins::Device> RuleOrigins::of(const Value* partNumber, const Value* region,
                                                   std::optional<Error>& error) const {
  std::optional<AssemblyFailure> failure;
  const auto selection = select(localRules_, partNumber, region, failure);
  auto device = selection ? originsOf(library_, localRules_, *selection, failure) : std::nullopt;
  if (!device) error = Error(failure->code, failure->message);
  return device;
}

std::vector<DeviceKind> RuleOrigins::deviceKinds() const {
  const Dictionary* partNumbers = localRules_.findDictionary("MPNRules");
  if (partNumbers == nullptr) return {{nullptr, nullptr}};
  std::vector<DeviceKind> kinds;
  for (auto item = partNumbers->begin(); item != partNumbers->end(); ++item) {
    const Dictionary* regions = dictionaryOf(find(item.value().ifDictionary(), kRegionRules));
    if (regions == nullptr) {
      kinds.push_back({&item.key(), nullptr});
      continue;
    }
    for (auto region = regions->begin(); region != regions->end(); ++region) {
      kinds.push_back({&item.key(), &region.key()});
    }
  }
  return kinds;
}

}  // namespace tavik

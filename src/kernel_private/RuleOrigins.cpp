// Device rule assembly that records the layers of every entry.

#include <tavik/RuleOrigins.h>

#include <utility>

#include "kernel_private/DeviceLayers.h"
#include "kernel_private/EntryList.h"
#include "kernel_private/LocalEntries.h"
#include "values/DictionaryKey.h"
#include "values/MaybeAbsent.h"
#include "values/ValueAccess.h"

namespace tavik {

namespace {

using detail::ValueAccess;

std::optional<RuleOrigins::Device> originsOf(const Dictionary& library, std::span<const LocalLayer> layers,
                                             std::optional<AssemblyFailure>& failure) {
  EntryList list;
  std::vector<std::vector<LocalEntry>> traces;  // for the entry at the same position
  RuleOrigins::Device device;
  for (const LocalLayer& layer : layers) {
    if (layer.layer == LocalEntry::Layer::kSet) {
      device.sets.push_back({layer.set, std::move(traces[list.erase(layer.set)])});
    }
    list.reserve(layer.size);
    for (Dictionary::Iterator item = layer.first; item != layer.last; ++item) {
      const std::size_t position = list.set(item.key(), item.value());
      if (position == traces.size()) traces.emplace_back();
      traces[position].push_back({layer.layer, layer.set, &item.value()});
    }
  }
  device.rules.reserve(list.all().size());
  for (std::size_t position = 0; position < list.all().size(); ++position) {
    const EntryList::Entry& entry = list.all()[position];
    if (entry.name == nullptr) continue;
    const std::string_view name = *entry.name->ifString();
    if (entry.value->ifDictionary() == nullptr) {
      failure = malformed(name);
      return std::nullopt;
    }
    device.rules.push_back({name, std::move(traces[position]),
                            dictionaryOf(ValueAccess::find(library, detail::Sought(*entry.name), entry.hash))});
  }
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
  std::optional<Device> device;
  if (const auto selection = select(localRules_, partNumber, region, failure)) {
    DeviceLayers layers(localRules_);
    const auto all = layers.of(*selection, &failure);
    if (!failure) device = originsOf(library_, all, failure);
  }
  if (failure) error = Error(failure->code, failure->message);
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

void RuleOrigins::forEachKind(const std::function<void(const DeviceKind&, std::span<const LocalLayer>)>& visit) const {
  DeviceLayers layers(localRules_);
  for (const DeviceKind& kind : deviceKinds()) {
    std::optional<AssemblyFailure> unknown;
    const auto selection = select(localRules_, kind.partNumber, kind.region, unknown);
    if (selection) visit(kind, layers.of(*selection, nullptr));
  }
}

}  // namespace tavik

#include "rules/KindRules.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <span>
#include <unordered_set>
#include <utility>

#include "rules/DeviceKinds.h"

namespace tavik::tool {

using enum LocalEntry::Layer;

namespace {

constexpr std::size_t kMostWithoutIndex = 8;

using Names = std::vector<std::string_view>;

std::string_view textOf(const Value* name) { return name == nullptr ? std::string_view() : *name->ifString(); }

Names setNamesIn(const LocalLayer& layer) {
  Names names;
  for (auto item = layer.first; item != layer.last; ++item) {
    if (namesSet((*item).key)) names.push_back((*item).key);
  }
  return names;
}

bool isOtherThanDictionary(const Value* value) { return value != nullptr && value->ifDictionary() == nullptr; }

}  // namespace

/// The entries of a part number, without those of its regions.
struct KindRules::PartNumber {
  struct Entry {
    LocalEntry entry;
    Place place;
    bool isReplaced = false;  ///< by an entry of some region
  };
  Names names = {};  ///< of rules, in order
  std::unordered_map<std::string_view, Entry> entries = {};
  Names setsBefore = {};  ///< "RegionRules"
  Names setsAfter = {};
};

namespace {

constexpr std::uint32_t kBeforeRegion = 0;
constexpr std::uint32_t kInRegion = 1;
constexpr std::uint32_t kAfterRegion = 2;
constexpr std::uint32_t kInShared = 3;

}  // namespace

const Value* KindRule::value() const noexcept {
  const Value* const local = entry.value();
  return local != nullptr || definition == nullptr ? local : definition->find("value");
}

std::string KindRule::valueFrom() const {
  if (entry.value() == nullptr) return value() == nullptr ? "" : "library";
  std::string text(nameOf(entry.layer));
  if (entry.layer == kSet) text.append(" ").append(entry.set);
  return text;
}

void RulePart::add(const KindRule& rule) {
  rules_.push_back(rule);
  if (rules_.size() <= kMostWithoutIndex) return;
  if (places_.empty()) {
    for (const KindRule& each : rules_) places_.emplace(each.name, places_.size());
  } else {
    places_.emplace(rule.name, rules_.size() - 1);
  }
}

const KindRule* RulePart::find(std::string_view name) const noexcept {
  if (places_.empty()) {
    const auto found = std::ranges::find(rules_, name, &KindRule::name);
    return found == rules_.end() ? nullptr : &*found;
  }
  const auto place = places_.find(name);
  return place == places_.end() ? nullptr : &rules_[place->second];
}

/// Assembles the kinds in order, each from the layers that apply to it.
class KindRules::Assembly {
 public:
  explicit Assembly(KindRules& rules) : rules_(rules) {
    if (const Dictionary* generic = rules_.localRules_.findDictionary("GenericRules")) {
      genericSets_ = setNamesIn({kGeneric, {}, generic->begin(), generic->end(), generic->size()});
    }
    for (const std::string_view table : {"GenericRules", "RuleSets"}) {
      lacksTable_ = lacksTable_ || isOtherThanDictionary(rules_.localRules_.find(table));
    }
  }

  void run() {
    auto next = rules_.kinds_.begin();
    rules_.origins_.forEachKind([&](const DeviceKind& kind, std::span<const LocalLayer> layers) {
      const auto isVisited = [&] {
        return next->selectors.partNumber == kind.partNumber && next->selectors.region == kind.region;
      };
      for (; !isVisited(); ++next) next->refusal = refusalOf(*next);
      assemble(*next, layers);
      ++next;
    });
    for (; next != rules_.kinds_.end(); ++next) next->refusal = refusalOf(*next);
  }

 private:
  /// The rules from generic entries and sets, or why there are none.
  struct Shared {
    RulePart* part = nullptr;
    std::optional<Error> refusal = {};
  };

  [[nodiscard]] std::optional<Error> refusalOf(const Kind& kind) const {
    std::optional<Error> error;
    static_cast<void>(rules_.origins_.of(kind.selectors.partNumber, kind.selectors.region, error));
    return error;
  }

  void assemble(Kind& kind, std::span<const LocalLayer> layers) {
    const bool hasPartNumber = kind.selectors.partNumber != nullptr;
    const bool hasRegion = kind.selectors.region != nullptr;
    if (hasPartNumber) {
      if (kind.selectors.partNumber != partNumber_) readPartNumber(kind, layers);
      kind.partNumber = rules_.partNumbers_.back().get();
    }
    Names sets = hasPartNumber ? kind.partNumber->setsBefore : Names();
    if (hasRegion) {
      kind.region = regionsOf(*kind.selectors.partNumber)->findDictionary(*kind.selectors.region->ifString());
      std::ranges::copy(setNamesIn(layers[1]), std::back_inserter(sets));
      std::ranges::copy(kind.partNumber->setsAfter, std::back_inserter(sets));
    }
    const Shared& shared = sharedOf(kind, std::move(sets), layers);
    kind.refusal = shared.refusal;
    if (kind.refusal) return;
    RulePart* part = shared.part;
    if (hasPartNumber) part = &familyOf(*kind.partNumber, *part);
    if (hasRegion) part = &withRegion(kind, layers[1], *part);
    kind.part = part;
    refuseMalformed(kind);
    if (kind.refusal) return;
    const auto position = static_cast<std::size_t>(&kind - rules_.kinds_.data());
    for (; part != nullptr; part = part->base_) part->kinds_.push_back(position);
  }

  [[nodiscard]] const Dictionary* regionsOf(const Value& partNumber) const {
    const Dictionary* const table = rules_.localRules_.findDictionary("MPNRules");
    return table->findDictionary(*partNumber.ifString())->findDictionary("RegionRules");
  }

  void readPartNumber(const Kind& kind, std::span<const LocalLayer> layers) {
    partNumber_ = kind.selectors.partNumber;
    auto entries = std::make_unique<PartNumber>();
    entries->setsBefore = setNamesIn(layers[0]);
    readEntries(*entries, layers[0], kBeforeRegion);
    if (kind.selectors.region != nullptr) {
      entries->setsAfter = setNamesIn(layers[2]);
      readEntries(*entries, layers[2], kAfterRegion);
      for (const auto [region, content] : *regionsOf(*partNumber_)) noteReplaced(*entries, content.ifDictionary());
    }
    rules_.partNumbers_.push_back(std::move(entries));
  }

  static void readEntries(PartNumber& partNumber, const LocalLayer& layer, std::uint32_t place) {
    for (auto item = layer.first; item != layer.last; ++item) {
      const std::string_view name = (*item).key;
      if (namesSet(name)) continue;
      partNumber.entries.emplace(name,
                                 PartNumber::Entry{{kPartNumber, {}, &item.value()}, {place, partNumber.names.size()}});
      partNumber.names.push_back(name);
    }
  }

  static void noteReplaced(PartNumber& partNumber, const Dictionary* region) {
    if (region == nullptr) return;
    for (const auto [name, content] : *region) {
      const auto entry = partNumber.entries.find(name);
      if (entry != partNumber.entries.end() && entry->second.place.layer == kBeforeRegion)
        entry->second.isReplaced = true;
    }
  }

  /// `sets`: those that the part number and the region name.
  const Shared& sharedOf(const Kind& kind, Names sets, std::span<const LocalLayer> layers) {
    std::unordered_set<std::string_view> seen;
    std::erase_if(sets, [&](std::string_view name) { return !seen.insert(name).second; });
    const auto [place, isNew] = shared_.try_emplace(std::move(sets));
    if (!isNew) return place->second;
    seen.insert(genericSets_.begin(), genericSets_.end());
    const auto found = static_cast<std::size_t>(std::ranges::count(layers, kSet, &LocalLayer::layer));
    if (lacksTable_ || found < seen.size()) {
      place->second.refusal = refusalOf(kind);
    } else {
      place->second.part = &assembleShared(layers);
    }
    return place->second;
  }

  RulePart& assembleShared(std::span<const LocalLayer> layers) {
    std::vector<std::pair<std::string_view, LocalEntry>> entries;  // without a name: expanded
    std::unordered_map<std::string_view, std::size_t> places;
    for (const LocalLayer& layer : layers) {
      if (layer.layer != kGeneric && layer.layer != kSet) continue;
      const auto expanded = places.find(layer.set);
      if (layer.layer == kSet && expanded != places.end()) {
        entries[expanded->second].second.content = nullptr;
        places.erase(expanded);
      }
      for (auto item = layer.first; item != layer.last; ++item) {
        const auto [place, isNew] = places.try_emplace((*item).key, entries.size());
        if (isNew) entries.push_back({(*item).key, {}});
        entries[place->second].second = {layer.layer, layer.set, &item.value()};
      }
    }
    RulePart& part = rules_.parts_.emplace_back(RulePart::Level::kShared, nullptr);
    for (const auto& [name, entry] : entries) {
      if (entry.content != nullptr) add(part, name, entry);
    }
    return part;
  }

  void add(RulePart& part, std::string_view name, const LocalEntry& entry) {
    if (entry.content->ifDictionary() == nullptr) malformed_[&part].push_back(name);
    part.add({name, rules_.library_.findDictionary(name), entry});
  }

  RulePart& familyOf(const PartNumber& partNumber, RulePart& shared) {
    const auto [place, isNew] = families_.try_emplace({&partNumber, &shared});
    if (!isNew) return *place->second;
    RulePart& part = rules_.parts_.emplace_back(RulePart::Level::kPartNumber, &shared);
    for (const std::string_view name : partNumber.names) {
      const PartNumber::Entry& entry = partNumber.entries.at(name);
      if (!entry.isReplaced && shared.find(name) == nullptr) add(part, name, entry.entry);
    }
    place->second = &part;
    return part;
  }

  /// The family itself if the region adds nothing.
  RulePart& withRegion(const Kind& kind, const LocalLayer& layer, RulePart& family) {
    RulePart& part = rules_.parts_.emplace_back(RulePart::Level::kKind, &family);
    const RulePart& shared = *family.base();
    const auto& beside = kind.partNumber->entries;
    for (auto item = layer.first; item != layer.last; ++item) {
      const std::string_view name = (*item).key;
      if (namesSet(name) || shared.find(name) != nullptr) continue;
      const auto entry = beside.find(name);
      const bool isReplaced = entry != beside.end() && entry->second.place.layer == kAfterRegion;
      if (!isReplaced) add(part, name, {kRegion, {}, &item.value()});
    }
    for (const std::string_view name : kind.partNumber->names) {
      const PartNumber::Entry& entry = beside.at(name);
      if (!entry.isReplaced || kind.region->contains(name) || shared.find(name) != nullptr) continue;
      add(part, name, entry.entry);
    }
    if (!part.rules().empty()) return part;
    rules_.parts_.pop_back();
    return family;
  }

  /// The first malformed entry in evaluation order says why.
  void refuseMalformed(Kind& kind) {
    if (malformed_.empty()) return;
    std::optional<std::pair<Place, std::string_view>> first;
    for (const RulePart* part = kind.part; part != nullptr; part = part->base()) {
      const auto names = malformed_.find(part);
      if (names == malformed_.end()) continue;
      for (const std::string_view name : names->second) {
        const std::pair candidate(placeOf(kind, name), name);
        if (!first || candidate < *first) first = candidate;
      }
    }
    if (!first) return;
    const auto [place, isNew] = refusals_.try_emplace(first->second);
    if (isNew) place->second = refusalOf(kind);
    kind.refusal = place->second;
    kind.part = nullptr;
  }

  KindRules& rules_;
  Names genericSets_;
  bool lacksTable_ = false;
  const Value* partNumber_ = nullptr;  // the last of `partNumbers_`
  std::map<Names, Shared> shared_;
  std::map<std::pair<const PartNumber*, const RulePart*>, RulePart*> families_;
  std::unordered_map<const RulePart*, Names> malformed_;  // entries that are not dictionaries
  std::unordered_map<std::string_view, std::optional<Error>> refusals_;
};

KindRules::KindRules(Dictionary library, Dictionary localRules)
    : library_(std::move(library)), localRules_(std::move(localRules)), origins_(library_, localRules_) {
  for (const DeviceKind& kind : origins_.deviceKinds()) {
    places_[textOf(kind.partNumber)].emplace(textOf(kind.region), kinds_.size());
    kinds_.push_back({.selectors = kind});
  }
  Assembly(*this).run();
}

KindRules::~KindRules() = default;

const KindRules::Kind* KindRules::find(const std::optional<std::string>& partNumber,
                                       const std::optional<std::string>& region) const {
  if (kinds_.size() == 1 && kinds_[0].selectors.partNumber == nullptr) return &kinds_[0];
  const auto regions = partNumber ? places_.find(*partNumber) : places_.end();
  if (regions == places_.end()) return nullptr;
  const Kind& first = kinds_[regions->second.begin()->second];
  if (first.selectors.region == nullptr) return &first;
  const auto kind = region ? regions->second.find(*region) : regions->second.end();
  return kind == regions->second.end() ? nullptr : &kinds_[kind->second];
}

KindRules::Place KindRules::placeOf(const Kind& kind, std::string_view rule) {
  if (kind.partNumber != nullptr) {
    const auto entry = kind.partNumber->entries.find(rule);
    const bool isThere = entry != kind.partNumber->entries.end();
    if (isThere && entry->second.place.layer == kBeforeRegion) return entry->second.place;
    if (kind.region != nullptr && !namesSet(rule) && kind.region->contains(rule)) {
      const auto isRule = [&](const Dictionary::Item& item) { return item.key == rule; };
      const auto found = std::ranges::find_if(*kind.region, isRule);
      return {kInRegion, static_cast<std::size_t>(std::ranges::distance(kind.region->begin(), found))};
    }
    if (isThere) return entry->second.place;
  }
  const RulePart* shared = kind.part;
  while (shared->base() != nullptr) shared = shared->base();
  return {kInShared, static_cast<std::size_t>(shared->find(rule) - shared->rules().data())};
}

}  // namespace tavik::tool

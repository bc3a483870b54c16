#include "rules/KindRules.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <span>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "rules/DeviceKinds.h"

namespace tavik::tool {

using enum LocalEntry::Layer;

namespace {

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

/// The entries of a part number for rules, without those of its regions.
struct KindRules::PartNumber {
  struct Entry {
    std::string_view name;
    const Value* content;
    EvaluationPlace place;
    bool isReplaced = false;  ///< by an entry of some region
  };
  std::vector<Entry> entries = {};
  std::map<std::size_t, std::vector<std::size_t>> replaced = {};  ///< position of an entry -> numbers of the regions
  NameIndex index = {};
  Names setsBefore = {};  ///< "RegionRules"
  Names setsAfter = {};

  void add(const Entry& entry) {
    entries.push_back(entry);
    index.add(entry.name, [this](std::size_t place) { return entries[place].name; });
  }
  [[nodiscard]] const Entry* find(std::string_view name) const {
    const std::size_t place = index.find(name, [this](std::size_t other) { return entries[other].name; });
    return place == NameIndex::kNone ? nullptr : &entries[place];
  }
};

namespace {

// Layers in evaluation order. The sets that a part number and its region name follow each other from kFirstSet on, and
// the sets that generic entries name from kFirstGenericSet on.
constexpr std::uint32_t kBeforeRegion = 0;
constexpr std::uint32_t kInRegion = 1;
constexpr std::uint32_t kAfterRegion = 2;
constexpr std::uint32_t kInGeneric = 3;
constexpr std::uint32_t kFirstSet = 4;
constexpr std::uint32_t kFirstGenericSet = std::uint32_t{1} << 31U;

/// Whether one of the numbers, which are ascending, is in a range.
bool areWithin(const std::vector<std::size_t>& numbers, std::size_t first, std::size_t end) {
  const auto found = std::ranges::lower_bound(numbers, first);
  return found != numbers.end() && *found < end;
}

/// The rule of a part or its bases.
const KindRule* findIn(const RulePart* part, std::string_view name) {
  for (; part != nullptr; part = part->base()) {
    if (const KindRule* const rule = part->find(name)) return rule;
  }
  return nullptr;
}

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

void RulePart::add(const KindRule& rule, EvaluationPlace place) {
  rules_.push_back(rule);
  places_.push_back(place);
  index_.add(rule.name, [this](std::size_t position) { return rules_[position].name; });
}

std::size_t RulePart::positionOf(std::string_view name) const noexcept {
  return index_.find(name, [this](std::size_t position) { return rules_[position].name; });
}

const KindRule* RulePart::find(std::string_view name) const noexcept {
  const std::size_t position = positionOf(name);
  return position == NameIndex::kNone ? nullptr : &rules_[position];
}

/// Assembles the kinds in order, each from the layers that apply to it.
class KindRules::Assembly {
 public:
  explicit Assembly(KindRules& rules) : rules_(rules) {
    for (const std::string_view table : {"GenericRules", "RuleSets"}) {
      lacksTable_ = lacksTable_ || isOtherThanDictionary(rules_.localRules_.find(table));
    }
    noteNamedSets();
    readShared();
    assembleCommon();
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

  /// The entries for rules that devices may share.
  struct Source {
    struct Entry {
      std::string_view name;
      const Value* content;
      std::uint32_t position;
    };
    std::vector<Entry> common = {};
    std::vector<Entry> varying = {};  ///< the effective ones depend on the sets that a kind names
  };

  using Replaced = std::pair<const std::size_t, std::vector<std::size_t>>;

  /// Some regions of a part number.
  struct Half {
    RulePart* part = nullptr;
    std::vector<const Replaced*> replaced = {};  ///< the entries that one of these regions replaces
  };

  /// Entries of several sources in the order in which they apply.
  class Overlay {
   public:
    void expand(std::string_view set) {
      const auto place = places_.find(set);
      if (place == places_.end()) return;
      entries_[place->second].content = nullptr;
      places_.erase(place);
    }
    void add(const std::vector<Source::Entry>& entries, LocalEntry::Layer layer, std::string_view set,
             std::uint32_t order) {
      for (const auto& [name, content, position] : entries) {
        const auto [place, isNew] = places_.try_emplace(name, entries_.size());
        if (isNew) {
          entries_.push_back({layer, set, content});
          order_.push_back({name, {order, position}});
        } else {
          entries_[place->second] = {layer, set, content};
        }
      }
    }
    void moveTo(const auto& addTo) const {
      for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].content != nullptr) addTo(order_[i].first, entries_[i], order_[i].second);
      }
    }

   private:
    std::vector<LocalEntry> entries_;  // without content: expanded
    std::vector<std::pair<std::string_view, EvaluationPlace>> order_;
    std::unordered_map<std::string_view, std::size_t> places_;
  };

  /// The sets that part numbers and regions name.
  void noteNamedSets() {
    const auto note = [&](const Dictionary* entries) {
      if (entries == nullptr) return;
      for (const auto [name, content] : *entries) {
        if (namesSet(name)) named_.insert(name);
      }
    };
    const Dictionary* const table = rules_.localRules_.findDictionary("MPNRules");
    if (table == nullptr) return;
    for (const auto [partNumber, content] : *table) {
      note(content.ifDictionary());
      const Dictionary* const regions =
          content.ifDictionary() == nullptr ? nullptr : content.ifDictionary()->findDictionary("RegionRules");
      if (regions == nullptr) continue;
      for (const auto [region, entries] : *regions) note(entries.ifDictionary());
    }
  }

  void readShared() {
    static const Dictionary kNone;
    const auto table = [&](std::string_view key) -> const Dictionary& {
      const Dictionary* const found = rules_.localRules_.findDictionary(key);
      return found == nullptr ? kNone : *found;
    };
    const Dictionary& sets = table("RuleSets");
    std::unordered_set<std::string_view> varying = named_;
    for (const std::string_view name : named_) {
      if (const Dictionary* const entries = sets.findDictionary(name)) {
        for (const auto [rule, content] : *entries) varying.insert(rule);
      }
    }
    const auto read = [&](Source& source, const Dictionary& entries, bool isGeneric) {
      std::uint32_t position = 0;
      for (const auto [name, content] : entries) {
        const bool isSet = isGeneric && namesSet(name);
        if (isSet) genericSets_.emplace(name, kFirstGenericSet + position);
        if (!isSet) (varying.contains(name) ? source.varying : source.common).push_back({name, &content, position});
        ++position;
      }
    };
    read(generic_, table("GenericRules"), true);
    for (const auto [name, content] : sets) {
      if (content.ifDictionary() != nullptr) read(sets_[name], *content.ifDictionary(), false);
    }
  }

  void assembleCommon() {
    Overlay overlay;
    overlay.add(generic_.common, kGeneric, {}, kInGeneric);
    std::map<std::uint32_t, std::string_view> order;
    for (const auto& [name, place] : genericSets_) order.emplace(place, name);
    for (const auto& [place, name] : order) {
      const auto set = sets_.find(name);
      if (set == sets_.end() || named_.contains(name)) continue;
      overlay.expand(name);
      overlay.add(set->second.common, kSet, set->first, place);
    }
    common_ = &rules_.parts_.emplace_back(RulePart::kCommon, nullptr);
    addTo(*common_, overlay);
  }

  void addTo(RulePart& part, const Overlay& overlay) {
    overlay.moveTo(
        [&](std::string_view name, const LocalEntry& entry, EvaluationPlace place) { add(part, name, entry, place); });
  }

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
      regionNumbers_.clear();
      for (const auto [region, content] : *regionsOf(*partNumber_)) {
        noteReplaced(*entries, content.ifDictionary(), regionNumbers_.size());
        regionNumbers_.emplace(region, regionNumbers_.size());
      }
    }
    rules_.partNumbers_.push_back(std::move(entries));
  }

  static void readEntries(PartNumber& partNumber, const LocalLayer& layer, std::uint32_t place) {
    partNumber.entries.reserve(partNumber.entries.size() + layer.size);
    for (auto item = layer.first; item != layer.last; ++item) {
      const std::string_view name = (*item).key;
      if (namesSet(name)) continue;
      const auto position = static_cast<std::uint32_t>(partNumber.entries.size());
      partNumber.add({name, &item.value(), {place, position}});
    }
  }

  static void noteReplaced(PartNumber& partNumber, const Dictionary* region, std::size_t number) {
    if (region == nullptr) return;
    for (const auto [name, content] : *region) {
      const PartNumber::Entry* const entry = partNumber.find(name);
      if (entry == nullptr || entry->place.layer != kBeforeRegion) continue;
      partNumber.entries[entry->place.position].isReplaced = true;
      partNumber.replaced[entry->place.position].push_back(number);
    }
  }

  /// `sets`: those that the part number and the region name.
  const Shared& sharedOf(const Kind& kind, Names sets, std::span<const LocalLayer> layers) {
    std::unordered_set<std::string_view> seen;
    std::erase_if(sets, [&](std::string_view name) { return !seen.insert(name).second; });
    const auto [place, isNew] = shared_.try_emplace(sets);
    if (!isNew) return place->second;
    for (const auto& [name, order] : genericSets_) seen.insert(name);
    const auto found = static_cast<std::size_t>(std::ranges::count(layers, kSet, &LocalLayer::layer));
    if (lacksTable_ || found < seen.size()) {
      place->second.refusal = refusalOf(kind);
    } else {
      place->second.part = &assembleShared(sets, layers);
    }
    return place->second;
  }

  /// The common part itself if the sets add nothing.
  RulePart& assembleShared(const Names& sets, std::span<const LocalLayer> layers) {
    Overlay overlay;
    overlay.add(generic_.varying, kGeneric, {}, kInGeneric);
    std::uint32_t number = 0;
    for (const LocalLayer& layer : layers) {
      if (layer.layer != kSet) continue;
      const bool isNamed = number < sets.size();
      overlay.expand(layer.set);
      overlay.add(sets_.at(layer.set).varying, kSet, layer.set,
                  isNamed ? kFirstSet + number : genericSets_.at(layer.set));
      ++number;
    }
    RulePart& part = rules_.parts_.emplace_back(RulePart::kShared, common_);
    addTo(part, overlay);
    return unlessEmpty(part);
  }

  void add(RulePart& part, std::string_view name, const LocalEntry& entry, EvaluationPlace place) {
    if (entry.content->ifDictionary() == nullptr) malformed_[&part].push_back(name);
    part.add({name, rules_.library_.findDictionary(name), entry}, place);
  }

  RulePart& familyOf(const PartNumber& partNumber, RulePart& shared) {
    const auto [place, isNew] = families_.try_emplace({&partNumber, &shared});
    if (!isNew) return *place->second;
    RulePart& part = rules_.parts_.emplace_back(RulePart::kPartNumber, &shared);
    part.rules_.reserve(partNumber.entries.size());
    part.places_.reserve(partNumber.entries.size());
    for (const PartNumber::Entry& entry : partNumber.entries) {
      if (!entry.isReplaced) addUnlessShared(part, entry, shared);
    }
    place->second = &part;
    return part;
  }

  void addUnlessShared(RulePart& part, const PartNumber::Entry& entry, const RulePart& shared) {
    if (findIn(&shared, entry.name) == nullptr) add(part, entry.name, {kPartNumber, {}, entry.content}, entry.place);
  }

  /// The family itself if the region adds nothing.
  RulePart& withRegion(const Kind& kind, const LocalLayer& layer, RulePart& family) {
    RulePart& base = withHalves(kind, family);
    RulePart& part = rules_.parts_.emplace_back(RulePart::kKind, &base);
    std::uint32_t position = 0;
    for (auto item = layer.first; item != layer.last; ++item) {
      const std::string_view name = (*item).key;
      const EvaluationPlace place{kInRegion, position++};
      if (namesSet(name) || findIn(family.base(), name) != nullptr) continue;
      const PartNumber::Entry* const beside = kind.partNumber->find(name);
      const bool isReplaced = beside != nullptr && beside->place.layer == kAfterRegion;
      if (!isReplaced) add(part, name, {kRegion, {}, &item.value()}, place);
    }
    return unlessEmpty(part);
  }

  /// The family with the entries that regions replace, but not this one. An entry that a single one of many regions
  /// replaces is in few parts: those of the halves without this region.
  RulePart& withHalves(const Kind& kind, RulePart& family) {
    const std::size_t number = regionNumbers_.at(*kind.selectors.region->ifString());
    std::size_t first = 0;
    std::size_t end = regionNumbers_.size();
    Half* half = &halves_.try_emplace({&family, first, end}).first->second;
    if (half->part == nullptr) {
      half->part = &family;
      for (const auto& replaced : kind.partNumber->replaced) half->replaced.push_back(&replaced);
    }
    for (auto level = static_cast<int>(RulePart::kHalf); end - first > 1; ++level) {
      const std::size_t middle = first + (end - first) / 2;
      (number < middle ? end : first) = middle;
      const Half& whole = *half;
      half = &halves_.try_emplace({&family, first, end}).first->second;
      if (half->part != nullptr) continue;
      RulePart& part = rules_.parts_.emplace_back(static_cast<RulePart::Level>(level), whole.part);
      for (const Replaced* const replaced : whole.replaced) {
        if (areWithin(replaced->second, first, end)) {
          half->replaced.push_back(replaced);
        } else {
          addUnlessShared(part, kind.partNumber->entries[replaced->first], *family.base());
        }
      }
      half->part = &unlessEmpty(part);
    }
    return *half->part;
  }

  /// The last part; without rules, it is removed, and its base serves instead.
  RulePart& unlessEmpty(RulePart& part) {
    if (!part.rules().empty()) return part;
    RulePart* const base = part.base_;
    rules_.parts_.pop_back();
    return *base;
  }

  /// The first malformed entry in evaluation order says why.
  void refuseMalformed(Kind& kind) {
    if (malformed_.empty()) return;
    std::optional<std::pair<EvaluationPlace, std::string_view>> first;
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
  bool lacksTable_ = false;
  std::unordered_set<std::string_view> named_;  // sets that part numbers and regions name
  Source generic_;
  std::unordered_map<std::string_view, std::uint32_t> genericSets_;  // with their layers
  std::unordered_map<std::string_view, Source> sets_;
  RulePart* common_ = nullptr;
  const Value* partNumber_ = nullptr;  // the last of `partNumbers_`
  std::map<Names, Shared> shared_;
  std::map<std::pair<const PartNumber*, const RulePart*>, RulePart*> families_;
  std::unordered_map<std::string_view, std::size_t> regionNumbers_;               // of the last part number
  std::map<std::tuple<const RulePart*, std::size_t, std::size_t>, Half> halves_;  // by family and range of regions
  std::unordered_map<const RulePart*, Names> malformed_;                          // entries that are not dictionaries
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

std::vector<std::size_t> KindRules::kindsWith(std::string_view ruleOrSet) const {
  std::vector<std::size_t> kinds;
  for (const RulePart& part : parts_) {
    const bool has = namesSet(ruleOrSet)
                         ? std::ranges::any_of(part.rules(),
                                               [&](const KindRule& rule) {
                                                 return rule.entry.layer == kSet && rule.entry.set == ruleOrSet;
                                               })
                         : part.find(ruleOrSet) != nullptr;
    if (has) kinds.insert(kinds.end(), part.kinds().begin(), part.kinds().end());
  }
  std::ranges::sort(kinds);
  kinds.erase(std::unique(kinds.begin(), kinds.end()), kinds.end());
  return kinds;
}

EvaluationPlace KindRules::placeOf(const Kind& kind, std::string_view rule) {
  const PartNumber::Entry* const beside = kind.partNumber == nullptr ? nullptr : kind.partNumber->find(rule);
  if (beside != nullptr && beside->place.layer == kBeforeRegion) return beside->place;
  if (kind.region != nullptr && !namesSet(rule) && kind.region->contains(rule)) {
    const auto isRule = [&](const Dictionary::Item& item) { return item.key == rule; };
    const auto found = std::ranges::find_if(*kind.region, isRule);
    return {kInRegion, static_cast<std::uint32_t>(std::ranges::distance(kind.region->begin(), found))};
  }
  if (beside != nullptr) return beside->place;
  for (const RulePart* part = kind.part; part != nullptr; part = part->base()) {
    const std::size_t position = part->positionOf(rule);
    if (position != NameIndex::kNone) return part->places_[position];
  }
  return {};
}

}  // namespace tavik::tool

#include "rules/DeviceKinds.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMostPartNumbers = 24;

std::optional<std::string> textOf(const Value* name) {
  return name == nullptr ? std::nullopt : std::optional<std::string>(*name->ifString());
}

/// The regions of each part number, in document order; an absent one where regions do not matter.
class Regions {
 public:
  using Names = std::vector<std::optional<std::string>>;

  explicit Regions(const RuleOrigins& origins) {
    for (const DeviceKind& kind : origins.deviceKinds()) {
      const std::optional<std::string> partNumber = textOf(kind.partNumber);
      if (!partNumber) {
        asksForPartNumber_ = false;
        continue;
      }
      const auto [place, isNew] = places_.try_emplace(*partNumber, regions_.size());
      if (isNew) regions_.push_back({*partNumber, {}});
      regions_[place->second].second.push_back(textOf(kind.region));
    }
  }

  [[nodiscard]] bool asksForPartNumber() const noexcept { return asksForPartNumber_; }
  [[nodiscard]] const std::vector<std::pair<std::string, Names>>& all() const noexcept { return regions_; }
  /// Null for an unknown part number.
  [[nodiscard]] const Names* of(const std::string& partNumber) const {
    const auto place = places_.find(partNumber);
    return place == places_.end() ? nullptr : &regions_[place->second].second;
  }

 private:
  std::unordered_map<std::string, std::size_t> places_;
  std::vector<std::pair<std::string, Names>> regions_;
  bool asksForPartNumber_ = true;
};

/// Both lists without duplicates; regions that are not listed come last.
Regions::Names merged(const Regions::Names& first, const Regions::Names& second) {
  Regions::Names all;
  std::unordered_map<std::string, bool> seen;
  bool others = false;
  for (const Regions::Names* names : {&first, &second}) {
    for (const std::optional<std::string>& region : *names) {
      others = others || !region;
      if (region && seen.try_emplace(*region).second) all.push_back(region);
    }
  }
  if (others) all.emplace_back();
  return all;
}

}  // namespace

std::string_view nameOf(LocalEntry::Layer layer) {
  constexpr std::string_view kNames[] = {"part_number", "region", "generic", "set"};
  return kNames[static_cast<std::size_t>(layer)];
}

std::string originText(std::string_view from) {
  if (from == "part_number") return "part number";
  return from == "generic" ? "GenericRules" : visible(from);
}

bool saysUnknownDevice(const Error& error) {
  const std::string_view text = error.localizedDescription();
  return text.starts_with("unknown MPN:") || text.starts_with("unknown Region Code:");
}

std::string blamed(const Error& error, const Dictionary& attributes, const std::string& attributesName,
                   const std::string& rulesName) {
  const std::string text(error.localizedDescription());
  if (!saysUnknownDevice(error)) return rulesName + ": " + text;
  const std::string_view key = text.starts_with("unknown MPN:") ? "ModelNumber" : "RegionInfo";
  const Value* const value = attributes.find(key);
  if (value == nullptr)
    return fmt::format("{}: has no \"{}\", which selects the rules ({})", attributesName, key, text);
  if (value->isString()) return rulesName + ": " + text;
  return fmt::format("{}: \"{}\" is {}, not a string ({})", attributesName, key, kindName(value->kind()), text);
}

DeviceKinds::DeviceKinds(const RuleOrigins& origins) {
  for (const DeviceKind& kind : origins.deviceKinds()) kinds_.push_back({textOf(kind.partNumber), textOf(kind.region)});
}

DeviceKinds::DeviceKinds(const RuleOrigins& first, const RuleOrigins& second) {
  const Regions firstRegions(first);
  const Regions secondRegions(second);
  const Regions::Names any = {std::nullopt};
  const auto add = [&](const std::string& partNumber, const Regions::Names& some, const Regions::Names& others) {
    for (std::optional<std::string>& region : merged(some, others)) kinds_.push_back({partNumber, std::move(region)});
  };
  // A part number that one document does not know has the regions of the other, unless regions do not matter there.
  const auto counterpart = [&](const Regions& other, const std::string& partNumber, const Regions::Names& own) {
    const Regions::Names* const names = other.of(partNumber);
    return names != nullptr ? *names : other.asksForPartNumber() ? own : any;
  };
  for (const auto& [partNumber, regions] : firstRegions.all()) {
    add(partNumber, regions, counterpart(secondRegions, partNumber, regions));
  }
  for (const auto& [partNumber, regions] : secondRegions.all()) {
    if (firstRegions.of(partNumber) == nullptr)
      add(partNumber, regions, counterpart(firstRegions, partNumber, regions));
  }
  if (!firstRegions.asksForPartNumber() || !secondRegions.asksForPartNumber()) kinds_.emplace_back();
}

DeviceKinds::Span DeviceKinds::partNumberSpan(std::size_t member) const {
  const auto same = [&](std::size_t other) { return kinds_[other].partNumber == kinds_[member].partNumber; };
  std::size_t first = member;
  while (first > 0 && same(first - 1)) --first;
  std::size_t end = member + 1;
  while (end < kinds_.size() && same(end)) ++end;
  return {first, end};
}

std::string DeviceKinds::partNumberText(std::span<const std::size_t> members, bool whole) const {
  const Selectors& first = kinds_[members.front()];
  std::string partNumber = first.partNumber ? visible(*first.partNumber) : "any other part number";
  if (whole) return partNumber;
  std::string regions;
  for (const std::size_t member : members) {
    const std::optional<std::string>& region = kinds_[member].region;
    regions += (regions.empty() ? "" : ", ") + (region ? visible(*region) : "any other region");
  }
  return fmt::format("{} ({})", partNumber, regions);
}

std::string DeviceKinds::text(std::span<const std::size_t> members) const {
  if (members.size() == kinds_.size()) return "every device";
  std::vector<std::string> texts;
  while (!members.empty()) {
    const auto [first, end] = partNumberSpan(members.front());
    const auto count = static_cast<std::size_t>(std::ranges::lower_bound(members, end) - members.begin());
    texts.push_back(partNumberText(members.first(count), count == end - first));
    members = members.subspan(count);
  }
  const std::size_t shown = std::min(texts.size(), kMostPartNumbers);
  std::string text =
      fmt::format("{}", fmt::join(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(shown), ", "));
  if (shown < texts.size()) text += fmt::format(" and {} more part numbers", texts.size() - shown);
  return text;
}

Value DeviceKinds::value(std::span<const std::size_t> members) const {
  Array all;
  all.reserve(members.size());
  for (const std::size_t member : members) {
    Dictionary kind;
    if (kinds_[member].partNumber) kind.set("part_number", *kinds_[member].partNumber);
    if (kinds_[member].region) kind.set("region", *kinds_[member].region);
    all.append(std::move(kind));
  }
  return all;
}

}  // namespace tavik::tool

#include "lint/Check.h"

#include <algorithm>
#include <utility>

#include "lint/Rule.h"
#include "text/NearestName.h"

namespace tavik::tool::lint {

std::string_view nameOf(Severity severity) {
  constexpr std::string_view kNames[] = {"error", "warning", "information"};
  return kNames[static_cast<std::size_t>(severity)];
}

std::string_view levelOf(Severity severity) { return severity == Severity::kInformation ? "note" : nameOf(severity); }

std::vector<const Check*> allChecks() {
  std::vector<const Check*> all;
  for (const auto checks : {documentChecks(), ruleChecks(), valueChecks(), nameChecks(), kindChecks(), coverageChecks(),
                            deviceChecks(), baselineChecks()}) {
    for (const Check& check : checks) all.push_back(&check);
  }
  std::ranges::sort(all, {}, &Check::name);
  return all;
}

std::string Finding::message() const {
  std::string message = statement.what;
  for (const std::string& part : {statement.effect, statement.advice}) {
    if (!part.empty()) message += " " + part;
  }
  return message;
}

void Reporter::atValue(const Rule& rule, Statement statement) {
  add(rule.value() ? *rule.value() : rule.ownPlace(), !rule.value(), rule.name(), std::move(statement));
}

std::optional<std::string_view> Reporter::nearest(std::string_view name, std::span<const std::string_view> known) {
  constexpr std::size_t kMostCompared = 200'000;
  if (namesCompared_ >= kMostCompared) return std::nullopt;
  namesCompared_ += known.size();
  return nearestName(name, known);
}

std::string Reporter::endingFor(std::string_view name, std::span<const std::string_view> known) {
  const auto replacement = nearest(name, known);
  if (!replacement) return ".";
  suggest(name, *replacement);
  return didYouMean(*replacement);
}

void Reporter::add(const Place& place, bool atKey, std::string_view rule, Statement statement) {
  std::optional<Suggestion> suggestion = std::exchange(suggestion_, std::nullopt);
  if (!seen_.emplace(check_, &place.value(), statement.what).second) return;
  if (findings_.size() == kMost) {
    ++dropped_;
    return;
  }
  std::string path = place.path();
  std::string name(rule.empty() ? std::string_view(path) : rule);
  findings_.push_back({.check = check_,
                       .document = &place.document(),
                       .rule = std::move(name),
                       .path = std::move(path),
                       .value = &place.value(),
                       .atKey = atKey,
                       .statement = std::move(statement),
                       .suggestion = std::move(suggestion)});
}

}  // namespace tavik::tool::lint

#include "check/DeviceChecker.h"

#include <algorithm>
#include <new>

namespace tavik::tool {
NoteMaker::NoteMaker(const Dictionary& library, const Dictionary& localRules, bool alwaysNote)
    : origins(library, localRules), always(alwaysNote) {
  for (const auto [name, definition] : library) {
    const Dictionary* const rule = definition.ifDictionary();
    const Array* const references = rule == nullptr ? nullptr : rule->findArray("references");
    if (references == nullptr) continue;
    for (const Value& reference : *references) {
      const auto source =
          reference.ifDictionary() == nullptr ? std::nullopt : reference.ifDictionary()->findString("source");
      if (source) sources.emplace(*source);
    }
  }
}

std::shared_ptr<const RuleNotes> NoteMaker::notesOn(const DeviceResult& result) const {
  const auto isGiven = [&](const std::string& source) { return result.sources.contains(source); };
  const bool isOfInterest = always || !std::ranges::all_of(sources, isGiven);
  if (result.outcome.verdict != Verdict::kFailed || !isOfInterest) return nullptr;
  return std::make_shared<const RuleNotes>(notesAfterCheck(result.attributes, result.sources, origins));
}

DeviceLine readDevice(const Line& line) {
  if (!line.whyCut.empty()) return DeviceLine::unusable(line.text, line.number, line.whyCut);
  return DeviceLine::read(line.text, line.number);
}

DeviceResult DeviceChecker::check(const Line& line) const {
  if (!line.whyCut.empty()) return {{readDevice(line)}};
  DeviceResult result{checkLine(rules_, line.text, line.number)};
  if (notes_ == nullptr || !result.inputError.empty()) return result;
  try {
    result.notes = notes_->notesOn(result);
    return result;
  } catch (const std::bad_alloc&) {
    return {{DeviceLine::unusable(line.text, line.number, "out of memory")}};
  }
}

}  // namespace tavik::tool

// The checks of names: attributes, sources, part numbers and regions that are probably misspelled.

#include <fmt/format.h>
#include <tavik/ManifestParser.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "lint/LintedDocuments.h"
#include "lint/Rule.h"
#include "text/NearestName.h"
#include "text/Text.h"

namespace tavik::tool::lint {
namespace {

constexpr std::string_view kSystemConfig = "SysCfgData";
constexpr std::string_view kManifests = "BasebandFirmwareManifestData";
constexpr std::string_view kExpanded[] = {kSystemConfig, "RootManifestData", "ProvisioningManifestData"};
constexpr std::string_view kKnownAttributes[] = {"ModelNumber",       "RegionInfo",      "SerialNumber",
                                                 "MLBSerialNumber",   "FCCID",           "IMEI",
                                                 "TotalDiskCapacity", "SDIOProductInfo", "ControlBits"};
constexpr std::string_view kUsualSources[] = {"sfc", "gui", "sim"};
constexpr std::size_t kTagCharacters = 4;

/// A name of a value that a rule reads.
struct NameUse {
  std::string_view source;  ///< empty: the device
  std::string_view name;
  const Rule& rule;
  const Place& place;  ///< of the name

  [[nodiscard]] bool isForbidden() const { return rule.wantsAbsence(); }
  [[nodiscard]] std::string consequence() const {
    return rule.sentence(isForbidden() ? Rule::Forecast::kPasses : Rule::Forecast::kFails);
  }
};

/// Visits the names that rules give for attributes, except references that use the name of the rule's own attribute.
void forEachName(const LintedDocuments& documents, const auto& visit) {
  documents.forEachDefinition([&](const Rule& rule) {
    const auto own = rule.key("attribute");
    if (own && own->value().isString()) visit(NameUse{"", *own->value().ifString(), rule, *own});
    if (rule.wantsAbsence()) return;
    for (const Rule::Reference& reference : rule.references()) {
      const Dictionary& keys = *reference.place.value().ifDictionary();
      const Value* name = keys.find("attribute");
      const Value* source = keys.find("source");
      if (name == nullptr || !name->isString() || (source != nullptr && !source->isString())) continue;
      const std::string_view from = source == nullptr ? std::string_view() : *source->ifString();
      visit(NameUse{from, *name->ifString(), rule, reference.place.entry("attribute", *name)});
    }
  });
}

/// The tag number in "Tag 5000".
std::optional<std::uint32_t> tagNumber(std::string_view item) {
  constexpr std::string_view kPrefix = "Tag ";
  if (!item.starts_with(kPrefix)) return std::nullopt;
  item.remove_prefix(kPrefix.size());
  const bool isCanonical = item.size() == 1 || !item.starts_with('0');
  return isCanonical ? numberIn<std::uint32_t>(item) : std::nullopt;
}

std::span<const std::string_view> itemNames() {
  constexpr std::uint32_t kTagLimit = 3009;
  static const std::vector<std::string_view> names = [] {
    std::vector<std::string_view> all;
    for (std::uint32_t tag = 0; tag < kTagLimit; ++tag) {
      if (const std::string_view name = vsr_tag_to_str(tag); name != "Unknown") all.push_back(name);
    }
    return all;
  }();
  return names;
}

/// Why a manifest cannot have the item; empty if it can.
std::string whyNoItem(std::string_view item, Reporter& reporter) {
  const auto number = tagNumber(item);
  if (number) {
    const std::string_view name = vsr_tag_to_str(*number);
    return name == "Unknown" ? "" : fmt::format("The item with tag {} is named {}.", *number, shown(name));
  }
  if (std::ranges::count(itemNames(), item) != 0) return "";
  return fmt::format("The table of manifest items has no {}{}", shown(item), reporter.endingFor(item, itemNames()));
}

/// Why no device can have an attribute with this name; empty if one can.
std::string whyImpossible(std::string_view name, Reporter& reporter) {
  const std::size_t dot = name.find('.');
  if (name.empty()) return "The name of the attribute is empty.";
  if (dot == std::string_view::npos) return "";
  const std::string_view prefix = name.substr(0, dot);
  const std::string_view field = name.substr(dot + 1);
  if (prefix == kManifests) {
    return fmt::format("The items of {} are attributes under \"RootManifestData.\" and \"ProvisioningManifestData.\".",
                       shown(prefix));
  }
  if (std::ranges::count(kExpanded, prefix) == 0) return "";
  if (prefix != kSystemConfig) return whyNoItem(field, reporter);
  const std::size_t count = charactersIn(field);
  if (count == kTagCharacters) return "";
  return fmt::format("SysCfg tags have {} characters, but {} has {}.", kTagCharacters, shown(field), count);
}

void impossibleAttribute(const LintedDocuments& documents, Reporter& reporter) {
  forEachName(documents, [&](const NameUse& use) {
    if (!use.source.empty()) return;
    const std::string why = whyImpossible(use.name, reporter);
    if (why.empty()) return;
    reporter.at(use.place, use.rule.name(), {why, use.consequence(), "Use the name that the device has."});
  });
}

/// The prefix of expanded attributes that the name probably means: "SysCfgData" for "SysCfg.SERN". Empty if the name
/// has a correct prefix, an unrelated one or none.
std::string_view prefixMeant(std::string_view name) {
  const std::size_t dot = name.find('.');
  if (dot == std::string_view::npos) return {};
  const std::string prefix = lowerCase(name.substr(0, dot));
  for (const std::string_view expanded : kExpanded) {
    const std::string known = lowerCase(expanded);
    if (name.substr(0, dot) == expanded) return {};
    const bool isPart = prefix.size() >= kTagCharacters && (known.starts_with(prefix) || prefix.starts_with(known));
    if (isPart || nearestName(prefix, std::span(&expanded, 1)) == expanded) return expanded;
  }
  return {};
}

/// Every use of the names of one source, or of devices.
class Namespace {
 public:
  void add(std::string_view name, bool isConfirmed) {
    const auto [place, isNew] = names_.try_emplace(name, Name{.number = names_.size()});
    ++place->second.uses;
    place->second.isConfirmed = place->second.isConfirmed || isConfirmed;
    if (isNew) index_.add(name);
  }

  /// The name that was probably meant: one that is in more use than this one, or that came first.
  [[nodiscard]] std::optional<std::string_view> meantBy(std::string_view name) const {
    const Name& own = names_.at(name);
    if (own.isConfirmed || own.uses > 1) return std::nullopt;
    const auto similar = index_.similarTo(name);
    if (!similar) return std::nullopt;
    const Name& other = names_.at(*similar);
    return other.isConfirmed || other.uses > 1 || other.number < own.number ? similar : std::nullopt;
  }
  [[nodiscard]] std::size_t usesOf(std::string_view name) const { return names_.at(name).uses; }
  [[nodiscard]] bool isConfirmed(std::string_view name) const { return names_.at(name).isConfirmed; }

 private:
  struct Name {
    std::size_t number;
    std::size_t uses = 0;
    bool isConfirmed = false;  ///< a predicate or an example device has it
  };
  std::unordered_map<std::string_view, Name> names_;
  SpellingIndex index_;
};

/// The names in use, by source.
std::map<std::string_view, Namespace> namesInUse(const LintedDocuments& documents) {
  std::map<std::string_view, Namespace> all;
  for (const std::string_view name : kKnownAttributes) all[""].add(name, true);
  for (const ExampleDevice& device : documents.devices) {
    device.forEachName([&](std::string_view source, std::string_view name) { all[source].add(name, true); });
  }
  forEachName(documents, [&](const NameUse& use) { all[use.source].add(use.name, false); });
  return all;
}

/// Whether a lowercase letter is missing, added or replaced, anywhere but at the beginning.
bool isOneLetterOff(std::string_view name, std::string_view meant) {
  const std::string_view longer = name.size() > meant.size() ? name : meant;
  const std::string_view shorter = name.size() > meant.size() ? meant : name;
  const auto place = static_cast<std::size_t>(std::ranges::mismatch(longer, shorter).in1 - longer.begin());
  if (place == 0 || place == longer.size() || !isAsciiLower(longer[place])) return false;
  if (longer.size() == shorter.size() + 1) return longer.substr(place + 1) == shorter.substr(place);
  return longer.size() == shorter.size() && isAsciiLower(shorter[place]) &&
         longer.substr(place + 1) == shorter.substr(place + 1);
}

/// The known attribute that the name probably means. Unlike other names, these have hardly any related names.
std::optional<std::string_view> knownMeant(std::string_view name) {
  const auto found =
      std::ranges::find_if(kKnownAttributes, [&](std::string_view known) { return isOneLetterOff(name, known); });
  return found == std::end(kKnownAttributes) ? std::nullopt : std::optional(*found);
}

/// The words of a name, in lowercase: "TouchPanelRevision", "touch_panel" and "Touch panel".
std::vector<std::string> wordsOf(std::string_view name) {
  std::vector<std::string> words;
  char previous = ' ';
  for (const char character : name) {
    const bool begins = !isAsciiLetter(previous) || (isAsciiUpper(character) && !isAsciiUpper(previous));
    previous = character;
    if (!isAsciiLetter(character)) continue;
    if (begins) words.emplace_back();
    words.back() += lowerCase({&character, 1});
  }
  return words;
}

/// The word as Americans spell it.
std::string american(std::string word) {
  constexpr std::pair<std::string_view, std::string_view> kEndings[] = {
      {"our", "or"}, {"tre", "ter"}, {"bre", "ber"}, {"is", "iz"}, {"lled", "led"}, {"grey", "gray"}, {"ogue", "og"}};
  for (const auto& [british, replacement] : kEndings) {
    const std::size_t found = word.rfind(british);
    if (found != std::string::npos) word.replace(found, british.size(), replacement);
  }
  return word;
}

/// A word of the rule's name that a word of its attribute resembles. Tags of fields are abbreviations, not words.
std::optional<std::string> wordMeant(const NameUse& use) {
  constexpr std::size_t kMostWords = 20;
  if (use.name.find('.') != std::string_view::npos) return std::nullopt;
  const std::vector<std::string> written = wordsOf(use.name);
  const std::vector<std::string> named = wordsOf(use.rule.name());
  if (written.size() > kMostWords || named.size() > kMostWords) return std::nullopt;
  for (const std::string& word : written) {
    if (std::ranges::count(named, word) != 0) continue;
    for (const std::string& other : named) {
      const bool isElsewhere = std::ranges::count(written, other) != 0;
      if (!isElsewhere && looksMisspelled(word, other) && american(word) != american(other)) return other;
    }
  }
  return std::nullopt;
}

void misspelledAttribute(const LintedDocuments& documents, Reporter& reporter) {
  const auto names = namesInUse(documents);
  forEachName(documents, [&](const NameUse& use) {
    const auto report = [&](const std::string& what) {
      reporter.at(
          use.place, use.rule.name(),
          {what,
           fmt::format("If the name is wrong, the rule {} for every device.", use.isForbidden() ? "passes" : "fails"),
           "Use one spelling."});
    };
    const Namespace& all = names.at(use.source);
    if (all.isConfirmed(use.name)) return;
    if (const std::string_view prefix = prefixMeant(use.name); use.source.empty() && !prefix.empty()) {
      reporter.suggest(use.name, std::string(prefix) + std::string(use.name.substr(use.name.find('.'))));
      return report(fmt::format("{} does not begin with \"{}.\"; did you mean \"{}{}\"?", shown(use.name), prefix,
                                prefix, visible(use.name.substr(use.name.find('.')))));
    }
    const auto meant = use.source.empty() && all.usesOf(use.name) == 1 ? knownMeant(use.name) : std::nullopt;
    if (const auto similar = meant ? meant : all.meantBy(use.name)) {
      reporter.suggest(use.name, *similar);
      return report(fmt::format("{} resembles {}; did you mean that?", shown(use.name), shown(*similar)));
    }
    if (all.usesOf(use.name) > 1) return;
    if (const auto word = wordMeant(use)) {
      report(fmt::format("A word of {} resembles {} in the name of the rule; is it misspelled?", shown(use.name),
                         shown(*word)));
    }
  });
}

void unconfirmedAbsence(const LintedDocuments& documents, Reporter& reporter) {
  const auto names = namesInUse(documents);
  forEachName(documents, [&](const NameUse& use) {
    const Namespace& all = names.at("");
    if (!use.isForbidden() || all.isConfirmed(use.name) || all.usesOf(use.name) > 1) return;
    if (asRead(use.rule.name()).find(asRead(use.name)) != std::string::npos) return;
    reporter.at(use.place, use.rule.name(),
                {fmt::format("No other rule{} has the attribute {}.", documents.devices.empty() ? "" : " or device",
                             shown(use.name)),
                 "If the name is misspelled, the rule passes for every device.", "Check the spelling."});
  });
}

bool isOneChange(std::string_view name, std::string_view other) {
  return name.size() == other.size() && nearestName(name, std::span(&other, 1)).has_value();
}

void forEachSource(const LintedDocuments& documents, const auto& visit) {
  documents.forEachDefinition([&](const Rule& rule) {
    for (const Rule::Reference& reference : rule.references()) {
      const Value* source = reference.place.value().ifDictionary()->find("source");
      if (source != nullptr && source->isString()) visit(rule, reference.place.entry("source", *source));
    }
  });
}

void sourceSpelling(const LintedDocuments& documents, Reporter& reporter) {
  std::unordered_map<std::string, std::string_view> spellings;
  forEachSource(documents, [&](const Rule& rule, const Place& place) {
    const std::string_view spelling = *place.value().ifString();
    const std::string_view first = spellings.try_emplace(lowerCase(spelling), spelling).first->second;
    if (first == spelling) return;
    reporter.at(place, rule.name(),
                {fmt::format("The source {} is spelled {} elsewhere.", shown(spelling), shown(first)),
                 "Source names must match the host's spelling: one of the two is never found, and its rules fail.",
                 "Use the host's spelling."});
  });
}

/// The source that the name probably means: one in use, or one of the usual ones. Absent if it resembles none.
std::optional<std::string_view> sourceMeant(std::string_view name,
                                            const std::map<std::string_view, std::size_t>& uses) {
  for (const auto& [other, count] : uses) {
    if (other == name || count < 2) continue;
    const bool isUsual = std::ranges::count(kUsualSources, other) != 0 && std::ranges::none_of(name, isDigit);
    if (looksMisspelled(name, other) || (isUsual && isOneChange(name, other))) return other;
  }
  if (std::ranges::count(kUsualSources, name) != 0) return std::nullopt;
  const auto usual = std::ranges::find_if(kUsualSources, [&](auto other) { return looksMisspelled(name, other); });
  return usual == std::end(kUsualSources) ? std::nullopt : std::optional(*usual);
}

void similarSource(const LintedDocuments& documents, Reporter& reporter) {
  std::map<std::string_view, std::size_t> uses;  // by rules
  std::set<std::string_view> confirmed;
  for (const ExampleDevice& device : documents.devices) {
    for (const auto& item : device.sources) confirmed.insert(item.key);
  }
  for (const std::string_view source : confirmed) uses[source] = 2;
  std::map<std::string_view, std::set<std::string_view>> rules;
  forEachSource(documents,
                [&](const Rule& rule, const Place& place) { rules[*place.value().ifString()].insert(rule.name()); });
  for (const auto& [source, names] : rules) uses[source] += names.size();
  forEachSource(documents, [&](const Rule& rule, const Place& place) {
    const std::string_view source = *place.value().ifString();
    if (uses[source] > 1) return;
    const auto meant = sourceMeant(source, uses);
    if (!meant || lowerCase(*meant) == lowerCase(source)) return;  // has its own finding
    reporter.suggest(source, *meant);
    reporter.at(place, rule.name(),
                {fmt::format("Only this rule has the source {}; did you mean {}?", shown(source), shown(*meant)),
                 "If the host does not supply a source of that name, the rule fails for every device.",
                 "Use the host's name."});
  });
}

/// The form of a name: "PL30" has the form "AA99".
std::string formOf(std::string_view name) {
  std::string form(name);
  for (char& character : form) {
    if (isDigit(character)) character = '9';
    if (isAsciiLetter(character)) character = 'A';
  }
  return form;
}

/// Part numbers, or regions, and which of them are probably the same.
class SimilarNames {
 public:
  explicit SimilarNames(std::string_view noun) : noun_(noun) {}

  void add(std::string_view name) {
    if (!seen_.insert(name).second) return;
    const std::string read = asRead(name);
    if (read.empty()) return;
    first_.try_emplace(read, name);
    ++forms_[formOf(name)];
    names_.push_back(name);
  }

  /// What is odd about the name; empty if nothing is.
  [[nodiscard]] std::string oddityOf(std::string_view name) const {
    const auto found = first_.find(asRead(name));
    if (found == first_.end()) return "";
    const std::string_view first = found->second;
    if (first != name) return fmt::format("The {} {} resembles {}.", noun_, shown(name), shown(first));
    const std::string usual = usualForm();
    if (usual.empty() || formOf(name) == usual || forms_.at(formOf(name)) > 1) return "";
    const bool hasOtherSigns = withoutSigns(formOf(name)) == withoutSigns(usual);
    if (!hasOtherSigns && !hasLettersForDigits(name, usual)) return "";
    return fmt::format("The {} {} is written differently from the others, such as {}.", noun_, shown(name),
                       shown(exampleOf(usual)));
  }

 private:
  /// The form that all names but one have, if there are at least three names.
  [[nodiscard]] std::string usualForm() const {
    constexpr std::size_t kFewest = 3;
    if (names_.size() < kFewest || forms_.size() != 2) return "";
    const auto& [form, count] = *std::ranges::max_element(forms_, {}, [](const auto& entry) { return entry.second; });
    return count + 1 == names_.size() ? form : "";
  }
  [[nodiscard]] std::string_view exampleOf(const std::string& form) const {
    return *std::ranges::find(names_, form, [](std::string_view name) { return formOf(name); });
  }
  /// Whether the name has the form except for letters that look like digits.
  static bool hasLettersForDigits(std::string_view name, std::string_view form) {
    return std::ranges::equal(name, form, [](char character, char wanted) {
      const bool looksLikeDigit = std::string_view("OoIl").find(character) != std::string_view::npos;
      return formOf({&character, 1})[0] == wanted || (wanted == '9' && looksLikeDigit);
    });
  }
  static std::string withoutSigns(std::string form) {
    std::erase_if(form, [](char character) { return character != 'A' && character != '9'; });
    return form;
  }

  std::string_view noun_;
  std::unordered_set<std::string_view> seen_;
  std::vector<std::string_view> names_;
  std::unordered_map<std::string, std::string_view> first_;
  std::map<std::string, std::size_t> forms_;
};

void similarName(const LintedDocuments& documents, Reporter& reporter) {
  SimilarNames partNumbers("part number");
  SimilarNames regions("region");
  const auto namesOf = [&](const Layer& layer) -> SimilarNames* {
    if (layer.category == LocalEntry::Layer::kRegion) return &regions;
    return layer.category == LocalEntry::Layer::kPartNumber ? &partNumbers : nullptr;
  };
  for (const ExampleDevice& device : documents.devices) {
    if (const auto name = device.attributes().findString("ModelNumber")) partNumbers.add(*name);
    if (const auto name = device.attributes().findString("RegionInfo")) regions.add(*name);
  }
  const auto forEachLayer = [&](const auto& visit) {
    for (const LocalRules& rules : documents.localRules) {
      for (const Layer& layer : rules.layers) {
        if (SimilarNames* names = namesOf(layer)) visit(layer, *names);
      }
    }
  };
  forEachLayer([](const Layer& layer, SimilarNames& names) { names.add(layer.place.key()); });
  forEachLayer([&](const Layer& layer, const SimilarNames& names) {
    const std::string oddity = names.oddityOf(layer.place.key());
    if (oddity.empty()) return;
    reporter.atKey(layer.place,
                   {oddity, "If it is misspelled, no device matches it, and devices with the correct name are unknown.",
                    "Use the spelling that devices report."});
  });
}

bool hasOuterBlank(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  return !text.empty() &&
         (kBlanks.find(text.front()) != std::string_view::npos || kBlanks.find(text.back()) != std::string_view::npos);
}

class BlankSearch {
 public:
  BlankSearch(std::string_view rule, Reporter& reporter) : rule_(rule), reporter_(reporter) {}

  void searchName(const Place& place, std::string_view name) { report(place, name, true); }
  void searchText(const Place& place) {
    if (const auto text = place.value().ifString()) report(place, *text, false);
  }
  void searchAll(const Place& place) {
    searchText(place);
    if (const Array* array = place.value().ifArray()) {
      for (std::size_t i = 0; i < array->size(); ++i) searchAll(place.element(i, array->at(i)));
    } else if (const Dictionary* dictionary = place.value().ifDictionary()) {
      for (const auto [key, value] : *dictionary) {
        searchName(place.entry(key, value), key);
        searchAll(place.entry(key, value));
      }
    }
  }

 private:
  void report(const Place& place, std::string_view text, bool isKey) {
    if (!hasOuterBlank(text)) return;
    const Statement statement = {fmt::format("{} begins or ends with a blank.", shown(text)),
                                 "Blanks count: a device that reports the text without the blank does not match.",
                                 "Remove the blank."};
    if (isKey) return reporter_.atKey(place, rule_, statement);
    reporter_.at(place, rule_, statement);
  }

  std::string_view rule_;
  Reporter& reporter_;
};

/// A word between blanks may be what "contains" looks for.
bool looksForWord(const Rule& rule) {
  const auto text = rule.value()->value().ifString();
  return text && text->starts_with(' ') && text->ends_with(' ') &&
         std::ranges::count(rule.operands(), "contains", &Rule::Operand::word) != 0;
}

void outerBlank(const Rule& rule, Reporter& reporter) {
  BlankSearch search(rule.name(), reporter);
  if (rule.value() && !looksForWord(rule)) search.searchAll(*rule.value());
  if (rule.entry() != nullptr) return;
  if (const auto attribute = rule.key("attribute")) search.searchText(*attribute);
  for (const Rule::Reference& reference : rule.references()) {
    for (const auto [key, value] : *reference.place.value().ifDictionary()) {
      if (key == "attribute" || key == "source") search.searchText(reference.place.entry(key, value));
    }
  }
}

void outerBlankInName(const LintedDocuments& documents, Reporter& reporter) {
  BlankSearch search("", reporter);
  for (const LocalRules& rules : documents.localRules) {
    for (const Layer& layer : rules.layers) search.searchName(layer.place, layer.place.key());
  }
}

constexpr Check kChecks[] = {
    {.name = "impossible-attribute", .severity = Severity::kError, .ofDocuments = impossibleAttribute},
    {.name = "misspelled-attribute", .severity = Severity::kWarning, .ofDocuments = misspelledAttribute},
    {.name = "outer-blank", .severity = Severity::kWarning, .ofRule = outerBlank, .ofDocuments = outerBlankInName},
    {.name = "similar-name", .severity = Severity::kWarning, .ofDocuments = similarName},
    {.name = "similar-source", .severity = Severity::kWarning, .ofDocuments = similarSource},
    {.name = "source-spelling", .severity = Severity::kWarning, .ofDocuments = sourceSpelling},
    {.name = "unconfirmed-absence", .severity = Severity::kInformation, .ofDocuments = unconfirmedAbsence},
};

}  // namespace

std::span<const Check> nameChecks() { return kChecks; }

}  // namespace tavik::tool::lint

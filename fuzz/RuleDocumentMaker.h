/// @file
/// Builds rule documents, devices and sources from choices: mostly realistic ones, with occasional mistakes of all
/// kinds.
#ifndef TAVIK_FUZZ_RULE_DOCUMENT_MAKER_H
#define TAVIK_FUZZ_RULE_DOCUMENT_MAKER_H

#include <tavik/Value.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Choices.h"

namespace tavik {

struct RuleDocuments {
  Dictionary library;
  std::optional<Dictionary> rules;
  std::optional<Dictionary> sources;
  std::vector<Dictionary> devices;
};

class RuleDocumentMaker {
 public:
  explicit RuleDocumentMaker(Choices choices) noexcept : choices_(choices) {}

  RuleDocuments documents() {
    RuleDocuments made;
    made.library = library();
    if (!choices_.often(1)) made.rules = localRules();
    if (!choices_.often(3)) made.sources = sources();
    for (std::size_t rest = 1 + choices_.below(5); rest > 0; --rest) made.devices.push_back(device());
    return made;
  }

 private:
  // Words separated by "|".
  static constexpr std::string_view kRules =
      "A|B|C|D|a rule with a name that is long|No Attribute a|No Attribute of any name|SetRuleSet|OtherRuleSet"
      "|RuleSet|RegionRules|version";
  static constexpr std::string_view kAttributes =
      "a|b|ModelNumber|RegionInfo|IntegratedCircuitCardIdentity|SysCfgData.ABCD|RootManifestData.Unknown|mpn"
      "|region_code|MLBSerialNumber|FCCID|TotalDiskCapacity|SerialNumber|an attribute with a name that is long"
      "|SysCfgData|\xC3\xA4";
  static constexpr std::string_view kSources = "sfc|gui|SFC|another";
  static constexpr std::string_view kPartNumbers = "MD123|MD456|a part number that is long";
  static constexpr std::string_view kRegions = "LL/A|ZA/A|a region that is long";
  static constexpr std::string_view kPredicates =
      "MPN4CCheck|MPN4CListCheck|MPN4ECheck|MPN4EListCheck|MPNCCCCheck|boolEqual|caseInsensitiveEqual"
      "|caseInsensitiveEqualData|cccNandSizeCheck|checkEEEFCCIDTable|checkIMEIfromGUI|checkWifiVendorAgainst4E"
      "|checkWifiVendorAgainstEEE|combinedMPNRCCheck|contains|controlBitCheck|dataNotNull|equal|equalData"
      "|equalLong|equalMask|greaterThan|hasPrefix|hasSuffix|isUppercase|minimumNandSize|nandSizeCheck"
      "|nvramWhiteList|referenceHasPrefix|sendConditionalAttribute|sendStaticAttribute|staticTextGUIEquals"
      "|swbhRegionMatch|systemPartitionSizeCheck|validIMEI|valueInList|varnockSystemPartitionSizeCheck"
      "|nobodysPredicate|AND";
  static constexpr std::string_view kTexts =
      "|A|abc|ABC|42|0042|-1.5e3|64GB|64000000000|MD123|LL/A|None|Pass|DEAD|001044120005019|C02K647012KR4"
      "|C02K64701277KR4ABC|vendor=0x1a55|GER|region|\xC3\xA4\xC3\x9F|a text that is long enough to be shared";
  static constexpr std::string_view kKeys =
      "Mask|Result|OnPass|OnFail|match|nonMatch|list|value|behavior|countryList|special|nospecial|Test State"
      "|MD123|LL/A|A|KR4|7KR4|region";
  static constexpr std::string_view kFields = "attribute|predicate|value|references";

  // The version comes first, so that most short inputs have one.
  Dictionary library() {
    Dictionary made;
    if (!choices_.often(1)) made.set("version", choices_.often(2) ? value(2) : Value(7));
    for (std::size_t rest = choices_.below(8); rest > 0; --rest) {
      const std::string name = ruleName();
      made.set(name, choices_.often(1) ? value(1) : Value(definition()));
    }
    return made;
  }

  Dictionary localRules() {
    Dictionary made;
    if (!choices_.often(1)) made.set("version", choices_.often(2) ? value(2) : Value("8"));
    if (choices_.often(10)) made.set("MPNRules", choices_.often(1) ? value(1) : Value(partNumbers()));
    if (!choices_.often(4)) made.set("GenericRules", choices_.often(1) ? value(1) : Value(entries()));
    if (choices_.often(10)) made.set("RuleSets", choices_.often(1) ? value(1) : Value(sets()));
    if (choices_.often(1)) {
      const char* name = choices_.often(8) ? "untrusted" : "nothing";
      made.set(name, value(1));
    }
    return made;
  }

  Dictionary partNumbers() {
    Dictionary made;
    for (std::size_t rest = 1 + choices_.below(3); rest > 0; --rest) {
      Dictionary partNumber = entries();
      if (choices_.often(8)) partNumber.set("RegionRules", choices_.often(1) ? value(1) : Value(regions()));
      if (choices_.often(4)) partNumber.setAll(entries());
      const std::string_view name = choices_.wordOf(kPartNumbers);
      made.set(name, choices_.often(1) ? value(1) : Value(partNumber));
    }
    return made;
  }

  // Entries for a few names.
  template <class Name>
  Dictionary groups(Name name) {
    Dictionary made;
    for (std::size_t rest = 1 + choices_.below(3); rest > 0; --rest) {
      const std::string key(name());
      made.set(key, choices_.often(1) ? value(1) : Value(entries()));
    }
    return made;
  }
  Dictionary regions() {
    return groups([this] { return choices_.wordOf(kRegions); });
  }
  Dictionary sets() {
    return groups([this] { return ruleName(); });
  }

  Dictionary entries() {
    Dictionary made;
    for (std::size_t rest = choices_.below(6); rest > 0; --rest) {
      const std::string name = ruleName();
      Dictionary entry;
      if (choices_.often(6)) entry.set("value", value(2));
      made.set(name, choices_.often(1) && choices_.often(4) ? value(1) : Value(entry));
    }
    return made;
  }

  Dictionary definition() {
    Dictionary made;
    if (!choices_.often(1)) made.set("attribute", choices_.often(1) ? value(1) : Value(attributeName()));
    if (!choices_.often(1)) made.set("predicate", choices_.often(1) ? value(1) : Value(expression()));
    if (!choices_.often(6)) made.set("value", value(3));
    if (choices_.often(6)) made.set("references", choices_.often(1) ? value(1) : Value(references()));
    if (choices_.often(3)) made.set("hideResult", value(0));
    if (choices_.often(3)) made.set("domain", value(1));
    if (choices_.often(3)) made.set("poll", value(1));
    if (choices_.often(1)) made.erase(choices_.wordOf(kFields));
    return made;
  }

  Array references() {
    Array made;
    for (std::size_t rest = choices_.below(5); rest > 0; --rest) {
      Dictionary reference;
      if (!choices_.often(3)) reference.set("attribute", choices_.often(1) ? value(0) : Value(attributeName()));
      if (choices_.often(8)) reference.set("source", choices_.often(1) ? value(1) : Value(choices_.wordOf(kSources)));
      if (choices_.often(4)) reference.set("description", value(1));
      made.append(choices_.often(1) ? value(1) : Value(reference));
    }
    return made;
  }

  Dictionary sources() {
    Dictionary made;
    for (std::size_t rest = choices_.below(4); rest > 0; --rest) {
      const std::string_view name = choices_.wordOf(kSources);
      made.set(name, choices_.often(1) ? value(1) : Value(attributes()));
    }
    return made;
  }

  Dictionary device() {
    Dictionary made = attributes();
    if (!choices_.often(1))
      made.set("ModelNumber", choices_.often(1) ? value(1) : Value(choices_.wordOf(kPartNumbers)));
    if (!choices_.often(1)) made.set("RegionInfo", choices_.often(1) ? value(1) : Value(choices_.wordOf(kRegions)));
    if (choices_.often(2)) made.set("SysCfgData", choices_.often(1) ? value(1) : Value(blob()));
    if (choices_.often(2)) made.set("BasebandFirmwareManifestData", choices_.often(1) ? value(1) : Value(manifests()));
    return made;
  }

  Dictionary attributes() {
    Dictionary made;
    for (std::size_t rest = choices_.below(12); rest > 0; --rest) {
      const std::string name = attributeName();
      made.set(name, value(2));
    }
    return made;
  }

  // A SysCfg blob with one field of 16 bytes, "ABCD".
  Data blob() {
    std::vector<std::uint8_t> bytes(16, 0);
    for (const char each : {'\1', '\0', '\0', '\0', 'D', 'C', 'B', 'A'}) bytes.push_back(std::uint8_t(each));
    for (std::size_t rest = 16; rest > 0; --rest) bytes.push_back(choices_.byte());
    return Data(bytes);
  }

  // A root manifest with one item; its tag and four bytes of content are chosen.
  Dictionary manifests() {
    std::vector<std::uint8_t> bytes = {0x30, 0x23, 0x30, 0x0b, 0x06, 0x09, 0x2a, 0x86, 0x48, 0x86, 0xf7, 0x0d, 0x01,
                                       0x01, 0x05, 0x31, 0x0a, 0x01, 0x01, 0x41, 0x02, 0x02, 0x41, 0x42, 0x43, 0x20,
                                       0x04, 0x01, 0x02, 0xa3, 0x06, 0x04, 0x04, 0xde, 0xad, 0xbe, 0xef};
    for (std::size_t rest = choices_.below(4); rest > 0; --rest) bytes[choices_.below(bytes.size())] = choices_.byte();
    return {{choices_.often(8) ? "RootManifestData" : "ProvisioningManifestData", Data(bytes)}};
  }

  std::string ruleName() { return name(kRules, 6); }
  std::string attributeName() { return name(kAttributes, 4); }
  // Mostly one of the first few, so that lookups often succeed.
  std::string name(std::string_view names, std::size_t few) {
    if (choices_.often(10)) return std::string(Choices::word(names, choices_.below(few)));
    return std::string(choices_.often(2) ? choices_.text(20) : choices_.wordOf(names));
  }

  std::string expression() {
    std::string word(choices_.often(1) ? choices_.text(20) : choices_.wordOf(kPredicates));
    const std::size_t form = choices_.below(8);
    if (form == 0) return "NOT " + word;
    if (form > 2) return word;
    word += choices_.wordOf(" AND | OR | and | xor | |  ");
    word += choices_.wordOf(kPredicates);
    return word;
  }

  // A value of any kind, with containers nested up to this depth.
  Value value(int depth) {
    const std::size_t kind = choices_.below(depth > 0 ? 12 : 8);
    if (kind == 0) return choices_.text(24);
    if (kind == 1) return Value(std::int64_t{choices_.byte()} - 100);
    if (kind == 2) return Value(choices_.number<std::int64_t>());
    if (kind == 3) return Value(choices_.often(4) ? choices_.number<double>() : choices_.byte() / 4.0);
    if (kind == 4) return Value(choices_.often(8));
    if (kind == 5 && choices_.often(2)) return Value(Date::sinceReference(choices_.number<double>()));
    if (kind == 5) return Value(Data(choices_.bytes(80)));
    if (kind < 8) return choices_.wordOf(kTexts);
    Array array;
    Dictionary dictionary;
    for (std::size_t rest = choices_.below(4); rest > 0; --rest) {
      if (kind < 10) {
        array.append(value(depth - 1));
      } else {
        const std::string_view key = choices_.often(1) ? choices_.text(20) : choices_.wordOf(kKeys);
        dictionary.set(key, value(depth - 1));
      }
    }
    return kind < 10 ? Value(array) : Value(dictionary);
  }

  Choices choices_;
};

}  // namespace tavik

#endif

#include "RuleMeaning.h"

#include <algorithm>
#include <iterator>

namespace tavik::tool {
namespace {

struct Meaning {
  std::string_view predicate;
  std::string_view clause;  ///< follows "Passes when"; "it" is the value that was found
};

constexpr Meaning kMeanings[] = {
    {"MPN4CCheck", "the last 4 characters of the serial number are the expected ones"},
    {"MPN4CListCheck", "the last 4 characters of the serial number are in the list"},
    {"MPN4ECheck", "the 4E code of the board's serial number (from its 12th character) is the expected one"},
    {"MPN4EListCheck", "the 4E code of the board's serial number (from its 12th character) is in the list"},
    {"MPNCCCCheck", "the last 3 characters of the serial number are the expected ones"},
    {"boolEqual", "it is as expected, where 1 means yes and 0 means no"},
    {"caseInsensitiveEqual", "it is the expected text, in capitals or not"},
    {"caseInsensitiveEqualData", "its bytes are the expected ones"},
    {"cccNandSizeCheck", "the storage has as many GB as belong to the last 3 characters of the serial number"},
    {"checkEEEFCCIDTable",
     "the board is one that the device's FCC identifier is for, told by its EEE code (from the 10th character of its "
     "serial number)"},
    {"checkIMEIfromGUI", "the IMEI ends with the 4 digits that the operator typed"},
    {"checkWifiVendorAgainst4E",
     "the board is one that the vendor's Wi-Fi module is for, told by its 4E code (from the 12th character of its "
     "serial "
     "number)"},
    {"checkWifiVendorAgainstEEE",
     "the board is one that the vendor's Wi-Fi module is for, told by its EEE code (from the 10th character of its "
     "serial number)"},
    {"combinedMPNRCCheck", "the device's part number and region are those that the shop-floor system has for it"},
    {"contains", "the expected text occurs in it"},
    {"controlBitCheck", "every listed control bit says that its test was passed"},
    {"dataNotNull", "some byte of it is not zero"},
    {"equal", "it is the expected number"},
    {"equalData", "its bytes are the expected ones"},
    {"equalLong", "it is the expected number"},
    {"equalMask", "its bits that the mask selects are as expected"},
    {"greaterThan", "it is greater than the expected number"},
    {"hasPrefix", "it begins with the expected text"},
    {"hasSuffix", "it ends with the expected text"},
    {"isUppercase", "it has no small letters"},
    {"minimumNandSize", "the storage has at least as many GB as expected"},
    {"nandSizeCheck", "the storage has as many GB as expected"},
    {"nvramWhiteList", "every firmware variable there is stands in the list"},
    {"referenceHasPrefix", "what it is checked against begins with it"},
    {"sendConditionalAttribute", "it is there"},
    {"sendStaticAttribute", "it is there"},
    {"staticTextGUIEquals", "the operator's answer is the expected text"},
    {"swbhRegionMatch", "it is the behavior that the device's region asks for"},
    {"systemPartitionSizeCheck", "the system partition has as many MiB as expected"},
    {"validIMEI", "the IMEI begins with one of the expected prefixes"},
    {"valueInList", "all of it stands in the list"},
    {"varnockSystemPartitionSizeCheck", "the system partition has no more MiB than expected"},
};
static_assert(std::ranges::is_sorted(kMeanings, {}, &Meaning::predicate));

/// Takes the next word of an expression; empty at its end.
std::string_view takeWord(std::string_view& expression) {
  expression.remove_prefix(std::min(expression.find_first_not_of(' '), expression.size()));
  const std::string_view word = expression.substr(0, expression.find(' '));
  expression.remove_prefix(word.size());
  return word;
}

}  // namespace

std::string meaningOf(std::string_view predicateExpression) {
  std::string meaning;
  const bool onlyNegated = predicateExpression.starts_with("NOT ") && std::ranges::count(predicateExpression, ' ') == 1;
  for (std::string_view word = takeWord(predicateExpression); !word.empty(); word = takeWord(predicateExpression)) {
    if (word == "NOT") {
      if (!onlyNegated) meaning += "it is not so that ";
    } else if (word == "AND") {
      meaning += ", and when ";
    } else if (word == "OR") {
      meaning += ", or when ";
    } else {
      const auto* const row = std::ranges::lower_bound(kMeanings, word, {}, &Meaning::predicate);
      if (row == std::end(kMeanings) || row->predicate != word) return "";
      meaning += row->clause;
    }
  }
  return meaning.empty() ? "" : (onlyNegated ? "Fails when " : "Passes when ") + meaning + ".";
}

}  // namespace tavik::tool

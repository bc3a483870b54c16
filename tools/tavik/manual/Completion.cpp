#include "manual/Completion.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace tavik::tool::manual {
namespace {

/// Values that are typed. All others are files.
constexpr std::string_view kTyped[] = {"EXPRESSION", "N", "NAME", "RULE", "TEXT"};

}  // namespace

Completes completionOf(const OptionHelp& option) {
  if (!option.takesValue) return Completes::kNothing;
  if (!option.choices.empty()) return Completes::kChoices;
  if (option.valueName() == "NAME=FILE") return Completes::kNamedFile;
  if (option.valueName() == "V") return Completes::kAtFile;
  return std::ranges::find(kTyped, option.valueName()) != std::end(kTyped) ? Completes::kNothing : Completes::kFile;
}

}  // namespace tavik::tool::manual

// Texts of the outcome of a check run.

#include <tavik/CheckOutcome.h>

namespace tavik {

std::string_view Reason::word() const noexcept {
  constexpr std::string_view kWords[] = {"unreadable",    "no local rules", "not trusted",          "empty",
                                         "not assembled", "no rules",       "malformed expression", "fault"};
  return kWords[static_cast<std::size_t>(category)];
}

std::string Reason::text() const { return rule ? "rule \"" + *rule + "\": " + description : description; }

std::string_view Fault::word() const noexcept { return category == Category::kRange ? "range" : "invalid-argument"; }

std::span<const Value> CheckOutcome::ruleRecords() const noexcept {
  constexpr std::size_t kVersionRecords = 3;
  if (verdict == Verdict::kNone) return {};
  return std::span(records->begin(), records->end()).subspan(kVersionRecords);
}

}  // namespace tavik

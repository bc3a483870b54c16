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

std::string_view wordOf(Verdict verdict) noexcept {
  constexpr std::string_view kWords[] = {"passed", "failed", "none"};
  return kWords[static_cast<std::size_t>(verdict)];
}

std::span<const Value> CheckOutcome::ruleRecords() const noexcept {
  constexpr std::size_t kVersionRecords = 3;
  if (verdict == Verdict::kNone) return {};
  return std::span(records->begin(), records->end()).subspan(kVersionRecords);
}

Dictionary CheckOutcome::dictionary() const {
  Dictionary entries;
  if (records) entries.set("records", *records);
  entries.set("station", station);
  if (error) {
    entries.set("error", Dictionary{{"domain", error->domain()},
                                    {"code", Value(error->code())},
                                    {"description", error->localizedDescription()}});
  }
  if (fault) entries.set("fault", Dictionary{{"kind", fault->word()}, {"message", reason->text()}});
  entries.set("verdict", wordOf(verdict));
  if (!reason) return entries;
  Dictionary why{{"kind", reason->word()}};
  if (reason->rule) why.set("rule", *reason->rule);
  why.set("description", reason->description);
  entries.set("reason", std::move(why));
  return entries;
}

}  // namespace tavik

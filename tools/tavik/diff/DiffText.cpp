// A difference for reviewers: what happens to devices, then each change of rules once, with the affected kinds.

#include <fmt/format.h>

#include <string_view>

#include "diff/ChangeText.h"
#include "diff/DiffReport.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kIndent = 12;

std::string groupText(const ChangeGroup& group, const DeviceKinds& kinds, const Screen& screen) {
  std::string text = "\n" + styled(kinds.text(group.devices.members()), Style::kHeading, screen) + "\n";
  for (const ChangedRule& change : group.changes) {
    const ChangeText shownChange = textOf(change.change());
    text += fmt::format("  {:<{}}{}\n", shownChange.mark, kIndent - 2, shownChange.title);
    for (const std::string& line : shownChange.lines) text += fmt::format("{:{}}{}\n", "", kIndent, line);
  }
  return text;
}

std::string versionsText(const Dictionary& versions) {
  std::string text;
  const auto add = [&](std::string_view label, std::string_view before, std::string_view after) {
    if (!versions.contains(before)) return;
    text += fmt::format("{:<12} {}", label, lineOf(versions.find(before)));
    const bool same = *versions.find(before) == *versions.find(after);
    text += same ? ", the same version\n" : fmt::format(" -> {}\n", lineOf(versions.find(after)));
  };
  add("local rules", "old", "new");
  add("library", "old_library", "new_library");
  return text;
}

std::string deviceGroupText(const DeviceGroup& group, const Screen& screen) {
  std::string text = "\n" + styled(group.title(), Style::kHeading, screen) + "\n  " + group.devicesText() + "\n";
  if (!group.sameTexts) text += "  for example " + group.names.front() + ":\n";
  for (const DeviceGroup::Record& record : group.records) {
    text += fmt::format("  {}\n    old  {}\n    new  {}\n", record.title, record.before, record.after);
  }
  if (group.recordsLeftOut != 0) text += fmt::format("  and {}\n", counted(group.recordsLeftOut, "more rule"));
  return text;
}

std::string devicesText(const DeviceChanges& devices, const Screen& screen) {
  std::string text = "\n" + devices.summary() + "\n";
  if (devices.changed() == 0) return text;
  Table table;
  table.add(Style::kHeading, {"  rule", "now fails", "now passes", "differs"});
  for (const auto& [rule, tally] : devices.rules()) {
    table.add(Style::kPlain, {"  " + visible(rule), std::to_string(tally.nowFails), std::to_string(tally.nowPasses),
                              std::to_string(tally.others)});
  }
  if (!devices.rules().empty()) text += table.text(screen);
  for (const DeviceGroup& group : devices.groups().all()) text += deviceGroupText(group, screen);
  if (const std::size_t rest = devices.groups().leftOut(); rest != 0) {
    text += fmt::format("\nand {} with other changes; --limit 0 lists all\n", counted(rest, "more device"));
  }
  return text;
}

}  // namespace

void writeDifferenceText(const RulesDifference& difference, const Screen& screen, BufferedOutput& output) {
  output.append(versionsText(difference.versions));
  if (difference.devices) output.append(devicesText(*difference.devices, screen));
  for (const ChangeGroup& group : difference.rules.groups()) {
    output.append(groupText(group, difference.rules.kinds(), screen));
  }
  if (difference.rules.empty()) output.append("\nno device gets different rules\n");
}

}  // namespace tavik::tool

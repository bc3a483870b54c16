#include "reports/HtmlRecords.h"

#include "check/Provenance.h"
#include "reports/HtmlPage.h"
#include "rules/DeviceKinds.h"
#include "rules/RuleMeaning.h"
#include "rules/RuleNotes.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

std::string_view sourceOf(const std::optional<std::string_view>& source) {
  if (!source) return "the device";
  if (source == "gui") return "the operator's answers (gui)";
  if (source == "sfc") return "the shop-floor system (sfc)";
  return *source;
}

/// "serial_number from the shop-floor system (sfc): Serial number on the traveller"
Html referenceHtml(const RuleEvaluation::Operand& reference, const Value& listed) {
  const auto description = listed.ifDictionary()->findString("description");
  Html text = markup("<code>{}</code> from {}", reference.name.value_or(""), sourceOf(reference.source));
  if (description) text += markup(" (“{}”)", *description);
  return text;
}

/// What the rule compares, and how: the record does not include it.
Html operandsHtml(const RuleEvaluation& evaluation, const RuleOrigin& rule) {
  if (!evaluation.attribute.name) return {};
  Html text = markup("Checks <code>{}</code> from the device", *evaluation.attribute.name);
  std::string_view joint = " against ";
  for (std::size_t i = 0; i < evaluation.references.size(); ++i) {
    text +=
        markup("{}{}", joint, referenceHtml(evaluation.references[i], rule.definition->findArray("references")->at(i)));
    joint = " and ";
  }
  const std::string meaning = meaningOf(evaluation);
  return markup("<small>{}.{}{}</small>", text, meaning.empty() ? "" : " ", meaning);
}

Html cell(std::string_view label, std::string_view style, const Html& content) {
  return markup(R"(<td role="cell" data-label="{}"><span class="{}">{}</span></td>)", label, style, content);
}

}  // namespace

Html notesHtml(const RuleNote* note, bool pass) {
  if (note == nullptr) return {};
  Html text = pass ? Html() : operandsHtml(note->evaluation, *note->rule);
  for (const std::string& remark : note->remarks(pass)) text += markup("<small>Note: {}.</small>", remark);
  const std::string_view advice = pass ? "" : note->advice();
  return advice.empty() ? text : text + markup(R"(<span class="to-do">To do: {}</span>)", advice);
}

Html deviceNotesHtml(const DeviceResult& result) {
  Html text;
  for (const std::string& note : result.aboutDevice()) text += markup("<p class=\"banner\">{}.</p>\n", note);
  return text;
}

std::string_view adviceFor(const DeviceResult& result) {
  if (!result.inputError.empty()) return "This line of the input cannot be used, so the device was not checked.";
  const CheckOutcome& outcome = result.outcome;
  if (outcome.fault) {
    return "The device was not checked completely. Look at the value that this rule reads; if it is correct, tell the "
           "author of the rules.";
  }
  if (!outcome.error || !saysUnknownDevice(*outcome.error)) return kRulesAtFault;
  return "Compare the part number and region of the device with its label. If they are correct, the local rules lack "
         "them: tell the author of the rules.";
}

Html ruleTable(std::string_view style, const Html& rows) {
  return markup(
      "<table class=\"rules {}\" role=\"table\"><thead role=\"rowgroup\"><tr role=\"row\">"
      "<th scope=\"col\" role=\"columnheader\">Rule</th><th scope=\"col\" role=\"columnheader\">Expected</th>"
      "<th scope=\"col\" role=\"columnheader\">Found</th></tr></thead><tbody role=\"rowgroup\">\n"
      "{}</tbody></table>\n",
      style, rows);
}

Html rowOf(const Value& record, const Html& notes, const RowOptions& options) {
  const bool pass = passed(record);
  const Dictionary& entries = *record.ifDictionary();
  const std::string actual = lineOf(entries.find("actual"));
  const std::string expected = lineOf(entries.find("expected"));
  const Difference difference = pass ? Difference() : differenceOf(actual, expected);
  Html wanted = markedHtml(expected, difference.expected, options.textLimit);
  wanted.breakAfter("caseInsensitiveEqual:");  // so that a narrow screen does not split the value
  return markup(R"(<tr role="row"{}><th scope="row" role="rowheader">{}{}{}</th>{}{}</tr>)"
                "\n",
                !options.filtered ? Html() : markup(R"( data-result="{}")", pass ? "passed" : "failed"),
                description(entries.find("rule")),
                entries.contains("hideResult") ? markup(" <small>hidden</small>") : Html(), notes,
                cell("Expected", "value wanted", wanted),
                cell("Found", "value", markedHtml(actual, difference.actual, options.textLimit)));
}

Html signaturesHtml(bool verified) {
  if (verified) return {};
  return markup(
      "<p class=\"banner\" role=\"note\">Signatures were not verified (--unsigned): anyone could have changed the "
      "rules.</p>\n");
}

Html provenanceHtml(const RuleContents& documents) {
  Html entries;
  for (const auto& [name, text] : propertiesOf(*documents.provenance)) entries += listEntry(name, text);
  return entries;
}

Html identityHtml(const DeviceResult& result) {
  constexpr std::pair<std::string_view, std::string_view> kIdentity[] = {
      {"SerialNumber", "Serial number"},
      {"MLBSerialNumber", "Board serial number"},
      {"IMEI", "IMEI"},
      {"ModelNumber", "Part number"},
      {"RegionInfo", "Region"},
  };
  Html entries;
  for (const auto& [key, label] : kIdentity) {
    const Value* const value = result.attributes.find(key);
    if (value != nullptr) entries += listEntry(label, shortened(lineOf(value), 200));
  }
  return descriptionList({}, entries);
}

}  // namespace tavik::tool

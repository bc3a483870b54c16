#include "reports/HtmlRecords.h"

#include <fmt/format.h>

#include "reports/HtmlPage.h"
#include "rules/DeviceKinds.h"
#include "rules/RuleMeaning.h"
#include "rules/RuleNotes.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

std::string sourceOf(std::string_view source) {
  if (source == "gui") return "the operator's answers (gui)";
  if (source == "sfc") return "the shop-floor system (sfc)";
  return html(source);
}

/// "serial_number from the shop-floor system (sfc): Serial number on the traveller"
std::string referenceText(const RuleEvaluation::Operand& reference, const Value& listed) {
  const auto description = listed.ifDictionary()->findString("description");
  std::string text = fmt::format("<code>{}</code> from {}", html(reference.name.value_or("")),
                                 reference.source ? sourceOf(*reference.source) : "the device");
  if (description) text += fmt::format(" (“{}”)", html(*description));
  return text;
}

/// What the rule compares, and how: the record does not include it.
std::string operandsHtml(const RuleEvaluation& evaluation, const RuleOrigin& rule) {
  if (!evaluation.attribute.name) return "";
  std::string text = fmt::format("Checks <code>{}</code> from the device", html(*evaluation.attribute.name));
  const char* joint = " against ";
  for (std::size_t i = 0; i < evaluation.references.size(); ++i) {
    text += joint + referenceText(evaluation.references[i], rule.definition->findArray("references")->at(i));
    joint = " and ";
  }
  const std::string meaning = meaningOf(evaluation);
  return fmt::format("<small>{}.{}{}</small>", text, meaning.empty() ? "" : " ", meaning);
}

/// Allows a line break between the predicate's name and the value, so that a narrow screen does not split the value.
std::string withBreaks(std::string expectedHtml) {
  constexpr std::string_view kName = "caseInsensitiveEqual:";
  for (std::size_t at = 0; (at = expectedHtml.find(kName, at)) != std::string::npos;) {
    at += kName.size();
    expectedHtml.insert(at, "<wbr>");
  }
  return expectedHtml;
}

std::string cell(std::string_view label, std::string_view style, const std::string& content) {
  return fmt::format(R"(<td role="cell" data-label="{}"><span class="{}">{}</span></td>)", label, style, content);
}

}  // namespace

std::string notesHtml(const RuleNote* note, bool pass) {
  if (note == nullptr) return "";
  std::string text = pass ? "" : operandsHtml(note->evaluation, *note->rule);
  for (const std::string& remark : note->remarks(pass)) text += fmt::format("<small>Note: {}.</small>", html(remark));
  const std::string_view advice = pass ? "" : note->advice();
  return text + (advice.empty() ? "" : fmt::format(R"(<span class="to-do">To do: {}</span>)", advice));
}

std::string deviceNotesHtml(const DeviceResult& result) {
  std::string text;
  for (const std::string& note : result.aboutDevice()) text += fmt::format("<p class=\"banner\">{}.</p>\n", html(note));
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

std::string ruleTableBegin(std::string_view style) {
  return fmt::format(
      "<table class=\"rules {}\" role=\"table\"><thead role=\"rowgroup\"><tr role=\"row\">"
      "<th scope=\"col\" role=\"columnheader\">Rule</th><th scope=\"col\" role=\"columnheader\">Expected</th>"
      "<th scope=\"col\" role=\"columnheader\">Found</th></tr></thead><tbody role=\"rowgroup\">\n",
      style);
}

void appendRow(std::string& out, const Value& record, const std::string& notes, const RowOptions& options) {
  const bool pass = passed(record);
  const Dictionary& entries = *record.ifDictionary();
  const std::string actual = lineOf(entries.find("actual"));
  const std::string expected = lineOf(entries.find("expected"));
  const Difference difference = pass ? Difference() : differenceOf(actual, expected);
  out += "<tr role=\"row\"";
  if (options.filtered) out += fmt::format(R"( data-result="{}")", pass ? "passed" : "failed");
  out += fmt::format(R"(><th scope="row" role="rowheader">{}{}{}</th>)", html(description(entries.find("rule"))),
                     entries.contains("hideResult") ? " <small>hidden</small>" : "", notes);
  out += cell("Expected", "value wanted", withBreaks(markedHtml(expected, difference.expected, options.textLimit)));
  out += cell("Found", "value", markedHtml(actual, difference.actual, options.textLimit)) + "</tr>\n";
}

std::string signaturesHtml(const RuleContents& documents) {
  if (documents.verified) return "";
  return "<p class=\"banner\" role=\"note\">Signatures were not verified (--unsigned): anyone could have changed the "
         "rules.</p>\n";
}

std::string identityHtml(const DeviceResult& result) {
  constexpr std::pair<std::string_view, std::string_view> kIdentity[] = {
      {"SerialNumber", "Serial number"},
      {"MLBSerialNumber", "Board serial number"},
      {"IMEI", "IMEI"},
      {"ModelNumber", "Part number"},
      {"RegionInfo", "Region"},
  };
  std::string entries;
  for (const auto& [key, label] : kIdentity) {
    const Value* const value = result.attributes.find(key);
    if (value == nullptr) continue;
    entries += fmt::format("<div><dt>{}</dt><dd>{}</dd></div>", label, escapedHtml(shortened(lineOf(value), 200)));
  }
  return entries.empty() ? "" : "<dl>" + entries + "</dl>\n";
}

}  // namespace tavik::tool

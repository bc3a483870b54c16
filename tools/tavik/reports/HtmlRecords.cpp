#include "reports/HtmlRecords.h"

#include <fmt/format.h>

#include "reports/HtmlPage.h"
#include "rules/RuleMeaning.h"
#include "text/Text.h"

namespace tavik::tool {
namespace {

std::string sourceOf(std::string_view source) {
  if (source == "gui") return "the operator's answers (gui)";
  if (source == "sfc") return "the shop-floor system (sfc)";
  return html(source);
}

/// "serial_number from the shop-floor system (sfc): Serial number on the traveller"
std::string referenceText(const Dictionary& reference, std::string_view attribute) {
  const std::string_view name = reference.findString("attribute").value_or(attribute);
  const auto source = reference.findString("source");
  const auto description = reference.findString("description");
  std::string text = fmt::format("<code>{}</code> from {}", html(name), source ? sourceOf(*source) : "the device");
  if (description) text += fmt::format(" (“{}”)", html(*description));
  return text;
}

/// What the rule compares, and how, from its definition: the record does not tell.
std::string definitionHtml(const Dictionary* definition) {
  const auto attribute = definition == nullptr ? std::nullopt : definition->findString("attribute");
  if (!attribute) return "";
  std::string text = fmt::format("Checks <code>{}</code> from the device", html(*attribute));
  const Array* const references = definition->findArray("references");
  const char* joint = " against ";
  for (std::size_t i = 0; references != nullptr && i < references->size(); ++i) {
    const Dictionary* const reference = references->at(i).ifDictionary();
    if (reference == nullptr) continue;
    text += joint + referenceText(*reference, *attribute);
    joint = " and ";
  }
  const std::string meaning = meaningOf(definition->findString("predicate").value_or(""));
  return fmt::format("<small>{}.{}{}</small>", text, meaning.empty() ? "" : " ", meaning);
}

std::string adviceHtml(const Dictionary& record) {
  const std::string_view advice = adviceFor(lineOf(record.find("actual")));
  return advice.empty() ? "" : fmt::format(R"(<span class="to-do">To do: {}</span>)", advice);
}

/// Lets a line end between the predicate's name and the value, so that a narrow screen does not cut the value apart.
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

constexpr std::string_view kRulesAtFault = "The rules are at fault, not the device: tell whoever writes them.";

}  // namespace

std::string_view adviceFor(const DeviceResult& result) {
  switch (result.status) {
    case ExitStatus::kUnusable:
      return "This line of the input cannot be used, so that the device was not checked.";
    case ExitStatus::kFault:
      return "Nothing is known of the device yet. Look at the value that this rule reads; if it is right, tell whoever "
             "writes the rules.";
    default: {
      const std::string_view advice = adviceFor(visible(whyNoVerdict(result.outcome)));
      return advice.empty() ? kRulesAtFault : advice;
    }
  }
}

std::string_view adviceFor(std::string_view message) {
  constexpr std::string_view kNotFound = " not found from ";
  const std::size_t source = message.rfind(kNotFound);
  if (message.starts_with("attribute ") && message.ends_with('!') && source != std::string_view::npos) {
    if (message.substr(source + kNotFound.size()) == "device!") {
      return "The device gave no such value. Find out why it was not read, or never written; then collect the values "
             "again.";
    }
    if (message.ends_with(" gui!"))
      return "The operator was not asked, or gave no answer: ask, then check the device again.";
    return "This source has no such value for the device: have it entered there, then check the device again.";
  }
  if (message.starts_with("attribute ") && message.ends_with(" exists")) {
    return "This must not be on the device: take it off.";
  }
  if (message.starts_with("unknown MPN:") || message.starts_with("unknown Region Code:")) {
    return "Compare the part number and region that the device gives with its label. If they are right, the local "
           "rules lack them: tell whoever writes the rules.";
  }
  constexpr std::string_view kRules[] = {"unknown predicate ", "malformed local rules", "unknown RuleSet:", "no rules",
                                         "invalid logical operator"};
  for (const std::string_view beginning : kRules) {
    if (message.starts_with(beginning)) return kRulesAtFault;
  }
  return "";
}

std::string ruleTableBegin(std::string_view style) {
  return fmt::format(
      "<table class=\"rules {}\" role=\"table\"><thead role=\"rowgroup\"><tr role=\"row\">"
      "<th scope=\"col\" role=\"columnheader\">Rule</th><th scope=\"col\" role=\"columnheader\">Expected</th>"
      "<th scope=\"col\" role=\"columnheader\">Found</th></tr></thead><tbody role=\"rowgroup\">\n",
      style);
}

void appendRow(std::string& out, const Dictionary& record, const RowOptions& options) {
  const bool pass = passed(Value(record));
  const std::string rule = description(record.find("rule"));
  const std::string actual = lineOf(record.find("actual"));
  const std::string expected = lineOf(record.find("expected"));
  const Difference difference = pass ? Difference() : differenceOf(actual, expected);
  const bool hidden = record.contains("hideResult");
  out += "<tr role=\"row\"";
  if (options.filtered) out += fmt::format(R"( data-result="{}")", pass ? "passed" : "failed");
  out += fmt::format(R"(><th scope="row" role="rowheader">{}{})", html(rule), hidden ? " <small>hidden</small>" : "");
  if (!pass) out += definitionHtml(options.library.findDictionary(rule)) + adviceHtml(record);
  out += "</th>" +
         cell("Expected", "value wanted", withBreaks(markedHtml(expected, difference.expected, options.textLimit)));
  out += cell("Found", "value", markedHtml(actual, difference.actual, options.textLimit)) + "</tr>\n";
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

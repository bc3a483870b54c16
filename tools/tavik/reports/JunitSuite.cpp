#include "reports/JunitSuite.h"

#include <fmt/format.h>

#include <algorithm>

#include "text/Text.h"

namespace tavik::tool {
namespace {

constexpr std::size_t kMessageWidth = 300;

/// Text or an attribute. Character references protect line ends and tabs from normalization.
std::string xml(std::string_view text) {
  std::string out;
  for (const char character : escapedMarkup(inXmlCharacters(text))) {
    const bool isBlank = character == '\t' || character == '\n' || character == '\r';
    out += isBlank ? fmt::format("&#{};", static_cast<int>(character)) : std::string(1, character);
  }
  return out;
}

}  // namespace

JunitSuite::JunitSuite(std::string_view className) : className_(xml(className)) {}

std::string JunitSuite::classNamePart(std::string_view text) {
  std::string part(text);
  std::ranges::replace(part, '.', '_');
  return part;
}

void JunitSuite::open(std::string_view name) {
  ++tests_;
  cases_ += fmt::format(R"(    <testcase classname="{}" name="{}" time="0")", className_, xml(name));
}

void JunitSuite::close(std::string_view element, std::string_view type, std::string_view message,
                       std::string_view details) {
  cases_ += fmt::format(R"(><{0} type="{1}" message="{2}">{3}</{0}></testcase>)", element, type,
                        xml(shortened(message, kMessageWidth)), xml(details));
  cases_ += '\n';
}

void JunitSuite::pass(std::string_view name, std::string_view note) {
  open(name);
  cases_ += note.empty() ? "/>\n" : fmt::format("><system-out>{}</system-out></testcase>\n", xml(note));
}

void JunitSuite::fail(std::string_view name, std::string_view type, std::string_view message,
                      std::string_view details) {
  open(name);
  ++failures_;
  close("failure", type, message, details);
}

void JunitSuite::error(std::string_view name, std::string_view type, std::string_view why) {
  open(name);
  ++errors_;
  close("error", type, visible(why), why);
}

void JunitSuite::property(std::string_view name, std::string_view value) {
  properties_ += fmt::format("      <property name=\"{}\" value=\"{}\"/>\n", xml(name), xml(value));
}

std::string JunitSuite::text(std::string_view name) const {
  std::string text =
      fmt::format("  <testsuite name=\"{}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"0\" time=\"0\">\n",
                  xml(name), tests_, failures_, errors_);
  if (!properties_.empty()) text += "    <properties>\n" + properties_ + "    </properties>\n";
  return text + cases_ + "  </testsuite>\n";
}

}  // namespace tavik::tool

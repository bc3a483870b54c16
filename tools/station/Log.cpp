#include "Log.h"

#include <fmt/format.h>

#include <string>

#include "Clock.h"
#include "io/Json.h"
#include "io/StandardError.h"
#include "text/Terminal.h"
#include "text/Text.h"

namespace tavik::station {
namespace {

constexpr std::size_t kLongestField = 500;

std::string_view wordOf(Log::Level level) {
  constexpr std::string_view kWords[] = {"info", "warning", "error"};
  return kWords[static_cast<std::size_t>(level)];
}

/// A text that could be mistaken for other fields is written in quotes.
std::string quotedIfNeeded(std::string text) {
  if (!text.empty() && text.find_first_of(" =\"") == std::string::npos) return text;
  std::string quoted;
  appendJsonString(quoted, text);
  return quoted;
}

}  // namespace

void Log::write(Level level, std::string_view message, const Dictionary& fields) const {
  if (format_ == Format::kNone) return;
  const std::string time = isoText(now());
  if (format_ == Format::kJson) {
    Dictionary line{{"time", time}, {"level", wordOf(level)}, {"message", message}};
    for (const auto [key, value] : fields) {
      const auto text = value.ifString();
      line.set(key, text ? Value(tool::shortened(tool::visible(*text), kLongestField)) : value);
    }
    return tool::writeStandardError(tool::toJson(Value(line)) + "\n");
  }
  std::string line = fmt::format("{} {}: {}", time, wordOf(level), message);
  for (const auto [key, value] : fields) {
    line += fmt::format(" {}={}", key, quotedIfNeeded(tool::shortened(tool::lineOf(&value), kLongestField)));
  }
  tool::writeStandardError(line + "\n");
}

}  // namespace tavik::station

// The default log: standard error, one write per line.

#include <tavik/Platform.h>
#include <tavik/VisibleText.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string>

namespace tavik {

namespace {

// "2026-11-21 01:02:03.456", local time.
std::string timeText() {
  using std::chrono::system_clock;
  const auto now = system_clock::now();
  const std::time_t seconds = system_clock::to_time_t(now);
  std::tm local = {};
  localtime_r(&seconds, &local);
  std::array<char, 32> text;
  std::string time(text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S.", &local));
  const auto fraction = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::string digits = std::to_string(1000 + fraction);
  return time.append(digits, 1);
}

void writeWhole(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace

Platform::~Platform() = default;

bool Platform::logs() const { return true; }

ValidatedDocument Platform::validate(const Dictionary& signedDictionary, const std::string& publicKeyPath,
                                     std::optional<DocumentRole> /*role*/) const {
  ValidatedDocument validated;
  validated.content =
      validatedPropertyListFromSignedDictionary(signedDictionary, publicKeyPath, validated.errorDescription);
  return validated;
}

void Platform::log(std::string_view line) const {
  std::string text = timeText();
  text.append(" ").append(visibleText(program_invocation_short_name)).append(": ");
  text.append(visibleLogLine(line)).append("\n");
  writeWhole(STDERR_FILENO, text);
}

}  // namespace tavik

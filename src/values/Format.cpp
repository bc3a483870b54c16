// Formatted messages.

#include "values/Format.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <string>

#include "values/Description.h"

namespace tavik {

class Formatter {
 public:
  Formatter(std::string_view pattern, std::initializer_list<FormatArgument> arguments)
      : pattern_(pattern), next_(arguments.begin()), end_(arguments.end()) {
    while (!pattern_.empty()) appendNext();
  }

  [[nodiscard]] std::string_view text() const noexcept { return text_.view(); }

 private:
  void appendNext() {
    const std::string_view literal = pattern_.substr(0, pattern_.find('%'));
    text_.append(literal);
    pattern_.remove_prefix(literal.size());
    if (!pattern_.empty()) appendPlaceholder();
  }

  void appendPlaceholder() {
    if (take("%@")) return appendObject(next());
    if (take("%d")) return appendNumber(text_, std::int64_t{of<std::int32_t>(next())});
    if (take("%lu")) return appendUnsigned(of<std::size_t>(next()));
    if (take("%.4f")) return appendFixed(of<double>(next()));
    std::abort();
  }

  bool take(std::string_view placeholder) {
    if (!pattern_.starts_with(placeholder)) return false;
    pattern_.remove_prefix(placeholder.size());
    return true;
  }

  const FormatArgument& next() {
    if (next_ == end_) std::abort();
    return *next_++;
  }

  template <class Held>
  static Held of(const FormatArgument& argument) {
    const Held* held = std::get_if<Held>(&argument.held_);
    return held != nullptr ? *held : (std::abort(), Held{});
  }

  void appendObject(const FormatArgument& argument) {
    if (const auto* text = std::get_if<std::string_view>(&argument.held_)) return text_.append(*text);
    if (const auto* array = std::get_if<const Array*>(&argument.held_)) return appendDescription(text_, **array);
    if (const auto* dictionary = std::get_if<const Dictionary*>(&argument.held_)) {
      return appendDescription(text_, **dictionary);
    }
    appendDescription(text_, of<const Value*>(argument));
  }

  void appendUnsigned(std::size_t number) {
    std::array<char, 24> digits;
    text_.append({digits.data(), std::to_chars(digits.begin(), digits.end(), number).ptr});
  }

  void appendFixed(double number) {
    constexpr std::size_t kLongest = 400;  // the digits of the largest double, its sign and four decimals
    std::array<char, kLongest> digits;
    text_.append({digits.data(), std::to_chars(digits.begin(), digits.end(), number, std::chars_format::fixed, 4).ptr});
  }

  std::string_view pattern_;
  const FormatArgument* next_;
  const FormatArgument* end_;
  TextBuffer text_;
};

std::string format(std::string_view pattern, std::initializer_list<FormatArgument> arguments) {
  return std::string(Formatter(pattern, arguments).text());
}

std::string faultMessage(std::string_view pattern, std::initializer_list<FormatArgument> arguments) {
  std::string message = format(pattern, arguments);
  for (std::size_t at = message.find('\0'); at != std::string::npos; at = message.find('\0', at)) {
    message.replace(at, 1, "\\x00");
  }
  return message;
}

Value formattedValue(std::string_view pattern, std::initializer_list<FormatArgument> arguments) {
  return Formatter(pattern, arguments).text();
}

}  // namespace tavik

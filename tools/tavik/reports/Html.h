/// @file
/// HTML that cannot contain unescaped text.
#ifndef TAVIK_TOOL_REPORTS_HTML_H
#define TAVIK_TOOL_REPORTS_HTML_H

#include <fmt/format.h>

#include <concepts>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "reports/ReportAssets.h"

namespace tavik::tool {

class Html;

/// How `markup` inserts its arguments: text is made visible (VisibleText.h) and escaped, for content and for attributes
/// in double quotes; HTML, embedded files and numbers are inserted unchanged.
std::string inserted(std::string_view text);
std::string_view inserted(const Html& html);
inline std::string_view inserted(Asset asset) { return contentOf(asset); }
template <class Number>
requires(std::is_arithmetic_v<Number> && !std::same_as<Number, char>) Number inserted(Number number) { return number; }
template <class Argument>
using Inserted = decltype(inserted(std::declval<const Argument&>()));

/// A piece of a page. Only `markup` creates pieces that are not empty.
class Html {
 public:
  Html() = default;

  Html& operator+=(const Html& other) {
    text_ += other.text_;
    return *this;
  }
  friend Html operator+(Html left, const Html& right) { return std::move(left += right); }

  /// Allows a line break after each occurrence of `word` in the content.
  void breakAfter(std::string_view word);

  [[nodiscard]] bool empty() const noexcept { return text_.empty(); }
  [[nodiscard]] const std::string& text() const noexcept { return text_; }

 private:
  template <class... Arguments>
  friend Html markup(fmt::format_string<Inserted<Arguments>...> format, const Arguments&... arguments);

  std::string text_;
};

inline std::string_view inserted(const Html& html) { return html.text(); }

/// HTML written in the program, with arguments in its replacement fields.
template <class... Arguments>
Html markup(fmt::format_string<Inserted<Arguments>...> format, const Arguments&... arguments) {
  Html html;
  html.text_ = fmt::format(format, inserted(arguments)...);
  return html;
}

}  // namespace tavik::tool

#endif

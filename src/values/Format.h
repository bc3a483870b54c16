/// @file
/// Messages made from printf-style patterns. Hosts and operators know the patterns, so the code has them verbatim: "%@"
/// (description of a value), "%d" (signed 32-bit decimal), "%lu" (unsigned decimal), "%.4f" (fixed point, four
/// decimals).
#ifndef TAVIK_VALUES_FORMAT_H
#define TAVIK_VALUES_FORMAT_H

#include <tavik/Platform.h>
#include <tavik/Value.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>

namespace tavik {

/// The argument of a placeholder; borrowed, not copied. For "%@": a value, which may be absent, a container, or the
/// contents of a string.
class FormatArgument {
 public:
  FormatArgument(const Value* value) : held_(value) {}
  FormatArgument(const Value& value) : held_(&value) {}
  FormatArgument(const Array& array) : held_(&array) {}
  FormatArgument(const Dictionary& dictionary) : held_(&dictionary) {}
  FormatArgument(std::string_view text) : held_(text) {}
  FormatArgument(std::int32_t number) : held_(number) {}
  FormatArgument(std::size_t number) : held_(number) {}
  FormatArgument(double number) : held_(number) {}

 private:
  friend class Formatter;
  std::variant<const Value*, const Array*, const Dictionary*, std::string_view, std::int32_t, std::size_t, double>
      held_;
};

/// Formats a message. A placeholder without a matching argument is a bug in this library and aborts the process.
std::string format(std::string_view pattern, std::initializer_list<FormatArgument> arguments);

/// The message of an exception, which would end at a NUL of a device's text: NULs become "\x00".
std::string faultMessage(std::string_view pattern, std::initializer_list<FormatArgument> arguments);

/// The message as a string value.
Value formattedValue(std::string_view pattern, std::initializer_list<FormatArgument> arguments);

/// Logs a message with one argument. The message is not made if logging is disabled.
template <class Argument>
[[gnu::cold]] void log(const Platform& platform, std::string_view pattern, const Argument& argument) {
  if (platform.logs()) platform.log(format(pattern, {argument}));
}

}  // namespace tavik

#endif

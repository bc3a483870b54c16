#include "io/StandardError.h"

#include <fmt/format.h>
#include <unistd.h>

#include "io/FileDescriptor.h"
#include "text/Text.h"

namespace tavik::tool {

void printToStandardError(std::string_view where, std::string_view message) {
  const std::string_view separator = where.empty() ? "" : ": ";
  writeStandardError(fmt::format("tavik: {}{}{}\n", where, separator, visible(message)));
}

void writeStandardError(std::string_view text) {
  static_cast<void>(writeAll(STDERR_FILENO, text));  // a failure here cannot be reported
}

}  // namespace tavik::tool

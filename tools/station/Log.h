/// @file
/// The messages of the service on standard error, for people or for programs.
#ifndef TAVIK_STATION_LOG_H
#define TAVIK_STATION_LOG_H

#include <tavik/Value.h>

#include <cstdint>
#include <string_view>

namespace tavik::station {

/// Thread-safe. Texts of devices and documents are made visible: they cannot imitate another line.
class Log {
 public:
  enum class Format : std::uint8_t { kNone, kText, kJson };
  enum class Level : std::uint8_t { kInfo, kWarning, kError };

  explicit Log(Format format) : format_(format) {}

  /// Writes one line: the time, the level, the message, which is always the same for the same event, and the fields.
  void write(Level level, std::string_view message, const Dictionary& fields = {}) const;

 private:
  Format format_;
};

}  // namespace tavik::station

#endif

#ifndef TAVIK_SYSTEM_CONFIG_H
#define TAVIK_SYSTEM_CONFIG_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavik {

/// Decodes what a device keeps of its own configuration: the SysCfg blob (fields named by four-character tags) and the
/// control-bit block (one test-status record for each control-bit number). All integers in both are little-endian.
///
/// Bytes come from the device and are not trusted: every read is checked against their length, decoding stops at the
/// first entry or record that is cut short and keeps what came before. Time and memory are linear in the input. Nothing
/// is raised but `std::bad_alloc`; every operation is a pure function and safe from any thread.
class TAVIK_EXPORT SystemConfig {
 public:
  SystemConfig() = delete;

  /// A SysCfg blob as tag -> value; the value is a string where the bytes are text, else data. Of two entries with one
  /// tag the later wins. Absent (null) or empty data, or a blob too short for a header, gives an empty dictionary.
  ///
  /// Decoding also stops at an entry whose value lies outside the blob. Values may share bytes of the blob; so that a
  /// small blob cannot stand for very much, it stops at the entry that would bring all values together beyond 16 MiB
  /// and beyond eight times the size of the blob.
  static Dictionary sysCfgFromData(const Data* data);

  /// Where and why decoding a blob stopped before all of its entries were read.
  struct Stop {
    std::size_t offset;       ///< of the header, entry or value that could not be read
    std::string_view reason;  ///< in words, of static storage
  };
  /// The same; `stop` is absent if every entry was read.
  static Dictionary sysCfgFromData(const Data* data, std::optional<Stop>& stop);

  /// A control-bit block as its records, in order: 254 of them from a whole block of 8192 bytes, as many whole records
  /// as a shorter one holds, none from absent (null) or empty data.
  static Array controlBitsFromData(const Data* data);

  /// Records in a whole control-bit block.
  static constexpr std::size_t kControlBitCount = 254;

  /// Bytes in one control-bit record.
  static constexpr std::size_t kControlBitSize = 32;

  /// One control-bit record: "Test State" (string), "Erase Count", "Abs Fail Count", "Rel Fail Count" (integers),
  /// "Timestamp" (date), "Software Version" (string).
  static Dictionary convertControlBitToDict(std::span<const std::uint8_t, kControlBitSize> record);

  /// "Pass", "Incomplete", "Fail" or "Untested" for the codes 0 to 3, "Unknown" for any other.
  static std::string testStateToString(std::uint32_t code);

  /// The four characters of a tag word, most significant byte first; a byte above 0x7F is the character of that number.
  static std::string convertTag(std::uint32_t tag);

  /// Text (a string) when the bytes are printable ASCII followed only by NUL bytes or by nothing; else the same bytes.
  static Value tryConvertValueToString(const Data& bytes);
};

}  // namespace tavik

#endif

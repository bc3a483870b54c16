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

/// Decodes a device's stored configuration: the SysCfg blob (fields named by four-character tags) and the control-bit
/// block (one test-status record per control bit). All integers are little-endian.
///
/// The bytes are not trusted. Decoding stops at the first truncated entry or record and keeps the ones before it. Time
/// and memory are linear in the input. Raises only `std::bad_alloc`. All operations are thread-safe.
class TAVIK_EXPORT SystemConfig {
 public:
  SystemConfig() = delete;

  /// Decodes a SysCfg blob into tag -> value. A value is a string if `tryConvertValueToString` takes its bytes for
  /// text, and data otherwise. If two entries have the same tag, the later one wins. Returns an empty dictionary for
  /// absent (null) or empty data and for a blob too short for a header.
  ///
  /// Decoding also stops at an entry whose value lies outside the blob. Values may share bytes of the blob. To limit
  /// the output of a small blob, decoding stops at the entry that would bring the total size of all values above both
  /// 16 MiB and eight times the size of the blob.
  static Dictionary sysCfgFromData(const Data* data);

  /// Where and why decoding a blob stopped before all of its entries were read.
  struct Stop {
    std::size_t offset;       ///< of the header, entry or value that could not be read
    std::string_view reason;  ///< in words, of static storage
  };
  /// Like `sysCfgFromData(data)`. `stop` is absent if every entry was read.
  static Dictionary sysCfgFromData(const Data* data, std::optional<Stop>& stop);

  /// Decodes a control-bit block into its records, in order: 254 records for a complete block of 8192 bytes, the
  /// complete records of a shorter one, and none for absent (null) or empty data.
  static Array controlBitsFromData(const Data* data);

  /// Records in a complete control-bit block.
  static constexpr std::size_t kControlBitCount = 254;

  /// Bytes in one control-bit record.
  static constexpr std::size_t kControlBitSize = 32;

  /// Decodes one control-bit record: "Test State" (string), "Erase Count", "Abs Fail Count", "Rel Fail Count"
  /// (integers), "Timestamp" (date), "Software Version" (string).
  static Dictionary convertControlBitToDict(std::span<const std::uint8_t, kControlBitSize> record);

  /// "Pass", "Incomplete", "Fail" or "Untested" for the codes 0 to 3, "Unknown" for any other.
  static std::string testStateToString(std::uint32_t code);

  /// The four characters of a tag, most significant byte first. A byte above 0x7F is the Unicode character with that
  /// number.
  static std::string convertTag(std::uint32_t tag);

  /// A string if the bytes are printable ASCII, optionally followed by NUL bytes; otherwise the same data.
  static Value tryConvertValueToString(const Data& bytes);
};

}  // namespace tavik

#endif

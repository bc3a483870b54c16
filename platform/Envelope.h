/// @file
/// The signed form: reading its parts from a dictionary, and what exactly is signed.
#ifndef TAVIK_PLATFORM_ENVELOPE_H
#define TAVIK_PLATFORM_ENVELOPE_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

inline constexpr std::string_view kPayloadType = "application/vnd.tavik.rules+plist";
/// Each signature is tried with each key, so their number is limited.
inline constexpr std::size_t kMostSignatures = 16;

struct Signature {
  Data bytes;
  std::string keyId;  ///< empty: none given

  friend bool operator==(const Signature&, const Signature&) = default;
};

/// A payload of kPayloadType and its signatures, one at least.
struct Envelope {
  Data payload;
  std::vector<Signature> signatures;

  /// Absent with `error` set when the dictionary is no envelope of rules.
  static std::optional<Envelope> from(const Dictionary& dictionary, std::string& error);
  [[nodiscard]] Dictionary dictionary() const;

  friend bool operator==(const Envelope&, const Envelope&) = default;
};

/// Whether `value` is of the kind called for; sets `error` to "WHAT is a string, not data" when not.
bool checkKind(const Value& value, Kind kind, std::string_view what, std::string& error);

/// Whether `document` is no larger than a rule document may be; sets `error` to "WHAT is larger than ..." if it is.
bool checkSize(const Data& document, std::string_view what, std::string& error);

/// The pre-authentication encoding of a payload of kPayloadType.
std::vector<std::uint8_t> signedBytes(std::span<const std::uint8_t> payload);

}  // namespace tavik

#endif

/// @file
/// The signed form: parsing it from a dictionary, and the exact bytes that are signed.
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

/// What the payload of an envelope is.
enum class PayloadType : std::uint8_t { kRules, kStatement };
/// As a media type.
std::string_view nameOf(PayloadType type);

/// Each signature is tried with each key, so their number is limited.
inline constexpr std::size_t kMostSignatures = 16;

struct Signature {
  Data bytes;
  std::string keyId;  ///< empty if absent

  friend bool operator==(const Signature&, const Signature&) = default;
};

/// A payload and at least one signature.
struct Envelope {
  PayloadType type = PayloadType::kRules;
  Data payload;
  std::vector<Signature> signatures;

  /// Absent with `error` set if the dictionary is not an envelope of rules or of a statement.
  static std::optional<Envelope> from(const Dictionary& dictionary, std::string& error);
  [[nodiscard]] Dictionary dictionary() const;

  friend bool operator==(const Envelope&, const Envelope&) = default;
};

/// Whether `document` is within the size limit of rule documents; sets `error` to "WHAT is larger than ..." if not.
bool checkSize(const Data& document, std::string_view what, std::string& error);

/// The pre-authentication encoding of a payload.
std::vector<std::uint8_t> signedBytes(PayloadType type, std::span<const std::uint8_t> payload);

}  // namespace tavik

#endif

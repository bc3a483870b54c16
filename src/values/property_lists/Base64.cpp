#include "values/property_lists/Base64.h"

#include <array>

#include "values/SharedContents.h"
#include "values/ValueAccess.h"

namespace tavik {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> kDigits = [] {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  for (std::size_t digit = 0; digit < kAlphabet.size(); ++digit) {
    digits[static_cast<unsigned char>(kAlphabet[digit])] = static_cast<std::uint8_t>(digit);
  }
  return digits;
}();

// Writes three bytes as four digits.
void putGroup(char* to, std::uint32_t bytes) noexcept {
  to[0] = kAlphabet[bytes >> 18];
  to[1] = kAlphabet[bytes >> 12 & 0x3F];
  to[2] = kAlphabet[bytes >> 6 & 0x3F];
  to[3] = kAlphabet[bytes & 0x3F];
}

// The bits of each digit, at their place in a group of three bytes. A character that is not a digit sets the highest
// bit.
constexpr std::uint32_t kBad = 0x80000000;
template <int kPlace>
constexpr std::array<std::uint32_t, 256> kBits = [] {
  std::array<std::uint32_t, 256> bits{};
  for (std::size_t at = 0; at < bits.size(); ++at) {
    bits[at] = kDigits[at] == kNoDigit ? kBad : std::uint32_t{kDigits[at]} << kPlace;
  }
  return bits;
}();

// Decodes complete groups of four digits; false if a character is not a digit.
bool putBytes(unsigned char* to, std::string_view digits) noexcept {
  const auto* from = reinterpret_cast<const unsigned char*>(digits.data());
  std::uint32_t all = 0;
  for (const auto* const end = from + digits.size(); from != end; from += 4, to += 3) {
    const std::uint32_t group = kBits<18>[from[0]] | kBits<12>[from[1]] | kBits<6>[from[2]] | kBits<0>[from[3]];
    all |= group;
    to[0] = static_cast<unsigned char>(group >> 16);
    to[1] = static_cast<unsigned char>(group >> 8);
    to[2] = static_cast<unsigned char>(group);
  }
  return (all & kBad) == 0;
}

}  // namespace

bool isBase64Digit(char character) noexcept { return kDigits[static_cast<unsigned char>(character)] != kNoDigit; }

void putBase64(char* to, std::span<const std::uint8_t> bytes) noexcept {
  for (; bytes.size() >= 3; bytes = bytes.subspan(3), to += 4) {
    putGroup(to, std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[2]);
  }
  if (bytes.empty()) return;
  putGroup(to, std::uint32_t{bytes[0]} << 16 | (bytes.size() == 2 ? std::uint32_t{bytes[1]} << 8 : 0));
  to[3] = '=';
  if (bytes.size() == 1) to[2] = '=';
}

std::optional<Data> dataFromBase64(std::string_view text, detail::SlabCutter* slabs) {
  if (text.size() % 4 != 0) return std::nullopt;
  if (text.empty()) return Data();
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::size_t size = text.size() / 4 * 3 - padding;
  Data data = detail::ValueAccess::data(detail::Bytes::make(size, slabs));
  auto* bytes = const_cast<unsigned char*>(data.bytes().data());
  const std::string_view whole = text.substr(0, padding == 0 ? text.size() : text.size() - 4);
  if (!putBytes(bytes, whole)) return std::nullopt;
  if (padding == 0) return data;

  std::array<char, 4> last = {text[whole.size()], text[whole.size() + 1], text[whole.size() + 2], 'A'};
  if (padding == 2) last[2] = 'A';
  std::array<unsigned char, 3> lastBytes{};
  if (!putBytes(lastBytes.data(), {last.data(), last.size()})) return std::nullopt;
  for (std::size_t at = 0; at < 3; ++at) {
    if (at < 3 - padding) {
      bytes[whole.size() / 4 * 3 + at] = lastBytes[at];
    } else if (lastBytes[at] != 0) {
      return std::nullopt;  // unused bits are not zero
    }
  }
  return data;
}

}  // namespace tavik

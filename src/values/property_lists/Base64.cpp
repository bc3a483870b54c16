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

std::uint32_t digitOf(char character) noexcept { return kDigits[static_cast<unsigned char>(character)]; }

// Writes three bytes as four digits.
void putGroup(char* to, std::uint32_t bytes) noexcept {
  to[0] = kAlphabet[bytes >> 18];
  to[1] = kAlphabet[bytes >> 12 & 0x3F];
  to[2] = kAlphabet[bytes >> 6 & 0x3F];
  to[3] = kAlphabet[bytes & 0x3F];
}

// Decodes complete groups of four digits; false if a character is not a digit.
bool putBytes(unsigned char* to, std::string_view digits) noexcept {
  std::uint32_t all = 0;
  for (std::size_t at = 0; at < digits.size(); at += 4) {
    const std::uint32_t first = digitOf(digits[at]);
    const std::uint32_t second = digitOf(digits[at + 1]);
    const std::uint32_t third = digitOf(digits[at + 2]);
    const std::uint32_t fourth = digitOf(digits[at + 3]);
    all |= first | second | third | fourth;
    *to++ = static_cast<unsigned char>(first << 2 | second >> 4);
    *to++ = static_cast<unsigned char>(second << 4 | third >> 2);
    *to++ = static_cast<unsigned char>(third << 6 | fourth);
  }
  return all < kAlphabet.size();
}

}  // namespace

bool isBase64Digit(char character) noexcept { return digitOf(character) != kNoDigit; }

void putBase64(char* to, std::span<const std::uint8_t> bytes) noexcept {
  for (; bytes.size() >= 3; bytes = bytes.subspan(3), to += 4) {
    putGroup(to, std::uint32_t{bytes[0]} << 16 | std::uint32_t{bytes[1]} << 8 | bytes[2]);
  }
  if (bytes.empty()) return;
  putGroup(to, std::uint32_t{bytes[0]} << 16 | (bytes.size() == 2 ? std::uint32_t{bytes[1]} << 8 : 0));
  to[3] = '=';
  if (bytes.size() == 1) to[2] = '=';
}

std::optional<Data> dataFromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  if (text.empty()) return Data();
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
  const std::size_t size = text.size() / 4 * 3 - padding;
  Data data = detail::ValueAccess::data(detail::Bytes::make(size));
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

#include "io/Base64.h"

#include <array>
#include <cstddef>

namespace tavik::tool {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr auto kDigits = [] {
  std::array<std::uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    digits[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return digits;
}();

}  // namespace

void appendBase64(std::string& out, std::span<const std::uint8_t> bytes) {
  out.reserve(out.size() + (bytes.size() + 2) / 3 * 4);
  for (; !bytes.empty(); bytes = bytes.subspan(bytes.size() < 3 ? bytes.size() : 3)) {
    const std::uint32_t second = bytes.size() > 1 ? bytes[1] : 0;
    const std::uint32_t third = bytes.size() > 2 ? bytes[2] : 0;
    const std::uint32_t group = std::uint32_t{bytes[0]} << 16 | second << 8 | third;
    out += kAlphabet[group >> 18];
    out += kAlphabet[group >> 12 & 0x3F];
    out += bytes.size() > 1 ? kAlphabet[group >> 6 & 0x3F] : '=';
    out += bytes.size() > 2 ? kAlphabet[group & 0x3F] : '=';
  }
}

std::optional<std::vector<std::uint8_t>> fromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  for (int padding = 0; padding < 2 && text.ends_with('='); ++padding) text.remove_suffix(1);
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t bits = 0;
  int count = 0;
  for (const char character : text) {
    const std::uint8_t digit = kDigits[static_cast<unsigned char>(character)];
    if (digit == kNoDigit) return std::nullopt;
    bits = bits << 6 | digit;
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> count));
      bits &= (1U << count) - 1;
    }
  }
  if (bits != 0) return std::nullopt;  // digits that stand for no byte: another text has the same bytes
  return bytes;
}

}  // namespace tavik::tool

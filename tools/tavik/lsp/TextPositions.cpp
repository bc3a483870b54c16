#include "lsp/TextPositions.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace tavik::tool::lsp {
namespace {

constexpr std::size_t kBlock = 64;

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

/// The units of the character that begins with this byte; 0 for the character's other bytes.
std::size_t unitsAt(char byte, Unit unit) {
  if (unit == Unit::kByte) return 1;
  if (continuesCharacter(byte)) return 0;
  return unit == Unit::kUtf16 && static_cast<unsigned char>(byte) >= 0xF0U ? 2 : 1;
}

}  // namespace

TextPositions::TextPositions(std::string_view text, Unit unit, bool crEndsLine) : text_(text), unit_(unit), lines_{0} {
  std::array<std::uint8_t, 256> unitsOf{};
  for (unsigned byte = 0; byte < unitsOf.size(); ++byte) {
    unitsOf[byte] = static_cast<std::uint8_t>(unitsAt(static_cast<char>(byte), unit));
  }
  blocks_.reserve(text.size() / kBlock + 1);
  std::size_t units = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i % kBlock == 0) blocks_.push_back(units);
    const char byte = text[i];
    units += unitsOf[static_cast<unsigned char>(byte)];
    const bool isCr = byte == '\r' && crEndsLine && (i + 1 == text.size() || text[i + 1] != '\n');
    if (byte == '\n' || isCr) lines_.push_back(i + 1);
  }
  if (text.size() % kBlock == 0) blocks_.push_back(units);
}

std::size_t TextPositions::unitsBefore(std::size_t offset) const {
  std::size_t units = blocks_[offset / kBlock];
  for (std::size_t i = offset - offset % kBlock; i < offset; ++i) units += unitsAt(text_[i], unit_);
  return units;
}

std::size_t TextPositions::endOfLine(std::size_t line) const {
  if (line + 1 == lines_.size()) return text_.size();
  std::size_t end = lines_[line + 1] - 1;
  if (end > lines_[line] && text_[end] == '\n' && text_[end - 1] == '\r') --end;
  return end;
}

Position TextPositions::positionOf(std::size_t offset) const {
  offset = std::min(offset, text_.size());
  const auto line = static_cast<std::size_t>(std::ranges::upper_bound(lines_, offset) - lines_.begin()) - 1;
  return {line, unitsBefore(offset) - unitsBefore(lines_[line])};
}

std::size_t TextPositions::offsetOf(Position position) const {
  if (position.line >= lines_.size()) return text_.size();
  const std::size_t begin = lines_[position.line];
  const std::size_t end = endOfLine(position.line);
  const std::size_t before = unitsBefore(begin);
  if (position.character >= unitsBefore(end) - before) return end;
  const std::size_t wanted = before + position.character;
  const auto block = static_cast<std::size_t>(std::ranges::upper_bound(blocks_, wanted) - blocks_.begin()) - 1;
  std::size_t offset = std::max(begin, block * kBlock);
  for (std::size_t units = unitsBefore(offset); units < wanted; ++offset) units += unitsAt(text_[offset], unit_);
  while (offset < end && continuesCharacter(text_[offset])) ++offset;
  return offset;
}

TextChange::TextChange(std::string_view before, std::string_view after)
    : sizeBefore_(before.size()), sizeAfter_(after.size()) {
  sameAtBegin_ = static_cast<std::size_t>(std::ranges::mismatch(before, after).in1 - before.begin());
  const std::size_t most = std::min(sizeBefore_, sizeAfter_) - sameAtBegin_;
  const auto [left, right] =
      std::mismatch(before.rbegin(), before.rbegin() + static_cast<std::ptrdiff_t>(most), after.rbegin(), after.rend());
  sameAtEnd_ = static_cast<std::size_t>(left - before.rbegin());
}

std::size_t TextChange::moved(std::size_t offset) const {
  if (offset <= sameAtBegin_) return offset;
  if (offset + sameAtEnd_ >= sizeBefore_) return offset + sizeAfter_ - sizeBefore_;
  return sameAtBegin_;
}

}  // namespace tavik::tool::lsp

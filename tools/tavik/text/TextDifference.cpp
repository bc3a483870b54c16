#include "text/TextDifference.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>

#include "text/Text.h"

namespace tavik::tool {
namespace {

/// The total size of the tables for finding longest common subsequences; parts that exceed it are marked as a whole.
constexpr std::size_t kMostCells = std::size_t{1} << 18;
/// The maximum length of compared texts.
constexpr std::size_t kLongestText = std::size_t{1} << 18;

using Items = std::vector<std::string_view>;

bool isWord(char byte) { return isDigit(byte) || isAsciiLetter(byte) || static_cast<unsigned char>(byte) >= 0x80; }

/// Words, and the characters between them one by one.
Items wordsOf(std::string_view text) {
  Items words;
  while (!text.empty()) {
    const auto* const end = std::ranges::find_if_not(text, isWord);
    const auto length = std::max<std::size_t>(static_cast<std::size_t>(end - text.begin()), 1);
    words.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return words;
}

Items charactersOf(std::string_view text) {
  Items characters;
  while (!text.empty()) {
    const std::string_view before = text;
    takeCharacter(text);
    characters.push_back(before.substr(0, before.size() - text.size()));
  }
  return characters;
}

char folded(char byte) { return isAsciiUpper(byte) ? static_cast<char>(byte | 0x20) : byte; }

/// Which items two texts have in common.
class Alignment {
 public:
  Alignment(const Items& left, const Items& right, bool foldsCase, std::size_t& cells)
      : left_(left),
        right_(right),
        foldsCase_(foldsCase),
        cells_(cells),
        inCommon_{std::vector<bool>(left.size()), std::vector<bool>(right.size())} {
    std::size_t begin = 0;
    const std::size_t shorter = std::min(left.size(), right.size());
    while (begin < shorter && same(begin, begin)) join(begin, begin), ++begin;
    std::size_t end = 0;
    while (end < shorter - begin && same(left.size() - 1 - end, right.size() - 1 - end)) {
      ++end;
      join(left.size() - end, right.size() - end);
    }
    alignMiddle(begin, left.size() - end, right.size() - end);
  }

  [[nodiscard]] bool leftInCommon(std::size_t i) const { return inCommon_[0][i]; }
  [[nodiscard]] bool rightInCommon(std::size_t i) const { return inCommon_[1][i]; }
  [[nodiscard]] std::size_t count() const noexcept { return count_; }

 private:
  [[nodiscard]] bool same(std::size_t i, std::size_t j) const {
    return foldsCase_ ? std::ranges::equal(left_[i], right_[j], {}, folded, folded) : left_[i] == right_[j];
  }

  void join(std::size_t i, std::size_t j) {
    inCommon_[0][i] = true;
    inCommon_[1][j] = true;
    ++count_;
  }

  /// The longest common subsequence of both texts from `begin` on, up to their ends.
  void alignMiddle(std::size_t begin, std::size_t leftEnd, std::size_t rightEnd) {
    const std::size_t rows = leftEnd - begin;
    const std::size_t columns = rightEnd - begin;
    if (rows == 0 || columns == 0 || rows > cells_ / columns) return;
    cells_ -= rows * columns;
    const std::size_t width = columns + 1;
    std::vector<std::uint32_t> longest((rows + 1) * width);  // of the items after row and column
    for (std::size_t row = rows; row-- > 0;) {
      for (std::size_t column = columns; column-- > 0;) {
        std::uint32_t& cell = longest[row * width + column];
        cell = same(begin + row, begin + column)
                   ? longest[(row + 1) * width + column + 1] + 1
                   : std::max(longest[(row + 1) * width + column], longest[row * width + column + 1]);
      }
    }
    for (std::size_t row = 0, column = 0; row < rows && column < columns;) {
      if (same(begin + row, begin + column)) {
        join(begin + row++, begin + column++);
      } else if (longest[(row + 1) * width + column] >= longest[row * width + column + 1]) {
        ++row;
      } else {
        ++column;
      }
    }
  }

  const Items& left_;
  const Items& right_;
  bool foldsCase_;
  std::size_t& cells_;  // left to use
  std::array<std::vector<bool>, 2> inCommon_;
  std::size_t count_ = 0;
};

/// Compares parts of two texts and collects the marks, with positions in the whole texts.
class Comparison {
 public:
  Comparison(std::string_view actual, std::string_view expected) : actual_(actual), expected_(expected) {}

  [[nodiscard]] Difference take() { return std::move(difference_); }

  void compareResults(std::string_view actual, std::string_view expected);

 private:
  bool compareJoined(std::string_view joint, std::string_view actual, std::string_view expected);
  bool comparePattern(std::string_view actual, std::string_view expected);
  void compareList(std::string_view actual, std::string_view list);
  void compareMasked(std::string_view actual, std::string_view mask, std::string_view value);
  void compareWords(std::string_view actual, std::string_view expected, bool foldsCase);
  void compareCharacters(std::string_view actual, std::string_view expected, bool foldsCase);

  void markActual(std::string_view part) { mark(difference_.actual, actual_, part); }
  void markExpected(std::string_view part) { mark(difference_.expected, expected_, part); }
  static void mark(std::vector<Span>& marks, std::string_view whole, std::string_view part) {
    if (part.empty()) return;
    const auto begin = static_cast<std::size_t>(part.data() - whole.data());
    const bool joins = !marks.empty() && marks.back().end == begin;
    if (joins) {
      marks.back().end += part.size();
    } else {
      marks.push_back({begin, begin + part.size()});
    }
  }

  std::string_view actual_;
  std::string_view expected_;
  Difference difference_;
  std::size_t cells_ = kMostCells;
};

Items split(std::string_view text, std::string_view separator) {
  Items parts;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = text.find(separator);
    parts.push_back(text.substr(0, end));
    if (end != std::string_view::npos) text.remove_prefix(end + separator.size());
  }
  return parts;
}

std::optional<std::string_view> after(std::string_view beginning, std::string_view text) {
  return text.starts_with(beginning) ? std::optional(text.substr(beginning.size())) : std::nullopt;
}

void Comparison::compareResults(std::string_view actual, std::string_view expected) {
  if (compareJoined(" and ", actual, expected) || compareJoined(" or ", actual, expected)) return;
  if (comparePattern(actual, expected)) return;
  const Items left = wordsOf(actual);
  const Items right = wordsOf(expected);
  const Alignment alike(left, right, false, cells_);
  const bool bothAreValues = actual.find(' ') == std::string_view::npos && expected.find(' ') == std::string_view::npos;
  if (bothAreValues || 2 * alike.count() >= right.size()) compareWords(actual, expected, false);
}

bool Comparison::compareJoined(std::string_view joint, std::string_view actual, std::string_view expected) {
  const Items actuals = split(actual, joint);
  const Items expecteds = split(expected, joint);
  if (actuals.size() == 1 || actuals.size() != expecteds.size()) return false;
  for (std::size_t i = 0; i < actuals.size(); ++i) compareResults(actuals[i], expecteds[i]);
  return true;
}

/// Compares with a text in one of the predicates' own forms; false if it has none of them.
bool Comparison::comparePattern(std::string_view actual, std::string_view expected) {
  constexpr std::string_view kNothingToMark[] = {"not ", "no ", "contains ", "greater than "};
  for (const std::string_view words : kNothingToMark) {
    if (expected.starts_with(words)) return true;
  }
  if (const auto masked = after("and mask ", expected)) {
    const std::size_t middle = masked->find(" equal ");
    if (middle != std::string_view::npos) compareMasked(actual, masked->substr(0, middle), masked->substr(middle + 7));
  } else if (const auto value = after("equal ", expected)) {
    compareWords(actual, *value, false);
  } else if (const auto truth = after("is ", expected)) {
    compareWords(actual, *truth, false);
  } else if (const auto text = after("caseInsensitiveEqual:", expected)) {
    compareWords(actual, *text, true);
  } else if (const auto list = after("one of ", expected)) {
    compareList(actual, *list);
  } else if (const auto prefix = after("has prefix ", expected)) {
    if (prefix->find(", or ") == std::string_view::npos) {
      compareCharacters(actual.substr(0, atCharacter(actual, prefix->size())), *prefix, false);
    }
  } else if (const auto suffix = after("has suffix ", expected)) {
    const std::size_t longer = actual.size() - std::min(actual.size(), suffix->size());
    compareCharacters(actual.substr(atCharacter(actual, longer)), *suffix, false);
  } else {
    return false;
  }
  return true;
}

void Comparison::compareList(std::string_view actual, std::string_view list) {
  Items allowed = split(list, ",");
  if (allowed.size() == 1) return compareWords(actual, list, false);
  std::ranges::sort(allowed);
  for (const std::string_view element : split(actual, ",")) {
    if (!std::ranges::binary_search(allowed, element)) markActual(element);
  }
}

/// The value of a hexadecimal digit; absent for the spaces and brackets of data.
std::optional<unsigned> digitOf(char character) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::size_t digit = kDigits.find(character);
  return digit == std::string_view::npos ? std::nullopt : std::optional(static_cast<unsigned>(digit));
}

/// Data of the same size have the same layout, so that matching digits have the same position.
void Comparison::compareMasked(std::string_view actual, std::string_view mask, std::string_view value) {
  if (actual.size() != mask.size() || actual.size() != value.size()) return compareWords(actual, value, false);
  for (std::size_t i = 0; i < actual.size(); ++i) {
    const auto found = digitOf(actual[i]);
    const auto relevant = digitOf(mask[i]);
    const auto wanted = digitOf(value[i]);
    if (!found || !relevant || !wanted || (*found & *relevant) == *wanted) continue;
    markActual(actual.substr(i, 1));
    markExpected(value.substr(i, 1));
  }
}

void Comparison::compareWords(std::string_view actual, std::string_view expected, bool foldsCase) {
  const Items left = wordsOf(actual);
  const Items right = wordsOf(expected);
  const Alignment alignment(left, right, foldsCase, cells_);
  for (std::size_t i = 0, j = 0; i < left.size() || j < right.size(); ++i, ++j) {
    const std::size_t firstLeft = i;
    const std::size_t firstRight = j;
    while (i < left.size() && !alignment.leftInCommon(i)) ++i;
    while (j < right.size() && !alignment.rightInCommon(j)) ++j;
    const auto between = [](const Items& items, std::string_view text, std::size_t first, std::size_t last) {
      const char* const begin = first < items.size() ? items[first].data() : text.data() + text.size();
      const char* const end = last < items.size() ? items[last].data() : text.data() + text.size();
      return std::string_view(begin, static_cast<std::size_t>(end - begin));
    };
    compareCharacters(between(left, actual, firstLeft, i), between(right, expected, firstRight, j), foldsCase);
  }
}

/// Marks single characters if the texts are similar, otherwise the whole texts.
void Comparison::compareCharacters(std::string_view actual, std::string_view expected, bool foldsCase) {
  const Items left = charactersOf(actual);
  const Items right = charactersOf(expected);
  const Alignment alignment(left, right, foldsCase, cells_);
  const bool alike = 2 * alignment.count() >= std::max(left.size(), right.size());
  for (std::size_t i = 0; i < left.size(); ++i) {
    if (!alike || !alignment.leftInCommon(i)) markActual(left[i]);
  }
  for (std::size_t j = 0; j < right.size(); ++j) {
    if (!alike || !alignment.rightInCommon(j)) markExpected(right[j]);
  }
}

}  // namespace

Difference differenceOf(std::string_view actual, std::string_view expected) {
  if (std::max(actual.size(), expected.size()) > kLongestText) return {};
  Comparison comparison(actual, expected);
  comparison.compareResults(actual, expected);
  return comparison.take();
}

}  // namespace tavik::tool

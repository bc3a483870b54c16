#include "text/Misspelling.h"

#include <algorithm>
#include <cctype>

#include "text/Text.h"

namespace tavik::tool {
namespace {

/// Longer names are not compared.
constexpr std::size_t kLongest = 100;
/// Shorter names differ from each other by a letter even if both are correct.
constexpr std::size_t kShortest = 5;
constexpr std::size_t kShortestSwapped = 3;

bool isLower(char character) { return std::islower(static_cast<unsigned char>(character)) != 0; }
bool isLetter(char character) { return std::isalpha(static_cast<unsigned char>(character)) != 0; }
bool isDigit(char character) { return std::isdigit(static_cast<unsigned char>(character)) != 0; }
bool isPunctuation(char character) {
  return static_cast<unsigned char>(character) < 0x80U && !isLetter(character) && !isDigit(character);
}

/// Whether a lowercase letter is neither the first nor the last one of its word.
bool isInsideWord(std::string_view name, std::size_t place) {
  return isLower(name[place]) && place > 0 && isLetter(name[place - 1]) && place + 1 < name.size() &&
         isLower(name[place + 1]);
}

bool isSwapped(std::string_view left, std::string_view right, std::size_t place) {
  return place + 1 < left.size() && left[place] == right[place + 1] && left[place + 1] == right[place] &&
         isLetter(left[place]) && isLetter(left[place + 1]) && left.substr(place + 2) == right.substr(place + 2);
}

/// For names of the same length that differ from `place` on.
bool isReplacedOrSwapped(std::string_view left, std::string_view right, std::size_t place) {
  if (left.size() >= kShortestSwapped && isSwapped(left, right, place)) return true;
  return left.size() >= kShortest && left.substr(place + 1) == right.substr(place + 1) && isInsideWord(left, place) &&
         isInsideWord(right, place);
}

/// For names of which the longer one has one more character, at `place`.
bool isInserted(std::string_view longer, std::string_view shorter, std::size_t place) {
  if (longer.substr(place + 1) != shorter.substr(place)) return false;
  if (isPunctuation(longer[place])) return true;
  const bool isDoubled = place > 0 && longer[place] == longer[place - 1] && isLetter(longer[place]);
  return shorter.size() >= kShortest - 1 && (isDoubled || isInsideWord(longer, place));
}

std::string without(std::string_view name, std::size_t place) {
  std::string shortened(name.substr(0, place));
  return shortened += name.substr(place + 1);
}

}  // namespace

bool looksMisspelled(std::string_view name, std::string_view meant) {
  if (name == meant || std::max(name.size(), meant.size()) > kLongest) return false;
  if (lowerCase(name) == lowerCase(meant)) return true;
  const auto place = static_cast<std::size_t>(std::ranges::mismatch(name, meant).in1 - name.begin());
  if (name.size() == meant.size()) return isReplacedOrSwapped(name, meant, place);
  if (name.size() == meant.size() + 1) return isInserted(name, meant, place);
  return name.size() + 1 == meant.size() && isInserted(meant, name, place);
}

std::string asRead(std::string_view name) {
  std::string read;
  for (const char character : lowerCase(name)) {
    if (isPunctuation(character)) continue;
    read += character == 'o' ? '0' : character == 'i' || character == 'l' ? '1' : character;
  }
  return read;
}

void SpellingIndex::add(std::string_view name) {
  if (name.size() > kLongest) return;
  const std::string folded = lowerCase(name);
  byShortened_[folded].push_back(names_.size());
  for (std::size_t i = 0; i < folded.size(); ++i) byShortened_[without(folded, i)].push_back(names_.size());
  names_.push_back(name);
}

std::optional<std::string_view> SpellingIndex::similarTo(std::string_view name) const {
  constexpr std::size_t kMostCompared = 64;  // of the names that share a shortened form
  if (name.size() > kLongest) return std::nullopt;
  const std::string folded = lowerCase(name);
  std::optional<std::size_t> first;
  const auto compare = [&](const std::string& shortened) {
    const auto found = byShortened_.find(shortened);
    if (found == byShortened_.end()) return;
    for (std::size_t i = 0; i < std::min(found->second.size(), kMostCompared); ++i) {
      const std::size_t number = found->second[i];
      if ((!first || number < *first) && looksMisspelled(name, names_[number])) first = number;
    }
  };
  compare(folded);
  for (std::size_t i = 0; i < folded.size(); ++i) compare(without(folded, i));
  return first ? std::optional(names_[*first]) : std::nullopt;
}

}  // namespace tavik::tool

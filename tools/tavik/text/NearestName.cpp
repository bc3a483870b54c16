#include "text/NearestName.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <vector>

#include "text/Text.h"

namespace tavik::tool {
namespace {

/// Longer names are not compared: typing errors are unlikely in them, and the work grows with the square of the length.
constexpr std::size_t kLongest = 200;

/// The number of single changes that turn one text into the other; `limit` if there are as many or more.
std::size_t changesBetween(std::string_view left, std::string_view right, std::size_t limit) {
  std::vector<std::size_t> beforePrevious(right.size() + 1);
  std::vector<std::size_t> previous(right.size() + 1);
  std::vector<std::size_t> current(right.size() + 1);
  std::iota(previous.begin(), previous.end(), std::size_t{0});
  for (std::size_t i = 1; i <= left.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const bool same = left[i - 1] == right[j - 1];
      current[j] = std::min({previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
      if (swapped) current[j] = std::min(current[j], beforePrevious[j - 2] + 1);
    }
    std::swap(beforePrevious, previous);
    std::swap(previous, current);
    if (std::min(*std::ranges::min_element(previous), *std::ranges::min_element(beforePrevious)) >= limit) return limit;
  }
  return previous[right.size()];
}

/// Longer names are not recognized as misspellings.
constexpr std::size_t kLongestMisspelled = 100;
/// Shorter names differ from each other by a letter even if both are correct.
constexpr std::size_t kShortest = 5;
constexpr std::size_t kShortestSwapped = 3;

bool isPunctuation(char character) {
  return static_cast<unsigned char>(character) < 0x80U && !isAsciiLetter(character) && !isDigit(character);
}

/// Whether a lowercase letter is neither the first nor the last one of its word.
bool isInsideWord(std::string_view name, std::size_t place) {
  return isAsciiLower(name[place]) && place > 0 && isAsciiLetter(name[place - 1]) && place + 1 < name.size() &&
         isAsciiLower(name[place + 1]);
}

bool isSwapped(std::string_view left, std::string_view right, std::size_t place) {
  return place + 1 < left.size() && left[place] == right[place + 1] && left[place + 1] == right[place] &&
         isAsciiLetter(left[place]) && isAsciiLetter(left[place + 1]) &&
         left.substr(place + 2) == right.substr(place + 2);
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
  const bool isDoubled = place > 0 && longer[place] == longer[place - 1] && isAsciiLetter(longer[place]);
  return shorter.size() >= kShortest - 1 && (isDoubled || isInsideWord(longer, place));
}

std::string without(std::string_view name, std::size_t place) {
  std::string shortened(name.substr(0, place));
  return shortened += name.substr(place + 1);
}

}  // namespace

std::optional<std::string_view> nearestName(std::string_view name, std::span<const std::string_view> known) {
  const std::string wanted = lowerCase(name);
  std::optional<std::string_view> nearest;
  std::size_t fewest = std::max<std::size_t>(name.size() / 3, 1) + 1;
  for (const std::string_view candidate : known) {
    const std::size_t apart = std::max(candidate.size(), name.size()) - std::min(candidate.size(), name.size());
    if (apart >= fewest || std::max(candidate.size(), name.size()) > kLongest) continue;
    const std::size_t changes = changesBetween(wanted, lowerCase(candidate), fewest);
    if (changes >= fewest) continue;
    fewest = changes;
    nearest = candidate;
  }
  return nearest;
}

std::string didYouMean(std::string_view name) { return fmt::format("; did you mean \"{}\"?", visible(name)); }

std::string didYouMean(std::string_view name, std::span<const std::string_view> known) {
  const std::optional<std::string_view> nearest = nearestName(name, known);
  return nearest ? didYouMean(*nearest) : "";
}

bool looksMisspelled(std::string_view name, std::string_view meant) {
  if (name == meant || std::max(name.size(), meant.size()) > kLongestMisspelled) return false;
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
  if (name.size() > kLongestMisspelled) return;
  const std::string folded = lowerCase(name);
  byShortened_[folded].push_back(names_.size());
  for (std::size_t i = 0; i < folded.size(); ++i) byShortened_[without(folded, i)].push_back(names_.size());
  names_.push_back(name);
}

std::optional<std::string_view> SpellingIndex::similarTo(std::string_view name) const {
  constexpr std::size_t kMostCompared = 64;  // of the names that share a shortened form
  if (name.size() > kLongestMisspelled) return std::nullopt;
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

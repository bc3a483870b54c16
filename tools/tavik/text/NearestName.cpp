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

}  // namespace tavik::tool

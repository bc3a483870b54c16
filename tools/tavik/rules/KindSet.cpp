#include "rules/KindSet.h"

#include <algorithm>
#include <numeric>

namespace tavik::tool {

KindSet KindSet::combined(std::span<const KindSet* const> included, std::span<const KindSet* const> excluded) {
  std::vector<std::pair<std::size_t, int>> edges;
  const auto addEdges = [&](const KindSet& set, int step) {
    for (const auto& [first, last] : set.spans_) {
      edges.emplace_back(first, step);
      edges.emplace_back(last, -step);
    }
  };
  for (const KindSet* const set : included) addEdges(*set, 1);
  for (const KindSet* const set : excluded) addEdges(*set, -1);
  std::ranges::sort(edges);
  KindSet all;
  int depth = 0;
  for (std::size_t i = 0; i < edges.size();) {
    const std::size_t place = edges[i].first;
    const int before = depth;
    for (; i < edges.size() && edges[i].first == place; ++i) depth += edges[i].second;
    if (before <= 0 && depth > 0) all.spans_.emplace_back(place, place);
    if (before > 0 && depth <= 0) all.spans_.back().second = place;
  }
  return all;
}

std::size_t KindSet::size() const noexcept {
  return std::accumulate(spans_.begin(), spans_.end(), std::size_t{0},
                         [](std::size_t sum, const auto& span) { return sum + span.second - span.first; });
}

std::vector<std::size_t> KindSet::members() const {
  std::vector<std::size_t> members;
  members.reserve(size());
  for (const auto& [first, last] : spans_) {
    for (std::size_t member = first; member < last; ++member) members.push_back(member);
  }
  return members;
}

}  // namespace tavik::tool

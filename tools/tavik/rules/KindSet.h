/// @file
/// A set of kinds of device, small for kinds that follow each other.
#ifndef TAVIK_TOOL_RULES_KIND_SET_H
#define TAVIK_TOOL_RULES_KIND_SET_H

#include <compare>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace tavik::tool {

class KindSet {
 public:
  KindSet() = default;
  /// `members`: ascending.
  explicit KindSet(std::span<const std::size_t> members) {
    for (const std::size_t member : members) add(member);
  }
  /// The members of `included`, which may overlap, that are not in `excluded`; those must all be in `included`, once.
  static KindSet combined(std::span<const KindSet* const> included, std::span<const KindSet* const> excluded);

  /// `member`: larger than all others.
  void add(std::size_t member) {
    if (spans_.empty() || spans_.back().second != member) spans_.emplace_back(member, member);
    ++spans_.back().second;
  }

  [[nodiscard]] bool empty() const noexcept { return spans_.empty(); }
  [[nodiscard]] std::size_t size() const noexcept;
  [[nodiscard]] std::size_t first() const noexcept { return spans_.front().first; }
  /// All members, ascending.
  [[nodiscard]] std::vector<std::size_t> members() const;

  friend auto operator<=>(const KindSet&, const KindSet&) = default;

 private:
  std::vector<std::pair<std::size_t, std::size_t>> spans_;  // first and past the last, ascending, not adjacent
};

}  // namespace tavik::tool

#endif

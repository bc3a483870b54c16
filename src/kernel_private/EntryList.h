/// @file
/// Local entries as layers follow each other.
#ifndef TAVIK_KERNEL_PRIVATE_ENTRY_LIST_H
#define TAVIK_KERNEL_PRIVATE_ENTRY_LIST_H

#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tavik {

namespace detail {
class Sought;
}

/// Local entries by rule name, each once, in the order of evaluation: where two layers have a name, the later layer's
/// entry takes the earlier one's place. Borrows from the layers.
class EntryList {
 public:
  struct Entry {
    const Value* name = nullptr;   ///< null: erased
    const Value* value = nullptr;  ///< a dictionary, if the local rules are sound
    std::uint64_t hash = 0;        ///< of the name as a key
  };

  EntryList() = default;
  explicit EntryList(std::span<const LocalLayer> layers);

  /// Makes room for so many more.
  void reserve(std::size_t count);
  /// Where the entry is, for good.
  std::size_t set(const Value& name, const Value& value);
  /// Erases the entry of that name, which there is; where it was.
  std::size_t erase(std::string_view name) noexcept;

  /// Erased ones among them.
  [[nodiscard]] const std::vector<Entry>& all() const noexcept { return entries_; }
  [[nodiscard]] Dictionary dictionary() const;
  /// Those that are not erased.
  [[nodiscard]] std::vector<Entry> take() &&;

 private:
  [[nodiscard]] std::uint32_t& slotFor(const detail::Sought& name, std::uint64_t hash) noexcept;

  std::vector<Entry> entries_;
  bool erases_ = false;
  std::vector<std::uint32_t> slots_;  // positions plus one, 0 where free; a power of two, at least twice the entries
};

}  // namespace tavik

#endif

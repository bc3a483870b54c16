/// @file
/// The local entries of a device, from all layers.
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

/// Local entries by rule name, each once, in evaluation order. If two layers have the same name, the later layer's
/// entry replaces the earlier one in place. Borrows from the layers.
class EntryList {
 public:
  struct Entry {
    const Value* name = nullptr;   ///< null: erased
    const Value* value = nullptr;  ///< a dictionary, unless the local rules are malformed
    std::uint64_t hash = 0;        ///< of the name as a key
  };

  EntryList() = default;
  explicit EntryList(std::span<const LocalLayer> layers);

  /// Allocates room for `count` more entries.
  void reserve(std::size_t count);
  /// Returns the position of the entry, which does not change.
  std::size_t set(const Value& name, const Value& value);
  /// Erases the entry of that name, which must exist, and returns its position.
  std::size_t erase(std::string_view name) noexcept;

  /// All entries, including erased ones.
  [[nodiscard]] const std::vector<Entry>& all() const noexcept { return entries_; }
  [[nodiscard]] Dictionary dictionary() const;
  /// The entries that are not erased.
  [[nodiscard]] std::vector<Entry> take() &&;

 private:
  [[nodiscard]] std::uint32_t& slotFor(const detail::Sought& name, std::uint64_t hash) noexcept;

  std::vector<Entry> entries_;
  bool erases_ = false;
  std::vector<std::uint32_t> slots_;  // positions plus one, 0 if free; a power of two, at least twice the entries
};

}  // namespace tavik

#endif

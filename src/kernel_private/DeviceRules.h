/// @file
/// What the local rules say for one kind of device.
#ifndef TAVIK_KERNEL_PRIVATE_DEVICE_RULES_H
#define TAVIK_KERNEL_PRIVATE_DEVICE_RULES_H

#include <tavik/Error.h>
#include <tavik/PredicateKernel.h>
#include <tavik/RuleOrigins.h>
#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace tavik {

/// Why there are no rules for a device: what becomes an error once somebody is told.
struct AssemblyFailure {
  std::int32_t code;
  std::string message;
};

/// What a part number and a region select of the local rules; borrowed from them.
struct Selection {
  const Dictionary* partNumber = nullptr;  ///< null: the rules know no part numbers
  const Dictionary* region = nullptr;      ///< null: the part number knows no regions

  friend bool operator==(const Selection&, const Selection&) = default;
};

/// Absent with the reason when the part number or the region is unknown, or what they select is no dictionary.
std::optional<Selection> select(const Dictionary& rules, const Value* partNumber, const Value* region,
                                std::optional<AssemblyFailure>& failure);

/// Local entries by rule name, each once, in the order of evaluation: where two layers have a name, the later layer's
/// entry takes the earlier one's place. Borrows from the layers.
class EntryList {
 public:
  struct Entry {
    const Value* name = nullptr;   ///< null: erased
    const Value* value = nullptr;  ///< a dictionary, if the local rules are sound
    std::uint64_t hash = 0;        ///< of the name as a key
  };

  /// What is set from here on stands in this layer: of no interest here.
  static constexpr void enter(LocalEntry::Layer /*layer*/, std::string_view /*set*/ = {}) noexcept {}
  /// Makes room for so many more.
  void reserve(std::size_t count);
  void set(const Value& name, const Value& value);
  void setAll(const Dictionary& layer);
  void erase(std::size_t position) noexcept {
    entries_[position].name = nullptr;
    erases_ = true;
  }

  /// Of an entry that was set.
  [[nodiscard]] std::size_t positionOf(const Value& name) noexcept;
  /// Erased ones among them.
  [[nodiscard]] const std::vector<Entry>& all() const noexcept { return entries_; }
  [[nodiscard]] Dictionary dictionary() const;
  /// Those that are not erased.
  [[nodiscard]] std::vector<Entry> take() &&;

 private:
  [[nodiscard]] std::uint32_t& slotFor(const Value& name, std::uint64_t hash) noexcept;

  std::vector<Entry> entries_;
  bool erases_ = false;
  std::vector<std::uint32_t> slots_;  // positions plus one, 0 where free; a power of two, at least twice the entries
};

/// The local entries for one kind of device.
class LocalEntries {
 public:
  LocalEntries(const Dictionary& rules, const Selection& selection);
  /// What the selection was refused for.
  explicit LocalEntries(AssemblyFailure failure) : failure_(std::move(failure)) {}
  LocalEntries(const Dictionary& rules, const Value* partNumber, const Value* region);

  /// Logs the entries as rules are made of them, and the error that they end in, if any: no rules are to be made then.
  std::optional<Error> report(const PredicateKernel& kernel) const;

  [[nodiscard]] bool failed() const noexcept { return failure_.has_value(); }
  [[nodiscard]] std::span<const EntryList::Entry> entries() const noexcept { return entries_; }

 private:
  void assemble(const Dictionary& rules, const Selection& selection);

  std::vector<EntryList::Entry> entries_;  // up to the one that is no dictionary
  std::optional<AssemblyFailure> failure_;
};

}  // namespace tavik

#endif

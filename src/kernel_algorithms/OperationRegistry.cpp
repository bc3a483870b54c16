// The lookup of operations, and the part of the kernel that performs them.

#include "kernel_algorithms/OperationRegistry.h"

#include <tavik/PredicateKernel.h>
#include <tavik/ZRTTavikKernel.h>

#include <cstdint>

#include "values/Format.h"

namespace tavik {

namespace {

constexpr std::size_t kSlots = 128;

constexpr std::size_t slotOf(std::string_view word) noexcept {
  const auto character = [&](std::size_t index) { return std::size_t{static_cast<unsigned char>(word[index])}; };
  return (word.size() * 5 + character(0) * 13 + character(word.size() / 2) * 3 + character(word.size() - 1)) % kSlots;
}

// A hash table with linear probing: row numbers plus one, 0 for free slots.
consteval std::array<std::uint8_t, kSlots> makeIndex() {
  std::array<std::uint8_t, kSlots> index = {};
  for (std::size_t row = 0; row < kOperations.size(); ++row) {
    std::size_t slot = slotOf(kOperations[row].word);
    while (index[slot] != 0) slot = (slot + 1) % kSlots;
    index[slot] = static_cast<std::uint8_t>(row + 1);
  }
  return index;
}

constexpr std::array<std::uint8_t, kSlots> kIndex = makeIndex();

}  // namespace

const Operation* findOperation(std::string_view word) noexcept {
  if (word.empty()) return nullptr;
  for (std::size_t slot = slotOf(word); kIndex[slot] != 0; slot = (slot + 1) % kSlots) {
    const Operation& operation = kOperations[kIndex[slot] - 1];
    if (operation.word == word) return &operation;
  }
  return nullptr;
}

void logIncompleteReferences(const Operation& operation, const Dictionary& references, const Platform& platform) {
  if (!platform.logs()) return;
  const auto isListed = [&](std::string_view name) { return references.contains(name); };
  if (!std::ranges::all_of(operation.loggedWithout, isListed)) log(platform, "%@", references);
}

std::optional<Dictionary> PredicateKernel::perform(std::string_view word, const Value* attribute,
                                                   const Dictionary* references, const Value* value) const {
  const Operation* operation = findOperation(word, references != nullptr);
  if (operation == nullptr) return std::nullopt;
  return call(*operation, {attribute, references, value}, platform()).record();
}

bool ZRTTavikKernel::useReferenceForValue(std::string_view predicate) {
  const Operation* operation = findOperation(predicate);
  return operation != nullptr && operation->referenceMayBeValue;
}

}  // namespace tavik

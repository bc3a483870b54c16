#include "values/ValueNumbers.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>
#include <vector>

#include "values/SharedContents.h"

namespace tavik::detail {
namespace {

// Non-empty containers, whose contents may be shared.
bool isContainer(const Value& value) {
  return (value.ifArray() != nullptr || value.ifDictionary() != nullptr) && ValueAccess::contentsOf(value) != nullptr;
}

template <class Visitor>
void forEachElement(const Value& container, Visitor visit) {
  if (const Array* array = container.ifArray()) {
    for (const Value& element : *array) visit(element);
  } else {
    for (const auto [key, value] : *container.ifDictionary()) visit(value);
  }
}

void append(std::string& spelling, std::uint64_t number) {
  for (int shift = 0; shift < 64; shift += 8) spelling += static_cast<char>(number >> shift & 0xFF);
}

std::string spelled(char kind, std::uint64_t number) {
  std::string spelling(1, kind);
  append(spelling, number);
  return spelling;
}

// Equal integers and floating-point numbers have the same spelling.
std::string spelledReal(double real) {
  const auto integer = integerEqualTo(real);
  return integer ? spelled('i', static_cast<std::uint64_t>(*integer))
                 : spelled('r', std::bit_cast<std::uint64_t>(real));
}

std::string spelling(const Value& value) {
  if (const auto text = value.ifString()) return std::string(1, 's').append(*text);
  if (const auto integer = value.ifInteger()) return spelled('i', static_cast<std::uint64_t>(*integer));
  if (const auto real = value.ifReal()) return spelledReal(*real);
  if (const auto truth = value.ifBoolean()) return *truth ? "true" : "false";
  if (const Data* data = value.ifData()) return std::string(1, 'b').append(data->bytes().begin(), data->bytes().end());
  if (const auto date = value.ifDate())
    return spelled('d', std::bit_cast<std::uint64_t>(date->secondsSinceReference() + 0.0));
  return value.ifArray() != nullptr ? "[" : "{";
}

bool equalsItself(const Value& value) {
  const auto real = value.ifReal();
  const auto date = value.ifDate();
  return !(real && std::isnan(*real)) && !(date && std::isnan(date->secondsSinceReference()));
}

}  // namespace

std::optional<std::int64_t> integerEqualTo(double real) noexcept {
  constexpr double kBeyond = 9223372036854775808.0;  // 2 to the 63rd
  if (real < -kBeyond || real >= kBeyond || std::trunc(real) != real) return std::nullopt;
  return static_cast<std::int64_t>(real);
}

std::uint64_t ValueNumbers::of(const Value& value) {
  std::vector<const Value*> open{&value};
  while (!open.empty()) {
    const Value& last = *open.back();
    const std::size_t count = open.size();
    if (!isKnown(last)) {
      forEachElement(last, [&](const Value& element) {
        if (!isKnown(element)) open.push_back(&element);
      });
    }
    if (open.size() > count) continue;
    open.pop_back();
    if (!isKnown(last)) containers_.emplace(ValueAccess::contentsOf(last), numberOfContainer(last));
  }
  return numberOf(value);
}

// Whether its number can be found without looking at its elements.
bool ValueNumbers::isKnown(const Value& value) const {
  return !isContainer(value) || containers_.contains(ValueAccess::contentsOf(value));
}

std::uint64_t ValueNumbers::numberOf(const Value& value) {
  if (isContainer(value)) return containers_.at(ValueAccess::contentsOf(value));
  return equalsItself(value) ? numberOfSpelling(spelling(value)) : ~unequal_++;
}

std::uint64_t ValueNumbers::numberOfContainer(const Value& value) {
  if (const Array* array = value.ifArray()) {
    std::string spelling = "[";
    for (const Value& element : *array) append(spelling, numberOf(element));
    return numberOfSpelling(spelling);
  }
  const Dictionary& dictionary = *value.ifDictionary();
  std::vector<std::pair<std::uint64_t, std::uint64_t>> entries;
  entries.reserve(dictionary.size());
  for (const auto [key, element] : dictionary) {
    const std::uint64_t number = numberOfSpelling(std::string(1, 's').append(key));
    entries.emplace_back(number, numberOf(element));
  }
  std::ranges::sort(entries);
  std::string spelling = "{";
  for (const auto& [key, element] : entries) {
    append(spelling, key);
    append(spelling, element);
  }
  return numberOfSpelling(spelling);
}

std::uint64_t ValueNumbers::numberOfSpelling(const std::string& spelling) {
  return spellings_.try_emplace(spelling, spellings_.size()).first->second;
}

}  // namespace tavik::detail

/// @file
/// Devices and rules for the check benchmarks; about nine in ten rules pass. The rules are available as plain C++ data
/// and as rule documents.
#ifndef TAVIK_BENCH_WORKLOAD_H
#define TAVIK_BENCH_WORKLOAD_H

#include <tavik/Value.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tavik::bench {

using Bytes = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;
using Integers = std::vector<std::int64_t>;
using Plain = std::variant<std::int64_t, std::string, Bytes, Texts, Integers>;

enum class Predicate : std::uint8_t {
  kEqual,                 ///< integer or numeric string against integer
  kCaseInsensitiveEqual,  ///< text against text
  kHasPrefix,
  kHasSuffix,
  kValueInList,               ///< text against 5 to 20 texts
  kGreaterThan,               ///< integer against integer
  kIntegersInList,            ///< some integers against a list of integers
  kCaseInsensitiveEqualData,  ///< bytes against hexadecimal digits
  kEqualData,                 ///< bytes against their description
  kHasPrefixAndHasSuffix,
  kEqualOrGreaterThan,
  kNotEqual,
};

struct Rule {
  std::string name;
  std::string attribute;
  Predicate predicate = Predicate::kEqual;
  Plain expected;
  std::string source = {};  ///< if not empty, the expected value is this source's value for the attribute
};

struct Workload {
  enum class Mix : std::uint8_t {
    kComparisons,   ///< comparisons and some combinations, with texts, integers and bytes
    kDevice,        ///< realistic: also numeric strings, lists of integers and described data; a third has references
    kReferences,    ///< comparisons with values of sources
    kCombinations,  ///< AND, OR and NOT
  };

  std::vector<std::pair<std::string, Plain>> attributes;  ///< five for every four rules
  std::vector<Rule> rules;                                ///< in the order of a check

  /// Deterministic: always the same rules and values.
  static Workload of(std::size_t ruleCount, Mix mix = Mix::kComparisons);

  [[nodiscard]] Dictionary device() const;
  [[nodiscard]] Dictionary sources() const;
  /// The definitions of all rules; every other one has the expected value.
  [[nodiscard]] Dictionary ruleLibrary() const;
  /// An entry for every rule, with the expected value if the library has none. One in ten is for the device's part
  /// number or region, the others are for all devices. Unsigned.
  [[nodiscard]] Dictionary localRules() const;
};

}  // namespace tavik::bench

#endif

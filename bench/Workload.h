/// @file
/// The device and the rules that the check run is measured on: the usual mix of predicates, about nine rules in ten
/// passing. The same rules come as plain C++ data and as the documents that a kernel takes.
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
using Plain = std::variant<std::int64_t, std::string, Bytes, Texts>;

enum class Predicate : std::uint8_t {
  kEqual,                 ///< integer against integer
  kCaseInsensitiveEqual,  ///< text against text
  kHasPrefix,
  kHasSuffix,
  kValueInList,               ///< text against 5 to 20 texts
  kGreaterThan,               ///< integer against integer
  kCaseInsensitiveEqualData,  ///< bytes against hexadecimal digits
  kHasPrefixAndHasSuffix,
  kEqualOrGreaterThan,
  kNotEqual,
};

struct Rule {
  std::string name;
  std::string attribute;
  Predicate predicate = Predicate::kEqual;
  Plain expected;
};

struct Workload {
  std::vector<std::pair<std::string, Plain>> attributes;  ///< five for every four rules
  std::vector<Rule> rules;                                ///< in the order of a check

  /// The same rules and the same values whenever it is called.
  static Workload of(std::size_t ruleCount);

  [[nodiscard]] Dictionary device() const;
  /// Every rule's definition, with the expected value in every other one.
  [[nodiscard]] Dictionary ruleLibrary() const;
  /// An entry for every rule, with the expected value where the library has none: one in ten by the device's part
  /// number or region, the rest for all devices. Unsigned.
  [[nodiscard]] Dictionary localRules() const;
};

}  // namespace tavik::bench

#endif

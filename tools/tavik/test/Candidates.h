/// @file
/// Values of a device that are worth trying in order to make rules pass or fail.
#ifndef TAVIK_TOOL_TEST_CANDIDATES_H
#define TAVIK_TOOL_TEST_CANDIDATES_H

#include <tavik/Value.h>

#include <functional>
#include <vector>

namespace tavik::tool {

/// The parts of an expected value: texts, numbers, data, truth values, and the keys of tables.
void addParts(const Value& value, std::vector<Value>& parts);

/// Visits values for an attribute, the smallest changes first, until `visit` returns true. Returns whether it did.
///
/// current: the attribute's value, null if it is missing. hints: values that rules compare it with.
bool anyCandidate(const Value* current, const std::vector<Value>& hints,
                  const std::function<bool(const Value&)>& visit);

}  // namespace tavik::tool

#endif

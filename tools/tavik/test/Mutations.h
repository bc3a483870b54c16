/// @file
/// The kinds of changes that `tavik test --mutate` makes. To add one, add a function and a row to the table in
/// Mutations.cpp.
#ifndef TAVIK_TOOL_TEST_MUTATIONS_H
#define TAVIK_TOOL_TEST_MUTATIONS_H

#include <functional>

#include "test/EffectiveEntries.h"
#include "test/Mutant.h"

namespace tavik::tool {

/// Visits every mutant of the rules in effect, by rule. Changes that have no effect on any device, and changes of a
/// rule that passes before and after them for every device, are left out.
///
/// The mutants borrow `entries`.
void forEachMutant(const EffectiveEntries& entries, const std::function<void(const Mutant&)>& visit);

}  // namespace tavik::tool

#endif

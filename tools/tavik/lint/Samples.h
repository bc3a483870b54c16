/// @file
/// Sample values of an attribute: enough to tell whether rules about the attribute can pass together.
#ifndef TAVIK_TOOL_LINT_SAMPLES_H
#define TAVIK_TOOL_LINT_SAMPLES_H

#include <tavik/Value.h>

#include <string>
#include <string_view>
#include <vector>

namespace tavik::tool::lint {

/// What the expected values of some predicates say about an attribute. A predicate's result can only change at values
/// that are made of these.
struct Patterns {
  std::vector<std::string> beginnings;
  std::vector<std::string> endings;
  std::vector<std::string> parts;       ///< anywhere in a text
  std::vector<std::string> boardCodes;  ///< at the position of a 4E code
  std::vector<std::string> texts;       ///< the whole text, in any case
  std::vector<double> numbers;
  std::vector<Data> bytes;
  std::vector<Value> values;  ///< the value itself
  bool comparesTexts = false;
  bool comparesNumbers = false;
  bool isUnknown = false;  ///< the predicate or its value is not understood

  /// Adds those of a predicate. `value`: the expected value; may be null.
  void add(std::string_view predicate, const Value* value);
  void add(const Patterns& other);
};

/// Values for which the predicates with these patterns have each combination of results that any value has. Empty if
/// that is not known, or if there would be too many.
std::vector<Value> samplesFor(const Patterns& patterns);

}  // namespace tavik::tool::lint

#endif

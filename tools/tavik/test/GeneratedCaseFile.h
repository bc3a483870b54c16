/// @file
/// `tavik test --generate`: the text of a case file for a good device.
#ifndef TAVIK_TOOL_TEST_GENERATED_CASE_FILE_H
#define TAVIK_TOOL_TEST_GENERATED_CASE_FILE_H

#include <string>

#include "test/TestSession.h"

namespace tavik::tool {

/// Throws `Failure` if the device does not pass; the message names the rules that fail.
std::string generatedCaseFile(const TestOptions& options);

}  // namespace tavik::tool

#endif

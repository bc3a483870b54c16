/// @file
/// The case files of `tavik test`: devices, and what is expected of their check runs.
#ifndef TAVIK_TOOL_TEST_CASE_FILE_H
#define TAVIK_TOOL_TEST_CASE_FILE_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "io/Inputs.h"

namespace tavik::tool {

/// What is expected of one rule of a device.
struct RuleExpectation {
  std::string rule;
  bool given = true;   ///< false: the device must not get the rule
  Dictionary entries;  ///< those that its record must have, among others
};

/// What is expected of the rules that no expectation names.
enum class OtherRules : std::uint8_t {
  kPass,
  kAny,   ///< nothing
  kNone,  ///< that there are none
};

/// What is expected of a run. With an error or a fault it is expected to end so, and nothing is asked of its rules.
struct Expectation {
  std::vector<RuleExpectation> rules;
  OtherRules others = OtherRules::kPass;
  std::optional<Dictionary> station;  ///< the whole station dictionary after the run
  std::optional<Dictionary> error;    ///< entries of {"code", "description"}
  std::optional<Dictionary> fault;    ///< entries of {"kind", "message"}
};

struct RuleTest {
  std::string name;
  Dictionary attributes;
  Dictionary sources;
  Expectation expected;
};

struct CaseFile {
  std::string name;  ///< for messages
  std::optional<std::string> library;
  std::optional<std::string> rules;
  std::optional<std::string> publicKey;
  bool unsignedDocuments = false;
  std::vector<RuleTest> tests;  ///< one at least, each with a name of its own
};

/// Reads a case file with the devices and sources that it names, whose paths count from the file's folder. Raises
/// `Unusable` with the place for a key that it does not know, a value of the wrong kind, an attribute to remove that is
/// not there, and whatever cannot be read.
CaseFile readCaseFile(Inputs& inputs, const std::string& path);

}  // namespace tavik::tool

#endif

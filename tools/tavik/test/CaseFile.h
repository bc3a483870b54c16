/// @file
/// The case files of `tavik test`: devices, and the expected results of their check runs.
#ifndef TAVIK_TOOL_TEST_CASE_FILE_H
#define TAVIK_TOOL_TEST_CASE_FILE_H

#include <tavik/Value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/Inputs.h"

namespace tavik::tool {

/// The expected result of one rule of a device.
struct RuleExpectation {
  std::string rule;
  bool given = true;   ///< false: the device must not get the rule
  Dictionary entries;  ///< entries that its record must have, among others
};

/// The expected result of the rules that no expectation names.
enum class OtherRules : std::uint8_t {
  kPass,
  kAny,   ///< nothing
  kNone,  ///< there must be none
};

/// The expected outcome of a run. With an error or a fault, the run must end with it, and its rules are not examined.
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
  std::vector<std::string> changed = {};  ///< the attributes that the case changes or removes
};

struct CaseFile {
  std::string name;  ///< for messages
  std::optional<std::string> library;
  std::optional<std::string> rules;
  std::optional<std::string> publicKey;
  bool unsignedDocuments = false;
  std::vector<RuleTest> tests;  ///< at least one, with unique names
};

/// Reads a case file with the devices and sources that it names; paths are relative to the file's folder. Throws
/// `Unusable` with the location for an unknown key, a value of the wrong kind, a missing attribute to remove, and
/// anything that cannot be read.
CaseFile readCaseFile(Inputs& inputs, const std::string& path);
/// The same for a text that may differ from the file.
CaseFile readCaseFile(Inputs& inputs, const std::string& path, std::string_view text);

}  // namespace tavik::tool

#endif

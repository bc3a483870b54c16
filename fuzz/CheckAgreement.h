/// @file
/// The effects of a check run, for comparing checks with and without prepared rules.
#ifndef TAVIK_FUZZ_CHECK_AGREEMENT_H
#define TAVIK_FUZZ_CHECK_AGREEMENT_H

#include <tavik/TavikKernel.h>

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Choices.h"

namespace tavik {

/// Trusts every document except those with an "untrusted" entry, whose description is the reason. A document with a
/// "nothing" entry is accepted without content. Records the log unless disabled.
class RecordingPlatform : public Platform {
 public:
  std::optional<Value> validatedPropertyListFromSignedDictionary(const Dictionary& signedDictionary,
                                                                 const std::string& /*publicKeyPath*/,
                                                                 std::optional<std::string>& error) const override {
    if (signedDictionary.contains("nothing")) return std::nullopt;
    if (const Value* reason = signedDictionary.find("untrusted")) error = description(reason);
    return Value(signedDictionary);
  }
  bool logs() const override { return keepsLog; }
  void log(std::string_view line) const override { lines.emplace_back(line); }

  bool keepsLog = true;
  mutable std::vector<std::string> lines;
};

/// All visible effects of a run.
struct CheckTrace {
  std::optional<Array> records;
  std::optional<Error> error;
  std::string fault;  // kind and message
  std::optional<Dictionary> station;
  std::vector<std::string> lines;

  [[nodiscard]] std::string text() const {
    std::string all = "records " + (records ? exact::text(*records) : "absent");
    all += "\nerror " + (error ? std::to_string(error->code()) + ' ' + exact::text(error->userInfo()) : "none");
    all += "\nfault " + fault + "\nstation " + (station ? exact::text(*station) : "none");
    for (const std::string& line : lines) all += '\n' + line;
    return all;
  }
};

/// A check with all other arguments bound.
using CheckCall = std::function<std::optional<Array>(Dictionary* station, std::optional<Error>& error)>;

/// Runs a check with an error already set and, if there is a station dictionary, an entry in it. Exceptions other than
/// the two kinds of faults pass through.
inline CheckTrace traceOf(const RecordingPlatform& platform, bool hasStation, const CheckCall& check) {
  CheckTrace outcome;
  outcome.error = Error(-1, "previous");
  if (hasStation) outcome.station = Dictionary{{"OnPass", "previous"}, {"other", "kept"}};
  platform.lines.clear();
  try {
    outcome.records = check(outcome.station ? &*outcome.station : nullptr, outcome.error);
  } catch (const std::out_of_range& fault) {
    outcome.fault = std::string("out of range: ") + fault.what();
  } catch (const std::invalid_argument& fault) {
    outcome.fault = std::string("invalid argument: ") + fault.what();
  }
  outcome.lines = std::move(platform.lines);
  return outcome;
}

/// The effects of a check and of a check with prepared rules, as text.
struct CheckPair {
  CheckTrace checked;
  CheckTrace prepared;
};

inline CheckPair checkBothWays(const ZRTTavikKernel& kernel, const PreparedRules& prepared,
                               const RecordingPlatform& platform, const Dictionary& device, const Dictionary* rules,
                               const Dictionary* sources, bool hasStation = true) {
  return {traceOf(platform, hasStation,
                  [&](Dictionary* station, std::optional<Error>& error) {
                    return kernel.check(device, rules, sources, station, error);
                  }),
          traceOf(platform, hasStation, [&](Dictionary* station, std::optional<Error>& error) {
            return prepared.check(device, sources, station, error);
          })};
}

}  // namespace tavik

#endif

/// @file
/// The check run: from a device's attributes and validated rule documents to the list of records.
#ifndef TAVIK_KERNEL_CHECK_RUN_H
#define TAVIK_KERNEL_CHECK_RUN_H

#include <tavik/CheckOutcome.h>
#include <tavik/Error.h>
#include <tavik/Value.h>

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <utility>

#include "kernel/Faults.h"
#include "kernel/Records.h"
#include "kernel/RuleDocuments.h"
#include "kernel/RuleRun.h"
#include "kernel_private/LocalEntries.h"

namespace tavik {

/// The arguments of a check.
struct CheckCall {
  const Dictionary& device;   ///< its attributes
  Dictionary& expanded;       ///< receives them with the fields of the packed ones, if there are any; may be `device`
  const Dictionary* sources;  ///< may be null
  Dictionary* station;        ///< may be null
  std::optional<Error>& error;
};

/// The progress of a run.
struct CheckProgress {
  std::unique_ptr<Reason> end;  ///< why it ended without a verdict, unless by a fault; null costs less than nullopt
  const Value* rule = nullptr;  ///< the last rule started
  bool pass = false;            ///< whether all rules were evaluated and passed
};

/// The records of a run whose documents are rejected.
Array rejected(const RuleDocuments& documents, CheckProgress& progress);

/// A record before those of rules. It passes.
struct VersionRecord {
  const Value& rule;
  Value version;
  Value expected;
};
std::array<VersionRecord, 3> versionRecords(const RuleDocuments& documents);

/// Sets the verdict and the reason of an outcome.
void judge(CheckOutcome& outcome, CheckProgress progress);

/// A run for one device, with its rules either prepared or made during the run.
class CheckRun {
 public:
  CheckRun(const RuleDocuments& documents, const CheckCall& call, CheckProgress& progress);

  /// The maximum number of records of a run.
  static std::size_t mostRecords(const LocalEntries& local) noexcept { return local.entries().size() + kOtherRecords; }

  /// The device's attributes with the fields of the packed ones.
  [[nodiscard]] const Dictionary& attributes() const noexcept { return attributes_; }

  /// Runs the check. local: the device's local entries. records: those of the versions. forEachRule: calls its
  /// argument, a function, with each `PreparedRule` until it returns false; returns whether it was called with all
  /// rules.
  template <class ForEachRule>
  std::optional<Array> over(const LocalEntries& local, Records&& records, ForEachRule forEachRule) {
    if (!begin(local, records)) return std::move(records).take();
    RuleRun run(documents_.kernel, {attributes_, call_.sources, call_.station, call_.error}, records);
    const bool complete = forEachRule([&](const PreparedRule& rule) {
      progress_.rule = &rule.name;
      return run.add(rule);
    });
    return complete ? std::optional(finish(std::move(records))) : std::nullopt;
  }

 private:
  static constexpr std::size_t kOtherRecords = 4;  // three versions, and the reason for a run without rules

  bool begin(const LocalEntries& local, Records& records);
  [[nodiscard]] Array finish(Records&& records);

  const RuleDocuments& documents_;
  const CheckCall& call_;
  CheckProgress& progress_;
  const Dictionary& attributes_;
};

/// The outcome of a run with documents of that provenance. check: performs the run; called with a `CheckCall` and a
/// `CheckProgress`, returns the records.
template <class Check>
CheckOutcome outcomeOf(std::shared_ptr<const Provenance> provenance, const Dictionary& device, Dictionary& expanded,
                       const Dictionary* sources, Dictionary station, Check check) {
  CheckOutcome outcome;
  outcome.station = std::move(station);
  outcome.provenance = std::move(provenance);
  CheckProgress progress;
  outcome.fault = faultOf([&] {
    outcome.records = check(CheckCall{device, expanded, sources, &outcome.station, outcome.error}, progress);
  });
  judge(outcome, std::move(progress));
  return outcome;
}

}  // namespace tavik

#endif

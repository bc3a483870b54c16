#include "Result.h"

#include <pybind11/stl.h>

#include "Conversion.h"
#include "Made.h"
#include "Parts.h"
#include "Raise.h"

namespace tavik::python {
namespace {

constexpr const char* kAbout = R"(The outcome of a check run: whether the device was checked, and whether it passed.

>>> result = kernel.run({"ModelNumber": "MX101"}, rules)
>>> result
<tavik.Result: failed, 4 records>
>>> if not result:
...     print("do not ship")
do not ship

A Result is true if the device passed. Records are converted to Python when they are first used. A Result
can be pickled and copied.)";

constexpr const char* kVerdict = R"("passed", "failed", or "none" if the device was not checked; reason says why.

>>> kernel.run({"ModelNumber": "MD101"}, rules).verdict
'passed'
>>> kernel.run({"ModelNumber": "MD101"}, None).verdict
'none')";

constexpr const char* kReason = R"(The Reason if there is no verdict, otherwise None.

>>> print(kernel.run({"ModelNumber": "MD101"}, None).reason)
there are no local rules)";

constexpr const char* kPassed = R"(Whether the verdict is "passed".

>>> kernel.run({"ModelNumber": "MD101"}, rules).passed
True)";

constexpr const char* kChecked = R"(Whether there is a verdict.

>>> kernel.run({"ModelNumber": "MX101"}, rules).checked
True)";

constexpr const char* kRecords =
    R"(All records, in evaluation order: three version records and one per rule, or the records that say why there is no
verdict. None if a malformed expression or a fault ended the run.

>>> kernel.run({"ModelNumber": "MD101"}, rules).records[0]["rule"]
'TavikKernel lib version')";

constexpr const char* kRuleRecords = R"(The records of rules, without the version records; empty without a verdict.

>>> kernel.run({"ModelNumber": "MD101"}, rules).rule_records
[{'rule': 'Model Number', 'result': True, 'actual': 'MD101', 'expected': 'has prefix MD'}])";

constexpr const char* kFailures = R"(The records whose "result" is false.

>>> [record["rule"] for record in kernel.run({"ModelNumber": "MX101"}, rules).failures]
['Model Number'])";

constexpr const char* kStation =
    R"(The station dictionary after the run: the initial one, with "OnPass" and "OnFail" as forwarded by rules.

>>> kernel.run({"ModelNumber": "MD101"}, rules, station={"OnPass": "bay 5"}).station
{'OnPass': 'bay 5'})";

constexpr const char* kError =
    R"(The Error if the device's rules could not be assembled or an expression is malformed, otherwise None.

>>> strict = sign({"version": "12", "MPNRules": {"MD101": {}}}, private_key)
>>> kernel.run({"ModelNumber": "MX101"}, strict).error
Error('ZRT Tavik Error Domain', -100003, 'unknown MPN:MX101'))";

constexpr const char* kFault = R"(The Fault that ended the run, otherwise None.

>>> codes = sign({"version": "12", "GenericRules": {"Code": {}}}, private_key)
>>> fault = kernel.run({"SerialNumber": "Q2"}, codes).fault
>>> fault.kind, fault.rule
('range', 'Code'))";

constexpr const char* kProvenance =
    R"(Where the rule documents came from: "kernel" (its version), "signatures" ("verified" or "not verified"), "library"
and "rules", two dictionaries with "version", "sha256", "keys" and what a statement says, as far as they are known.

>>> provenance = kernel.run({"ModelNumber": "MD101"}, rules).provenance
>>> provenance["signatures"], provenance["library"]["version"]
('verified', '31'))";

py::object textOrNone(const std::optional<std::string>& text) { return text ? lenientText(*text) : py::none(); }

class Result {
 public:
  using MadeByInit = Result;

  explicit Result(CheckOutcome outcome) : outcome_(std::move(outcome)) {}
  Result(CheckOutcome outcome, Dictionary provenance)
      : outcome_(std::move(outcome)), provenance_(std::move(provenance)) {}

  [[nodiscard]] bool passed() const { return outcome_.verdict == Verdict::kPassed; }
  [[nodiscard]] bool checked() const { return outcome_.verdict != Verdict::kNone; }
  [[nodiscard]] std::string_view verdict() const { return wordOf(outcome_.verdict); }
  [[nodiscard]] py::object reason() const;
  [[nodiscard]] const py::object& records();
  [[nodiscard]] py::list ruleRecords() const;
  [[nodiscard]] py::list failures() const;
  [[nodiscard]] py::dict station() const { return toPython(outcome_.station); }
  [[nodiscard]] py::object error() const { return outcome_.error ? exception(*outcome_.error) : py::none(); }
  [[nodiscard]] py::object fault() const { return outcome_.fault ? exception(*outcome_.fault) : py::none(); }
  [[nodiscard]] py::dict provenance() const {
    return toPython(outcome_.provenance ? outcome_.provenance->dictionary() : provenance_);
  }
  [[nodiscard]] py::str repr() const;
  [[nodiscard]] py::tuple state() const;
  static Result fromState(const py::tuple& state);

 private:
  template <class Cause>
  [[nodiscard]] py::object exception(const Cause& cause) const {
    py::object made = makeException(cause);
    made.attr("rule") = textOrNone(outcome_.reason->rule);
    made.attr("station") = station();
    return made;
  }

  CheckOutcome outcome_;
  Dictionary provenance_;  // of a Result that was pickled
  py::object records_;     // null until converted
};

py::object Result::reason() const {
  if (!outcome_.reason) return py::none();
  const auto& [category, description, rule] = *outcome_.reason;
  const py::object kind = toText(outcome_.reason->word());
  return callPython(imported("tavik._reason", "Reason"), kind, lenientText(description), textOrNone(rule));
}

const py::object& Result::records() {
  if (!records_) records_ = outcome_.records ? py::object(toPython(*outcome_.records)) : py::none();
  return records_;
}

py::list Result::ruleRecords() const {
  py::list records;
  for (const Value& record : outcome_.ruleRecords()) records.append(toPython(record));
  return records;
}

py::list Result::failures() const {
  py::list failed;
  if (!outcome_.records) return failed;
  for (const Value& record : *outcome_.records) {
    if (!booleanValue(record.ifDictionary()->find("result"))) failed.append(toPython(record));
  }
  return failed;
}

py::str Result::repr() const {
  const std::size_t count = outcome_.records ? outcome_.records->size() : 0;
  return py::str("<tavik.Result: {}, {} records>").format(checked() ? verdict() : "no verdict", count);
}

// The state for pickle and copy. Absent parts are None.
py::tuple Result::state() const {
  py::object reason = py::none(), records = py::none(), error = py::none(), fault = py::none();
  if (outcome_.reason) {
    const auto& [category, description, rule] = *outcome_.reason;
    reason = py::make_tuple(static_cast<int>(category), lenientText(description), textOrNone(rule));
  }
  if (outcome_.records) records = toPython(*outcome_.records);
  if (outcome_.error) error = py::make_tuple(outcome_.error->code(), outcome_.error->localizedDescription());
  if (outcome_.fault) fault = py::make_tuple(static_cast<int>(outcome_.fault->category), outcome_.fault->message);
  return py::make_tuple(static_cast<int>(outcome_.verdict), reason, records, station(), error, fault, provenance());
}

[[noreturn]] void rejectState() { throw py::value_error("not the state of a tavik.Result"); }

template <class Enumeration>
Enumeration enumerator(int number, Enumeration last) {
  if (number < 0 || number > static_cast<int>(last)) rejectState();
  return static_cast<Enumeration>(number);
}

// The reverse of lenientText.
std::string bytesOf(py::handle text) {
  return fromPython([&] { return PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape"); })
      .cast<std::string>();
}

Result Result::fromState(const py::tuple& state) {
  const auto [verdict, reason, records, station, error, fault, origin] =
      state.cast<std::tuple<int, py::object, py::object, py::dict, py::object, py::object, py::dict>>();
  Dictionary provenance = toDictionary(origin, "provenance");
  CheckOutcome outcome;
  outcome.verdict = enumerator(verdict, Verdict::kNone);
  outcome.station = toDictionary(station, "station");
  if (!records.is_none()) {
    outcome.records.emplace();
    for (const py::handle record : records) outcome.records->append(toDictionary(record, "record"));
  }
  if (outcome.verdict != Verdict::kNone) {
    if (!outcome.records || outcome.records->size() < 3) rejectState();
    return {std::move(outcome), std::move(provenance)};
  }
  const auto [category, description, rule] = reason.cast<std::tuple<int, py::str, py::object>>();
  outcome.reason = {enumerator(category, Reason::Category::kFault), bytesOf(description), std::nullopt};
  if (!rule.is_none()) outcome.reason->rule = bytesOf(rule);
  if (!error.is_none()) {
    const auto [code, text] = error.cast<std::pair<std::int32_t, std::string>>();
    outcome.error.emplace(code, text);
  }
  if (!fault.is_none()) {
    const auto [kind, message] = fault.cast<std::pair<int, std::string>>();
    outcome.fault = {enumerator(kind, Fault::Category::kInvalidArgument), message};
  }
  return {std::move(outcome), std::move(provenance)};
}

}  // namespace

py::object toResult(CheckOutcome outcome) { return py::cast(Result(std::move(outcome))); }

py::object toResultOrException(CheckOutcome outcome) {
  const bool ended = !outcome.records;
  const bool byFault = outcome.fault.has_value();
  Result result(std::move(outcome));
  if (ended) return byFault ? result.fault() : result.error();
  return py::cast(std::move(result));
}

py::object toResultOrRaise(CheckOutcome outcome) {
  const bool ended = !outcome.records;
  py::object object = toResultOrException(std::move(outcome));
  if (ended) raise(object);
  return object;
}

void defineResult(py::module_& module) {
  py::class_<Result>(module, "Result", kAbout)
      .def_property_readonly("verdict", &Result::verdict, kVerdict)
      .def_property_readonly("reason", &Result::reason, kReason)
      .def_property_readonly("passed", &Result::passed, kPassed)
      .def_property_readonly("checked", &Result::checked, kChecked)
      .def_property_readonly("records", &Result::records, kRecords)
      .def_property_readonly("rule_records", &Result::ruleRecords, kRuleRecords)
      .def_property_readonly("failures", &Result::failures, kFailures)
      .def_property_readonly("station", &Result::station, kStation)
      .def_property_readonly("error", &Result::error, kError)
      .def_property_readonly("fault", &Result::fault, kFault)
      .def_property_readonly("provenance", &Result::provenance, kProvenance)
      .def("__bool__", &Result::passed)
      .def(py::pickle([](const Result& self) { return self.state(); }, &Result::fromState))
      .def("__repr__", &Result::repr);
}

}  // namespace tavik::python

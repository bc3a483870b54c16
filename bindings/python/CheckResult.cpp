#include "CheckResult.h"

#include <algorithm>

#include "Conversion.h"
#include "Made.h"
#include "Parts.h"
#include "Raise.h"

namespace tavik::python {
namespace {

constexpr const char* kAbout = R"(What a check found.

>>> result = kernel.check({"ModelNumber": "MX101"}, rules)
>>> result
<tavik.Result: failed, 4 records>
>>> if not result:
...     print("not good")
not good

It is true when it passed. Records become Python's when they are asked for.)";

constexpr const char* kPassed = R"(Whether every record passed.

>>> kernel.check({"ModelNumber": "MD101"}, rules).passed
True)";

constexpr const char* kChecked =
    R"(Whether the run came to the device's rules. If not, the last record says why, and nothing is known of the device.

>>> result = kernel.check({"ModelNumber": "MD101"}, {"version": "not signed"})
>>> result.checked, result.records[-1]["actual"]
(False, 'the document is not signed: ...'))";

constexpr const char* kRecords = R"(One dictionary a rule, in order, behind three with the versions.

>>> kernel.check({"ModelNumber": "MD101"}, rules).records[3]
{'rule': 'Model Number', 'result': True, 'actual': 'MD101', 'expected': 'has prefix MD'})";

constexpr const char* kFailures = R"(The records that did not pass.

>>> [record["rule"] for record in kernel.check({"ModelNumber": "MX101"}, rules).failures]
['Model Number'])";

constexpr const char* kStation =
    R"(The station dictionary after the run: the one that was given, with "OnPass" and "OnFail" as rules forwarded them.

>>> kernel.check({"ModelNumber": "MD101"}, rules, station={"OnPass": "bay 5"}).station
{'OnPass': 'bay 5'})";

constexpr const char* kError = R"(The Error for which the device's rules could not be put together, or None.

>>> strict = sign({"version": "12", "MPNRules": {"MD101": {}}}, private_key)
>>> kernel.check({"ModelNumber": "MX101"}, strict).error
Error('ZRT Tavik Error Domain', -100003, 'unknown MPN:MX101'))";

class Result {
 public:
  using MadeByInit = Result;

  explicit Result(Outcome outcome)
      : records_(*std::move(outcome.records)), station_(std::move(outcome.station)), error_(std::move(outcome.error)) {}

  [[nodiscard]] bool passed() const { return std::ranges::all_of(records_, passes); }
  [[nodiscard]] bool checked() const;
  [[nodiscard]] const py::list& records();
  [[nodiscard]] py::list failures() const;
  [[nodiscard]] py::dict station() const { return toPython(station_); }
  [[nodiscard]] py::object error() const { return error_ ? makeException(*error_) : py::none(); }
  [[nodiscard]] py::str repr() const;

 private:
  static bool passes(const Value& record) {
    const Value* const result = record.ifDictionary()->find("result");
    return result != nullptr && result->ifBoolean() == true;
  }

  Array records_;
  Dictionary station_;
  std::optional<Error> error_;
  std::optional<py::list> converted_;
};

// A run that ends early has one record, or says behind those of the versions why it ended.
bool Result::checked() const {
  constexpr std::size_t kVersionRecords = 3;
  if (error_ || records_.size() <= kVersionRecords) return false;
  const Dictionary& next = *records_.at(kVersionRecords).ifDictionary();
  const bool noRules = next.findString("rule") == "Device Rules" && next.findString("actual") == "no rules specified" &&
                       next.findString("expected") == "valid rule lists";
  return records_.size() > kVersionRecords + 1 || !noRules;
}

const py::list& Result::records() {
  if (!converted_) converted_ = toPython(records_);
  return *converted_;
}

py::list Result::failures() const {
  py::list failed;
  for (const Value& record : records_) {
    if (!passes(record)) failed.append(toPython(record));
  }
  return failed;
}

py::str Result::repr() const {
  const char* const verdict = passed() ? "passed" : checked() ? "failed" : "no verdict";
  return py::str("<tavik.Result: {}, {} records>").format(verdict, records_.size());
}

}  // namespace

py::object toObject(Outcome outcome) {
  if (outcome.records) return py::cast(Result(std::move(outcome)));
  py::object exception = outcome.failure ? makeException(outcome.failure) : makeException(*outcome.error);
  exception.attr("station") = toPython(outcome.station);
  return exception;
}

py::object toResult(Outcome outcome) {
  const bool ended = !outcome.records;
  py::object object = toObject(std::move(outcome));
  if (ended) raise(object);
  return object;
}

void defineResult(py::module_& module) {
  py::class_<Result>(module, "Result", kAbout)
      .def_property_readonly("passed", &Result::passed, kPassed)
      .def_property_readonly("checked", &Result::checked, kChecked)
      .def_property_readonly("records", &Result::records, kRecords)
      .def_property_readonly("failures", &Result::failures, kFailures)
      .def_property_readonly("station", &Result::station, kStation)
      .def_property_readonly("error", &Result::error, kError)
      .def("__bool__", &Result::passed)
      .def("__repr__", &Result::repr);
}

}  // namespace tavik::python

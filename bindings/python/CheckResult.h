/// @file
/// What a check came to: tavik.Result, or the exception that ended it.
#ifndef TAVIK_PYTHON_CHECK_RESULT_H
#define TAVIK_PYTHON_CHECK_RESULT_H

#include <pybind11/pybind11.h>
#include <tavik/Error.h>
#include <tavik/Value.h>

#include <exception>
#include <optional>
#include <stdexcept>

namespace tavik::python {

namespace py = pybind11;

struct Outcome {
  std::optional<Array> records;
  Dictionary station;
  std::optional<Error> error;
  std::exception_ptr failure;  ///< the fault that ended the run; it has no records then
};

/// Runs `check`, a call of the library that gives the records of a run, into an outcome. What it throws and is no
/// fault, such as the exception of a platform, goes on to the caller.
template <class Check>
Outcome outcomeOf(Dictionary station, Check check) {
  Outcome outcome{.records = {}, .station = std::move(station), .error = {}, .failure = {}};
  try {
    outcome.records = check(outcome.station, outcome.error);
  } catch (const std::logic_error&) {
    outcome.failure = std::current_exception();
  }
  return outcome;
}

/// A Result, an Error or a Fault.
py::object toObject(Outcome outcome);
/// A Result; anything else is raised.
py::object toResult(Outcome outcome);

}  // namespace tavik::python

#endif

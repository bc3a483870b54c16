/// @file
/// The outcome of a check run: tavik.Result, or the exception that ended it.
#ifndef TAVIK_PYTHON_RESULT_H
#define TAVIK_PYTHON_RESULT_H

#include <pybind11/pybind11.h>
#include <tavik/CheckOutcome.h>

namespace tavik::python {

namespace py = pybind11;

/// The result of `run`: always a Result.
py::object toResult(CheckOutcome outcome);
/// An element of the result of `check_many`: a Result, or the Error or Fault that ended the run.
py::object toResultOrException(CheckOutcome outcome);
/// The result of `check`: a Result. Raises the Error or Fault that ended the run.
py::object toResultOrRaise(CheckOutcome outcome);

}  // namespace tavik::python

#endif

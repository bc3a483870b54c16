/// @file
/// The outcome of a check run: tavik.Result, or the exception that ended it.
#ifndef TAVIK_PYTHON_RESULT_H
#define TAVIK_PYTHON_RESULT_H

#include <pybind11/pybind11.h>
#include <tavik/CheckOutcome.h>

namespace tavik::python {

namespace py = pybind11;

/// What `run` returns: always a Result.
py::object toResult(CheckOutcome outcome);
/// What `check_many` lists: a Result, or the Error or Fault that ended the run.
py::object toResultOrException(CheckOutcome outcome);
/// What `check` returns: a Result. Raises the Error or Fault that ended the run.
py::object toResultOrRaise(CheckOutcome outcome);

}  // namespace tavik::python

#endif

/// @file
/// Raises the exceptions of tavik/_errors.py for the kernel's errors and faults.
#ifndef TAVIK_PYTHON_RAISE_H
#define TAVIK_PYTHON_RAISE_H

#include <pybind11/pybind11.h>
#include <tavik/CheckOutcome.h>
#include <tavik/Error.h>

#include <stdexcept>
#include <string>

#include "InterpreterLock.h"

namespace tavik::python {

namespace py = pybind11;

/// Makes an exception of the package without raising it.
template <class... Arguments>
py::object makeException(const char* name, Arguments&&... arguments) {
  const py::object type = imported("tavik._errors", name);
  const py::tuple given = py::make_tuple(std::forward<Arguments>(arguments)...);
  return fromPython([&] { return PyObject_CallObject(type.ptr(), given.ptr()); });
}

/// tavik.Error.
py::object makeException(const Error& error);

/// tavik.RangeFault or tavik.ArgumentFault.
py::object makeException(const Fault& fault);

/// Text for people. It may contain paths that are not UTF-8, which are decoded like `os.fsdecode` does.
py::object lenientText(const std::string& text);

/// Raises an exception made by `makeException`.
[[noreturn]] void raise(const py::object& exception);
[[noreturn]] void raiseDocumentError(const std::string& message);
[[noreturn]] void raiseUntrustedError(const std::string& message);
/// Raises OSError for the errno of the last system call.
[[noreturn]] void raiseSystemError(const std::string& path);

/// Calls into the library; faults become exceptions of the package.
template <class Call>
auto withFaults(Call call) {
  Fault fault;
  try {
    return call();
  } catch (const std::out_of_range& range) {
    fault = {Fault::Category::kRange, range.what()};
  } catch (const std::invalid_argument& argument) {
    fault = {Fault::Category::kInvalidArgument, argument.what()};
  }
  raise(makeException(fault));
}

}  // namespace tavik::python

#endif

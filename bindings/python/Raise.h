/// @file
/// What the module raises: the exceptions of tavik/_errors.py, with the kernel's errors and faults in them.
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

/// An exception of the package, made and not raised.
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

/// Text for people. It need not be UTF-8, since it may contain paths: they read as `os.fsdecode` reads them.
py::object lenientText(const std::string& text);

/// Raises an exception that `makeException` made.
[[noreturn]] void raise(const py::object& exception);
[[noreturn]] void raiseDocumentError(const std::string& message);
[[noreturn]] void raiseUntrustedError(const std::string& message);
/// Raises OSError, for the errno of the last system call.
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

#include "Raise.h"

#include <stdexcept>

namespace tavik::python {

namespace {

// Paths in a message need not be UTF-8; they read as `os.fsdecode` reads them.
py::object textOf(const std::string& message) {
  PyObject* const text =
      PyUnicode_DecodeUTF8(message.data(), static_cast<Py_ssize_t>(message.size()), "surrogateescape");
  if (text == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(text);
}

}  // namespace

py::object makeException(const Error& error) {
  return makeException("Error", error.domain(), error.code(), error.localizedDescription());
}

py::object makeException(const std::exception_ptr& fault) {
  const char* name = nullptr;
  std::string text;
  try {
    std::rethrow_exception(fault);
  } catch (const std::out_of_range& range) {
    name = "RangeFault";
    text = range.what();
  } catch (const std::invalid_argument& argument) {
    name = "ArgumentFault";
    text = argument.what();
  }
  return makeException(name, text);
}

void raise(const py::object& exception) {
  PyErr_SetObject(py::type::handle_of(exception).ptr(), exception.ptr());
  throw py::error_already_set();
}

void raiseDocumentError(const std::string& message) { raise(makeException("DocumentError", textOf(message))); }

void raiseUntrustedError(const std::string& message) { raise(makeException("UntrustedError", textOf(message))); }

void raiseSystemError(const std::string& path) {
  PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
  throw py::error_already_set();
}

}  // namespace tavik::python

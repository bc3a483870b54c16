#include "Raise.h"

namespace tavik::python {

py::object makeException(const Error& error) {
  return makeException("Error", error.domain(), error.code(), error.localizedDescription());
}

py::object makeException(const Fault& fault) {
  return makeException(fault.category == Fault::Category::kRange ? "RangeFault" : "ArgumentFault", fault.message);
}

py::object lenientText(const std::string& text) {
  return fromPython(
      [&] { return PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape"); });
}

void raise(const py::object& exception) {
  PyErr_SetObject(py::type::handle_of(exception).ptr(), exception.ptr());
  throw py::error_already_set();
}

void raiseDocumentError(const std::string& message) { raise(makeException("DocumentError", lenientText(message))); }

void raiseUntrustedError(const std::string& message) { raise(makeException("UntrustedError", lenientText(message))); }

void raiseSystemError(const std::string& path) {
  PyErr_SetFromErrnoWithFilename(PyExc_OSError, path.c_str());
  throw py::error_already_set();
}

}  // namespace tavik::python

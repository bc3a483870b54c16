#include "FrozenDictionary.h"

#include "Conversion.h"
#include "Documents.h"
#include "Parts.h"
#include "Raise.h"

namespace tavik::python {
namespace {

constexpr const char* kAbout = R"(Dictionary(entries)
--

An immutable dictionary of values, accepted wherever a dict is.

Use it to convert attributes, rules or sources once and pass them many times:

>>> device = Dictionary({"ModelNumber": "MD101", "Capacity": 64_000_000_000})
>>> device["ModelNumber"], len(device), "Region" in device
('MD101', 2, False)
>>> dict(device)
{'ModelNumber': 'MD101', 'Capacity': 64000000000}

It is a collections.abc.Mapping. Values that it returns are new objects; changing them has no effect on it.)";

constexpr const char* kRead = R"(read(path)
--

Reads a property-list file in any encoding, whose root is a dictionary.

>>> path.write_text('{ version = 12; GenericRules = {}; }')
36
>>> Dictionary.read(path)
Dictionary({'version': '12', 'GenericRules': {}})

Raises DocumentError for a malformed document, and OSError if the file cannot be opened.)";

FrozenDictionary readDictionary(const py::object& path) {
  const std::string name = pathOf(path);
  const Value root = readFile(name);
  if (root.ifDictionary() == nullptr) raiseDocumentError(name + ": not a dictionary");
  return {*root.ifDictionary()};
}

py::object itemOf(const FrozenDictionary& dictionary, py::handle key) {
  Py_ssize_t size = 0;
  const char* const text = PyUnicode_Check(key.ptr()) ? PyUnicode_AsUTF8AndSize(key.ptr(), &size) : nullptr;
  const Value* const value =
      text == nullptr ? nullptr : dictionary.contents.find({text, static_cast<std::size_t>(size)});
  if (value != nullptr) return toPython(*value);
  PyErr_Clear();  // a key with an unpaired surrogate does not exist
  PyErr_SetObject(PyExc_KeyError, key.ptr());
  throw py::error_already_set();
}

py::iterator keysOf(const FrozenDictionary& dictionary) {
  py::list keys;
  for (const auto [key, value] : dictionary.contents) keys.append(toText(key));
  return py::iter(keys);
}

}  // namespace

void defineFrozenDictionary(py::module_& module) {
  py::class_<FrozenDictionary> type(module, "Dictionary", kAbout);
  type.def(py::init([](py::handle entries) { return FrozenDictionary{toDictionary(entries, "entries")}; }),
           py::arg("entries"), "__init__(self, entries)\n--\n\n")
      .def_static("read", readDictionary, py::arg("path"), kRead)
      .def("__getitem__", itemOf)
      .def("__iter__", keysOf)
      .def("__len__", [](const FrozenDictionary& self) { return self.contents.size(); })
      .def("__repr__",
           [](const FrozenDictionary& self) { return py::str("Dictionary({!r})").format(toPython(self.contents)); })
      .def("__reduce__", [](py::object self) {
        return py::make_tuple(py::type::of(self), py::make_tuple(toPython(self.cast<FrozenDictionary&>().contents)));
      });
  const py::object mapping = py::module_::import("collections.abc").attr("Mapping");
  for (const char* name : {"__contains__", "__eq__", "get", "items", "keys", "values"}) {
    type.attr(name) = mapping.attr(name);
  }
  type.attr("__hash__") = py::none();
  mapping.attr("register")(type);
}

}  // namespace tavik::python

/// @file
/// Values between Python and the library, kind for kind:
///
/// | Python | library |
/// | --- | --- |
/// | str | string |
/// | bool | boolean |
/// | int | number, an integer of 64 bits |
/// | float | number, floating point |
/// | bytes; also taken: bytearray, memoryview | data |
/// | datetime with a time zone, in UTC when given back | date |
/// | list; also taken: tuple | array |
/// | dict with str keys; also taken: Dictionary, any mapping | dictionary |
///
/// Anything else is refused with the way to it: `attributes['Boards'][2]: None is no value`. All functions need the
/// interpreter lock.
#ifndef TAVIK_PYTHON_CONVERSION_H
#define TAVIK_PYTHON_CONVERSION_H

#include <pybind11/pybind11.h>
#include <tavik/Value.h>

#include <string>

namespace tavik::python {

namespace py = pybind11;

/// Values may stand in each other as deep as in a property list. One call takes so many: a list that contains itself,
/// or lists that share lists over and over, stand for more than can be copied.
inline constexpr std::size_t kMostValues = std::size_t{1} << 22U;

/// Raises TypeError for kinds that are none, OverflowError for integers beyond 64 bits, ValueError for dates without a
/// time zone, text that is no Unicode, and what is too deep or too much. `what` is what the object is called there.
Value toValue(py::handle object, const std::string& what);
/// The same for what must be a dictionary.
Dictionary toDictionary(py::handle object, const std::string& what);

/// The same for what must be data.
Data toData(py::handle object, const std::string& what);

/// A new object. Raises ValueError for a date that `datetime` has none for.
py::object toPython(const Value& value);
py::dict toPython(const Dictionary& dictionary);
py::list toPython(const Array& array);
py::str toText(std::string_view text);

/// Makes ready what the functions above use; called once, when the module is loaded.
void initializeConversion();

}  // namespace tavik::python

#endif

/// @file
/// Converts values between Python and the library, keeping their kinds:
///
/// | Python | library |
/// | --- | --- |
/// | str | string |
/// | bool | boolean |
/// | int | number, an integer of 64 bits |
/// | float | number, floating point |
/// | bytes; also accepted: bytearray, memoryview | data |
/// | datetime with a time zone; returned in UTC | date |
/// | list; also accepted: tuple | array |
/// | dict with str keys; also accepted: Dictionary, any mapping | dictionary |
///
/// Anything else is rejected with its path: `attributes['Boards'][2]: None is not allowed`. All functions need the
/// interpreter lock.
#ifndef TAVIK_PYTHON_CONVERSION_H
#define TAVIK_PYTHON_CONVERSION_H

#include <pybind11/pybind11.h>
#include <tavik/Value.h>

#include <string>

namespace tavik::python {

namespace py = pybind11;

/// Maximum number of values in one call. Nesting is limited as in property lists. Lists that share lists many times can
/// contain more values than can be copied.
inline constexpr std::size_t kMostValues = std::size_t{1} << 22U;

/// Raises TypeError for unsupported types, OverflowError for integers beyond 64 bits, and ValueError for dates without
/// a time zone, text with unpaired surrogates, and objects beyond the limits. what: the name of the object in messages.
Value toValue(py::handle object, const std::string& what);
/// The same for a dictionary.
Dictionary toDictionary(py::handle object, const std::string& what);

/// The same for data.
Data toData(py::handle object, const std::string& what);

/// Returns a new object. Raises ValueError for a date that `datetime` cannot represent.
py::object toPython(const Value& value);
py::dict toPython(const Dictionary& dictionary);
py::list toPython(const Array& array);
py::str toText(std::string_view text);

/// Initializes the data of the functions above; called once, when the module is loaded.
void initializeConversion();

}  // namespace tavik::python

#endif

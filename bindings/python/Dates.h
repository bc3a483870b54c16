/// @file
/// Converts dates between Python and the library. The macros in Python's header require some warnings to be disabled,
/// so they are confined to one file.
#ifndef TAVIK_PYTHON_DATES_H
#define TAVIK_PYTHON_DATES_H

#include <pybind11/pybind11.h>
#include <tavik/Value.h>

#include <optional>

namespace tavik::python {

namespace py = pybind11;

bool isDatetime(py::handle object);

/// The date of a datetime; absent if it has no time zone.
std::optional<Date> toDate(py::handle datetime);

/// A datetime in UTC, to the microsecond. Raises ValueError for a date that `datetime` cannot represent.
py::object toDatetime(Date date);

/// Initializes the data of the functions above; called once, when the module is loaded.
void initializeDates();

}  // namespace tavik::python

#endif

/// @file
/// Dates between Python and the library. The macros of Python's header need some warnings off, so they stay in one
/// file.
#ifndef TAVIK_PYTHON_DATES_H
#define TAVIK_PYTHON_DATES_H

#include <pybind11/pybind11.h>
#include <tavik/Value.h>

#include <optional>

namespace tavik::python {

namespace py = pybind11;

bool isDatetime(py::handle object);

/// The date that a datetime stands for; absent when it has no time zone.
std::optional<Date> toDate(py::handle datetime);

/// A datetime in UTC, to the microsecond. Raises ValueError for a date that `datetime` has none for.
py::object toDatetime(Date date);

/// Makes ready what the functions above use; called once, when the module is loaded.
void initializeDates();

}  // namespace tavik::python

#endif

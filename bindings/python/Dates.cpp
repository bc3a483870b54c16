#include "Dates.h"

#include <datetime.h>

#include <chrono>
#include <cmath>

#include "InterpreterLock.h"

namespace tavik::python {
namespace {

using std::chrono::days;
using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year;

constexpr sys_seconds kReference{seconds{978307200}};  // 2001-01-01 00:00:00 UTC
constexpr sys_seconds kFirst{sys_days(year(1) / 1 / 1)};
constexpr sys_seconds kEnd{sys_days(year(10000) / 1 / 1)};
constexpr int kMicroseconds = 1'000'000;

// The local time of a datetime, in seconds since the reference date, without microseconds.
std::int64_t shownSeconds(PyObject* datetime) {
  const sys_days day(year(PyDateTime_GET_YEAR(datetime)) / static_cast<unsigned>(PyDateTime_GET_MONTH(datetime)) /
                     static_cast<unsigned>(PyDateTime_GET_DAY(datetime)));
  return (sys_seconds(day) - kReference).count() + PyDateTime_DATE_GET_HOUR(datetime) * 3600 +
         PyDateTime_DATE_GET_MINUTE(datetime) * 60 + PyDateTime_DATE_GET_SECOND(datetime);
}

}  // namespace

bool isDatetime(py::handle object) { return PyDateTime_Check(object.ptr()); }

std::optional<Date> toDate(py::handle datetime) {
  const py::object offset = callPython(attributeOf(datetime, "utcoffset"));
  if (offset.is_none()) return std::nullopt;
  if (!PyDelta_Check(offset.ptr())) throw py::type_error("utcoffset() did not return a timedelta");
  const std::int64_t ahead =
      std::int64_t{86400} * PyDateTime_DELTA_GET_DAYS(offset.ptr()) + PyDateTime_DELTA_GET_SECONDS(offset.ptr());
  const int fraction =
      PyDateTime_DATE_GET_MICROSECOND(datetime.ptr()) - PyDateTime_DELTA_GET_MICROSECONDS(offset.ptr());
  const auto whole = static_cast<double>(shownSeconds(datetime.ptr()) - ahead);
  return Date::sinceReference(whole + static_cast<double>(fraction) / kMicroseconds);
}

py::object toDatetime(Date date) {
  double whole = std::floor(date.secondsSinceReference());
  auto fraction = static_cast<int>(std::lround((date.secondsSinceReference() - whole) * kMicroseconds));
  if (fraction == kMicroseconds) {
    whole += 1;
    fraction = 0;
  }
  const bool representable = whole >= static_cast<double>((kFirst - kReference).count()) &&
                             whole < static_cast<double>((kEnd - kReference).count());
  if (!representable) throw py::value_error("the date is outside the years 1 to 9999");
  const sys_seconds time = kReference + seconds(static_cast<std::int64_t>(whole));
  const auto day = std::chrono::floor<days>(time);
  const std::chrono::year_month_day calendar(day);
  const std::chrono::hh_mm_ss clock(time - day);
  PyObject* const made = PyDateTimeAPI->DateTime_FromDateAndTime(
      int{calendar.year()}, static_cast<int>(unsigned{calendar.month()}), static_cast<int>(unsigned{calendar.day()}),
      static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
      static_cast<int>(clock.seconds().count()), fraction, PyDateTime_TimeZone_UTC, PyDateTimeAPI->DateTimeType);
  if (made == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(made);
}

void initializeDates() {
  PyDateTime_IMPORT;
  if (PyDateTimeAPI == nullptr) throw py::error_already_set();
}

}  // namespace tavik::python

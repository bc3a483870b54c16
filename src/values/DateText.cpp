// Exact conversion between dates and text.
//
// A date is a double, represented by its shortest decimal text. The text of a date has whole seconds rounded down, so a
// date before 2001 has the complement of its fraction: -0.25 is 23:59:59.75. Both directions compute with decimal
// digits, which is exact, and round only in the conversion between digits and double.
#include "values/DateText.h"

#include <tavik/PropertyList.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>

namespace tavik {
namespace {

using std::chrono::sys_days;
using std::chrono::sys_seconds;

constexpr sys_seconds kReference = sys_days(std::chrono::year(2001) / 1 / 1);
constexpr std::int64_t kFirstSecond = (sys_days(std::chrono::year(1) / 1 / 1) - kReference).count();
constexpr std::int64_t kEndSecond = (sys_days(std::chrono::year(10000) / 1 / 1) - kReference).count();

/// Seconds since the reference date: whole seconds, rounded down, and the digits after the decimal point.
struct DecimalSeconds {
  std::int64_t whole = 0;
  std::string fraction;
};

/// One minus the fraction: "25" gives "75". At least one digit must not be 0.
std::string complement(std::string_view fraction) {
  std::string digits(fraction);
  const std::size_t last = digits.find_last_not_of('0');
  for (char& digit : std::span(digits).first(last)) digit = static_cast<char>('0' + '9' - digit);
  digits[last] = static_cast<char>('0' + '9' + 1 - digits[last]);
  return digits;
}

/// seconds: of a date in the years 1 to 9999.
DecimalSeconds split(double seconds) {
  char buffer[400];  // the longest is the smallest double: "0." and 324 digits
  const char* end = std::to_chars(buffer, std::end(buffer), std::fabs(seconds), std::chars_format::fixed).ptr;
  DecimalSeconds result;
  const char* point = std::from_chars(buffer, end, result.whole).ptr;
  if (point != end) result.fraction.assign(point + 1, end);
  if (seconds >= 0) return result;
  result.whole = -result.whole;
  if (!result.fraction.empty()) {
    --result.whole;
    result.fraction = complement(result.fraction);
  }
  return result;
}

/// The double nearest to `whole` plus the fraction with these digits.
double join(std::int64_t whole, std::string_view fraction) {
  if (fraction.find_first_not_of('0') == std::string_view::npos) return static_cast<double>(whole);
  const std::string text = whole < 0 ? '-' + std::to_string(-(whole + 1)) + '.' + complement(fraction)
                                     : std::to_string(whole) + '.' + std::string(fraction);
  double seconds = 0;  // remains 0 if the fraction is too small for a double
  std::from_chars(text.data(), text.data() + text.size(), seconds);
  return seconds;
}

void appendPadded(std::string& text, std::int64_t number, std::size_t width) {
  const std::string digits = std::to_string(number);
  text.append(width - digits.size(), '0').append(digits);
}

/// "2026-11-21", `between`, "01:02:03".
std::string calendarText(std::int64_t wholeSeconds, char between) {
  const sys_seconds time = kReference + std::chrono::seconds(wholeSeconds);
  const sys_days day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(time - day);
  std::string text;
  appendPadded(text, static_cast<int>(date.year()), 4);
  text += '-';
  appendPadded(text, static_cast<unsigned>(date.month()), 2);
  text += '-';
  appendPadded(text, static_cast<unsigned>(date.day()), 2);
  text += between;
  appendPadded(text, clock.hours().count(), 2);
  text += ':';
  appendPadded(text, clock.minutes().count(), 2);
  text += ':';
  appendPadded(text, clock.seconds().count(), 2);
  return text;
}

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

/// Whether `text` has a digit wherever `pattern` has a 0, and equals it elsewhere.
bool hasForm(std::string_view text, std::string_view pattern) noexcept {
  return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(),
                    [](char given, char wanted) { return wanted == '0' ? isDigit(given) : given == wanted; });
}

unsigned number(std::string_view digits) noexcept {
  unsigned result = 0;
  for (const char digit : digits) result = result * 10 + static_cast<unsigned>(digit - '0');
  return result;
}

/// The seconds of "2026-11-21T01:02:03"; absent if there is no such time.
std::optional<std::int64_t> wholeSecondsFrom(std::string_view text) noexcept {
  if (!hasForm(text, "0000-00-00T00:00:00")) return std::nullopt;
  const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(number(text.substr(0, 4)))),
                                         std::chrono::month(number(text.substr(5, 2))),
                                         std::chrono::day(number(text.substr(8, 2))));
  const std::chrono::hours hours(number(text.substr(11, 2)));
  const std::chrono::minutes minutes(number(text.substr(14, 2)));
  const std::chrono::seconds seconds(number(text.substr(17, 2)));
  if (!date.ok() || hours.count() > 23 || minutes.count() > 59 || seconds.count() > 59) return std::nullopt;
  return (sys_days(date) + hours + minutes + seconds - kReference).count();
}

}  // namespace

bool isInCalendar(Date date) noexcept {
  return date.secondsSinceReference() >= static_cast<double>(kFirstSecond) &&
         date.secondsSinceReference() < static_cast<double>(kEndSecond);
}

std::string descriptionOfDate(Date date) {
  if (isInCalendar(date)) return calendarText(split(date.secondsSinceReference()).whole, ' ') + " +0000";
  char buffer[32];
  char* end = std::to_chars(buffer, std::end(buffer), date.secondsSinceReference()).ptr;
  return std::string(buffer, end) + " seconds from 2001-01-01 00:00:00 +0000";
}

std::optional<std::string> dateToIsoText(Date date) {
  if (!isInCalendar(date)) return std::nullopt;
  const DecimalSeconds seconds = split(date.secondsSinceReference());
  std::string text = calendarText(seconds.whole, 'T');
  if (!seconds.fraction.empty()) text.append(".").append(seconds.fraction);
  return text += 'Z';
}

std::optional<Date> dateFromIsoText(std::string_view text) {
  constexpr std::size_t kWholeLength = std::string_view("0000-00-00T00:00:00").size();
  const std::optional<std::int64_t> whole = wholeSecondsFrom(text.substr(0, kWholeLength));
  if (!whole || *whole < kFirstSecond || !text.ends_with('Z')) return std::nullopt;
  std::string_view fraction = text.substr(kWholeLength, text.size() - kWholeLength - 1);
  if (!fraction.empty()) {
    if (fraction.size() == 1 || fraction.front() != '.') return std::nullopt;
    fraction.remove_prefix(1);
    if (!std::all_of(fraction.begin(), fraction.end(), isDigit)) return std::nullopt;
  }
  const Date date = Date::sinceReference(join(*whole, fraction));
  if (!isInCalendar(date)) return std::nullopt;  // rounded up into the year 10000
  return date;
}

}  // namespace tavik

#pragma once
// The text forms of values, both ways: what a run writes into text files and SQL as "the value as
// text", and what text sources and text given for another type are read by. One module, so that
// what is written as a local date is read back as that date.
//
// Numbers: always "." and no grouping, no zeros at the end of the decimals. Booleans: "True" and
// "False". Dates: the locale's short date with a four-digit year, then a blank and the locale's
// time; the time alone when the day is 1899-12-30, the day alone at midnight; fractions of a second
// follow the seconds as ".123" when there are any. In the locales "C" and "POSIX" that is
// yyyy-mm-dd hh:mm:ss.

#include "data/calendar.h"
#include "data/date_format.h"
#include "data/value.h"

#include <optional>
#include <string>
#include <string_view>

namespace vantry {

enum class DateOrder : std::uint8_t { YearMonthDay, MonthDayYear, DayMonthYear };

// How the locale writes dates.
struct DateForm {
    DateOrder order = DateOrder::YearMonthDay;
    char separator = '-';
    bool padded = true;         // 05/01 rather than 5/1
    bool twelve_hours = false;  // hh:mm:ss AM
};

// The form in force: worked out from the environment's locale at first use. SetLocalDateForm
// replaces it (tests, and a session that names a form).
const DateForm& LocalDateForm();
void SetLocalDateForm(const DateForm& form);

// The days-and-fraction number of the file formats: the fraction counts forward also before day 0.
// Rounded to the microsecond; nothing when outside the years 1 to 9999.
double ToSerial(const DateTime& value);
std::optional<DateTime> FromSerial(double serial);

// Appends the value's text form to `out`; nothing for Null and Unset. Bytes are appended as they
// are.
void AppendText(const Cell& value, std::string& out);
std::string ToText(const Cell& value);

// The same, straight into the place where it is to stand, for values that aren't text or bytes
// themselves (nothing for those): `to` has room for kLongestShortText; returns the text's end.
inline constexpr std::size_t kLongestShortText = 320;  // a sign, 39 digits, 255 decimals, a point
char* PutShortText(const Cell& value, char* to);

void AppendDateTime(const DateTime& value, std::string& out);  // local form
char* PutDateTime(const DateTime& value, char* to);
void AppendIsoDateTime(const DateTime& value,
                       std::string& out);  // yyyy-mm-dd hh:mm:ss[.f], always both parts
std::string IsoText(const DateTime& value);
void AppendDecimal(const Decimal& value, std::string& out);  // with all decimals of its scale
void AppendDouble(double value, std::string& out);  // up to 15 digits if they say it all, else 17;
                                                    // 1E+15 and above with exponent

// Reads local and ISO dates, times alone, and dates with month names. Nothing if the text is no
// date, or if its day/month order is impossible in the locale's order.
std::optional<DateTime> ParseDateTime(std::string_view text);
std::optional<DateTime> ParseDateTime(std::string_view text, const DateForm& form);
// Just yyyy-mm-dd[ hh:mm:ss[.fffffffff]] (blank or T between): the form that servers send. The fast
// one.
std::optional<DateTime> ParseIsoDateTime(std::string_view text);
// hh:mm[:ss[.f]] alone.
std::optional<DateTime> ParseIsoTime(std::string_view text);

std::optional<std::int64_t> ParseInt64(
    std::string_view text);  // sign and digits only, blanks at both ends allowed
std::optional<double> ParseDouble(
    std::string_view text);  // "." as the point, exponent allowed; no nan, inf, hex
std::optional<Decimal> ParseDecimal(std::string_view text);  // at most 38 digits, no exponent
// True/False, Yes/No, On/Off in any letter case, and numbers (0 is False).
std::optional<bool> ParseBoolean(std::string_view text);

// Whether `text` is a number written just as AppendText would write it as a double: an optional
// "-", no leading zero but one before ".", no trailing zero after it, no "-0", no exponent, at most
// 15 digits. Such a text can be passed on as NumberText.
bool IsCanonicalNumber(std::string_view text);

// The present local time, to the second.
DateTime Now();
// By how many seconds it is ahead of UTC.
std::int64_t LocalUtcOffset();
// "Short Date" of the locale, and "hh:mm:ss AMPM".
std::string ShortDate(const DateTime& value);
std::string TimeAmPm(const DateTime& value);

}  // namespace vantry

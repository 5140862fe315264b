// Dates as text. The form comes from the locale once, by taking its strftime pattern apart as far
// as a DateForm can say it: order, separator, padding, hours of the half day. Writing goes straight
// into a buffer of the caller, two digits at a time, as a table may have dates in each row. Easy to
// get wrong: before day 0 the fraction of a serial number still counts forward, and a serial number
// is coarser than a nanosecond, so 11:59:59.9999 appears unless it is rounded to what it can mean.

#include "data/date_format.h"
#include "data/text_scan.h"
#include "data/value_text.h"

#include <langinfo.h>
#include <locale.h>
#include <time.h>

#include <algorithm>
#include <cmath>

namespace vantry {
namespace {

constexpr std::int64_t kNanosPerMicro = 1'000;
constexpr std::int64_t kNanosPerMilli = 1'000'000;
constexpr int kFractionDigits = 9;

// What the locale writes dates and times with, as far as a date form can say it.
class LocaleDateForm {
public:
    LocaleDateForm() : locale_(newlocale(LC_TIME_MASK, "", nullptr)) {}
    ~LocaleDateForm() {
        if (locale_ != nullptr) {
            freelocale(locale_);
        }
    }
    LocaleDateForm(const LocaleDateForm&) = delete;
    LocaleDateForm& operator=(const LocaleDateForm&) = delete;

    DateForm Read() const {
        DateForm form;
        if (locale_ == nullptr || IsPlainC()) {
            return form;
        }
        ReadDate(nl_langinfo_l(D_FMT, locale_), form);
        const std::string_view time = nl_langinfo_l(T_FMT, locale_);
        const bool has_am = *nl_langinfo_l(AM_STR, locale_) != '\0';
        form.twelve_hours = has_am && (time.find("%r") != std::string_view::npos ||
                                       time.find("%I") != std::string_view::npos ||
                                       time.find("%l") != std::string_view::npos);
        return form;
    }

private:
    // Taken for what people read, it would give 03/05/24.
    // The C locale's own form is month first with two digits of the year: a default, no choice.
    bool IsPlainC() const {
        const std::string_view name = nl_langinfo_l(_NL_LOCALE_NAME(LC_TIME), locale_);
        return name == "C" || name == "POSIX" || name.starts_with("C.");
    }

    // Looks for the parts by their letters; text of the locale between them (of a long form) is
    // passed over.
    static void ReadDate(std::string_view pattern, DateForm& form) {
        std::string order;
        char separator = '\0';
        bool padded = true;
        for (std::size_t i = 0; i < pattern.size(); ++i) {
            if (pattern[i] != '%') {
                const bool usable = pattern[i] == '/' || pattern[i] == '.' || pattern[i] == '-';
                if (usable && separator == '\0' && !order.empty()) {
                    separator = pattern[i];
                }
                continue;
            }
            ++i;
            bool unpadded = false;
            while (i < pattern.size() &&
                   std::string_view("-_0^#EO").find(pattern[i]) != std::string_view::npos) {
                unpadded = unpadded || pattern[i] == '-';
                ++i;
            }
            if (i == pattern.size()) {
                break;
            }
            if (pattern[i] == 'D') {
                return ReadDate("%m/%d/%y", form);
            }
            if (pattern[i] == 'F') {
                return ReadDate("%Y-%m-%d", form);
            }
            AddPart(pattern[i], unpadded, order, padded);
        }
        if (order == "ymd") {
            form.order = DateOrder::YearMonthDay;
        } else if (order == "mdy") {
            form.order = DateOrder::MonthDayYear;
        } else if (order == "dmy") {
            form.order = DateOrder::DayMonthYear;
            // Not all three parts, or twice the same: the padded ISO form stays.
        } else {
            return;
        }
        form.separator = separator == '\0' ? '-' : separator;
        form.padded = padded;
    }

    static void AddPart(char part, bool unpadded, std::string& order, bool& padded) {
        switch (part) {
            case 'e':
                padded = false;
                order += 'd';
                break;
            case 'd':
                padded = padded && !unpadded;
                order += 'd';
                break;
            case 'm':
                padded = padded && !unpadded;
                order += 'm';
                break;
            case 'b':
            case 'B':
            case 'h':
                order += 'm';
                break;
            case 'y':
            case 'Y':
                order += 'y';
                break;
            default:
                break;
        }
    }

    locale_t locale_;
};

// Worked out once: a locale that changes while the program runs would give two forms in one file.
DateForm& FormInForce() {
    static DateForm form = LocaleDateForm().Read();
    return form;
}

char* PutNumber(char* to, unsigned value, bool padded) {
    if (value < 10 && !padded) {
        *to = static_cast<char>('0' + value);
        return to + 1;
    }
    return PutTwoDigits(to, value);
}

char* PutYear(char* to, int year) {
    to = PutTwoDigits(to, static_cast<unsigned>(year) / 100);
    return PutTwoDigits(to, static_cast<unsigned>(year) % 100);
}

char* PutDate(char* to, std::int32_t day, const DateForm& form) {
    const CalendarDate date = CalendarOf(day);
    const auto month = static_cast<unsigned>(date.month);
    const auto of_month = static_cast<unsigned>(date.day);
    if (form.order == DateOrder::YearMonthDay) {
        to = PutYear(to, date.year);
        *to++ = form.separator;
        to = PutNumber(to, month, form.padded);
        *to++ = form.separator;
        return PutNumber(to, of_month, form.padded);
    }
    const bool month_first = form.order == DateOrder::MonthDayYear;
    to = PutNumber(to, month_first ? month : of_month, form.padded);
    *to++ = form.separator;
    to = PutNumber(to, month_first ? of_month : month, form.padded);
    *to++ = form.separator;
    return PutYear(to, date.year);
}

char* PutTime(char* to, std::int64_t nanos_of_day, bool twelve_hours) {
    const ClockTime time = ClockOf(nanos_of_day);
    const unsigned hour = twelve_hours ? (time.hour + 11) % 12 + 1 : time.hour;
    to = PutTwoDigits(to, hour);
    *to++ = ':';
    to = PutTwoDigits(to, time.minute);
    *to++ = ':';
    to = PutTwoDigits(to, time.second);
    if (time.nanos != 0) {
        *to++ = '.';
        PutDigitsBefore(to + kFractionDigits, time.nanos, kFractionDigits);
        to += kFractionDigits;
        while (to[-1] == '0') {
            --to;
        }
    }
    if (twelve_hours) {
        to = std::copy_n(time.hour < 12 ? " AM" : " PM", 3, to);
    }
    return to;
}

// The longest text is "yyyy-mm-dd hh:mm:ss.fffffffff AM".
using DateBuffer = std::array<char, 48>;

constexpr DateForm kIsoForm{};

}  // namespace

const DateForm& LocalDateForm() {
    return FormInForce();
}

void SetLocalDateForm(const DateForm& form) {
    FormInForce() = form;
}

double ToSerial(const DateTime& value) {
    const double fraction = static_cast<double>(value.nanos) / static_cast<double>(kNanosPerDay);
    return value.day < 0 ? value.day - fraction : value.day + fraction;
}

std::optional<DateTime> FromSerial(double serial) {
    if (!(serial > kMinDay - 1 && serial < kMaxDay + 1)) {
        return std::nullopt;
    }
    // Toward zero, as the fraction is an absolute value on both sides of it.
    const double whole = std::trunc(serial);
    const double exact = std::abs(serial - whole) * static_cast<double>(kNanosPerDay);
    // Far from day 0 the number itself is coarser than a microsecond: of the moments within its
    // reach the roundest one was meant.
    const double reach = (std::nextafter(std::abs(serial), HUGE_VAL) - std::abs(serial)) *
                         static_cast<double>(kNanosPerDay);
    double nanos = 0;
    for (const std::int64_t unit : {kNanosPerSecond, kNanosPerMilli, kNanosPerMicro}) {
        nanos = std::round(exact / static_cast<double>(unit)) * static_cast<double>(unit);
        if (std::abs(nanos - exact) <= reach) {
            break;
        }
    }
    DateTime value{static_cast<std::int32_t>(whole), static_cast<std::int64_t>(nanos)};
    // Rounding may carry into the next day, and that out of the calendar.
    if (value.nanos >= kNanosPerDay) {
        value.nanos = 0;
        ++value.day;
    }
    if (value.day < kMinDay || value.day > kMaxDay) {
        return std::nullopt;
    }
    return value;
}

// Day 0 stands for "no day" in all file formats, so it is left out: a time alone is read back as
// it.
char* PutDateTime(const DateTime& value, char* to) {
    const DateForm& form = FormInForce();
    if (value.day != 0) {
        to = PutDate(to, value.day, form);
        if (value.nanos != 0) {
            *to++ = ' ';
        }
    }
    if (value.day == 0 || value.nanos != 0) {
        to = PutTime(to, value.nanos, form.twelve_hours);
    }
    return to;
}

void AppendDateTime(const DateTime& value, std::string& out) {
    DateBuffer buffer;
    out.append(buffer.data(), PutDateTime(value, buffer.data()));
}

void AppendIsoDateTime(const DateTime& value, std::string& out) {
    DateBuffer buffer;
    char* to = PutDate(buffer.data(), value.day, kIsoForm);
    *to++ = ' ';
    to = PutTime(to, value.nanos, false);
    out.append(buffer.data(), to);
}

std::string IsoText(const DateTime& value) {
    std::string text;
    AppendIsoDateTime(value, text);
    return text;
}

std::string ShortDate(const DateTime& value) {
    DateBuffer buffer;
    char* end = PutDate(buffer.data(), value.day, FormInForce());
    return {buffer.data(), end};
}

std::string TimeAmPm(const DateTime& value) {
    return FormatDateTime(value, "hh:mm:ss AMPM");
}

std::int64_t LocalUtcOffset() {
    const time_t seconds = time(nullptr);
    tm local{};
    localtime_r(&seconds, &local);
    return local.tm_gmtoff;
}

DateTime Now() {
    // A leap second (60) is shown as the second before it.
    const time_t seconds = time(nullptr);
    tm local{};
    localtime_r(&seconds, &local);
    return {DayOf(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday).value_or(0),
            NanosOf(local.tm_hour, local.tm_min, std::min(local.tm_sec, 59)).value_or(0)};
}

}  // namespace vantry

// A text is taken apart into a day, a time with so many places, and a distance to UTC; what the
// column keeps of these is then written as the server writes it, since such a column is read back
// as a text. Easy to get wrong: digits alone are a date and no number, a time alone is one of
// 1900-01-01, and the older types take three places of a second at most.

#include "check/server_moments.h"

#include "data/calendar.h"
#include "data/text_scan.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace vantry {
namespace {

constexpr std::int32_t kDay1900 = 2;
constexpr std::int64_t kMinute = 60 * kNanosPerSecond;
constexpr std::size_t kIsoDay = 10;  // characters

// Of the two types that numbers are days for.
bool IsOldMoment(const Holding& holding) {
    return holding.form == Form::Moment && (holding.thirds || holding.step == kMinute);
}

bool Contains(const Holding& holding, std::int32_t day) {
    return day >= holding.first_day && day <= holding.last_day;
}

struct TextMoment {
    DateTime moment;
    bool has_day = false;
    bool is_year = false;
    std::size_t places = 0;             // of a second
    std::optional<std::int64_t> ahead;  // of UTC, in minutes
};

// "yyyy", "yymmdd", "yyyymmdd".
std::optional<std::int32_t> DayOfDigits(std::string_view digits) {
    constexpr int kFirstYearOf1900s = 50;  // of two digits
    const auto number = [&](std::size_t at, std::size_t count) {
        return static_cast<int>(ParseInt64(digits.substr(at, count)).value_or(0));
    };
    if (digits.size() == 4) {
        return DayOf(number(0, 4), 1, 1);
    }
    const auto year = digits.size() == 8
                          ? number(0, 4)
                          : number(0, 2) + (number(0, 2) < kFirstYearOf1900s ? 2000 : 1900);
    return DayOf(year, number(digits.size() - 4, 2), number(digits.size() - 2, 2));
}

// Cuts "+hh:mm" off the end.
std::optional<std::int64_t> CutDistance(std::string_view& text) {
    constexpr std::size_t kLength = 6;
    constexpr std::int64_t kMost = 14 * 60;
    if (text.size() <= kLength) {
        return std::nullopt;
    }
    const auto end = text.substr(text.size() - kLength);
    const auto time = ParseIsoTime(end.substr(1));
    const auto minutes = time ? time->nanos / kMinute : kMost + 1;
    if ((end[0] != '+' && end[0] != '-') || minutes > kMost) {
        return std::nullopt;
    }
    text = Trimmed(text.substr(0, text.size() - kLength));
    return end[0] == '-' ? -minutes : minutes;
}

std::optional<TextMoment> ReadMoment(std::string_view text) {
    TextMoment read;
    text = Trimmed(text);
    const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
    std::optional<std::int32_t> day;
    bool with_t = false;
    read.is_year = digits == 4 && text.size() == 4;
    if (read.is_year || digits == 6 || digits == 8) {
        day = DayOfDigits(text.substr(0, digits));
        text.remove_prefix(digits);
    } else if (digits == 4 && text.size() >= kIsoDay) {
        const auto iso = ParseIsoDateTime(text.substr(0, kIsoDay));
        day = iso ? std::optional(iso->day) : std::nullopt;
        text.remove_prefix(kIsoDay);
        with_t = text.starts_with('T');
    }
    read.has_day = day.has_value();
    read.moment.day = day.value_or(kDay1900);
    if (read.has_day) {
        if (text.empty()) {
            return read;
        }
        if (text[0] != ' ' && !with_t) {
            return std::nullopt;
        }
        text = Trimmed(text.substr(1));
    }
    if (with_t && text.ends_with('Z')) {
        read.ahead = 0;
        text.remove_suffix(1);
    } else {
        read.ahead = CutDistance(text);
    }
    const auto time = ParseIsoTime(text);
    if (!time) {
        return std::nullopt;
    }
    const auto point = text.find('.');
    read.places = point == text.npos ? 0 : text.size() - point - 1;
    read.moment.nanos = time->nanos;
    return read;
}

// As a column gives it back that is shown as a text: with all places that it has.
std::string BackText(const TextMoment& read, const Holding& holding) {
    std::string back;
    const auto nanos = read.moment.nanos;
    AppendIsoDateTime({read.moment.day, nanos / kNanosPerSecond * kNanosPerSecond}, back);
    if (holding.form == Form::Day) {
        return back.substr(0, kIsoDay);
    }
    if (holding.step < kNanosPerSecond) {
        const auto places = std::to_string(kNanosPerSecond / holding.step).size() - 1;
        back += '.';
        std::string fraction;
        AppendPadded(fraction, static_cast<unsigned>(nanos % kNanosPerSecond / holding.step), 9);
        back += fraction.substr(fraction.size() - places);
    }
    if (holding.time_alone) {
        return back.substr(kIsoDay + 1);
    }
    if (holding.with_distance) {
        const auto ahead = read.ahead.value_or(0);
        const auto minutes = static_cast<unsigned>(std::abs(ahead));
        back += ahead < 0 ? " -" : " +";
        AppendPadded(back, minutes / 60, 2);
        back += ':';
        AppendPadded(back, minutes % 60, 2);
    }
    return back;
}

// The moment at UTC is what the column counts.
bool FitsAtUtc(const TextMoment& read) {
    const auto nanos = read.moment.nanos - read.ahead.value_or(0) * kMinute;
    return (nanos >= 0 || read.moment.day > kMinDay) &&
           (nanos < kNanosPerDay || read.moment.day < kMaxDay);
}

}  // namespace

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(' ') == std::string_view::npos;
}

std::optional<Verdict> TextIntoMoment(std::string_view text, const Holding& holding) {
    if (IsBlank(text)) {
        return Changed(Reason::BlankText);
    }
    const auto read = ReadMoment(text);
    const bool is_old = IsOldMoment(holding);
    const std::size_t most_places = is_old ? 3 : 7;
    if (!read || read->places > most_places || (is_old && read->ahead)) {
        return kRefusedType;
    }
    if (!Contains(holding, read->moment.day) || (holding.with_distance && !FitsAtUtc(*read))) {
        return kOutside;
    }
    if (read->is_year || (!read->has_day && !holding.time_alone)) {
        return Changed(Reason::OtherDay);
    }
    if (holding.shown_as_text) {
        // What is lost is told rather than that the rest is written otherwise.
        if (holding.time_alone && read->has_day) {
            return Changed(Reason::Day);
        }
        if (holding.form == Form::Day && read->moment.nanos != 0) {
            return Changed(Reason::TimeOfDay);
        }
        return BackText(*read, holding) == text ? Verdict() : Changed(Reason::Writing);
    }
    const auto plain = ToDateTime(Cell::Text(text));
    return plain && plain->day == read->moment.day && plain->nanos == read->moment.nanos
               ? std::nullopt
               : std::optional(Changed(Reason::Writing));
}

std::optional<Verdict> NumberIntoMoment(const Cell& value, const Holding& holding) {
    if (!IsOldMoment(holding)) {
        return kRefusedType;
    }
    const auto days =
        value.Kind() == ValueKind::Boolean ? (value.AsBoolean() ? 1 : 0) : ToDouble(value);
    const double day = std::floor(days.value_or(HUGE_VAL)) + kDay1900;
    return day >= holding.first_day && day <= holding.last_day ? Changed(Reason::OtherDay)
                                                               : kOutside;
}

}  // namespace vantry

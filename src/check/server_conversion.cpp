// For SQL Server: a parameter that goes by a statement has the type of the source's field; of a
// recordset it has the column's type if the value can take it on, else it goes as it is. Easy to
// get wrong: an empty text is 0 or the first day there, a text with an exponent is no whole number,
// a number counts days for the two older types of dates only, and a floating number becomes a text
// of six digits.

#include "check/server_conversion.h"

#include "check/server_moments.h"
#include "data/ado_types.h"
#include "data/ascii.h"
#include "data/calendar.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

namespace vantry {
namespace {

bool TakesNumbers(Form form) {
    return form == Form::Whole || form == Form::Exact || form == Form::Single ||
           form == Form::Double || form == Form::Truth;
}
bool TakesMoments(Form form) {
    return form == Form::Moment || form == Form::Day;
}
bool IsFloating(const Cell& value) {
    return value.Kind() == ValueKind::Double || value.Kind() == ValueKind::Single;
}

// Its numbers end where those of 64 or 32 bits do.
bool IsMoney(const Holding& holding) {
    return holding.form == Form::Exact && holding.high > 0;
}
std::optional<Verdict> TextIntoNumber(std::string_view text, const Holding& holding) {
    const bool is_exact = holding.form == Form::Exact;
    if (IsBlank(text)) {
        return is_exact && !IsMoney(holding) ? kRefusedType
                                             : Verdict{Grade::Changed, Reason::BlankText};
    }
    if (is_exact) {
        return text.find_first_of("eE") == text.npos ? std::nullopt : std::optional(kRefusedType);
    }
    const bool is_truth = EqualsNoCase(text, "true") || EqualsNoCase(text, "false");
    const bool whole = holding.form == Form::Whole || holding.form == Form::Truth;
    if (whole && !ParseInt64(text) && !(holding.form == Form::Truth && is_truth)) {
        return kRefusedType;
    }
    return std::nullopt;
}

std::optional<Verdict> IntoText(const Cell& value,
                                const Carriage& carriage,
                                const Holding& holding) {
    // FreeTDS counts the days of the first centuries wrong: such a moment goes as a text.
    constexpr std::int32_t kFirstDaySent = -53'688;  // 1753
    const bool goes_as_text =
        value.Kind() == ValueKind::DateTime && value.AsDateTime().day < kFirstDaySent;
    if (holding.is_long && !goes_as_text) {
        return kRefusedType;
    }
    std::string text;
    bool same = true;
    if (value.Kind() == ValueKind::Boolean) {
        text = "1";
    } else if (IsFloating(value) || carriage.type == adDouble || carriage.type == adSingle) {
        const double number = ToDouble(value).value_or(0);
        std::array<char, 32> digits{};
        std::snprintf(digits.data(), digits.size(), "%g", number);
        text = digits.data();
        const auto sign = text.find_first_of("+-", 1);
        if (sign != text.npos && text.size() - sign == 3) {
            text.insert(sign + 1, "0");
        }
        const auto back = ParseDouble(text).value_or(HUGE_VAL);
        same = carriage.type == adSingle ? static_cast<float>(back) == static_cast<float>(number)
                                         : back == number;
    } else if (const auto decimal = ToDecimal(value);
               decimal &&
               (value.Kind() == ValueKind::Decimal || value.Kind() == ValueKind::NumberText)) {
        // With all places that the source's column has.
        const int places = std::max<int>(carriage.scale, decimal->scale);
        const auto wide = ToDecimal(Cell::FromDecimal(*decimal), places);
        AppendDecimal(wide.value_or(*decimal), text);
    } else {
        return std::nullopt;
    }
    if (holding.length != 0 && text.size() > static_cast<std::size_t>(holding.length)) {
        return Verdict{Grade::Refused, Reason::Length};
    }
    return same ? Verdict{} : Verdict{Grade::Changed, Reason::Digits};
}

std::optional<Verdict> JudgeStatement(const Cell& value,
                                      const Carriage& carriage,
                                      const Holding& holding) {
    if (IsFloating(value) && !std::isfinite(ToDouble(value).value_or(HUGE_VAL))) {
        return kOutside;  // the server takes no such number, whatever the column
    }
    const bool is_text = value.Kind() == ValueKind::Text;
    const bool is_moment = value.Kind() == ValueKind::DateTime;
    if (TakesNumbers(holding.form)) {
        return is_text     ? TextIntoNumber(value.AsText(), holding)
               : is_moment ? std::optional(kRefusedType)
                           : std::nullopt;
    }
    if (TakesMoments(holding.form)) {
        return is_text     ? TextIntoMoment(value.AsText(), holding)
               : is_moment ? std::nullopt
                           : NumberIntoMoment(value, holding);
    }
    if (holding.form == Form::Text) {
        return is_text ? std::nullopt : IntoText(value, carriage, holding);
    }
    if (holding.form == Form::Bytes) {
        return is_text || is_moment || holding.length == 0
                   ? kRefusedType
                   : Verdict{Grade::Changed, Reason::Writing};
    }
    return std::nullopt;
}

// Only what doesn't take on the column's type goes as it is.
std::optional<Verdict> JudgeRecordset(const Cell& value,
                                      const Carriage& carriage,
                                      const Holding& holding) {
    const bool is_text = value.Kind() == ValueKind::Text;
    if (holding.shown_as_text && value.Kind() != ValueKind::DateTime) {
        std::string made;
        AppendText(value, made);
        return TextIntoMoment(made, holding);
    }
    if (TakesNumbers(holding.form)) {
        return is_text && IsBlank(value.AsText()) ? TextIntoNumber(value.AsText(), holding)
                                                  : std::nullopt;
    }
    const bool goes_as_it_is =
        TakesMoments(holding.form)
            ? (is_text || value.Kind() == ValueKind::Boolean) && !ToDateTime(value)
            : holding.form == Form::Bytes && !value.IsView();
    return goes_as_it_is ? JudgeStatement(value, carriage, holding) : std::nullopt;
}

// A number in the text of a MySQL statement that is to be a date, or a text of nothing but digits:
// they are year, month and day, with a year of two digits where it is short.
Verdict DigitsIntoMoment(double number, const Holding& holding) {
    constexpr double kLongest = 99'991'231'235'959;
    if (number >= 0 && number < 1) {
        return Changed(Reason::OtherDay);  // the date of nothing but zeros
    }
    if (!(number >= 101 && number <= kLongest)) {
        return kRefusedType;
    }
    auto digits = static_cast<std::int64_t>(number);
    const bool has_time = digits >= 101'000'000;
    const auto time = has_time ? digits % 1'000'000 : 0;
    digits = has_time ? digits / 1'000'000 : digits;
    constexpr std::int64_t kShort = 991'231;
    if (digits <= kShort) {
        digits += digits / 10'000 < 70 ? 20'000'000 : 19'000'000;
    }
    const auto day = DayOf(static_cast<int>(digits / 10'000),
                           static_cast<int>(digits / 100 % 100),
                           static_cast<int>(digits % 100));
    const auto nanos = NanosOf(static_cast<int>(time / 10'000),
                               static_cast<int>(time / 100 % 100),
                               static_cast<int>(time % 100));
    return !day || !nanos                      ? kRefusedType
           : !holding.Contains({*day, *nanos}) ? kOutside
                                               : Changed(Reason::OtherDay);
}

// Six, eight, twelve or fourteen of them are a date to MySQL.
bool AreDigitsOfDate(std::string_view text) {
    return (text.size() == 6 || text.size() == 8 || text.size() == 12 || text.size() == 14) &&
           text.find_first_not_of("0123456789") == text.npos;
}

// As the pieces of a batch are written: dates as texts of their own form, all else bare.
std::optional<Verdict> JudgeBatch(const Cell& value, const Holding& holding) {
    const bool is_moment = value.Kind() == ValueKind::DateTime;
    const bool as_text = holding.form == Form::Text || holding.form == Form::Bytes;
    if (value.Kind() == ValueKind::Text) {
        if (!TakesMoments(holding.form) || !AreDigitsOfDate(value.AsText())) {
            return std::nullopt;
        }
        const auto verdict = DigitsIntoMoment(ToDouble(value).value_or(HUGE_VAL), holding);
        return verdict.grade == Grade::Refused ? verdict : Changed(Reason::Writing);
    }
    if (is_moment && as_text) {
        constexpr std::int64_t kLetters = 19;  // yyyy-mm-dd-hh-nn-ss
        return holding.length != 0 && holding.length < kLetters
                   ? Verdict{Grade::Refused, Reason::Length}
                   : Verdict{Grade::Changed, Reason::Writing};
    }
    if (TakesMoments(holding.form)) {
        const auto number =
            value.Kind() == ValueKind::Boolean ? (value.AsBoolean() ? 1 : 0) : ToDouble(value);
        return is_moment ? std::nullopt
                         : std::optional(DigitsIntoMoment(number.value_or(HUGE_VAL), holding));
    }
    if (is_moment) {
        return kRefusedType;
    }
    // Bytes are compared as such: 1e-45 isn't 1E-45, and a truth is written as its number.
    if (holding.form == Form::Bytes && value.Kind() == ValueKind::Boolean) {
        return Verdict{Grade::Changed, Reason::Writing};
    }
    return std::nullopt;
}

}  // namespace

void SetServersType(std::string_view type_name, Holding& holding) {
    constexpr std::int64_t kMinute = 60 * kNanosPerSecond;
    constexpr std::int64_t kMostPlaces = 7;
    const auto open = std::min(type_name.find('('), type_name.size());
    const auto name = LowerAscii(std::string(Trimmed(type_name.substr(0, open))));
    const bool has_time = name == "time" || name == "datetime2" || name == "datetimeoffset";
    if (name == "ntext" || name == "text" || name == "xml") {
        holding.is_long = true;
    } else if (name == "smallmoney" && holding.form == Form::Exact) {
        holding.high = INT32_MAX;
    } else if (name == "smalldatetime" && holding.form == Form::Moment) {
        holding.first_day = 2;      // 1900
        holding.last_day = 65'537;  // 2079-06-06
        holding.step = kMinute;
        holding.thirds = false;
    } else if (holding.form == Form::Text && (name == "date" || has_time)) {
        holding = Holding();
        holding.form = name == "date" ? Form::Day : Form::Moment;
        holding.shown_as_text = true;
        holding.converts = true;
        holding.half_away = true;
        holding.type = name;
        holding.step = kNanosPerSecond;
        holding.time_alone = name == "time";
        holding.with_distance = name == "datetimeoffset";
        const auto size =
            open < type_name.size()
                ? ParseInt64(type_name.substr(open + 1, type_name.find(')') - open - 1))
                : std::nullopt;
        for (auto places = std::min<std::int64_t>(size.value_or(kMostPlaces), kMostPlaces);
             has_time && places > 0;
             --places) {
            holding.step /= 10;
        }
    }
}

std::optional<Verdict> JudgeConversion(const Cell& value,
                                       const Carriage& carriage,
                                       const Holding& holding) {
    if (value.Kind() == ValueKind::Unreadable || value.Kind() == ValueKind::Unset ||
        value.Kind() == ValueKind::Bytes) {
        return std::nullopt;
    }
    if (carriage.way == Way::Batch || carriage.way == Way::BatchRecordset) {
        return carriage.way == Way::Batch ? JudgeBatch(value, holding) : std::nullopt;
    }
    return carriage.way == Way::Statement ? JudgeStatement(value, carriage, holding)
                                          : JudgeRecordset(value, carriage, holding);
}

}  // namespace vantry

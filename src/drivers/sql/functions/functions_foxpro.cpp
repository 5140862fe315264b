// Functions that FoxPro alone has, or has with other rules. They come first in its dialect, so an
// entry here hides the general one of the same name. Easy to get wrong: positions outside a text
// give nothing and are no error, Round takes halves away from zero, the sign of Mod is that of the
// divisor, Trim cuts only the end, and text is told apart by letter case throughout.

#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/run/text_order.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vantry::sql {
namespace {

// From character `first` (from 1) on, `count` characters; outside the text there is nothing.
// Counted in characters: FoxPro's own count is bytes of a code page that has one a character.
std::string_view Substring(std::string_view text, std::int64_t first, std::int64_t count) {
    std::size_t position = 0;
    std::int64_t index = 1;
    while (index < first && position < text.size()) {
        NextCodePoint(text, position);
        ++index;
    }
    const auto begin = position;
    for (; count > 0 && position < text.size(); --count) {
        NextCodePoint(text, position);
    }
    return text.substr(begin, position - begin);
}

void Substr(FunctionCall& call) {
    call.Return(Substring(call.Text(0), call.Whole(1), call.count > 2 ? call.Whole(2) : INT32_MAX));
}

void Left(FunctionCall& call) {
    call.Return(Substring(call.Text(0), 1, call.Whole(1)));
}

// More characters than there are is the whole text.
void Right(FunctionCall& call) {
    const auto text = call.Text(0);
    const auto length = static_cast<std::int64_t>(CountCodePoints(text));
    const auto count = std::clamp<std::int64_t>(call.Whole(1), 0, length);
    call.Return(Substring(text, length - count + 1, count));
}

void AllTrim(FunctionCall& call) {
    call.Return(Trimmed(call.Text(0)));
}

void TrimEnd(FunctionCall& call) {
    call.Return(WithoutTrailingBlanks(call.Text(0)));
}

void Upper(FunctionCall& call) {
    call.Return(std::string_view(UpperCased(call.Text(0))));
}

void Lower(FunctionCall& call) {
    call.Return(std::string_view(LowerCased(call.Text(0))));
}

void Proper(FunctionCall& call) {
    std::string out;
    bool inside = false;
    const auto text = call.Text(0);
    for (std::size_t k = 0; k < text.size();) {
        const auto begin = k;
        NextCodePoint(text, k);
        const auto character = text.substr(begin, k - begin);
        out += inside ? LowerCased(character) : UpperCased(character);
        inside = character != " ";
    }
    call.Return(std::string_view(out));
}

// AT(find, text [, occurrence])
void At(FunctionCall& call) {
    const auto find = call.Text(0);
    const auto text = call.Text(1);
    auto wanted = call.count > 2 ? call.Whole(2) : 1;
    // An empty text is found nowhere here, where InStr finds it at the start.
    if (find.empty() || wanted < 1) {
        return call.Return(std::int64_t{0});
    }
    std::size_t found = 0;
    for (;; ++found) {
        found = text.find(find, found);
        if (found == std::string_view::npos) {
            return call.Return(std::int64_t{0});
        }
        if (--wanted == 0) {
            return call.Return(
                static_cast<std::int64_t>(CountCodePoints(text.substr(0, found)) + 1));
        }
    }
}

void Occurs(FunctionCall& call) {
    const auto find = call.Text(0);
    const auto text = call.Text(1);
    std::int64_t count = 0;
    for (auto k = find.empty() ? text.npos : text.find(find); k != text.npos;
         k = text.find(find, k + find.size())) {
        ++count;
    }
    call.Return(count);
}

void StrTran(FunctionCall& call) {
    const auto text = call.Text(0);
    const auto find = call.Text(1);
    const auto by = call.count > 2 ? call.Text(2) : std::string_view();
    std::string out;
    std::size_t begin = 0;
    // Behind a replaced piece the search goes on in the rest, so that "a" by "aa" ends.
    while (!find.empty()) {
        const auto found = text.find(find, begin);
        if (found == std::string_view::npos) {
            break;
        }
        out.append(text, begin, found - begin);
        out += by;
        begin = found + find.size();
        if (out.size() > kMaxMadeText) {
            throw Overflow();
        }
    }
    out += text.substr(begin);
    call.Return(std::string_view(out));
}

// Negative counts are none, where Jet refuses them.
std::string Repeated(std::string_view unit, std::int64_t count) {
    if (count < 0) {
        count = 0;
    }
    // Before anything is made: a width from a column may be any number.
    if (static_cast<std::size_t>(count) > kMaxMadeText / std::max<std::size_t>(unit.size(), 1)) {
        throw Overflow();
    }
    std::string text;
    for (std::int64_t k = 0; k < count; ++k) {
        text += unit;
    }
    return text;
}

void Replicate(FunctionCall& call) {
    call.Return(std::string_view(Repeated(call.Text(0), call.Whole(1))));
}

// How the missing characters are shared out: before, behind, or on both sides.
template <bool kBefore, bool kBehind>
void Pad(FunctionCall& call) {
    const auto text = call.Text(0);
    const auto width = call.Whole(1);
    const auto fill = call.count > 2 && !call.Text(2).empty() ? Substring(call.Text(2), 1, 1)
                                                              : std::string_view(" ");
    const auto length = static_cast<std::int64_t>(CountCodePoints(text));
    // FoxPro's Pad functions cut, too, and always at the end.
    if (width <= length) {
        return call.Return(Substring(text, 1, width));
    }
    const auto missing = width - length;
    const auto before = kBefore ? (kBehind ? missing / 2 : missing) : 0;
    call.Return(std::string_view(Repeated(fill, before) + std::string(text) +
                                 Repeated(fill, missing - before)));
}

// STR(number [, width [, decimals]]): right-aligned; stars when it doesn't fit.
void Str(FunctionCall& call) {
    const auto width = call.count > 1 ? call.Whole(1) : 10;
    const auto decimals = call.count > 2 ? call.Whole(2) : 0;
    if (width < 0 || width > 255 || decimals < 0 || decimals > 30) {
        call.Refuse();
    }
    std::array<char, 400> buffer{};
    // The largest double has 309 digits before the point.
    std::snprintf(buffer.data(), buffer.size(), "%.*f", static_cast<int>(decimals), call.Number(0));
    std::string text = buffer.data();
    const auto wanted = static_cast<std::size_t>(width);
    // As the engine shows a number that its field is too narrow for.
    if (text.size() > wanted) {
        text.assign(wanted, '*');
    }
    text.insert(0, wanted - text.size(), ' ');
    call.Return(std::string_view(text));
}

// No characters but blanks, 0, False; an empty date is Null.
// Whether a field was never filled in, by its kind.
void Empty(FunctionCall& call) {
    const bool empty = call.IsNull(0) ? false
                       : call.IsText(0)
                           ? call.Text(0).find_first_not_of(" \t\r\n") == std::string_view::npos
                       : call.IsBlob(0) ? sqlite3_value_bytes(call.arguments[0]) == 0
                                        : call.Number(0) == 0;
    call.Return(empty);
}

void DateText(FunctionCall& call) {
    call.Return(std::string_view(ShortDate({call.Date(0).day, 0})));
}

// DToS is what indexes and conditions on dates are made of: always yyyymmdd.
void SortableDate(FunctionCall& call) {
    call.Return(std::string_view(FormatDateTime(call.Date(0), "yyyymmdd")));
}

void DateTimeText(FunctionCall& call) {
    std::string text;
    AppendDateTime(call.Date(0), text);
    call.Return(std::string_view(text));
}

// A date from text; Null where it is none, as FoxPro's empty date.
void ToDate(FunctionCall& call) {
    if (const auto date = ParseDateTime(call.Text(0))) {
        call.Return(DateTime{date->day, 0});
    }
}

void ToDateTime(FunctionCall& call) {
    if (const auto date = ParseDateTime(call.Text(0))) {
        call.Return(*date);
    }
}

void DayOnly(FunctionCall& call) {
    call.Return(DateTime{call.Date(0).day, 0});
}

void Same(FunctionCall& call) {
    call.Return(call.Date(0));
}

void Present(FunctionCall& call) {
    call.Return(call.session.Present());
}

void TimeText(FunctionCall& call) {
    call.Return(std::string_view(FormatDateTime(call.session.Present(), "hh:nn:ss")));
}

void DayOfWeek(FunctionCall& call) {
    call.Return(std::int64_t{WeekdayOf(call.Date(0).day)});
}

void DayName(FunctionCall& call) {
    call.Return(vantry::DayName(WeekdayOf(call.Date(0).day)));
}

void NameOfMonth(FunctionCall& call) {
    call.Return(MonthName(CalendarOf(call.Date(0).day).month));
}

// The last day of a month stays within the month that is asked for.
void MonthsLater(FunctionCall& call) {
    const auto date = call.Date(0);
    const auto calendar = CalendarOf(date.day);
    const auto total = calendar.year * 12 + calendar.month - 1 + call.Within(1, 120'000);
    if (total < 12 || total >= 120'000) {
        throw Overflow();
    }
    for (int day = calendar.day;; --day) {
        if (const auto found =
                DayOf(static_cast<int>(total / 12), static_cast<int>(total % 12) + 1, day)) {
            return call.Return(DateTime{*found, date.nanos});
        }
    }
}

// The sign is that of the divisor.
void Mod(FunctionCall& call) {
    const double divisor = call.Number(1);
    if (divisor == 0) {
        throw DivisionByZero();
    }
    const double number = call.Number(0);
    call.Return(number - divisor * std::floor(number / divisor));
}

// Halves away from zero; negative places round to tens.
// Beyond 15 places there is nothing left to round in a double.
void Round(FunctionCall& call) {
    const auto places = std::clamp<std::int64_t>(call.Whole(1), -15, 15);
    const double unit = std::pow(10.0, static_cast<double>(places));
    const double number = call.Number(0) * unit;
    // The product of a decimal like 2.675 is a little off the half that it stands for.
    const double nudged = number + std::copysign(std::abs(number) * 1e-15, number);
    call.Return(std::round(nudged) / unit);
}

void Integer(FunctionCall& call) {
    call.Return(std::trunc(call.Number(0)));
}

void Ceiling(FunctionCall& call) {
    call.Return(std::ceil(call.Number(0)));
}

void Floor(FunctionCall& call) {
    call.Return(std::floor(call.Number(0)));
}

void SquareRoot(FunctionCall& call) {
    if (call.Number(0) < 0) {
        call.Refuse();
    }
    call.Return(std::sqrt(call.Number(0)));
}

void Sign(FunctionCall& call) {
    const double number = call.Number(0);
    call.Return(std::int64_t{number > 0 ? 1 : number < 0 ? -1 : 0});
}

void NotDeleted(FunctionCall& call) {
    call.Return(false);  // rows marked deleted never come out of a scan
}

constexpr FunctionEntry kFoxPro[] = {
    {"Substr", 2, 3, "tnn", 't', Substr},
    {"Left", 2, 2, "tn", 't', Left},
    {"Right", 2, 2, "tn", 't', Right},
    {"AllTrim", 1, 1, "t", 't', AllTrim},
    {"Trim", 1, 1, "t", 't', TrimEnd},
    {"Upper", 1, 1, "t", 't', Upper},
    {"Lower", 1, 1, "t", 't', Lower},
    {"Proper", 1, 1, "t", 't', Proper},
    {"At", 2, 3, "ttn", 'l', At},
    {"Occurs", 2, 2, "t", 'l', Occurs},
    {"StrTran", 2, 3, "t", 't', StrTran},
    {"Replicate", 2, 2, "tn", 't', Replicate},
    {"PadL", 2, 3, "tnt", 't', Pad<true, false>},
    {"PadR", 2, 3, "tnt", 't', Pad<false, true>},
    {"PadC", 2, 3, "tnt", 't', Pad<true, true>},
    {"Str", 1, 3, "n", 't', Str},
    {"Empty", 1, 1, "v", 'b', Empty, true},
    {"DToC", 1, 2, "dn", 't', DateText},
    {"DToS", 1, 1, "d", 't', SortableDate},
    {"TToC", 1, 2, "dn", 't', DateTimeText},
    {"CToD", 1, 1, "t", 'd', ToDate},
    {"CToT", 1, 1, "t", 'd', ToDateTime},
    {"TToD", 1, 1, "d", 'd', DayOnly},
    {"DToT", 1, 1, "d", 'd', Same},
    {"DateTime", 0, 0, "", 'd', Present, true, nullptr, true},
    {"Time", 0, 0, "", 't', TimeText, true, nullptr, true},
    {"Dow", 1, 1, "d", 'l', DayOfWeek},
    {"CDow", 1, 1, "d", 't', DayName},
    {"CMonth", 1, 1, "d", 't', NameOfMonth},
    {"GoMonth", 2, 2, "dn", 'd', MonthsLater},
    {"Mod", 2, 2, "n", 'n', Mod},
    {"Round", 2, 2, "n", 'n', Round},
    {"Int", 1, 1, "n", 'n', Integer},
    {"Ceiling", 1, 1, "n", 'n', Ceiling},
    {"Floor", 1, 1, "n", 'n', Floor},
    {"Sqrt", 1, 1, "n", 'n', SquareRoot},
    {"Sign", 1, 1, "n", 'l', Sign},
    {"Deleted", 0, 1, "v", 'b', NotDeleted, true},
};

}  // namespace

std::span<const FunctionEntry> FoxProFunctions() {
    return kFoxPro;
}

}  // namespace vantry::sql

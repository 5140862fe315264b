// A picture is cut into elements once and then read along a text, element by element, without going
// back: two letters are one or two digits, except where digits follow at once (yyyymmdd), where
// they are just two. What isn't an element must stand in the text. Easy to get wrong: "m" behind
// hours is minutes, a picture without a day means day 0 but one without a year means 1900, and the
// writer (data/date_format) must write what is read here, or a table couldn't read its own rows.

#include "drivers/text/date_picture.h"

#include "data/connection_string.h"
#include "data/text_scan.h"
#include "data/value_text.h"

#include <algorithm>
#include <array>

namespace vantry::text {
namespace {

// Between `least` and `most` digits from the front of `rest`.
std::optional<int> TakeNumber(std::string_view& rest, std::size_t least, std::size_t most) {
    std::size_t length = 0;
    int number = 0;
    while (length < most && length < rest.size() && IsDigit(rest[length])) {
        number = number * 10 + (rest[length] - '0');
        ++length;
    }
    if (length < least) {
        return std::nullopt;
    }
    rest.remove_prefix(length);
    return number;
}

// Which of `names` stands at the front of `rest`, whole or by its first three letters; from 1.
template <std::size_t N>
std::optional<int> TakeName(std::string_view& rest,
                            const std::array<std::string_view, N>& names,
                            bool whole) {
    for (std::size_t k = 0; k < N; ++k) {
        const std::size_t length = whole ? names[k].size() : kShortName;
        if (rest.size() >= length &&
            EqualsNoCase(rest.substr(0, length), names[k].substr(0, length))) {
            rest.remove_prefix(length);
            return static_cast<int>(k) + 1;
        }
    }
    return std::nullopt;
}

}  // namespace

struct DatePicture::Moment {
    int year = 1899;
    int month = 12;
    int day = 30;
    int hour = 0;
    int minute = 0;
    int second = 0;
    std::optional<bool> afternoon;
};

DatePicture::DatePicture(std::string_view picture) : picture_(picture) {
    bool after_hour = false;
    std::size_t at = 0;
    while (at < picture.size()) {
        if (picture.size() - at >= 5 && EqualsNoCase(picture.substr(at, 5), "AM/PM")) {
            elements_.push_back({Part::AmPm, 5, 0});
            at += 5;
            continue;
        }
        // Of no other character does this make one of the six.
        const char letter = static_cast<char>(picture[at] | 0x20);  // letters only
        std::size_t length = 1;
        while (at + length < picture.size() && (picture[at + length] | 0x20) == letter) {
            ++length;
        }
        Part part = Part::Literal;
        switch (letter) {
            case 'd':
                part = length > 2 ? Part::DayName : Part::Day;
                break;
            case 'm':
                part = length > 2 ? Part::MonthName : after_hour ? Part::Minute : Part::Month;
                break;
            case 'y':
                part = Part::Year;
                break;
            case 'h':
                part = Part::Hour;
                break;
            case 'n':
                part = Part::Minute;
                break;
            case 's':
                part = Part::Second;
                break;
            // One literal at a time, though it may be repeated: each must stand in the text.
            default:
                length = 1;
                break;
        }
        if (part != Part::Literal) {
            after_hour = part == Part::Hour;
            has_year_ = has_year_ || part == Part::Year;
            has_day_ = has_day_ || part == Part::Day || part == Part::Month ||
                       part == Part::MonthName || part == Part::Year;
        }
        elements_.push_back(
            {part, static_cast<std::uint8_t>(std::min<std::size_t>(length, 9)), picture[at]});
        at += length;
    }
}

std::optional<DateTime> DatePicture::Parse(std::string_view text) const {
    Moment moment;
    if (has_day_) {
        moment.year = 1900;  // what the picture leaves out
        moment.month = 1;
        moment.day = 1;
    }
    for (std::size_t k = 0; k < elements_.size(); ++k) {
        if (!ParseElement(k, text, moment)) {
            return std::nullopt;
        }
    }
    if (!text.empty()) {
        return std::nullopt;
    }
    if (moment.afternoon) {
        if (moment.hour < 1 || moment.hour > 12) {
            return std::nullopt;
        }
        // 12 AM is midnight, and 12 PM noon.
        moment.hour = moment.hour % 12 + (*moment.afternoon ? 12 : 0);
    }
    const auto day = DayOf(moment.year, moment.month, moment.day);
    const auto nanos = NanosOf(moment.hour, moment.minute, moment.second);
    if (!day || !nanos) {
        return std::nullopt;
    }
    return DateTime{*day, *nanos};
}

bool DatePicture::ParseElement(std::size_t index, std::string_view& rest, Moment& moment) const {
    const Element& element = elements_[index];
    const auto store = [](std::optional<int> number, int& place) {
        place = number.value_or(0);
        return number.has_value();
    };
    // With digits right behind it, a part of two letters has just two.
    const bool exact = element.letters == 2 && index + 1 < elements_.size() &&
                       elements_[index + 1].part != Part::Literal &&
                       elements_[index + 1].part != Part::AmPm;
    const auto two_digits = [&](int& place) {
        return store(TakeNumber(rest, exact ? 2 : 1, 2), place);
    };
    switch (element.part) {
        case Part::Literal:
            if (rest.empty() || rest[0] != element.literal) {
                return false;
            }
            rest.remove_prefix(1);
            return true;
        case Part::Day:
            return two_digits(moment.day);
        case Part::DayName:
            return TakeName(rest, kDayNames, element.letters > 3).has_value();
        case Part::Month:
            return two_digits(moment.month);
        case Part::MonthName:
            return store(TakeName(rest, kMonthNames, element.letters > 3), moment.month);
        case Part::Year: {
            const std::size_t digits = element.letters > 2 ? 4 : 2;
            if (!store(TakeNumber(rest, digits, digits), moment.year)) {
                return false;
            }
            if (digits == 2) {
                moment.year += moment.year < kFirstYearOf1900s ? 2000 : 1900;
            }
            return true;
        }
        case Part::Hour:
            return two_digits(moment.hour);
        case Part::Minute:
            return two_digits(moment.minute);
        case Part::Second:
            return two_digits(moment.second);
        case Part::AmPm: {
            const std::string_view word = rest.substr(0, 2);
            if (!EqualsNoCase(word, "AM") && !EqualsNoCase(word, "PM")) {
                return false;
            }
            moment.afternoon = EqualsNoCase(word, "PM");
            rest.remove_prefix(2);
            return true;
        }
    }
    return false;
}

}  // namespace vantry::text

#pragma once
// DateTimeFormat of "Schema.ini": the one form that a file's dates have, as a picture such as
// dd/mm/yyyy hh:nn:ss.

#include "data/value.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text {

class DatePicture {
public:
    // Never fails: what isn't an element must stand in the text as it is.
    explicit DatePicture(std::string_view picture);

    // Nothing if the text isn't of this form or there is no such moment. Without a date part the
    // day is 1899-12-30.
    std::optional<DateTime> Parse(std::string_view text) const;
    const std::string& Text() const { return picture_; }
    bool HasYear() const { return has_year_; }

private:
    enum class Part : std::uint8_t {
        Literal,
        Day,
        DayName,
        Month,
        MonthName,
        Year,
        Hour,
        Minute,
        Second,
        AmPm,
    };
    struct Element {
        Part part = Part::Literal;
        std::uint8_t letters = 0;  // how many stand in the picture
        char literal = 0;
    };
    struct Moment;
    bool ParseElement(std::size_t index, std::string_view& rest, Moment& moment) const;

    std::string picture_;
    std::vector<Element> elements_;
    bool has_day_ = false;  // there is a part of a date in it
    bool has_year_ = false;
};

}  // namespace vantry::text

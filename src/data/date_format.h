#pragma once
// Dates by a picture: runs of letters stand for parts of the date, all else for itself.
//
//     d dd      day               ddd dddd   its name, short and whole
//     m mm      month, or minutes right behind the hours     mmm mmmm   the month's name
//     yy yyyy   year              h hh n nn s ss             the time
//     AM/PM AMPM                  the half of the day; hours then go from 1 to 12
//
// Letters count in either case; names are English whatever the locale.

#include "data/value.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

enum class PictureElements : std::uint8_t {
    Common,  // those above; a lone y is the year in two digits
    // Those of the SQL function Format, too: y the day of the year, q the quarter, w ww weekday and
    // week, ddddd dddddd the short and the long date, ttttt the time, c all of it, A/P; the half of
    // the day is in small letters where the picture's are.
    Extended,
};

// One character of a picture whose quotes and escapes are taken off.
struct PicturePiece {
    char symbol = 0;  // 0: `text` stands for itself
    std::string_view text;
};

std::string FormatDateTime(const DateTime& value, std::string_view picture);
std::string FormatDateTime(const DateTime& value,
                           std::span<const PicturePiece> pieces,
                           PictureElements elements);

}  // namespace vantry

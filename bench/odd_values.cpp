#include "odd_values.h"

#include "data/calendar.h"

#include <cmath>
#include <limits>
#include <span>
#include <vector>

namespace vantry::bench {

std::string OddValues::Text() {
    static const std::string kTexts[] = {"",
                                         " ",
                                         "        ",
                                         "blank behind  ",
                                         "  before",
                                         "tab\t",
                                         "a\r\nb",
                                         "\n",
                                         "\"",
                                         "\"q\" in",
                                         "O'Brien",
                                         "a\\",
                                         "x,y;z",
                                         std::string("nul\0in", 6),
                                         "😀",
                                         "😀😀😀😀",
                                         "日本語",
                                         "Ÿ€ß",
                                         "e\xCC\x81",
                                         "\uFEFFbom",
                                         "007",
                                         "-0",
                                         "1e5",
                                         "12.50",
                                         "+7",
                                         " 7",
                                         "2024-02-29",
                                         "2024-02-29 23:59:59.999",
                                         "20240229",
                                         "240229 10:11",
                                         "10:11:12.125",
                                         "2024-02-29 23:59:59.1234567 +05:30",
                                         "2038-01-19 03:14:08",
                                         "True",
                                         "yes",
                                         "T",
                                         "NULL",
                                         "=1+1",
                                         "'quoted'",
                                         "NaN",
                                         "inf",
                                         "12345678",
                                         "123456789",
                                         "\x7F",
                                         "\x01",
                                         "\x1A",
                                         "a\xC2\xA0"};
    switch (Any(0, 9)) {
        case 0:
            return std::string(static_cast<std::size_t>(Any(1, 60)), 'x');
        case 1:
            return std::to_string(Any(-70'000, 70'000));
        default:
            return OneOf(kTexts);
    }
}

Cell OddValues::Decimal() {
    Int128 digits = Any(0, INT64_MAX) % 10'000'000'000'000'000;
    if (Any(0, 3) == 0) {
        digits = digits * 1'000'000'000'000 + Any(0, 999'999'999'999);
    } else if (Any(0, 1) == 0) {
        digits %= 1'000'000'000;
    }
    if (Any(0, 1) == 0) {
        digits = digits / 1'000'000 * 1'000'000;
    }
    return Cell::FromDecimal({Any(0, 1) == 0 ? digits : -digits, 6});
}

Cell OddValues::Double() {
    static const double kNumbers[] = {0.0,
                                      -0.0,
                                      0.1,
                                      0.1 + 0.2,
                                      -1.0 / 3,
                                      1e22,
                                      1e-300,
                                      -1e300,
                                      5e-324,
                                      std::numeric_limits<double>::max(),
                                      9'007'199'254'740'993.0,
                                      2.5,
                                      3.5,
                                      32'767.4999,
                                      214'748.36475,
                                      -2.0,
                                      1.0,
                                      16'777'217.0,
                                      std::nan(""),
                                      HUGE_VAL};
    return Cell::Double(OneOf(kNumbers));
}

Cell OddValues::Moment() {
    static const std::int32_t kDays[] = {*DayOf(1, 1, 1),
                                         *DayOf(99, 12, 31),
                                         *DayOf(100, 1, 1),
                                         *DayOf(1582, 10, 10),
                                         *DayOf(1752, 12, 31),
                                         *DayOf(1753, 1, 1),
                                         -1,
                                         0,
                                         1,
                                         2,
                                         *DayOf(2000, 2, 29),
                                         *DayOf(2079, 6, 6),
                                         *DayOf(2079, 6, 7),
                                         kMaxDay};
    static constexpr std::int64_t kTimes[] = {0,
                                              1,
                                              43'200'000,
                                              86'399'000,
                                              86'399'500,
                                              86'399'999,
                                              86'399'997,
                                              45'015'003,
                                              45'015'250,
                                              45'015'010,
                                              60'000};
    return Cell::FromDateTime({OneOf(kDays), OneOf(kTimes) * 1'000'000});
}

std::string OddValues::Memo() {
    if (Any(0, 2) != 0) {
        return Text();
    }
    const std::size_t size = OneOf(std::vector<std::size_t>{65'535, 65'536, 8'000, 256});
    return std::string(size - 1, 'm') + (Any(0, 1) == 0 ? " " : "n");
}

std::string OddValues::Bytes() {
    return OneOf(std::vector<std::string>{std::string(3, '\0'),
                                          "abc",
                                          "\xFF\xFE",
                                          "12345678",
                                          "ends ",
                                          std::string(65'536, '\x80'),
                                          ""});
}

Value OddValues::Of(Odd odd) {
    if (Any(0, 6) == 0 && odd != Odd::Truth) {
        return Value(Cell::Null());
    }
    switch (odd) {
        case Odd::Whole: {
            static constexpr std::int64_t kNumbers[] = {
                0, 1, -1, 2, 127, 128, 255, 256, 32'767, 32'768, -32'769, INT32_MAX, INT32_MIN};
            return Value(Cell::Int64(OneOf(kNumbers)));
        }
        case Odd::Decimal:
            return Value(Decimal());
        case Odd::Double:
            return Value(Double());
        case Odd::Single: {
            static constexpr float kNumbers[] = {
                0.0F, -0.0F, 0.1F, 3.4e38F, 1e-45F, 16'777'216.0F, 2.5F, -1.0F, 7.0F, 0.333333F};
            return Value(Cell::Single(OneOf(kNumbers)));
        }
        case Odd::Moment:
            return Value(Moment());
        case Odd::Text:
            return Value(Cell::Text(Text()));
        case Odd::Memo:
            return Value(Cell::Text(Memo()));
        case Odd::Bytes: {
            const auto bytes = Bytes();
            return Value(Cell::Bytes(std::as_bytes(std::span(bytes))));
        }
        case Odd::Truth:
            return Value(Cell::Boolean(Any(0, 1) == 0));
    }
    return {};
}

}  // namespace vantry::bench

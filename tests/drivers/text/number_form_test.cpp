#include "drivers/text/number_form.h"

#include "data/value_text.h"
#include "drivers/text/type_guess.h"

#include <gtest/gtest.h>

#include <random>
#include <ranges>
#include <string>
#include <string_view>

namespace vantry::text {
namespace {

TEST(CutToCanonical, LeavesWhatADoubleWouldBeWrittenAs) {
    // Text, what is left of it; empty: not cut.
    constexpr std::pair<std::string_view, std::string_view> kCases[] = {
        {"12.50", "12.5"},
        {"-0.00", "0"},
        {"9999999999999990", ""},
        {"1.00000000000000000000", "1"},
        {"123456789.1234567", ""},
        {"007", ""},
        {".5", ""},
        {"1e5", ""},
        {"", ""},
    };
    for (const auto& [given, canonical] : kCases) {
        std::string_view text = given;
        EXPECT_EQ(CutToCanonical(text), !canonical.empty()) << given;
        EXPECT_EQ(text, canonical.empty() ? given : canonical);
    }
}

// Whatever is cut must be what the value is written as by everyone else.
TEST(CutToCanonical, AgreesWithTheTextFormOfDoubles) {
    std::mt19937 random(3);
    for (int round = 0; round < 20000; ++round) {
        std::string number = random() % 2 == 0 ? "-" : "";
        const auto whole = static_cast<int>(random() % 10);
        for (int k = 0; k <= whole; ++k) {
            number += static_cast<char>('0' + random() % (k == 0 ? 10 : 3));
        }
        number += '.';
        for (auto k = random() % 9; k > 0; --k) {
            number += random() % 3 == 0 ? static_cast<char>('0' + random() % 10) : '0';
        }
        std::string_view cut = number;
        if (CutToCanonical(cut)) {
            std::string written;
            AppendDouble(*ParseDouble(number.ends_with('.') ? number + "0" : number), written);
            EXPECT_EQ(cut, written == "-0" ? "0" : written) << number;
        }
    }
}

TEST(TypeOfValue, KeepsAsTextWhatANumberCouldNotGiveBack) {
    constexpr std::pair<ColumnType, std::string_view> kCases[] = {
        // a bar between two texts
        {ColumnType::Long, "7| 7 |0|-2147483648"},
        {ColumnType::Double, "2147483648|999999999999999|1.5|.5|1.|1.5E-3|1E+5|1e-5|-1E5|1.E5"},
        {ColumnType::Text, "1000000000000000|007|-007|+49|00.5|1E999|1E-999|1e|&H1F|NaN|Infinity"},
        {ColumnType::Text, "1E5|12e34|0E0|1-2-03|01/02/03|1.2.03|31-12-99"},
        {ColumnType::Text, "1,234|$1,23|$0.12345|$|$$5|2024-02-30|1.2.3|10.0.0.1|May 5|True"},
        {ColumnType::Currency, "$1,234.50|($5)|-$5|5 $"},
        {ColumnType::DateTime, "2024-01-31|2024-01-31 23:59:59|31-Jan-2024|12:30"},
    };
    SetLocalDateForm({});
    for (const auto& [type, texts] : kCases) {
        for (const auto part : std::views::split(texts, '|')) {
            const std::string_view text(part.begin(), part.end());
            EXPECT_EQ(TypeOfValue(text, {}), type) << text;
        }
    }
    EXPECT_EQ(TypeOfValue(std::string(255, 'x'), {}), ColumnType::Text);
    EXPECT_EQ(TypeOfValue(std::string(256, 'x'), {}), ColumnType::Memo);
    ValueForms comma;
    comma.numbers.decimal_symbol = ",";
    EXPECT_EQ(TypeOfValue("1,5", comma), ColumnType::Double);
    EXPECT_EQ(TypeOfValue("1.5", comma), ColumnType::Text);
}

TEST(TypeGuess, WidensOverAllValues) {
    const std::string long_text(300, 'x');
    const std::pair<std::vector<std::string_view>, ColumnType> cases[] = {
        {{" ", ""}, ColumnType::Text},
        {{"1", " ", "2.5"}, ColumnType::Double},
        {{"2.5", "007"}, ColumnType::Text},
        {{"1", "$2"}, ColumnType::Currency},
        {{"1", "$2", "2.5"}, ColumnType::Double},
        {{"2024-01-31", "5"}, ColumnType::Text},
        {{"5", "2.50", "1234567890123456"}, ColumnType::Text},
        {{"short", long_text, "short"}, ColumnType::Memo},
    };
    for (const auto& [values, type] : cases) {
        TypeGuess guess;
        for (const auto value : values) {
            guess.Add(value, {});
        }
        EXPECT_EQ(guess.Type(), type);
    }
}

}  // namespace
}  // namespace vantry::text

#include "drivers/text/number_form.h"

#include "data/value_text.h"
#include "drivers/text/type_guess.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace vantry::text {
namespace {

TEST(CutToCanonical, LeavesWhatADoubleWouldBeWrittenAs) {
    struct Case {
        std::string_view text;
        std::string_view canonical;  // empty: not cut
    };
    constexpr Case kCases[] = {
        {"12.50", "12.5"},
        {"12.00", "12"},
        {"12.", "12"},
        {"0", "0"},
        {"-0", "0"},
        {"-0.00", "0"},
        {"-7", "-7"},
        {"100", "100"},
        {"999999999999999", "999999999999999"},
        {"9999999999999990", ""},
        {"1.00000000000000000000", "1"},
        {"123456789.1234567", ""},
        {"007", ""},
        {"-01.5", ""},
        {".5", ""},
        {"+5", ""},
        {"1e5", ""},
        {"1,5", ""},
        {"", ""},
        {"-", ""},
        {"1.2.3", ""},
        {"12a", ""},
    };
    for (const Case& test : kCases) {
        std::string_view text = test.text;
        const bool cut = CutToCanonical(text);
        EXPECT_EQ(cut, !test.canonical.empty()) << test.text;
        EXPECT_EQ(text, cut ? test.canonical : test.text);
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
    struct Case {
        std::string_view text;
        ColumnType type;
    };
    constexpr Case kCases[] = {
        {"7", ColumnType::Long},
        {" 7 ", ColumnType::Long},
        {"0", ColumnType::Long},
        {"-2147483648", ColumnType::Long},
        {"2147483648", ColumnType::Double},
        {"999999999999999", ColumnType::Double},
        {"1000000000000000", ColumnType::Text},
        {"007", ColumnType::Text},
        {"-007", ColumnType::Text},
        {"+49", ColumnType::Text},
        {"1.5", ColumnType::Double},
        {".5", ColumnType::Double},
        {"1.", ColumnType::Double},
        {"00.5", ColumnType::Text},
        {"1E5", ColumnType::Double},
        {"1.5E-3", ColumnType::Double},
        {"1E999", ColumnType::Text},
        {"1E-999", ColumnType::Text},
        {"1e", ColumnType::Text},
        {"&H1F", ColumnType::Text},
        {"NaN", ColumnType::Text},
        {"Infinity", ColumnType::Text},
        {"1,234", ColumnType::Text},
        {"$1,234.50", ColumnType::Currency},
        {"($5)", ColumnType::Currency},
        {"-$5", ColumnType::Currency},
        {"5 $", ColumnType::Currency},
        {"$1,23", ColumnType::Text},
        {"$0.12345", ColumnType::Text},
        {"$", ColumnType::Text},
        {"$$5", ColumnType::Text},
        {"2024-01-31", ColumnType::DateTime},
        {"2024-01-31 23:59:59", ColumnType::DateTime},
        {"31-Jan-2024", ColumnType::DateTime},
        {"12:30", ColumnType::DateTime},
        {"2024-02-30", ColumnType::Text},
        {"1.2.3", ColumnType::Text},
        {"10.0.0.1", ColumnType::Text},
        {"May 5", ColumnType::Text},
        {"True", ColumnType::Text},
    };
    SetLocalDateForm({});
    for (const Case& test : kCases) {
        EXPECT_EQ(TypeOfValue(test.text, {}), test.type) << test.text;
    }
    EXPECT_EQ(TypeOfValue(std::string(255, 'x'), {}), ColumnType::Text);
    EXPECT_EQ(TypeOfValue(std::string(256, 'x'), {}), ColumnType::Memo);
    ValueForms comma;
    comma.numbers.decimal_symbol = ",";
    EXPECT_EQ(TypeOfValue("1,5", comma), ColumnType::Double);
    EXPECT_EQ(TypeOfValue("1.5", comma), ColumnType::Text);
}

TEST(TypeGuess, WidensOverAllValues) {
    struct Case {
        std::vector<std::string_view> values;
        ColumnType type;
    };
    const Case cases[] = {
        {{}, ColumnType::Text},
        {{" ", ""}, ColumnType::Text},
        {{"1", " ", "2.5"}, ColumnType::Double},
        {{"2.5", "007"}, ColumnType::Text},
        {{"1", "$2"}, ColumnType::Currency},
        {{"1", "$2", "2.5"}, ColumnType::Double},
        {{"2024-01-31", "12:00"}, ColumnType::DateTime},
        {{"2024-01-31", "5"}, ColumnType::Text},
        {{"5", "1.5", "2024-01-31"}, ColumnType::Text},
        {{"5", "2.50", "1234567890123456"}, ColumnType::Text},
    };
    for (const Case& test : cases) {
        TypeGuess guess;
        for (const auto value : test.values) {
            guess.Add(value, {});
        }
        EXPECT_EQ(guess.Type(), test.type);
    }
    TypeGuess memo;
    memo.Add("short", {});
    memo.Add(std::string(300, 'x'), {});
    memo.Add("short", {});
    EXPECT_EQ(memo.Type(), ColumnType::Memo);
}

}  // namespace
}  // namespace vantry::text

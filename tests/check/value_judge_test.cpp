#include "check/value_judge.h"

#include "check/repeated_keys.h"
#include "check/unique_key.h"
#include "core/session_state.h"
#include "data/ado_types.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace vantry {
namespace {

Value Text(std::string_view text) {
    return Value(Cell::Text(text));
}
Value At(std::int32_t day, std::int64_t nanos) {
    return Value(Cell::FromDateTime({day, nanos}));
}
Value Tens(std::int64_t unscaled, int scale) {
    return Value(Cell::FromDecimal({unscaled, static_cast<std::uint8_t>(scale)}));
}

TEST(ValueJudge, GradesEachValueByWayAndTarget) {
    using enum TypeNames;
    using enum Grade;
    const std::int64_t noon = 12 * 3600 * kNanosPerSecond;
    const struct {
        TypeNames kind;
        const char* words;
        Way way;
        int type;
        Value value;
        Grade grade;
        Reason reason;
    } cases[] = {
        {MySQL, "Decimal", Way::Batch, adNumeric, Tens(1234, 2), Changed, Reason::Scale},
        {MySQL, "Decimal", Way::Batch, adNumeric, Tens(1200, 2), Kept, Reason::None},
        {MySQL, "Decimal(5,2)", Way::Batch, adNumeric, Tens(99'999'9, 3), Refused, Reason::Range},
        {MySQL, "Integer", Way::Batch, adSingle, Value(Cell::Single(0.5F)), Changed, Reason::Scale},
        {MySQL,
         "Integer(300)",
         Way::Batch,
         adInteger,
         Value(Cell::Int64(1)),
         Refused,
         Reason::NoType},
        {MySQL, "", Way::Batch, adBigInt, Value(Cell::Null()), Refused, Reason::NoType},
        {MySQL,
         "DateTime",
         Way::Batch,
         adBoolean,
         Value(Cell::Boolean(false)),
         Changed,
         Reason::OtherDay},
        {MySQL, "Varchar(3)", Way::Batch, adVarWChar, Text("日本語"), Kept, Reason::None},
        {MySQL, "Varchar(3)", Way::Batch, adVarWChar, Text("日本語!"), Refused, Reason::Length},
        {MySQL, "Varchar(3)", Way::Batch, adVarWChar, Value(Cell::Null()), Changed, Reason::Null},
        {MySQL, "DateTime", Way::Batch, adDate, At(1, noon), Kept, Reason::None},
        {MySQL, "DateTime", Way::Batch, adDate, At(1, noon + 1), Changed, Reason::SecondFraction},
        {MySQL, "DateTime", Way::BatchRecordset, adDate, At(1, noon), Changed, Reason::TimeOfDay},
        {MySQL,
         "DateTime",
         Way::BatchRecordset,
         adDate,
         Value(Cell::Null()),
         Refused,
         Reason::Null},
        {Access, "Text(2)", Way::Statement, adVarWChar, Text("😀"), Kept, Reason::None},
        {Access, "Text(2)", Way::Statement, adVarWChar, Text("😀!"), Refused, Reason::Length},
        {Access, " yesno", Way::Statement, adBoolean, Value(Cell::Null()), Changed, Reason::Null},
        {Access,
         "Byte",
         Way::Statement,
         adInteger,
         Value(Cell::Int64(256)),
         Refused,
         Reason::Range},
        {Access, "Long", Way::Statement, adGUID, Text("{x}"), Refused, Reason::NotAValue},
        {Access,
         "Double",
         Way::Statement,
         adNumeric,
         Tens(9'007'199'254'740'993, 0),
         Changed,
         Reason::FloatPrecision},
        {Access, "DateTime", Way::Statement, adDate, At(-657'435, 0), Refused, Reason::Range},
        {FoxPro,
         "Character(3)",
         Way::Statement,
         adVarWChar,
         Text("ab   "),
         Changed,
         Reason::Blanks},
        {FoxPro, "Character(3)", Way::Statement, adVarWChar, Text("日"), Refused, Reason::CodePage},
        {FoxPro,
         "Numeric(6,2)",
         Way::Statement,
         adNumeric,
         Tens(1'000'00, 2),
         Refused,
         Reason::Range},
        {FoxPro, "Numeric(30,2)", Way::Statement, adNumeric, Tens(1, 2), Refused, Reason::NoType},
        {Oracle,
         "Varchar2(2)",
         Way::Statement,
         adBoolean,
         Value(Cell::Boolean(true)),
         Changed,
         Reason::Letters},
        {Oracle, "Varchar2(9)", Way::Statement, adVarWChar, Text(""), Changed, Reason::EmptyText},
        {MSSQL, "datetime", Way::Statement, adDate, At(-53'689, 0), Refused, Reason::Range},
        {MSSQL, "Bit", Way::Statement, adTinyInt, Value(Cell::Int64(5)), Changed, Reason::Truth},
        {MSSQL, "varchar(9)", Way::Statement, adVarChar, Text("日"), Changed, Reason::CodePage},
    };
    for (const auto& each : cases) {
        ColumnJudge judge(HoldingOfWords(each.kind, each.words), {each.way, each.type});
        const auto verdict = judge(each.value.AsCell());
        EXPECT_TRUE(verdict.grade == each.grade && verdict.reason == each.reason)
            << "case " << &each - cases << ", " << each.words << ": grade "
            << static_cast<int>(verdict.grade) << ", reason " << static_cast<int>(verdict.reason);
    }
}

TEST(RepeatedKeys, FindsThemAmongMoreThanMemoryHolds) {
    RepeatedKeys keys;
    constexpr std::int64_t kRows = 1'000'000;
    for (int times = 0; times < 2; ++times) {
        keys.Add(7ULL * 0x9E3779B97F4A7C15U, 0);  // the target has it, and repeats it itself
    }
    for (std::int64_t row = 1; row <= kRows; ++row) {
        const std::int64_t value = row == kRows ? 12 : row;
        keys.Add(static_cast<std::uint64_t>(value) * 0x9E3779B97F4A7C15U, row);
    }
    const auto answer = keys.Find();
    EXPECT_EQ(answer.repeats, 2);
    EXPECT_EQ(answer.first, 7);
}

TEST(UniqueKey, RepeatsByItsRuleForNullsAndItsPartsDontRunTogether) {
    using enum TableRules::Nulls;
    TargetType = "ACCESS";
    const auto repeats = [](TableRules::Nulls nulls) {
        UniqueKey key({"k", {{"a"}, {"b"}}, nulls}, {});
        const Cell x = Cell::Text("x");
        const Cell empty = Cell::Text("");
        const Cell null = Cell::Null();
        std::int64_t row = 0;
        for (const auto& parts : std::vector<std::array<Cell, 2>>{
                 {x, empty}, {empty, x}, {x, null}, {x, null}, {null, null}, {null, null}}) {
            key.Add(parts, ++row);
        }
        return key.keys.Find().repeats;
    };
    EXPECT_EQ(repeats(TakeOut), 0);
    EXPECT_EQ(repeats(TakeOutIfAll), 1);
    EXPECT_EQ(repeats(Count), 2);
}

}  // namespace
}  // namespace vantry

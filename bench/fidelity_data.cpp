// Each column has a small set of values, and a row takes from each set the next one. Where the sets
// are of different sizes all values of a column meet all values of the others, so that a null
// stands beside a long text, and an empty text beside a null. All values can be held by all kinds:
// what a kind can't hold at all would say nothing about the route to it.

#include "fidelity_data.h"

#include "data/calendar.h"

#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

using enum Meaning;

constexpr FidelityColumn kPlain[] = {
    {"c_id", Whole, "Long", "int", "integer", "int", "integer", "Long", "I"},
    {"c_byte",
     Whole,
     "Byte",
     "tinyint unsigned",
     "smallint",
     "tinyint",
     "smallint",
     "Byte",
     "N(3)"},
    {"c_short", Whole, "Short", "smallint", "smallint", "smallint", "smallint", "Short", "N(6)"},
    {"c_long", Whole, "Long", "int", "integer", "int", "integer", "Long", "I"},
    {"c_single", Float, "Single", "float", "float", "real", "float", "Single", "B"},
    {"c_double", Float, "Double", "double", "double", "float", "binary_double", "Double", "B"},
    {"c_money",
     Exact,
     "Currency",
     "decimal(19,4)",
     "decimal(19,4)",
     "money",
     "number(19,4)",
     "Currency",
     "Y"},
    {"c_exact",
     Exact,
     "Decimal(18,4)",
     "decimal(18,4)",
     "decimal(18,4)",
     "decimal(18,4)",
     "number(18,4)",
     "Decimal Precision 18 Scale 4",
     "N(20,4)"},
    {"c_flag", Truth, "YesNo", "tinyint(1)", "boolean", "bit", "", "Bit", "L"},
    {"c_day", Moment, "DateTime", "datetime", "datetime", "datetime", "date", "DateTime", "T"},
    {"c_name",
     Text,
     "Text(40)",
     "varchar(40)",
     "varchar(40)",
     "nvarchar(40)",
     "varchar2(40)",
     "Text Width 40",
     "V(40)"},
};

constexpr FidelityColumn kLong[] = {
    {"c_id", Whole, "Long", "int", "integer", "int", "integer", "Long", "I"},
    {"c_day", Moment, "DateTime", "datetime", "datetime", "datetime", "date", "DateTime", "T"},
    {"c_name",
     Text,
     "Text(40)",
     "varchar(40)",
     "varchar(40)",
     "nvarchar(40)",
     "varchar2(40)",
     "Text Width 40",
     "V(40)"},
    {"c_memo", Text, "Memo", "longtext", "text", "ntext", "clob", "Memo", "M"},
    {"c_bytes", Bytes, "LongBinary", "longblob", "longvarbinary", "image", "blob", "", "W"},
};

// Values at the ends of their types and behind them, few rows: fifty refused ones end a table.
constexpr FidelityColumn kEdges[] = {
    {"c_id", Whole, "Long", "int", "integer", "int", "integer", "Long", "I"},
    {"e_count",
     Whole,
     "Double",
     "int unsigned",
     "decimal(12,0)",
     "decimal(12,0)",
     "number(12,0)",
     "Double",
     "N(12)"},
    {"e_part",
     Exact,
     "Decimal(20,6)",
     "decimal(20,6)",
     "decimal(20,6)",
     "decimal(20,6)",
     "number(20,6)",
     "Decimal Precision 20 Scale 6",
     "N(19,6)"},
    {"e_single", Float, "Single", "float", "float", "real", "float", "Single", "B"},
    {"e_day", Moment, "DateTime", "datetime(3)", "datetime", "datetime", "date", "DateTime", "T"},
    {"e_text",
     Text,
     "Text(250)",
     "varchar(250)",
     "varchar(250)",
     "nvarchar(250)",
     "varchar2(250)",
     "Text Width 250",
     "V(250)"},
};

constexpr FidelityTable kTables[] = {
    {"plain", kPlain, 330, false}, {"memos", kLong, 120, true}, {"edges", kEdges, 42, false, true}};

Value At(int year, int month, int day, int seconds) {
    return Value(Cell::FromDateTime({*DayOf(year, month, day), seconds * 1'000'000'000LL}));
}

Value TenThousandths(std::int64_t count) {
    return Value(Cell::FromDecimal({count, 4}));
}

bool InWindows1252 = false;

std::string LongText(std::size_t bytes) {
    const std::string letter = InWindows1252 ? "€" : "😀";
    std::string text;
    while (text.size() < bytes) {
        text += "Zeile äöü " + letter + " \"q\" 'a'\r\n";
    }
    return text + ".";
}

std::string RandomBytes(std::size_t count) {
    std::mt19937 random(static_cast<unsigned>(count));
    std::string bytes(count, '\0');
    for (auto& byte : bytes) {
        byte = static_cast<char>(random());
    }
    return bytes;
}

Value WholeNumber(std::int64_t number) {
    return Value(Cell::Int64(number));
}

Value Words(std::string_view words) {
    return Value(Cell::Text(words));
}

Value Binary(const std::string& bytes) {
    return Value(Cell::Bytes(std::as_bytes(std::span(bytes))));
}

// Of the table "edges".
std::vector<Value> EdgeValues(std::string_view column) {
    const Value null(Cell::Null());
    if (column == "e_count") {
        return {WholeNumber(4'000'000'000), WholeNumber(0), null, WholeNumber(7)};
    }
    if (column == "e_part") {
        const auto millionths = [](std::int64_t count) {
            return Value(Cell::FromDecimal({count, 6}));
        };
        return {millionths(1),
                millionths(500'000),
                millionths(123'456'789'012'345'678),
                millionths(999'999'999'999),
                millionths(-99'000'000)};
    }
    if (column == "e_single") {
        return {Value(Cell::Single(0.5F)), Value(Cell::Single(3.0e38F)), Value(Cell::Single(7))};
    }
    if (column == "e_day") {
        return {At(101, 1, 1, 0), At(2006, 5, 1, 52'215), At(1752, 12, 31, 0), null};
    }
    const std::string wide = InWindows1252 ? "Ÿ" : "日";
    std::string many;
    for (int k = 0; k < 250; ++k) {
        many += wide;
    }
    return {Words("plain"),
            Words(std::string(250, 'x')),
            Words(many),
            Words("blank behind  "),
            Words(wide),
            Words(""),
            null};
}

// Empty for a column that isn't one of numbers.
std::vector<Value> NumbersOf(std::string_view column) {
    const Value null(Cell::Null());
    if (column == "c_byte") {
        return {WholeNumber(0), WholeNumber(255), null, WholeNumber(127), WholeNumber(128)};
    }
    if (column == "c_short") {
        return {WholeNumber(32'767),
                WholeNumber(-32'768),
                null,
                WholeNumber(0),
                WholeNumber(-1),
                WholeNumber(256),
                WholeNumber(9)};
    }
    if (column == "c_long") {
        return {WholeNumber(INT32_MAX),
                WholeNumber(INT32_MIN),
                null,
                WholeNumber(0),
                WholeNumber(1'000'003)};
    }
    if (column == "c_single") {
        return {Value(Cell::Single(0.1F)),
                Value(Cell::Single(16'777'216.0F)),
                Value(Cell::Single(-0.25F)),
                null};
    }
    if (column == "c_double") {
        std::vector<Value> numbers = {null};
        for (const double number : {0.1,
                                    0.1 + 0.2,
                                    -1.0 / 3,
                                    1e22,
                                    std::numeric_limits<double>::max(),
                                    std::numeric_limits<double>::min(),
                                    -123456789.123456789,
                                    3.0,
                                    0.0}) {
            numbers.emplace_back(Cell::Double(number));
        }
        return numbers;
    }
    if (column == "c_money") {
        return {TenThousandths(1),
                TenThousandths(-1),
                TenThousandths(999'999'999'999),
                TenThousandths(125'000),
                null,
                TenThousandths(0)};
    }
    if (column == "c_exact") {
        return {TenThousandths(5000),
                null,
                TenThousandths(-12'345'678),
                TenThousandths(999'999'999'999),
                TenThousandths(0),
                TenThousandths(70'000),
                TenThousandths(1)};
    }
    return {};
}

// Sets of coprime sizes, so that all values meet in some row.
std::vector<Value> ValuesOf(std::string_view column, bool beside_long) {
    if (column.starts_with("e_")) {
        return EdgeValues(column);
    }
    if (auto numbers = NumbersOf(column); !numbers.empty()) {
        return numbers;
    }
    const Value null(Cell::Null());
    if (column == "c_flag") {
        return {Value(Cell::Boolean(true)), Value(Cell::Boolean(false))};  // Access has no third
    }
    if (column == "c_day") {
        std::vector<Value> days = {At(2006, 5, 1, 52'215),
                                   At(2000, 2, 29, 0),
                                   At(1999, 12, 31, 86'399),
                                   At(1900, 1, 1, 0),
                                   At(9999, 12, 31, 86'399),
                                   At(1899, 12, 30, 43'200),
                                   At(1001, 3, 4, 1)};
        if (!beside_long) {
            days.push_back(null);  // beside long columns MySQL is sent a text for it
        }
        return days;
    }
    if (column == "c_name") {
        return {Words("plain"),
                Words("O'Brien & Söhne"),
                Words("a\\b\\"),
                Words(InWindows1252 ? "Ça œuvre – €" : "日本語 😀"),
                Words(" lead"),
                Words("trail "),
                Words("\"q\" inside \""),
                Words(""),
                null,
                Words("x,y;z"),
                Words(InWindows1252 ? "\xC3\xA9" : "e\xCC\x81")};
    }
    if (column == "c_memo") {
        return {Words("short"),
                Words(LongText(70'000)),
                null,
                Words("line\r\nline"),
                Words(""),
                Words(LongText(300'000)),
                Words("NULL")};
    }
    return {Binary(RandomBytes(1)),
            null,
            Binary(RandomBytes(300)),
            Binary(RandomBytes(70'000)),
            Binary(std::string(3, '\0'))};
}

}  // namespace

std::span<const FidelityTable> FidelityTables() {
    return kTables;
}

void KeepToWindows1252(bool keep) {
    InWindows1252 = keep;
}

Value FidelityValue(const FidelityTable& table, std::size_t column, int row) {
    if (column == 0) {
        return Value(Cell::Int64(row));
    }
    static std::map<std::string, std::vector<Value>> made;  // the long ones take their time
    const std::string_view name = table.columns[column].name;
    auto& values =
        made[std::string(table.name) + std::string(name) + (InWindows1252 ? " 1252" : "")];
    if (values.empty()) {
        values = ValuesOf(name, table.has_long_columns);
    }
    return values[static_cast<std::size_t>(row) % values.size()];
}

}  // namespace vantry::bench

// Tables of random columns with random values at their edges: written, closed, found sound, and
// read back value for value by our own reader, through the SQL layer's scan, and by mdbtools.

#include "data/value_text.h"
#include "drivers/access/mdbtools.h"
#include "drivers/access/writing_fixture.h"

#include <cmath>
#include <cstdlib>
#include <iterator>
#include <numeric>
#include <random>
#include <sstream>

namespace vantry::access {
namespace {

constexpr int kTablesPerFile = 30;

class RandomTables : public WithoutSync {
protected:
    std::size_t Pick(std::size_t count) { return random_() % count; }

    std::string Text(std::size_t most_units) {
        static constexpr std::string_view kPieces[] = {
            "a", "Z", "0", " ", "'", "\"", ",", "\n", "ä", "ÿ", "Ł", "€", "日", "\uFFFD", "\uFEFF"};
        static constexpr std::string_view kLast = "\xF4\x8F\xBF\xBF";  // U+10FFFF: two units
        std::string text;
        const std::size_t units = Pick(4) == 0 ? most_units : Pick(most_units + 1);
        const bool narrow = Pick(2) == 0;
        for (std::size_t unit = 0; unit < units; ++unit) {
            if (!narrow && unit + 2 <= units && Pick(40) == 0) {
                text += kLast;
                ++unit;
            } else {
                text += kPieces[Pick(narrow ? 9 : std::size(kPieces))];
            }
        }
        return text;
    }
    std::string Bytes(std::size_t most) {
        std::string bytes(Pick(4) == 0 ? most : Pick(most + 1), '\0');
        for (auto& byte : bytes) {
            byte = static_cast<char>(random_());
        }
        return bytes;
    }
    std::int64_t Number(std::int64_t lowest, std::int64_t highest) {
        const std::int64_t numbers[] = {
            lowest, highest, 0, std::uniform_int_distribution(lowest, highest)(random_)};
        return numbers[Pick(4)];
    }

    // A column of any type and a value that fits it.
    sql::ColumnDefinition RandomColumn(int number) {
        static const std::vector<std::string> kTypes = [] {
            std::istringstream names(
                "BYTE SHORT LONG CURRENCY SINGLE DOUBLE DATETIME YESNO GUID TEXT MEMO IMAGE "
                "DECIMAL BINARY TEXT LONG");
            return std::vector<std::string>(std::istream_iterator<std::string>(names), {});
        }();
        const std::string& type = kTypes[Pick(kTypes.size())];
        auto column = Column("c" + std::to_string(number) + (Pick(5) == 0 ? " ß 日" : ""), type);
        if (type == "TEXT" || type == "BINARY") {
            column.size = static_cast<int>(1 + Pick(255));
        } else if (type == "DECIMAL") {
            column.size = static_cast<int>(1 + Pick(28));
            column.scale = static_cast<int>(Pick(static_cast<std::size_t>(*column.size) + 1));
        }
        return column;
    }
    Value RandomValue(const sql::ColumnDefinition& column, std::size_t& room) {
        const std::string& type = column.type;
        // Of the row's page; long values take a pointer there, texts two bytes a unit.
        const auto units = [&](int size) {
            const std::size_t most =
                std::min<std::size_t>(static_cast<std::size_t>(size), room / 2);
            room -= most * 2;
            return most;
        };
        if (type != "YESNO" && Pick(6) == 0) {
            return Value(Cell::Null());
        }
        for (const auto& [name, lowest, highest] : {std::tuple("BYTE", 0, 255),
                                                    {"SHORT", INT16_MIN, INT16_MAX},
                                                    {"LONG", INT32_MIN, INT32_MAX}}) {
            if (type == name) {
                return Value(Cell::Int64(Number(lowest, highest)));
            }
        }
        if (type == "CURRENCY") {
            return Value(Cell::FromDecimal({Number(INT64_MIN + 1, INT64_MAX), 4}));
        }
        if (type == "SINGLE") {
            return Value(Cell::Single(static_cast<float>(Number(-1'000'000, 1'000'000)) / 64));
        }
        if (type == "DOUBLE") {
            return Value(Pick(5) == 0 ? Cell::Double(-0.0)
                                      : Cell::Double(std::ldexp(
                                            static_cast<double>(Number(INT32_MIN, INT32_MAX)),
                                            static_cast<int>(Pick(1'800)) - 900)));
        }
        if (type == "DATETIME") {
            return Value(Cell::FromDateTime({static_cast<std::int32_t>(Number(-657'434, 2'958'465)),
                                             Number(0, 86'399) * kNanosPerSecond}));
        }
        if (type == "YESNO") {
            return Value(Cell::Boolean(Pick(2) == 0));
        }
        if (type == "GUID") {
            return Value(Cell::Text("{01234567-89AB-CDEF-0123-4567" +
                                    std::to_string(10'000'000 + Pick(80'000'000)) + "}"));
        }
        if (type == "DECIMAL") {
            Int128 highest = 1;
            for (int digit = 0; digit < *column.size; ++digit) {
                highest *= 10;
            }
            const Int128 numbers[] = {highest - 1, 1 - highest, 0, highest / 7};
            return Value(Cell::FromDecimal(
                {numbers[Pick(4)], static_cast<std::uint8_t>(column.scale.value_or(0))}));
        }
        if (type == "TEXT") {
            return Value(Cell::Text(Text(units(*column.size))));
        }
        if (type == "MEMO") {
            return Value(Cell::Text(Text(Pick(12) == 0 ? 64 * 1024 : Pick(300))));
        }
        const auto bytes =
            Bytes(type == "IMAGE" ? (Pick(12) == 0 ? 64 * 1024 : Pick(300)) : units(*column.size));
        return Value(Cell::Bytes(std::as_bytes(std::span(bytes.data(), bytes.size()))));
    }

    struct Model {
        sql::TableDefinition table;
        std::vector<std::vector<Value>> rows;
    };

    Model MakeTable(Opened& opened, int number) {
        Model model;
        model.table.name = "t" + std::to_string(number) + (Pick(4) == 0 ? " Größe 日" : "");
        const std::size_t columns = Pick(10) == 0 ? 1 + Pick(255) : 1 + Pick(20);
        for (std::size_t column = 0; column < columns; ++column) {
            model.table.columns.push_back(RandomColumn(static_cast<int>(column)));
        }
        opened.database->CreateTable(model.table);
        const auto stored = opened.Table(model.table.name);
        const std::size_t rows = Pick(25);
        opened.Statement([&] {
            for (std::size_t row = 0; row < rows; ++row) {
                auto& values = model.rows.emplace_back();
                // 255 columns of 17 bytes more or less fill a page by themselves.
                std::size_t room = columns > 120 ? 0 : columns > 60 ? 600 : 1'600;
                for (const auto& column : model.table.columns) {
                    values.push_back(RandomValue(column, room));
                }
                std::vector<Cell> cells;
                for (const auto& value : values) {
                    cells.push_back(value.AsCell());
                }
                try {
                    stored->Insert(cells);
                } catch (const DataError& error) {
                    // Too long for a page is the one reason there may be.
                    EXPECT_NE(error.Description().find("too long"), std::string::npos)
                        << error.Description();
                    model.rows.pop_back();
                }
            }
        });
        return model;
    }

    void Compare(const std::string& path, Opened& opened, const Model& model) {
        const auto& name = model.table.name;
        const auto read = test::ReadRows(path, name);
        ASSERT_EQ(read.rows.size(), model.rows.size()) << name;
        std::vector<std::size_t> all(model.table.columns.size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        const auto scan = opened.Table(name)->Scan(all);
        const auto theirs =
            test::HasMdbtools() ? test::MdbRows(path, name) : std::vector<test::MdbRow>();
        for (std::size_t row = 0; row < model.rows.size(); ++row) {
            ASSERT_TRUE(scan->Next());
            for (const auto column : all) {
                const auto& type = model.table.columns[column].type;
                const auto wanted = test::Shown(model.rows[row][column].AsCell());
                const Cell& cell = read.rows[row][column].AsCell();
                EXPECT_EQ(wanted, test::Shown(cell)) << name << ", row " << row << ", " << type;
                EXPECT_EQ(wanted, test::Shown(scan->Row()[column])) << name << ", row " << row;
                // mdbtools prints nothing for an empty text, question marks for characters of two
                // units, and ends long values at a NUL byte.
                if (theirs.empty() || type == "IMAGE" || wanted.empty() ||
                    !test::MdbKnows(read.def.columns[column]) ||
                    wanted.find("\xF4\x8F") != std::string::npos) {
                    continue;
                }
                const auto& printed = theirs[row + 1][column];
                if (printed && printed->starts_with("1900-01-00")) {
                    continue;  // the last year of all
                }
                EXPECT_TRUE(test::SameAsMdb(cell, read.def.columns[column], printed))
                    << name << ", row " << row << ", " << type << ": ours " << wanted.substr(0, 80)
                    << ", theirs " << printed.value_or("NULL").substr(0, 80);
            }
        }
        EXPECT_FALSE(scan->Next());
    }

    std::mt19937 random_{20'240'229};
};

TEST_F(RandomTables, ComeBackValueForValue) {
    const char* const wanted = std::getenv("VANTRY_RANDOM_TABLES");
    const int tables = wanted != nullptr ? std::atoi(wanted) : 300;
    for (int first = 0; first < tables && !HasFailure(); first += kTablesPerFile) {
        const std::string path =
            folder_ / ("f" + std::to_string(first) + (first % 60 == 0 ? ".mdb" : ".accdb"));
        CreateDatabaseFile(path);
        std::vector<Model> models;
        {
            Opened opened(path);
            for (int table = first; table < first + kTablesPerFile; ++table) {
                models.push_back(MakeTable(opened, table));
            }
        }
        EXPECT_EQ(Faults(path), "");
        Opened opened(path);
        for (const auto& model : models) {
            Compare(path, opened, model);
        }
        std::filesystem::remove(path);
    }
}

}  // namespace
}  // namespace vantry::access

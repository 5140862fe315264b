// Files that Access itself wrote, against what another reader makes of them and against what is
// known to be in them; and changes in them: their indexes, relationships and what we must not
// touch.

#include "drivers/access/real_files.h"

#include "data/value_text.h"
#include "drivers/access/connected.h"
#include "drivers/access/mdbtools.h"
#include "drivers/access/stored_rows.h"
#include "drivers/access/verify/verify.h"
#include "drivers/access/writing_fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <list>
#include <random>
#include <tuple>

namespace vantry::access {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> RealFiles() {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(test::kRealFiles, error)) {
        const auto extension = entry.path().extension();
        if (extension == ".mdb" || extension == ".accdb") {
            names.push_back(entry.path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The first field in which two rows differ; empty: none does.
std::string Mismatch(const test::StoredRows& ours,
                     std::size_t row,
                     const test::MdbRow& names,
                     const test::MdbRow& theirs) {
    for (std::size_t c = 0; c < names.size(); ++c) {
        const auto position = ours.def.FindColumn(names[c].value_or(""));
        if (position == TableDef::npos) {
            return "no column " + names[c].value_or("");
        }
        const auto& column = ours.def.columns[position];
        const auto& cell = ours.rows[row][position].AsCell();
        if (cell.Kind() == ValueKind::Unreadable ||
            (test::MdbKnows(column) && !test::SameAsMdb(cell, column, theirs.at(c)))) {
            return column.name + " is " + ToText(cell) + ", mdbtools " +
                   theirs.at(c).value_or("(null)");
        }
    }
    return "";
}

class RealFile : public testing::TestWithParam<std::string> {};

// Every page owned once, every index entry the key of its row: the format facts, checked against
// files that the engine wrote. Tables and rows are those that mdbtools reads.
TEST_P(RealFile, IsFoundSoundAndReadAsMdbtoolsReadsIt) {
    const auto path = (test::kRealFiles / GetParam()).string();
    EXPECT_EQ(Verify(fs::path(path)).findings, std::vector<std::string>());
    if (!test::HasMdbtools()) {
        return;
    }
    const auto source = OpenReadOnly(path);
    ObjectCatalog catalog(*source);
    std::vector<std::string> names;
    for (const auto& object : catalog.Objects()) {
        if (ListedType(object) == "TABLE") {
            names.push_back(object.name);
        }
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, test::MdbTableNames(path));
    for (const auto& object : catalog.Objects()) {
        if (!object.IsTable()) {
            continue;
        }
        SCOPED_TRACE(object.name);
        const auto ours = test::ReadRows(*source, object);
        const auto theirs = test::MdbRows(path, object.name);
        ASSERT_EQ(ours.rows.size() + 1, theirs.size());
        ASSERT_EQ(theirs[0].size(), ours.def.columns.size());
        // A row that was moved stands at its old place for us and at its new one for mdbtools.
        std::vector<bool> used(theirs.size());
        for (std::size_t i = 0; i < ours.rows.size(); ++i) {
            std::size_t match = 1;
            while (match < theirs.size() &&
                   (used[match] || !Mismatch(ours, i, theirs[0], theirs[match]).empty())) {
                ++match;
            }
            ASSERT_LT(match, theirs.size())
                << "row " << i << ", compared with the same row of mdbtools: "
                << Mismatch(ours, i, theirs[0], theirs[i + 1]);
            used[match] = true;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Access, RealFile, testing::ValuesIn(RealFiles()), [](const auto& tested) {
    std::string name = tested.param;
    std::replace_if(
        name.begin(),
        name.end(),
        [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); },
        '_');
    return name;
});
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealFile);

class KnownContent : public test::OnRealFiles {};

using Strings = std::vector<std::string>;

TEST_F(KnownContent, IsWhatStatementsGive) {
    const std::tuple<const char*, const char*, Strings> cases[] = {
        // mdbtools prints dates before 1900 as 01/00/00 and doesn't know extended dates; the file
        // has another column that spells each of them.
        {"extDateTestV2019.accdb",
         "select ID, DateExt, DateNormal from Table1",
         {"1|2020-06-17|2020-06-17",
          "2|2021-06-14|2021-06-14",
          "3|2021-06-14 12:45:00|2021-06-14 12:45:00",
          "4|2021-06-14 01:45:00|2021-06-14 01:45:00",
          "5|NULL|NULL",
          "6|2021-06-14 22:45:12.3456789|2021-06-14 22:45:12",
          "7|1765-06-14 12:45:00|1765-06-14 12:45:00",
          "8|0100-06-14 12:45:00.1234567|0100-06-14 12:45:00",
          "9|1265-06-14 12:45:00|1265-06-14 12:45:00"}},
        {"extDateTestV2019.accdb", "select DateNormalCalc from Table1 where ID = 5", {"NULL"}},
        // Each stored result equals what its formula gives for the row's other fields.
        {"calcFieldTestV2010.accdb",
         "select LastFirst, LastFirstLen, MonthlySalary, IsRich, AllNames, WeeklySalary, "
         "DecimalTest from Table1",
         {"Wayne, Bruce|12|83333.3333|True|Wayne, Bruce=Wayne, Bruce|19230.7692307692|50.325",
          "Simpson, Bart|13|-0.0833|False|Simpson, Bart=Simpson, Bart|-0.0192307692307692|-36.2222",
          "Doe, John|9|0|False|Doe, John=Doe, John|0|0.0123",
          "User, Test|10|8.3333|False|User, Test=User, Test|1.92307692307692|102030405060.654321"}},
        {"complexDataTestV2010.accdb",
         "select * from Table1",
         {"row1|NULL|NULL|NULL|NULL",
          "row2|row2-memo|row2-memo|value1;value4|test_data.txt;test_data2.txt",
          "row3|row3-memo|row3-memo-again|value1;value2;value3;value4|NULL",
          "row4|row4-memo|row4-memo|NULL|test_data2.txt"}},
        {"testUnicodeCompV2003.mdb",
         "select id from [Table] where unicode = 'ONLY ascii chars' or unicode = 'ascii'",
         {"1"}},
        {"testUnicodeCompV2003.mdb", "select id from [Table] where unicode = 'Мир'", {"3"}},
    };
    for (const auto& [file, sql, rows] : cases) {
        EXPECT_EQ(test::RowsBy(*test::ConnectTo(CopyOf(file)), sql), rows) << sql;
    }
    std::string listed;
    const auto queries = test::ConnectTo(CopyOf("queryTestV2003.mdb"));
    for (const auto& table : queries->Tables()) {
        listed += table.name.starts_with("MSys") ? "" : table.name + " " + table.type + ", ";
    }
    EXPECT_EQ(listed,
              "CrosstabQuery VIEW, SelectQuery VIEW, Table1 TABLE, Table2 TABLE, Table3 TABLE, "
              "UnionQuery VIEW, ");
    const auto system = test::ConnectTo(CopyOf("delTestV2000.mdb"))->Tables();
    EXPECT_EQ(system.front().name + " " + system.front().type, "MSysAccessObjects ACCESS TABLE");
}

class WritingRealFiles : public test::OnRealFiles {
protected:
    // A value of the column's type, different for each `number`.
    Cell ValueFor(const ColumnInfo& column, int number) {
        switch (column.type) {
            case adBoolean:
                return Cell::Boolean(number % 2 == 0);
            case adUnsignedTinyInt:
                return Cell::Int64(number % 256);
            case adSmallInt:
            case adInteger:
            case adBigInt:
                return Cell::Int64(10000 + number);
            case adDate:
                return Cell::FromDateTime({40000 + number, 0});
            case adGUID:
            case adVarBinary:
            case adBinary:
            case adLongVarBinary:
                return Cell::Null();
            default:
                auto& text = texts_.emplace_back(std::to_string(number));
                if (IsTextType(column.type)) {
                    text = number % 3 == 0 && column.defined_size > 20 ? "Zeile é-" + text : text;
                    text.resize(
                        std::min(text.size(), static_cast<std::size_t>(column.defined_size)));
                }
                return Cell::Text(text);
        }
    }

    test::NoSync no_sync_;
    test::InstalledPlan installed_{no_sync_};
    // How many of so many new rows the table takes.
    int AddRows(
        Opened& opened, sql::StoredTable& table, int tries, bool jet3, std::mt19937& random) {
        const auto rows_before = table.CountRows();
        const auto columns = table.Columns();
        int added = 0;
        std::string refusal;
        for (int number = 0; number < tries; ++number) {
            const int value = tries > 40 ? static_cast<int>(random() % 100'000) : number;
            std::vector<Cell> row;
            row.reserve(columns.size());
            for (const auto& column : columns) {
                const bool is_given = !column.auto_number && !column.read_only;
                row.push_back(is_given ? ValueFor(column.info, value) : Cell());
            }
            const auto error = ErrorOf([&] { opened.database->InsertRow(table, row); });
            added += error.empty() ? 1 : 0;
            refusal = error.empty() ? refusal : error;
        }
        EXPECT_TRUE(jet3 ? added == 0 && Has(refusal, "97") : added > 0 || !refusal.empty());
        EXPECT_EQ(rows_before + added, table.CountRows());
        return added;
    }
    static void DeleteRows(Opened& opened,
                           sql::StoredTable& table,
                           int count,
                           std::mt19937& random) {
        const auto rows_before = table.CountRows();
        auto rows = RowsOf(table);
        std::shuffle(rows.begin(), rows.end(), random);
        rows.resize(static_cast<std::size_t>(count));
        int deleted = 0;
        for (const auto row : rows) {
            const auto error = ErrorOf([&] { opened.Statement([&] { table.Delete(row); }); });
            deleted += error.empty() ? 1 : 0;
        }
        EXPECT_EQ(rows_before - deleted, table.CountRows());
    }

    std::list<std::string> texts_;
};

// Rows in and out of every table of every file, many where there are large indexes, and a table of
// our own beside them; what is refused is refused with a word and without a trace.
TEST_F(WritingRealFiles, RowsAndTablesComeAndGoInEveryFile) {
    int changed_tables = 0;
    for (const auto& entry : fs::directory_iterator(test::kRealFiles)) {
        const std::string name = entry.path().filename().string();
        if (!name.ends_with(".mdb") && !name.ends_with(".accdb")) {
            continue;
        }
        SCOPED_TRACE(name);
        const std::string path = CopyOf(name);
        const auto before = Verify(path);
        const auto expect_as_before = [&] {
            const auto after = Verify(path);
            EXPECT_EQ(before.findings, after.findings) << after.Text();
            EXPECT_LE(after.notes.size(), before.notes.size()) << after.Text();
        };
        const bool jet3 = name.find("V1997") != std::string::npos;
        const int tries = name.starts_with("bigIndex") || name.starts_with("compIndex") ? 4000 : 40;
        std::mt19937 random(3);
        Opened opened(path);
        for (const auto& listed : opened.database->Tables()) {
            if (listed.type != "TABLE") {
                continue;
            }
            SCOPED_TRACE(listed.name);
            const auto table = opened.Table(listed.name);
            const int added = AddRows(opened, *table, tries, jet3, random);
            changed_tables += added > 0 ? 1 : 0;
            opened.file->store->Settle();
            EXPECT_EQ(before.findings, Verify(path).findings);
            DeleteRows(opened, *table, added, random);
        }
        expect_as_before();
        if (jet3) {
            continue;
        }
        const std::string own = "Neue Tabelle";
        opened.Create(own, ColumnsOf("id COUNTER, text TEXT 50, m MEMO"), {PrimaryKey()});
        for (int row = 0; row < 300; ++row) {
            opened.Insert(own, {Cell(), Cell::Text("x"), Cell::Text(std::string(200, 'm'))});
        }
        opened.database->CreateIndex(own, Index("text", {"text", "-id"}));
        EXPECT_EQ(before.findings, Verify(path).findings);
        EXPECT_EQ(300U, test::ReadRows(path, own).rows.size());
        opened.database->DropTable(own);
        expect_as_before();
    }
    EXPECT_GE(changed_tables, 15);
}

// Where the marks of a relationship, of a rule and of kinds of columns stand in Access's own files.
TEST_F(WritingRealFiles, WhatTheirDefinitionsForbidIsRefused) {
    // value: of each field.
    const std::tuple<const char*, const char*, Cell> cases[] = {
        {"calcFieldTestV2010.accdb", "calculated", Cell()},
        {"complexDataTestV2010.accdb", "several values", Cell()},
        {"indexTestV2000.mdb", "related record is required", Cell::Int64(987654)},
        {"bigIndexTestV2000.mdb", "cannot be a zero-length", Cell::Text("")},
    };
    for (const auto& [file, word, value] : cases) {
        Opened opened(CopyOf(file));
        const std::size_t columns = opened.Table("Table1")->Columns().size();
        std::vector<Cell> row(columns, value);
        row[0] = value.Kind() == ValueKind::Text ? Cell() : value;  // an AutoNumber
        const auto error = ErrorOf([&] { opened.Insert("Table1", row); });
        EXPECT_TRUE(Has(error, word)) << file << ": " << error;
    }
    const std::string path = CopyOf("indexTestV2000.mdb");
    Opened opened(path);
    int refused = 0;
    for (const auto id : RowsOf(*opened.Table("Table2"))) {
        const auto remove = [&](sql::StoredTable& parent) { parent.Delete(id); };
        refused +=
            Has(ErrorOf([&] { opened.Change("Table2", remove); }), "includes related") ? 1 : 0;
    }
    EXPECT_GT(refused, 0);
    EXPECT_TRUE(Has(ErrorOf([&] { opened.database->DropTable("Table2"); }), "relationship"));
    EXPECT_TRUE(Verify(path).IsSound()) << Faults(path);
}

}  // namespace
}  // namespace vantry::access

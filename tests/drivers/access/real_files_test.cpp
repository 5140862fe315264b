// Files that Access itself wrote, against what another reader makes of them and against what is
// known to be in them.

#include "drivers/access/real_files.h"

#include "data/value_text.h"
#include "drivers/access/mdbtools.h"
#include "drivers/access/stored_rows.h"
#include "drivers/access/verify/verify.h"

#include <gtest/gtest.h>

#include <filesystem>

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

class KnownContent : public test::OnRealFiles {
protected:
    // Each row as its fields' text forms, "NULL" for null.
    static std::vector<std::string> Lines(const std::string& file,
                                          const std::string& table,
                                          const std::vector<std::string>& columns) {
        const auto stored = test::ReadRows((test::kRealFiles / file).string(), table);
        std::vector<std::string> lines;
        for (const auto& row : stored.rows) {
            auto& line = lines.emplace_back();
            for (const auto& name : columns) {
                const auto& cell = row.at(stored.def.FindColumn(name)).AsCell();
                line += (&name == &columns[0] ? "" : "|") + test::Shown(cell);
            }
        }
        return lines;
    }
};

using Strings = std::vector<std::string>;

// mdbtools prints dates before 1900 as 01/00/00 and doesn't know extended dates; the file has
// another column that spells each of them.
TEST_F(KnownContent, DatesBefore1900AndExtendedDates) {
    EXPECT_EQ(Lines("extDateTestV2019.accdb", "Table1", {"ID", "DateExt", "DateNormal"}),
              (Strings{"1|2020-06-17|2020-06-17",
                       "2|2021-06-14|2021-06-14",
                       "3|2021-06-14 12:45:00|2021-06-14 12:45:00",
                       "4|2021-06-14 01:45:00|2021-06-14 01:45:00",
                       "5|NULL|NULL",
                       "6|2021-06-14 22:45:12.3456789|2021-06-14 22:45:12",
                       "7|1765-06-14 12:45:00|1765-06-14 12:45:00",
                       "8|0100-06-14 12:45:00.1234567|0100-06-14 12:45:00",
                       "9|1265-06-14 12:45:00|1265-06-14 12:45:00"}));
}

// Each stored result equals what its formula gives for the row's other fields.
TEST_F(KnownContent, CalculatedColumns) {
    EXPECT_EQ(Lines("calcFieldTestV2010.accdb",
                    "Table1",
                    {"LastFirst", "LastFirstLen", "MonthlySalary", "IsRich", "AllNames"}),
              (Strings{"Wayne, Bruce|12|83333.3333|True|Wayne, Bruce=Wayne, Bruce",
                       "Simpson, Bart|13|-0.0833|False|Simpson, Bart=Simpson, Bart",
                       "Doe, John|9|0|False|Doe, John=Doe, John",
                       "User, Test|10|8.3333|False|User, Test=User, Test"}));
    EXPECT_EQ(Lines("calcFieldTestV2010.accdb", "Table1", {"WeeklySalary", "DecimalTest"}),
              (Strings{"19230.7692307692|50.325",
                       "-0.0192307692307692|-36.2222",
                       "0|0.0123",
                       "1.92307692307692|102030405060.654321"}));
    EXPECT_EQ(Lines("extDateTestV2019.accdb", "Table1", {"DateNormalCalc"})[4], "NULL");
}

}  // namespace
}  // namespace vantry::access

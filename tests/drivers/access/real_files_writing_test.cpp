// Changes in files that Access made: their indexes, relationships and what we must not touch.

#include "drivers/access/real_files.h"
#include "drivers/access/writing_fixture.h"

#include <list>
#include <random>

namespace vantry::access {
namespace {

namespace fs = std::filesystem;

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
        opened.Create(own,
                      {Column("id", "COUNTER"), Column("text", "TEXT", 50), Column("m", "MEMO")},
                      {PrimaryKey()});
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
    const struct {
        const char* file;
        const char* word;
        Cell value;  // of each field
    } cases[] = {
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

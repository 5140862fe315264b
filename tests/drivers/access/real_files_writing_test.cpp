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
    std::list<std::string> texts_;
};

// Rows in and out of every table of every file; what is refused is refused with a word and without
// a trace.
TEST_F(WritingRealFiles, RowsGoInAndOutOfEveryTable) {
    int changed_tables = 0;
    for (const auto& entry : fs::directory_iterator(test::kRealFiles)) {
        const std::string name = entry.path().filename().string();
        if (!name.ends_with(".mdb") && !name.ends_with(".accdb")) {
            continue;
        }
        SCOPED_TRACE(name);
        const std::string path = CopyOf(name);
        const auto before = Verify(path);
        auto opened = std::make_unique<Opened>(path);
        for (const auto& listed : opened->database->Tables()) {
            if (listed.type != "TABLE") {
                continue;
            }
            SCOPED_TRACE(listed.name);
            const auto table = opened->Table(listed.name);
            const auto rows_before = table->CountRows();
            int added = 0;
            std::string refusal;
            for (int number = 0; number < 40; ++number) {
                std::vector<Cell> row;
                for (const auto& column : table->Columns()) {
                    row.push_back(column.auto_number || column.read_only
                                      ? Cell()
                                      : ValueFor(column.info, number));
                }
                const std::string error =
                    ErrorOf([&] { opened->database->InsertRow(*table, row); });
                added += error.empty() ? 1 : 0;
                refusal = error.empty() ? refusal : error;
            }
            EXPECT_TRUE(added > 0 || !refusal.empty());
            changed_tables += added > 0 ? 1 : 0;
            EXPECT_EQ(rows_before + added, table->CountRows());
            const bool jet3 = name.find("V1997") != std::string::npos;
            if (jet3) {
                EXPECT_EQ(0, added);
                EXPECT_TRUE(Has(refusal, "97"));
            }
            // The new rows out again: they are the last ones of their values.
            const auto rows = RowsOf(*table);
            int deleted = 0;
            for (auto row = rows.rbegin(); row != rows.rend() && deleted < added; ++row) {
                const std::string error =
                    ErrorOf([&] { opened->Statement([&] { table->Delete(*row); }); });
                deleted += error.empty() ? 1 : 0;
            }
            EXPECT_EQ(rows_before + added - deleted, table->CountRows());
        }
        opened.reset();
        const auto after = Verify(path);
        EXPECT_EQ(before.findings, after.findings) << after.Text();
        EXPECT_LE(after.notes.size(), before.notes.size()) << after.Text();
    }
    EXPECT_GE(changed_tables, 15);
}

TEST_F(WritingRealFiles, IndexesOfAccessStayRight) {
    for (const char* const name : {"bigIndexTestV2000.mdb", "compIndexTestV2007.accdb"}) {
        SCOPED_TRACE(name);
        const std::string path = CopyOf(name);
        Opened opened(path);
        const auto table = opened.Table("Table1");
        std::mt19937 random(3);
        int added = 0;
        for (int number = 0; number < 4000; ++number) {
            std::vector<Cell> row;
            for (const auto& column : table->Columns()) {
                row.push_back(column.auto_number
                                  ? Cell()
                                  : ValueFor(column.info, static_cast<int>(random() % 100000)));
            }
            added += ErrorOf([&] { opened.database->InsertRow(*table, row); }).empty() ? 1 : 0;
        }
        EXPECT_GT(added, 1000);
        opened.file->store->Settle();
        EXPECT_TRUE(Verify(path).IsSound()) << Faults(path);
        auto rows = RowsOf(*table);
        std::shuffle(rows.begin(), rows.end(), random);
        opened.Statement([&] {
            for (std::size_t row = 0; row < rows.size() / 2; ++row) {
                table->Delete(rows[row]);
            }
        });
        EXPECT_TRUE(Verify(path).IsSound()) << Faults(path);
        opened.Statement([&] { table->DeleteAll(); });
        EXPECT_TRUE(Verify(path).IsSound()) << Faults(path);
    }
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

// Tables and indexes of our own in a file of Access, and out again.
TEST_F(WritingRealFiles, TablesComeAndGoInFilesOfAccess) {
    for (const char* const name :
         {"empty_2000.mdb", "empty_2010.accdb", "test2V2010.accdb", "indexTestV2000.mdb"}) {
        SCOPED_TRACE(name);
        const std::string path = CopyOf(name);
        const auto before = Verify(path);
        Opened opened(path);
        opened.Create("Neue Tabelle",
                      {Column("id", "COUNTER"), Column("text", "TEXT", 50), Column("m", "MEMO")},
                      {PrimaryKey()});
        for (int row = 0; row < 300; ++row) {
            opened.Insert("Neue Tabelle",
                          {Cell(), Cell::Text("x"), Cell::Text(std::string(200, 'm'))});
        }
        opened.database->CreateIndex("Neue Tabelle", Index("text", {"text", "-id"}));
        auto report = Verify(path);
        EXPECT_EQ(before.findings, report.findings) << report.Text();
        EXPECT_EQ(300U, test::ReadRows(path, "Neue Tabelle").rows.size());
        opened.database->DropTable("Neue Tabelle");
        report = Verify(path);
        EXPECT_EQ(before.findings, report.findings) << report.Text();
        EXPECT_LE(report.notes.size(), before.notes.size()) << report.Text();
    }
}

}  // namespace
}  // namespace vantry::access

// What Access's own files ask of our writer, by files of our making (real_files_test.cpp is the
// second opinion), and what every page owes its readers.

#include "drivers/access/bent_file.h"

#include "drivers/access/connected.h"
#include "drivers/access/engine_rows.h"

namespace vantry::access {
namespace {

class BentFiles : public WithoutSync {
protected:
    std::string MakeFile(const std::string& name = "bent.mdb") const {
        std::string path = folder_ / name;
        CreateDatabaseFile(path);
        return path;
    }
    // Parents 1 to 5 by "id", children of 1 and 2, and one without a parent.
    std::string MakeFamily() const {
        std::string path = MakeFile();
        {
            Opened opened(path);
            auto unique = Index("referenced", {"id"});
            unique.unique = true;
            opened.Create("parents", {Column("id", "LONG"), Column("n", "LONG")}, {unique});
            opened.Create(
                "children", ColumnsOf("key LONG, parent LONG"), {Index("referencing", {"parent"})});
            for (int id = 1; id <= 5; ++id) {
                opened.Insert("parents", {Cell::Int64(id), Cell::Int64(10 * id)});
            }
            opened.Insert("children", {Cell::Int64(1), Cell::Int64(1)});
            opened.Insert("children", {Cell::Int64(2), Cell::Int64(2)});
            opened.Insert("children", {Cell::Int64(3), Cell::Null()});
        }
        BentFile bent(path);
        bent.Relate("children", "referencing", "parents", "referenced");
        bent.Save();
        return path;
    }
    // What the change of one field raises.
    static std::string Change(Opened& opened,
                              const std::string& table,
                              std::size_t row,
                              std::size_t column,
                              const Cell& value) {
        return ErrorOf([&] {
            opened.Change(table, [&](sql::StoredTable& stored) {
                SetField(stored, RowsOf(stored)[row], column, value);
            });
        });
    }
};

TEST_F(BentFiles, ARowMayReferToItself) {
    const std::string path = MakeFile();
    {
        auto unique = Index("referenced", {"id"});
        unique.unique = true;
        Opened(path).Create("people",
                            {Column("id", "LONG"), Column("boss", "LONG")},
                            {unique, Index("referencing", {"boss"})});
    }
    BentFile bent(path);
    bent.Relate("people", "referencing", "people", "referenced");
    bent.Save();
    Opened opened(path);
    EXPECT_THROW(opened.Insert("people", {Cell::Int64(1), Cell::Int64(2)}), DataError);
    opened.Insert("people", {Cell::Int64(1), Cell::Int64(1)});
    EXPECT_EQ("", Faults(path));
}

TEST_F(BentFiles, AKeyThatAnotherTableRefersToStays) {
    const std::string path = MakeFamily();
    Opened opened(path);
    const std::string refers = "includes related records";
    const std::string lacks = "related record is required";
    const auto remove = [&](std::size_t row) {
        return ErrorOf([&] {
            opened.Change("parents",
                          [&](sql::StoredTable& parents) { parents.Delete(RowsOf(parents)[row]); });
        });
    };
    // Parents: row 0 has a child, row 4 has none.
    EXPECT_TRUE(Has(Change(opened, "parents", 0, 0, Cell::Int64(77)), refers));
    EXPECT_TRUE(Has(Change(opened, "parents", 0, 0, Cell::Null()), refers));
    EXPECT_EQ(Change(opened, "parents", 0, 0, Cell::Int64(1)), "");
    EXPECT_EQ(Change(opened, "parents", 0, 1, Cell::Int64(11)), "");
    EXPECT_EQ(Change(opened, "parents", 4, 0, Cell::Int64(55)), "");
    EXPECT_TRUE(Has(remove(1), refers));
    EXPECT_EQ(remove(3), "");
    const auto empty = [](sql::StoredTable& table) { table.DeleteAll(); };
    EXPECT_TRUE(Has(ErrorOf([&] { opened.Change("parents", empty); }), refers));
    EXPECT_TRUE(Has(ErrorOf([&] { opened.database->DropTable("parents"); }), "relationship"));
    // Children.
    const auto add = [&](const Cell& parent) {
        return ErrorOf([&] { opened.Insert("children", {Cell::Int64(9), parent}); });
    };
    EXPECT_TRUE(Has(add(Cell::Int64(4)), lacks));
    EXPECT_EQ(add(Cell::Int64(55)), "");
    EXPECT_EQ(add(Cell::Null()), "");
    EXPECT_TRUE(Has(Change(opened, "children", 0, 1, Cell::Int64(5)), lacks));
    EXPECT_EQ(Change(opened, "children", 0, 1, Cell::Int64(3)), "");
    EXPECT_EQ(Change(opened, "children", 1, 0, Cell::Int64(22)), "");
    // Nobody refers to the first one any longer.
    EXPECT_EQ(Change(opened, "parents", 0, 0, Cell::Int64(77)), "");
    EXPECT_EQ(Content(path, "parents"),
              (std::vector<std::string>{"2|20|", "3|30|", "55|50|", "77|11|"}));
    EXPECT_EQ(Content(path, "children"),
              (std::vector<std::string>{"1|3|", "22|2|", "3|NULL|", "9|55|", "9|NULL|"}));
    EXPECT_EQ("", Faults(path));
}

TEST_F(BentFiles, EmptyTextsStayOutOfColumnsThatForbidThem) {
    const std::string path = MakeFile();
    const std::string default_text = "'" + std::string(100, 'd') + "'";
    {
        Opened opened(path);
        auto text = Column("text", "TEXT", 200);
        text.default_text = default_text;
        opened.Create("t", {Column("id", "LONG"), text, Column("free", "TEXT", 20)});
    }
    BentFile bent(path);
    bent.ForbidEmptyTexts("text", default_text);
    bent.Save();
    Opened opened(path);
    const std::string wanted = "Field 't.text' cannot be a zero-length string.";
    const auto table = opened.Table("t");
    for (const Cell& empty : {Cell::Text(""), Cell::Bytes({})}) {
        const std::vector<Cell> row{Cell::Int64(1), empty, Cell::Text("")};
        EXPECT_TRUE(Has(ErrorOf([&] { opened.database->InsertRow(*table, row); }), wanted));
        EXPECT_TRUE(Has(ErrorOf([&] { opened.Insert("t", row); }), wanted));
    }
    opened.Insert("t", {Cell::Int64(2), Cell::Text("x"), Cell::Text("")});
    EXPECT_TRUE(Has(Change(opened, "t", 0, 1, Cell::Text("")), wanted));
    EXPECT_EQ(Change(opened, "t", 0, 1, Cell::Null()), "");
    EXPECT_EQ(Content(path, "t"), (std::vector<std::string>{"2|NULL||"}));
}

TEST_F(BentFiles, WhatOnlyAccessCanKeepUpIsRefused) {
    const std::string path = MakeFile("calculated.accdb");
    {
        Opened opened(path);
        opened.Create("t", {Column("id", "LONG"), Column("sum", "LONG")});
        opened.Insert("t", {Cell::Int64(1), Cell::Int64(2)});
    }
    BentFile bent(path);
    bent.TurnCalculated("t", 1);
    bent.Save();
    Opened opened(path);
    EXPECT_TRUE(Has(ErrorOf([&] {
                        opened.Insert("t", {Cell::Int64(3), Cell::Int64(4)});
                    }),
                    "calculated"));
    // Somebody has it open in Access.
    const std::string used = MakeFile("used.mdb");
    folder_.Write(
        "used.ldb",
        std::string("OFFICE-PC") + std::string(23, '\0') + "Admin" + std::string(27, '\0'));
    Opened shared(used);
    EXPECT_TRUE(Has(ErrorOf([&] { shared.Statement([] {}); }), "OFFICE-PC/Admin"));
}

// A key in the column, the values in another table, and in a third one which table that is.
TEST_F(BentFiles, AColumnOfSeveralValuesShowsThem) {
    const std::string path = MakeFile("several.accdb");
    for (const std::string kind : {"Value", "FileName", "Unknown"}) {
        Opened(path).Create(kind, {Column("id", "LONG"), Column("all", "LONG")});
        Opened(path).Create(kind + "s",
                            {Column("_all", "LONG"), Column(kind, "TEXT", 40)},
                            {Index("keys", {"_all"})});
        Opened opened(path);
        for (const int id : {1, 2, 3}) {
            opened.Insert(kind, {Cell::Int64(id), id == 3 ? Cell::Null() : Cell::Int64(10 * id)});
        }
        for (const auto& [key, value] : {std::pair(30, "other"), {10, "one"}, {10, "two"}}) {
            opened.Insert(kind + "s", {Cell::Int64(key), Cell::Text(value)});
        }
        const auto id = opened.file->catalog.Find(kind + "s")->id;
        const auto number = static_cast<std::int64_t>(kind.size());
        EngineRows(path).Insert("MSysComplexColumns",
                                {{"ColumnName", Cell::Text("all")},
                                 {"ComplexTypeObjectID", Cell::Int64(1)},
                                 {"ConceptualTableID", Cell::Int64(1)},
                                 {"FlatTableID", Cell::Int64(id)},
                                 {"ComplexID", Cell::Int64(number)}});
        BentFile bent(path);
        bent.Turn(kind, 1, ColumnType::Complex, static_cast<std::uint32_t>(kind.size()));
        bent.Save();
    }
    const auto connection = test::ConnectTo(path);
    for (const std::string kind : {"Value", "FileName", "Unknown"}) {
        const auto rows = test::RowsBy(*connection, "select * from " + kind);
        ASSERT_EQ(rows.size(), 3U);
        EXPECT_TRUE(kind == "Unknown"
                        ? Has(rows[0], "several values of a kind that isn't known")
                        : rows == std::vector<std::string>({"1|one;two", "2|NULL", "3|NULL"}));
        EXPECT_TRUE(
            Has(ErrorOf([&] { connection->Execute("insert into " + kind + " values (4, 1)"); }),
                "several values"));
    }
}

// 19 digits of days since the year 1, 12 of seconds, 7 of tenths of microseconds.
TEST_F(BentFiles, ExtendedDatesStandInDigits) {
    const std::string path = MakeFile("extended.accdb");
    Opened(path).Create("t", ColumnsOf("id LONG, day BINARY 42, n LONG"));
    {
        BentFile bent(path);
        bent.Turn("t", 1, ColumnType::DateTimeExtended);
        bent.Save();
        Opened opened(path);
        int id = 0;
        for (const char* day :
             {"2021-06-14", "0100-06-14 12:45:00.1234567", "1765-06-14 12:45:00"}) {
            opened.Insert("t", {Cell::Int64(++id), Cell::Text(day), Cell::Int64(id)});
        }
    }
    EXPECT_EQ(
        Content(path, "t"),
        (std::vector<std::string>{
            "1|2021-06-14|1|", "2|0100-06-14 12:45:00.1234567|2|", "3|1765-06-14 12:45:00|3|"}));
    BentFile bent(path);
    bent.Replace("0000000000000737954:0000000000000000000:7", "000000000000073x954");
    bent.Save();
    const auto rows = test::RowsBy(*test::ConnectTo(path), "select n, day from t");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_TRUE(Has(rows[0], "isn't an extended date") && Has(rows[0], "'day'")) << rows[0];
    EXPECT_TRUE(rows[0].starts_with("1|") && rows[2] == "3|1765-06-14 12:45:00");
}

// Access looks them up in that order, whatever the one in which they were made.
TEST_F(BentFiles, IndexesStandInTheOrderOfTheirNames) {
    const std::string path = MakeFile();
    {
        Opened opened(path);
        opened.Create("t",
                      ColumnsOf("a LONG, b LONG"),
                      {Index("zeta", {"a"}), Index("Alpha", {"b"}), Index("mid", {"a", "b"})});
    }
    std::string names;
    for (const auto& index : test::ReadRows(path, "t").def.logical_indexes) {
        names += index.name + " ";
    }
    EXPECT_EQ(names, "Alpha mid zeta ");
}

// The number of a row within its page is a byte, and 255 is none.
TEST_F(BentFiles, APageTakesNoMoreThan255RowsHoweverShortTheyAre) {
    const std::string path = MakeFile();
    constexpr std::size_t kRows = 1'000;
    {
        Opened opened(path);
        opened.Create("one by one", {Column("flag", "YESNO")});
        opened.Create("in bulk", {Column("flag", "YESNO")});
        const Cell rows[] = {Cell::Boolean(true), Cell::Boolean(false), Cell::Boolean(false)};
        opened.Change("one by one", [&](sql::StoredTable& single) {
            for (std::size_t row = 0; row < kRows; ++row) {
                single.Insert({&rows[row % 3], 1});
            }
        });
        const auto bulk = opened.Table("in bulk");
        for (std::size_t row = 0; row < kRows; ++row) {
            opened.database->InsertRow(*bulk, {&rows[row % 3], 1});
        }
        // Another connection of the process sees every row at once.
        EXPECT_EQ(std::int64_t{kRows}, Opened(path).Table("in bulk")->CountRows());
        opened.file->store->Settle();
    }
    EXPECT_EQ("", Faults(path));
    const test::FileBytes file(path);
    std::size_t fullest = 0;
    for (std::size_t page = 0; page < file.bytes.size(); page += 4096) {
        if (file.bytes[page] == std::byte{static_cast<std::uint8_t>(PageType::Data)}) {
            const auto bytes = ByteSpan(file.bytes).subspan(page, 4096);
            fullest = std::max(fullest, CountSlots(kJet4Layout, bytes));
        }
    }
    EXPECT_EQ(fullest, 255U);
    for (const char* const table : {"one by one", "in bulk"}) {
        const auto content = Content(path, table);
        EXPECT_EQ(content.size(), kRows);
        EXPECT_EQ(std::count(content.begin(), content.end(), "True|"), 334);
    }
}

// A table that is emptied and filled again and again, row by row or at one go, with its index, its
// long texts and rows that are moved twice: the file has reached its size after the first time.
TEST_F(BentFiles, EmptiedPagesAreUsedAgain) {
    for (const bool at_one_go : {false, true}) {
        const std::string path = MakeFile(at_one_go ? "all.accdb" : "single.accdb");
        Opened opened(path);
        opened.Create(
            "t", ColumnsOf("id LONG, name TEXT 200, memo MEMO"), {Index("name", {"name"})});
        const auto table = opened.Table("t");
        const std::string memo(6'000, 'm');
        const auto lengthen = [&](std::size_t length) {
            opened.Statement([&] {
                for (const auto row : RowsOf(*table)) {
                    SetField(*table, row, 1, Cell::Text(std::string(length, 'n')));
                }
            });
            EXPECT_EQ("", Faults(path)) << length;
        };
        std::uintmax_t size = 0;
        for (int round = 0; round < 4; ++round) {
            opened.Statement([&] {
                for (int id = 0; id < 300; ++id) {
                    const std::string name = std::to_string(id) + std::string(150, 'n');
                    table->Insert(std::vector<Cell>{
                        Cell::Int64(id), Cell::Text(name), Cell::Text(id % 10 == 0 ? memo : "")});
                }
            });
            lengthen(175);
            lengthen(200);
            if (round == 0) {
                size = std::filesystem::file_size(path);
            }
            opened.Statement([&] {
                if (at_one_go) {
                    table->DeleteAll();
                    return;
                }
                for (const auto row : RowsOf(*table)) {
                    table->Delete(row);
                }
            });
            EXPECT_EQ("", Faults(path)) << round;
        }
        EXPECT_EQ(std::filesystem::file_size(path), size) << at_one_go;
    }
}

}  // namespace
}  // namespace vantry::access

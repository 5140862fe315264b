// Files of our making, read back value for value by our own reader and by mdbtools.

#include "data/value_text.h"
#include "drivers/access/mdbtools.h"
#include "drivers/access/real_files.h"
#include "drivers/access/writing_fixture.h"

#include <functional>

namespace vantry::access {
namespace {

class WriteRoundTrip : public WithoutSync, public testing::WithParamInterface<const char*> {
protected:
    WriteRoundTrip() : path_(folder_ / (std::string("round trip") + GetParam())) {
        CreateDatabaseFile(path_);
        opened_ = std::make_unique<Opened>(path_);
    }

    void Close() { opened_ = std::make_unique<Opened>(path_); }

    // What mdbtools prints of the table is what our reader reads.
    void ExpectSameInMdbtools(const std::string& table) {
        if (!test::HasMdbtools()) {
            GTEST_SKIP() << "mdbtools isn't there";
        }
        const auto ours = test::ReadRows(path_, table);
        const auto theirs = test::MdbRows(path_, table);
        ASSERT_EQ(ours.rows.size() + 1, theirs.size());
        for (std::size_t row = 0; row < ours.rows.size(); ++row) {
            for (std::size_t column = 0; column < ours.def.columns.size(); ++column) {
                const auto& def = ours.def.columns[column];
                const Cell& cell = ours.rows[row][column].AsCell();
                const auto& printed = theirs[row + 1][column];
                // It prints nothing for an empty text, the last year of all as day 0 of 1900, and
                // question marks for characters of two units.
                if ((cell.IsView() && cell.AsBytes().empty() && !printed) ||
                    (printed && (printed->starts_with("1900-01-00") || printed->ends_with("??")))) {
                    continue;
                }
                EXPECT_TRUE(test::SameAsMdb(cell, def, printed))
                    << def.name << " of row " << row << ": ours " << ToText(cell).substr(0, 80)
                    << ", theirs " << printed.value_or("NULL").substr(0, 80);
            }
        }
    }

    std::string path_;
    std::unique_ptr<Opened> opened_;
};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         WriteRoundTrip,
                         testing::Values(".mdb", ".accdb"),
                         [](const auto& kind) { return std::string(kind.param + 1); });

TEST_P(WriteRoundTrip, EveryTypeKeepsItsEdges) {
    const std::vector<std::byte> bytes(510, std::byte{0xA5});
    const std::vector<std::byte> image(70000, std::byte{0x5A});
    std::string longest(253 * 2, '\0');
    for (std::size_t at = 0; at < longest.size(); at += 2) {
        longest.replace(at, 2, "ä");
    }
    longest += "x€";
    const Int128 big = Int128{9'999'999'999'999} * 1'000'000'000'000'000 + 999'999'999'999'999;
    const auto number = [](std::int64_t value) { return Cell::Int64(value); };
    const auto text = [](std::string_view value) { return Cell::Text(value); };
    const Cell none = Cell::Null();
    // What each of the rows gets, and what is read; "=": the same.
    struct {
        sql::ColumnDefinition column;
        std::vector<Cell> given;
        std::vector<std::string> read;
    } cases[] = {
        // AutoNumber: handed out, given, handed out behind the one given.
        {Column("key", "COUNTER"),
         {Cell(), Cell(), Cell(), number(1000), Cell()},
         {"1", "2", "3", "1000", "1001"}},
        {Column("flag", "YESNO"),
         {Cell::Boolean(true), Cell::Boolean(false), Cell(), none, text("True")},
         {"True", "False", "False", "False", "True"}},
        {Column("byte", "BYTE"),
         {number(255), number(0), Cell(), none, text("7")},
         {"=", "=", "NULL", "NULL", "7"}},
        // Half to even, text in any form.
        {Column("short", "SMALLINT"),
         {number(-32768), number(32767), Cell(), none, Cell::Double(2.5)},
         {"=", "=", "NULL", "NULL", "2"}},
        {Column("long", "LONG"),
         {number(INT32_MIN), number(INT32_MAX), Cell(), none, Cell::Double(3.5)},
         {"=", "=", "NULL", "NULL", "4"}},
        {Column("single", "SINGLE"),
         {Cell::Single(1.5F), Cell::Single(-3.4e38F), Cell(), none, text("0.25")},
         {"=", "=", "NULL", "NULL", "0.25"}},
        {Column("double", "DOUBLE"),
         {Cell::Double(1e300), Cell::Double(-0.0), Cell(), none, text("1e3")},
         {"=", "=", "NULL", "NULL", "1000"}},
        {Column("money", "CURRENCY"),
         {Cell::FromDecimal({-9223372036854775807LL, 4}),
          Cell::FromDecimal({1, 4}),
          Cell(),
          none,
          text("12.34565")},
         {"=", "=", "NULL", "NULL", "12.3456"}},
        {Column("dec", "DECIMAL", 28),
         {Cell::FromDecimal({big, 10}), Cell::FromDecimal({-1, 10}), Cell(), none, text("0.1")},
         {"=", "=", "NULL", "NULL", "0.1000000000"}},
        {Column("when", "DATETIME"),
         {Cell::FromDateTime({2958465, 86399 * kNanosPerSecond}),
          Cell::FromDateTime({-657434, 0}),
          Cell(),
          Cell::FromDateTime({-2, 6 * 3600 * kNanosPerSecond}),
          text("2024-02-29 13:14:15")},
         {"=",
          "=",
          "NULL",
          "=",
          ToText(Cell::FromDateTime({45351, (13 * 3600 + 14 * 60 + 15) * kNanosPerSecond}))}},
        {Column("text", "TEXT", 255),
         {text(longest), text(""), Cell(), text("\xEF\xBB\xBFmark"), number(42)},
         {"=", "=", "NULL", "=", "42"}},
        {Column("fixed", "CHAR", 10),
         {text("abc"), text("äöü"), Cell(), none, Cell::Double(0.5)},
         {"abc       ", "äöü       ", "NULL", "NULL", "0.5       "}},
        {Column("memo", "MEMO"),
         {text("x"), text(""), Cell(), text("日本語 \xF0\x9F\x98\x80"), number(7)},
         {"=", "=", "NULL", "=", "7"}},
        {Column("bin", "BINARY", 510),
         {Cell::Bytes(bytes), Cell::Bytes({}), Cell(), none, text("bytes")},
         {"=", "=", "NULL", "NULL", "bytes"}},
        {Column("ole", "IMAGE"),
         {Cell::Bytes(image), Cell::Bytes({}), Cell(), none, text("image")},
         {"=", "=", "NULL", "NULL", "image"}},
        {Column("guid", "GUID"),
         {text("{01234567-89AB-CDEF-0123-456789ABCDEF}"),
          text("00000000-0000-0000-0000-000000000001"),
          Cell(),
          none,
          none},
         {"=", "{00000000-0000-0000-0000-000000000001}", "NULL", "NULL", "NULL"}}};
    cases[8].column.scale = 10;
    Columns columns;
    for (const auto& c : cases) {
        columns.push_back(c.column);
    }
    opened_->Create("types", columns);
    for (std::size_t row = 0; row < 5; ++row) {
        std::vector<Cell> cells;
        for (const auto& c : cases) {
            cells.push_back(c.given[row]);
        }
        opened_->Insert("types", cells);
    }
    Close();
    EXPECT_EQ("", Faults(path_));
    const auto read = test::ReadRows(path_, "types").rows;
    ASSERT_EQ(5U, read.size());
    for (std::size_t row = 0; row < read.size(); ++row) {
        for (std::size_t column = 0; column < std::size(cases); ++column) {
            const auto& c = cases[column];
            EXPECT_EQ(c.read[row] == "=" ? ToText(c.given[row]) : c.read[row],
                      test::Shown(read[row][column].AsCell()))
                << c.column.name << " of row " << row;
        }
    }
    ExpectSameInMdbtools("types");
}

TEST_P(WriteRoundTrip, ValuesThatDoNotFitAreErrorsWithTheirPlace) {
    auto required = Column("required", "LONG");
    required.not_null = true;
    opened_->Create("Narrow",
                    {Column("byte", "BYTE"),
                     Column("short", "SHORT"),
                     Column("text", "TEXT", 3),
                     Column("money", "CURRENCY"),
                     Column("when", "DATE"),
                     Column("dec", "DECIMAL", 3),
                     Column("bin", "BINARY", 2),
                     Column("guid", "GUID"),
                     required});
    const std::vector<std::byte> three(3);
    const std::vector<std::pair<std::size_t, Cell>> bad = {
        {0, Cell::Int64(256)},
        {0, Cell::Int64(-1)},
        {0, Cell::Text("no number")},
        {1, Cell::Double(32767.5)},
        {1, Cell::Text("40000")},
        {2, Cell::Text("four")},
        {2, Cell::Text("ä€日x")},
        {3, Cell::Double(1e15)},
        {4, Cell::Text("2023-02-29")},
        {4, Cell::Double(3e6)},
        {5, Cell::Int64(1000)},
        {6, Cell::Bytes(three)},
        {7, Cell::Text("{not-a-guid}")},
        {8, Cell::Null()},
    };
    const auto table = opened_->Table("Narrow");
    for (const auto& [column, value] : bad) {
        std::vector<Cell> row(9);
        row[8] = Cell::Int64(1);
        row[column] = value;
        EXPECT_TRUE(Has(ErrorOf([&] { opened_->Insert("Narrow", row); }),
                        "Narrow." + table->Columns()[column].info.name));
    }
    EXPECT_EQ(0, table->CountRows());
    EXPECT_EQ("", Faults(path_));
}

TEST_P(WriteRoundTrip, MemosOfEveryLength) {
    opened_->Create("memos",
                    {Column("n", "LONG"), Column("memo", "MEMO"), Column("ole", "LONGBINARY")});
    const std::size_t lengths[] = {0,    1,    2,     3,      30,
                                   31,   32,   33,    62,     64,
                                   65,   1023, 1024,  1025,   2037,
                                   2038, 2039, 4074,  4076,   4077,
                                   8144, 8145, 50000, 300000, 20 * 1000 * 1000};
    std::string memo;
    for (std::size_t at = 0; memo.size() < lengths[std::size(lengths) - 1]; ++at) {
        memo += std::to_string(at) + (at % 3 == 0 ? "é" : ",");
    }
    const auto part = [&](std::size_t length) { return PrefixOfUtf16Units(memo, length); };
    for (const std::size_t length : lengths) {
        const auto text = part(length);
        opened_->Insert("memos",
                        {Cell::Int64(static_cast<std::int64_t>(length)),
                         Cell::Text(text),
                         Cell::Bytes(std::as_bytes(std::span(text.data(), text.size())))});
    }
    Close();
    EXPECT_EQ("", Faults(path_));
    const auto rows = test::ReadRows(path_, "memos").rows;
    ASSERT_EQ(std::size(lengths), rows.size());
    for (std::size_t row = 0; row < rows.size(); ++row) {
        EXPECT_TRUE(rows[row][1].AsCell().AsText() == part(lengths[row])) << lengths[row];
        EXPECT_TRUE(ToText(rows[row][2].AsCell()) == part(lengths[row])) << lengths[row];
    }
    // The space of a deleted value is used again.
    const auto size = std::filesystem::file_size(path_);
    const auto table = opened_->Table("memos");
    opened_->Statement([&] { table->Delete(RowsOf(*table).back()); });
    opened_->Insert("memos", {Cell::Int64(1), Cell::Text(part(19 * 1000 * 1000)), Cell::Null()});
    EXPECT_LE(std::filesystem::file_size(path_), size + 64 * 4096);
    EXPECT_EQ("", Faults(path_));
}

TEST_P(WriteRoundTrip, TablesThatCanNotBeAreErrors) {
    // A row that is too long for a page.
    const std::string name = "Größe & \"Maß\" (日本)";
    Columns columns;
    for (int column = 0; column < 255; ++column) {
        columns.push_back(Column("Spalte Nr° " + std::to_string(column), "TEXT", 30));
    }
    opened_->Create(name, columns);
    std::string text;
    for (int letter = 0; letter < 30; ++letter) {
        text += "日";
    }
    EXPECT_NE("",
              ErrorOf([&] { opened_->Insert(name, std::vector<Cell>(255, Cell::Text(text))); }));
    columns.push_back(Column("one more", "LONG"));
    const std::pair<const char*, Columns> cases[] = {
        {"too wide", columns},
        {"", {Column("a", "LONG")}},
        {" blank first", {Column("a", "LONG")}},
        {"a.b", {Column("a", "LONG")}},
        {"a[b", {Column("a", "LONG")}},
        {"x!y", {Column("a", "LONG")}},
        {"twice", {Column("a", "LONG"), Column("A", "LONG")}},
        {"no type", {Column("a", "VARCHAR2", 9)}},
        {"no size", {Column("a", "TEXT", 256)}},
    };
    for (const auto& [table, its_columns] : cases) {
        EXPECT_NE("", ErrorOf([&, t = table, &c = its_columns] { opened_->Create(t, c); }))
            << table;
    }
    EXPECT_EQ("", Faults(path_));
}

TEST_P(WriteRoundTrip, ManyRowsThroughTheFastPath) {
    constexpr int kRows = 100000;
    opened_->Create("orders",
                    {Column("id", "LONG"),
                     Column("customer", "TEXT", 40),
                     Column("price", "DOUBLE"),
                     Column("ordered", "DATETIME"),
                     Column("shipped", "YESNO")});
    const auto table = opened_->Table("orders");
    for (int row = 0; row < kRows; ++row) {
        const std::string customer = "Kunde " + std::to_string(row);
        opened_->database->InsertRow(*table,
                                     std::vector<Cell>{Cell::Int64(row),
                                                       Cell::Text(customer),
                                                       Cell::Double(row / 4.0),
                                                       Cell::FromDateTime({40000 + row % 3000, 0}),
                                                       Cell::Boolean(row % 2 == 0)});
    }
    // Another connection of the process sees every row at once.
    EXPECT_EQ(kRows, Opened(path_).Table("orders")->CountRows());
    Close();
    EXPECT_EQ("", Faults(path_));
    const auto rows = test::ReadRows(path_, "orders").rows;
    ASSERT_EQ(static_cast<std::size_t>(kRows), rows.size());
    for (int row = 0; row < kRows; row += 777) {
        EXPECT_EQ("Kunde " + std::to_string(row),
                  ToText(rows[static_cast<std::size_t>(row)][1].AsCell()));
    }
    // Emptied and filled again: the file doesn't grow.
    const auto size = std::filesystem::file_size(path_);
    const auto again = opened_->Table("orders");
    opened_->Statement([&] { EXPECT_EQ(kRows, again->DeleteAll()); });
    EXPECT_EQ("", Faults(path_));
    for (int row = 0; row < kRows; ++row) {
        opened_->database->InsertRow(*again, std::vector<Cell>(5, Cell::Int64(row)));
    }
    opened_->file->store->Settle();
    EXPECT_LE(std::filesystem::file_size(path_), size + 16 * 4096);
    EXPECT_EQ("", Faults(path_));
    opened_->database->DropTable("orders");
    EXPECT_EQ("", Faults(path_));
}

TEST_P(WriteRoundTrip, KeysAndDefaultsHold) {
    auto with_default = Column("city", "TEXT", 20);
    with_default.default_text = "'Köln'";
    auto unique = Index("unique code", {"code"});
    unique.unique = true;
    auto no_null = Index("no null", {"n"});
    no_null.disallow_null = true;
    opened_->Create(
        "keys",
        {Column("id", "LONG"), Column("code", "TEXT", 10), Column("n", "LONG"), with_default},
        {PrimaryKey(), unique, no_null});
    const auto insert = [&](std::vector<Cell> row) {
        return ErrorOf([&] { opened_->Insert("keys", row); });
    };
    EXPECT_EQ("", insert({Cell::Int64(1), Cell::Text("Abc"), Cell::Int64(1), Cell()}));
    EXPECT_NE("", insert({Cell::Int64(1), Cell::Text("x"), Cell::Int64(1), Cell()}));
    EXPECT_NE("", insert({Cell::Int64(2), Cell::Text("aBC"), Cell::Int64(1), Cell()}));
    EXPECT_NE("", insert({Cell::Null(), Cell::Text("y"), Cell::Int64(1), Cell()}));
    EXPECT_NE("", insert({Cell::Int64(3), Cell::Text("y"), Cell::Null(), Cell()}));
    EXPECT_EQ("", insert({Cell::Int64(4), Cell::Null(), Cell::Int64(1), Cell::Null()}));
    EXPECT_EQ("", insert({Cell::Int64(5), Cell::Null(), Cell::Int64(1), Cell::Text("Ulm")}));
    EXPECT_EQ((std::vector<std::string>{"1|Abc|1|Köln|", "4|NULL|1|NULL|", "5|NULL|1|Ulm|"}),
              Content(path_, "keys"));
    // A new unique index over values that are there twice is refused and leaves nothing behind.
    auto twice = Index("twice", {"n"});
    twice.unique = true;
    EXPECT_NE("", ErrorOf([&] { opened_->database->CreateIndex("keys", twice); }));
    opened_->database->CreateIndex("keys", Index("by city", {"-city", "n"}));
    EXPECT_EQ("", insert({Cell::Int64(6), Cell::Null(), Cell::Int64(2), Cell::Text("Aachen")}));
    EXPECT_EQ("", Faults(path_));
}

// Long texts lie on other pages, where an index has to fetch what it needs of them.
TEST_P(WriteRoundTrip, IndexesOfLongMemosStayRight) {
    opened_->Create(
        "notes",
        {Column("id", "LONG"), Column("a", "MEMO"), Column("b", "MEMO"), Column("n", "LONG")},
        {Index("by a", {"a", "-n"})});
    for (int id = 0; id < 40; ++id) {
        const std::string a(static_cast<std::size_t>(id % 4) * 3'000,
                            static_cast<char>('a' + id % 7));
        const std::string b(200, static_cast<char>('z' - id % 5));
        opened_->Insert("notes",
                        {Cell::Int64(id), Cell::Text(a), Cell::Text(b), Cell::Int64(id % 3)});
    }
    const auto table = opened_->Table("notes");
    const std::size_t columns[] = {3};
    const Cell values[] = {Cell::Int64(9)};
    opened_->Statement([&] {
        for (const auto row : RowsOf(*table)) {
            table->Update(row, columns, values);
        }
    });
    EXPECT_EQ("", Faults(path_));
    opened_->database->CreateIndex("notes", Index("both", {"b", "-a"}));
    opened_->Statement([&] {
        for (const auto row : RowsOf(*table)) {
            table->Delete(row);
        }
    });
    EXPECT_EQ("", Faults(path_));
}

// The file that the engine itself made and ours: same pages, same definitions, same rows.
class CreatedDatabase : public test::OnRealFiles {
protected:
    test::TempDir folder_;
};

TEST_F(CreatedDatabase, IsLikeTheEnginesOwn) {
    const auto model = test::kRealFiles / "adox_jet4.mdb";
    const std::string path = folder_ / "new.mdb";
    CreateDatabaseFile(path);
    EXPECT_EQ("", Faults(path));
    EXPECT_EQ(std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
              std::filesystem::status(path).permissions());
    std::filesystem::copy_file(model, folder_ / "model.mdb");
    const std::string ours = folder_.Read("new.mdb");
    const std::string theirs = folder_.Read("model.mdb");
    ASSERT_EQ(theirs.size(), ours.size());
    constexpr std::size_t kPage = 4096;
    const auto same = [&](std::size_t at, std::size_t length) {
        return ours.substr(at, length) == theirs.substr(at, length);
    };
    // Header up to the commit cells, and the whole page of the free pages' map.
    EXPECT_TRUE(same(0, 0xE00));
    EXPECT_TRUE(same(kPage, 16));
    EXPECT_TRUE(same(2 * kPage - 138, 138));
    EXPECT_TRUE(same(6 * kPage, 76));
    constexpr std::size_t kMaps = 31 * 69;
    EXPECT_TRUE(same(7 * kPage - kMaps, kMaps));
    // Index leaves hold the same entries.
    for (const std::size_t page : {7U, 8U, 9U, 10U, 11U, 12U, 13U}) {
        EXPECT_TRUE(same(page * kPage, 4)) << page;
        EXPECT_TRUE(same(page * kPage + 27, 453)) << page;
        const auto free =
            static_cast<std::size_t>(static_cast<unsigned char>(theirs[page * kPage + 2]) +
                                     256 * static_cast<unsigned char>(theirs[page * kPage + 3]));
        EXPECT_TRUE(same(page * kPage + 480, 3616 - free)) << page;
    }
    // Rows: all but the two dates, which are the day of making.
    EXPECT_EQ(Content(model.string(), "MSysACEs"), Content(path, "MSysACEs"));
    EXPECT_NE("", ErrorOf([&] { CreateDatabaseFile(path); }));
}

// A copy that broke off isn't taken for a smaller table, least of all when it is seconds old and
// might be somebody's who adds to it now.
TEST(CutDatabase, TellsThatItsLastPageIsGone) {
    const test::TempDir folder;
    const std::string path = folder / "cut.mdb";
    CreateDatabaseFile(path);
    {
        Opened opened(path);
        opened.Create("t", {Column("a", "TEXT", 255), Column("b", "TEXT", 255)});
        const std::string text(255, 'a');
        for (int row = 0; row < 20; ++row) {
            opened.Insert("t", {Cell::Text(text), Cell::Text(text)});
        }
    }
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 1);
    Opened opened(path);
    const auto table = opened.Table("t");
    EXPECT_TRUE(Has(ErrorOf([&] { (void)table->CountRows(); }), "lies behind the file's end"));
    const auto scan = table->Scan(std::vector<std::size_t>{0});
    EXPECT_THROW(while (scan->Next()){}, DataError);
}

// A run that empties its target first would else take the whole database away.
TEST(EnginesTables, AreKeptFromChanges) {
    const test::TempDir folder;
    const std::string path = folder / "own.mdb";
    CreateDatabaseFile(path);
    Opened opened(path);
    const auto objects = opened.Table("MSysObjects");
    const std::vector<std::size_t> columns{0};
    const std::vector<Cell> values{Cell::Int64(1)};
    const auto row = RowsOf(*objects).front();
    const std::vector<std::function<void()>> changes{
        [&] { objects->DeleteAll(); },
        [&] { objects->Delete(row); },
        [&] { objects->Update(row, columns, values); },
        [&] { objects->Insert(std::vector<Cell>(objects->Columns().size())); },
        [&] { opened.database->CreateIndex("MSysObjects", Index("i", {"Type"})); },
        [&] { opened.database->DropTable("MSysObjects"); }};
    for (const auto& change : changes) {
        EXPECT_TRUE(
            Has(ErrorOf([&] { opened.Statement(change); }), "'MSysObjects' can't be changed"));
    }
    EXPECT_EQ("", Faults(path));
}

}  // namespace
}  // namespace vantry::access

// Files of our making, read back value for value.

#include "data/utf.h"
#include "data/value_text.h"
#include "drivers/access/file_bytes.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/writing_fixture.h"

#include <sys/stat.h>

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

    std::string path_;
    std::unique_ptr<Opened> opened_;
};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         WriteRoundTrip,
                         testing::Values(".mdb", ".accdb"),
                         [](const auto& kind) { return std::string(kind.param + 1); });

// Random tables show that plain values come back; here is what is made into another form.
TEST_P(WriteRoundTrip, ValuesTakeTheFormOfTheirColumn) {
    const std::vector<std::byte> bytes(510, std::byte{0xA5});
    const std::vector<std::byte> image(70000, std::byte{0x5A});
    const Int128 big = Int128{9'999'999'999'999} * 1'000'000'000'000'000 + 999'999'999'999'999;
    const auto number = [](std::int64_t value) { return Cell::Int64(value); };
    const auto text = [](std::string_view value) { return Cell::Text(value); };
    // What two rows get, and what is read; "=": the same. A third row gets nothing.
    struct {
        const char* column;
        std::vector<Cell> given;
        std::vector<std::string> read;
    } const cases[] = {
        // Half to even, text in any form.
        {"dec DECIMAL 28",
         {text("0.1"), Cell::FromDecimal({big, 10}), Cell()},
         {"0.1", "=", "NULL"}},
        // AutoNumber: handed out, given, handed out behind the one given.
        {"key COUNTER", {Cell(), number(1000), Cell()}, {"1", "1000", "1001"}},
        {"flag YESNO", {Cell::Null(), text("True"), Cell()}, {"False", "True", "False"}},
        {"byte BYTE", {text("7"), Cell::Null(), Cell()}, {"7", "NULL", "NULL"}},
        {"short SMALLINT", {Cell::Double(2.5), text("-9"), Cell()}, {"2", "-9", "NULL"}},
        {"long LONG", {Cell::Double(3.5), text(" 8 "), Cell()}, {"4", "8", "NULL"}},
        {"single SINGLE", {text("0.25"), number(3), Cell()}, {"0.25", "3", "NULL"}},
        {"double DOUBLE", {text("1e3"), Cell::Double(-0.0), Cell()}, {"1000", "=", "NULL"}},
        {"money CURRENCY",
         {text("12.34565"), Cell::FromDecimal({-9223372036854775807LL, 4}), Cell()},
         {"12.3456", "=", "NULL"}},
        {"when DATETIME",
         {text("2024-02-29"), Cell::FromDateTime({-2, 6 * 3600 * kNanosPerSecond}), Cell()},
         {ToText(Cell::FromDateTime({45351, 0})), "=", "NULL"}},
        // Cut to the millisecond, or the last instant of a day would be one of the next.
        {"last DATETIME",
         {Cell::FromDateTime({2'958'465, kNanosPerDay - 100}),
          Cell::FromDateTime({-2, kNanosPerDay - 100}),
          Cell()},
         {ToText(Cell::FromDateTime({2'958'465, kNanosPerDay - 1'000'000})),
          ToText(Cell::FromDateTime({-2, kNanosPerDay - 1'000'000})),
          "NULL"}},
        {"text TEXT 255", {number(42), text("\xEF\xBB\xBFmark"), Cell()}, {"42", "=", "NULL"}},
        {"fixed CHAR 10",
         {Cell::Double(0.5), text("äöü"), Cell()},
         {"0.5       ", "äöü       ", "NULL"}},
        {"memo MEMO", {number(7), text("日本語 \xF0\x9F\x98\x80"), Cell()}, {"7", "=", "NULL"}},
        {"bin BINARY 510", {text("bytes"), Cell::Bytes(bytes), Cell()}, {"bytes", "=", "NULL"}},
        {"ole IMAGE", {text("image"), Cell::Bytes(image), Cell()}, {"image", "=", "NULL"}},
        {"guid GUID",
         {text("{01234567-89AB-CDEF-0123-456789ABCDEF}"),
          text("00000000-0000-0000-0000-000000000001"),
          Cell()},
         {"=", "{00000000-0000-0000-0000-000000000001}", "NULL"}}};
    Columns columns;
    for (const auto& c : cases) {
        columns.push_back(ColumnsOf(c.column)[0]);
    }
    columns[0].scale = 10;
    opened_->Create("types", columns);
    for (std::size_t row = 0; row < 3; ++row) {
        std::vector<Cell> cells;
        for (const auto& c : cases) {
            cells.push_back(c.given[row]);
        }
        opened_->Insert("types", cells);
    }
    Close();
    EXPECT_EQ("", Faults(path_));
    const auto read = test::ReadRows(path_, "types").rows;
    ASSERT_EQ(3U, read.size());
    for (std::size_t row = 0; row < read.size(); ++row) {
        for (std::size_t column = 0; column < std::size(cases); ++column) {
            const auto& c = cases[column];
            EXPECT_EQ(c.read[row] == "=" ? ToText(c.given[row]) : c.read[row],
                      test::Shown(read[row][column].AsCell()))
                << c.column << " of row " << row;
        }
    }
}

// A reader that takes every zero byte behind the mark for a switch between bytes and pairs, as some
// do, and not only those at a pair's start.
std::u16string TextByAnyZero(ByteSpan stored) {
    std::u16string units;
    bool pairs = false;
    for (std::size_t at = 2; at < stored.size(); ++at) {
        const auto low = std::to_integer<unsigned>(stored[at]);
        if (low == 0) {
            pairs = !pairs;
        } else if (!pairs) {
            units.push_back(static_cast<char16_t>(low));
        } else if (++at < stored.size()) {
            const auto high = std::to_integer<unsigned>(stored[at]);
            units.push_back(high == 0 ? u'?' : static_cast<char16_t>(low | high << 8));
        }
    }
    return units;
}

TEST_P(WriteRoundTrip, TextThatBeginsWithAByteOrderMarkIsReadByOthers) {
    opened_->Create("marks", {Column("t", "TEXT", 255), Column("m", "MEMO")});
    std::vector<std::string> texts;
    for (const std::string text :
         {"", "abc", "привет", "ab привет é 日本 c", "x\xF0\x9F\x98\x81y"}) {
        texts.push_back("\uFEFF" + text);
        opened_->Insert("marks", {Cell::Text(texts.back()), Cell::Text(texts.back())});
    }
    texts.push_back("\uFEFF" + std::string(3'000, 'm'));
    opened_->Insert("marks", {Cell::Null(), Cell::Text(texts.back())});
    Close();
    const auto source = OpenReadOnly(path_);
    ObjectCatalog catalog(*source);
    const TableDef def = catalog.ReadTable(*catalog.Find("marks"));
    RowScanner scanner(*source, def);
    for (const std::string& text : texts) {
        ASSERT_TRUE(scanner.Next());
        const RowView row(def, source->GetLayout(), scanner.Row());
        for (const ColumnDef& column : def.columns) {
            if (auto stored = row.Field(column)) {
                LongValueReader reader(*source);
                EXPECT_EQ(Utf8FromUtf16(
                              TextByAnyZero(column.IsLongValue() ? reader.Read(*stored) : *stored)),
                          text);
            }
        }
    }
}

void EmptyColumnMaps(PageStore& store, const TableDef& def) {
    for (const ColumnDef& column : def.columns) {
        if (!column.has_maps) {
            continue;
        }
        for (const RowPointer row : {column.owned_map, column.free_map}) {
            UsageMapWriter map(store, row);
            while (const auto page = map.Next(0, store.PageCount())) {
                map.Remove(*page);
            }
        }
    }
}

// Files made elsewhere have pages of long values that no list of the column names.
TEST_P(WriteRoundTrip, LongValuesThatNoListHasAreGivenBack) {
    const std::string text(1'500, 'a');                           // a row of a shared page
    const std::vector<std::byte> image(20'000, std::byte{0x11});  // a chain of pages
    for (const std::string way : {"one by one", "all at once", "with the table"}) {
        SCOPED_TRACE(way);
        opened_->Create("notes", ColumnsOf("id LONG, text MEMO, image IMAGE"));
        for (int id = 0; id < 30; ++id) {
            opened_->Insert("notes", {Cell::Int64(id), Cell::Text(text), Cell::Bytes(image)});
        }
        auto& catalog = opened_->file->catalog;
        const TableDef def = catalog.ReadTable(*catalog.Find("notes"));
        opened_->Statement([&] { EmptyColumnMaps(*opened_->file->store, def); });
        EXPECT_TRUE(Has(Faults(path_), "isn't in the column's map"));
        EXPECT_FALSE(Has(Faults(path_), "belongs to nobody"));
        const auto table = opened_->Table("notes");
        opened_->Statement([&] {
            if (way == "one by one") {
                for (const sql::RowId row : RowsOf(*table)) {
                    table->Delete(row);
                }
            } else if (way == "all at once") {
                EXPECT_EQ(table->DeleteAll(), 30);
            }
        });
        opened_->database->DropTable("notes");
        EXPECT_EQ("", Faults(path_));
    }
}

TEST_P(WriteRoundTrip, ValuesThatDoNotFitAreErrorsWithTheirPlace) {
    auto columns = ColumnsOf(
        "byte BYTE, short SHORT, text TEXT 3, money CURRENCY, when DATE, dec DECIMAL 3, "
        "bin BINARY 2, guid GUID, required LONG");
    columns[8].not_null = true;
    opened_->Create("Narrow", columns);
    const std::vector<std::byte> three(3);
    const auto text = [](const char* value) { return Cell::Text(value); };
    const std::pair<const char*, std::vector<Cell>> bad[] = {
        {"byte", {Cell::Int64(256), Cell::Int64(-1), text("no number")}},
        {"short", {Cell::Double(32767.5), text("40000")}},
        {"text", {text("four"), text("ä€日x")}},
        {"money", {Cell::Double(1e15)}},
        {"when", {text("2023-02-29"), Cell::Double(3e6)}},
        {"dec", {Cell::Int64(1000)}},
        {"bin", {Cell::Bytes(three)}},
        {"guid", {text("{not-a-guid}")}},
        {"required", {Cell::Null()}},
    };
    const auto table = opened_->Table("Narrow");
    for (std::size_t column = 0; column < std::size(bad); ++column) {
        for (const Cell& value : bad[column].second) {
            std::vector<Cell> row(9);
            row[8] = Cell::Int64(1);
            row[column] = value;
            EXPECT_TRUE(Has(ErrorOf([&] { opened_->Insert("Narrow", row); }),
                            std::string("Narrow.") + bad[column].first));
        }
    }
    EXPECT_EQ(0, table->CountRows());
    EXPECT_EQ("", Faults(path_));
}

TEST_P(WriteRoundTrip, MemosOfEveryLength) {
    opened_->Create("memos", ColumnsOf("n LONG, memo MEMO, ole LONGBINARY"));
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
    EXPECT_NE("", ErrorOf([&] { opened_->Create("too wide", columns); }));
    for (const char* const table : {"", " blank first", "a.b", "a[b", "x!y"}) {
        EXPECT_NE("", ErrorOf([&] { opened_->Create(table, ColumnsOf("a LONG")); })) << table;
    }
    for (const char* const wrong : {"a LONG, A LONG", "a VARCHAR2 9", "a TEXT 256"}) {
        EXPECT_NE("", ErrorOf([&] { opened_->Create("wrong", ColumnsOf(wrong)); })) << wrong;
    }
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

// What a killed load wrote before its first commit stays behind the file's end, also where the map
// of free pages doesn't reach.
TEST_P(WriteRoundTrip, PagesThatAKilledLoadLeftAreUsed) {
    opened_->Create("bulk", {Column("text", "TEXT", 255)});
    opened_.reset();
    std::filesystem::resize_file(path_, 900 * 4096);
    opened_ = std::make_unique<Opened>(path_);
    const std::string text(250, 'b');
    const auto fill = [&](int rows) {
        opened_->Change("bulk", [&](sql::StoredTable& table) {
            for (int row = 0; row < rows; ++row) {
                table.Insert(std::vector<Cell>{Cell::Text(text)});
            }
        });
    };
    fill(1);
    EXPECT_EQ("", Faults(path_));
    fill(5'000);
    EXPECT_EQ("", Faults(path_));
    EXPECT_EQ(std::filesystem::file_size(path_), 901U * 4096);  // with the map's new page
}

// What a change stumbles over is told as damage, wherever it lies.
TEST_P(WriteRoundTrip, ChangesOfADamagedFileAreRefused) {
    opened_->Create("t", {Column("id", "LONG"), Column("n", "LONG")});
    for (int id = 0; id < 3; ++id) {
        opened_->Insert("t", {Cell::Int64(id), Cell::Int64(id)});
    }
    const auto row = RowsOf(*opened_->Table("t")).front();
    opened_.reset();
    test::FileBytes file(path_);
    const auto page = UnpackRowPointer(static_cast<std::uint32_t>(row)).page;
    file.Put(std::size_t{page} * 4096 + 14, std::uint16_t{4095});  // the first row has one byte
    const std::u16string name = u"DateUpdate";
    const auto* const wanted = reinterpret_cast<const std::byte*>(name.data());
    const auto found = std::search(file.bytes.begin() + std::ptrdiff_t{2} * 4096,
                                   file.bytes.begin() + std::ptrdiff_t{3} * 4096,
                                   wanted,
                                   wanted + 2 * name.size());
    *found = std::byte{'X'};
    file.Save(path_);

    opened_ = std::make_unique<Opened>(path_);
    const auto table = opened_->Table("t");
    const std::function<void()> changes[] = {
        [&] { opened_->database->CreateIndex("t", Index("n", {"n"})); },
        [&] { opened_->Create("u", {Column("a", "LONG")}); },
        [&] { opened_->Statement([&] { SetField(*table, row, 1, Cell::Int64(9)); }); },
    };
    for (const auto& change : changes) {
        EXPECT_TRUE(Has(ErrorOf(change), "is damaged"));
    }
}

// Pages and rows are the engine's own: the sum is that of a file of its making, over the header up
// to the commit cells, the map of free pages, the rows of the pages' maps, the entries of the index
// leaves, and the rights to all objects.
TEST(NewDatabase, IsLikeTheEnginesOwnAndNeverPutOverAFile) {
    const test::TempDir folder;
    const std::string path = folder / "new.mdb";
    const mode_t former = ::umask(027);
    CreateDatabaseFile(path);
    ::umask(former);
    EXPECT_EQ(test::ModeOf(path), 0640U);
    EXPECT_EQ("", Faults(path));
    EXPECT_NE("", ErrorOf([&] { CreateDatabaseFile(path); }));
    const std::string bytes = folder.Read("new.mdb");
    constexpr std::size_t kPage = 4096;
    constexpr std::size_t kMaps = 31 * 69;
    std::string same = bytes.substr(0, 0xE00) + bytes.substr(kPage, 16) +
                       bytes.substr(2 * kPage - 138, 138) + bytes.substr(6 * kPage, 76) +
                       bytes.substr(7 * kPage - kMaps, kMaps);
    for (std::size_t at = 7 * kPage; at < 14 * kPage; at += kPage) {
        const std::size_t free = static_cast<unsigned char>(bytes[at + 2]) +
                                 256U * static_cast<unsigned char>(bytes[at + 3]);
        same += bytes.substr(at, 4) + bytes.substr(at + 27, 453 + 3616 - free);
    }
    for (const auto& row : Content(path, "MSysACEs")) {
        same += row;
    }
    std::uint64_t sum = 0xCBF29CE484222325;
    for (const char byte : same) {
        sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }
    EXPECT_EQ(sum, 0x70C26A438E5C403U);
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
    const auto row = RowsOf(*objects).front();
    const std::vector<std::function<void()>> changes{
        [&] { objects->DeleteAll(); },
        [&] { objects->Delete(row); },
        [&] { SetField(*objects, row, 0, Cell::Int64(1)); },
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

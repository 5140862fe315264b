// Tables that we make and fill, to the ends of what the format allows, read back by us and by an
// independent reader, and the bytes that the format fixes.

#include "drivers/foxpro/reading.h"

#include <random>
#include <tuple>

namespace vantry::foxpro {
namespace {

class WritingTest : public TableTest {};

// Bytes that the format fixes.
TEST_F(WritingTest, ANewTableHasTheHeaderOfItsKind) {
    const auto hex = [this](const std::string& file, std::size_t at, std::size_t count) {
        return HexOf(folder_.Read(file).substr(at, count));
    };
    Run("CREATE TABLE plain (id I, name C(50) NOT NULL)", "CodePage=1252;Null=No");
    EXPECT_EQ(hex("plain.dbf", 0, 1), "30");
    EXPECT_EQ(hex("plain.dbf", 8, 4), "68013700") << "length of the header and of a record";
    EXPECT_EQ(hex("plain.dbf", 28, 2), "0003") << "sidecars, code page";
    EXPECT_EQ(hex("plain.dbf", 32, 19), "4944" + std::string(18, '0') + "49" + "01000000040004");
    EXPECT_EQ(hex("plain.dbf", 64 + 12, 5), "0500000032") << "place and length of NAME";
    EXPECT_EQ(hex("plain.dbf", 96, 9999), "0d" + std::string(2 * 263, '0') + "1a");

    Run("CREATE TABLE flags (a I AUTOINC NEXTVALUE 7 STEP 2, v V(10) NULL, m M NOT NULL)");
    EXPECT_EQ(hex("flags.dbf", 0, 1) + hex("flags.dbf", 28, 1), "3202");
    EXPECT_EQ(hex("flags.dbf", 32 + 18, 6), "0c0700000002");
    EXPECT_EQ(folder_.Read("flags.dbf").substr(128, 12),
              std::string("_NullFlags\0"
                          "0",
                          12));
    EXPECT_EQ(hex("flags.dbf", 128 + 18, 1), "05");
    EXPECT_EQ(hex("flags.fpt", 0, 9999), "0000000800000040" + std::string(2 * 504, '0'));
    // No field takes 255 characters, a memo does.
    Run("CREATE TABLE wide (a C(255))");
    EXPECT_EQ(folder_.Read("wide.dbf")[32 + 11], 'M');
    Run("CREATE TABLE counted (a I AUTOINC)");
    EXPECT_EQ(hex("counted.dbf", 0, 1), "31");
}

TEST_F(WritingTest, EveryTypeComesBackAsItWas) {
    Run("CREATE TABLE everything (c C(12), cb C(4) NOCPTRANS, v V(9), q Q(5), n N(12,3), f F(20), "
        "y Y, i I, b B(4), l L, d D, t T, m M, mb M NOCPTRANS, g G, w W)");
    const auto connection = Connect(folder_.Path());
    const std::string raw("\0\x1A\xFF\x80", 4);
    const auto bytes = Cell::Bytes(std::as_bytes(std::span(raw)));
    const std::string long_text = std::string(70'000, 'x') + " é €";
    connection
        ->Prepare(
            "INSERT INTO everything VALUES ('Zoë €', ?, 'two  ', ?, -12345.678, "
            "'12345678901234567890', -922337203685477.5807, -2147483647, ?, .T., ?, "
            "{^2000-01-01 12:34:56}, ?, ?, ?, ?)",
            {})
        ->Execute(std::vector<Cell>{bytes,
                                    bytes,
                                    Cell::Double(4.9e-324),
                                    Cell::FromDateTime({kMinDay, 0}),
                                    Cell::Text(long_text),
                                    bytes,
                                    bytes,
                                    bytes});
    connection->Prepare("INSERT INTO everything VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)", {})
        ->Execute(std::vector<Cell>(16, Cell::Null()));
    connection
        ->Prepare(
            "INSERT INTO everything VALUES ('', 'four', 'full  999', '12345', 0.0005, -1, "
            "0.00005, '17', '1e3', .F., ?, ?, '', 'm', NULL, NULL)",
            {})
        ->Execute(std::vector<Cell>{Cell::FromDateTime({kMaxDay, 1}),
                                    Cell::FromDateTime({5, kNanosPerDay - 1})});
    connection->Settle();
    EXPECT_TRUE(RowOf("SELECT * FROM everything") ==
                "Zoë €|" + raw + "|two  |" + raw +
                    "|-12345.678|12345678901234567890|-922337203685477.5807|-2147483647|5E-324|"
                    "True|0001-01-01|2000-01-01 12:34:56|" +
                    long_text + "|" + raw + "|" + raw + "|" + raw);
    EXPECT_EQ(RowsOf(*connection, "SELECT * FROM everything")[1],
              "null\tnull\tnull\tnull\tnull\tnull\tnull\tnull\tnull\tnull\tnull\tnull\tnull\tnull\t"
              "null\tnull");
    EXPECT_EQ(RowOf("SELECT * FROM everything", 2),
              "|four|full  999|12345|0.001|-1|0.0001|17|1000|False|9999-12-31|1900-01-05||m|NULL|"
              "NULL");
    ExpectSound("everything");
}

// What a field can't hold refuses the row, names the field, and leaves the table as it was.
TEST_F(WritingTest, WhatDoesntFitIsAnErrorOfItsRow) {
    Run("CREATE TABLE narrow (c C(3) NOT NULL, n N(5,2), i I, d D, l L, y Y, m M)",
        "CodePage=1252");
    Run("INSERT INTO narrow (c) VALUES ('abc')");
    const auto before = folder_.Read("narrow.dbf");
    const std::pair<const char*, const char*> rows[] = {
        {"(c) VALUES ('abcd')", "4 bytes for a width of 3. Make the field wider, or a memo."},
        {"(c) VALUES (NULL)", "does not accept null values"},
        {"(c) VALUES ('日')", "code page 1252"},
        {"(c, m) VALUES ('a', 'x日')", "'日' for the field 'M'"},
        {"(c, n) VALUES ('a', 123.45)", "too many digits for N(5,2)"},
        {"(c, n) VALUES ('a', -10.005)", "too many digits"},
        {"(c, n) VALUES ('a', 'many')", "'many'"},
        {"(c, i) VALUES ('a', 2147483648)", "outside the range"},
        {"(c, y) VALUES ('a', 922337203685477.5808)", "outside the range of a currency"},
        {"(c, nosuch) VALUES ('a', 1)", "nosuch"},
    };
    for (const auto& [values, says] : rows) {
        Refused(std::string("INSERT INTO narrow ") + values, says);
    }
    EXPECT_EQ(folder_.Read("narrow.dbf"), before);
    Run("INSERT INTO narrow (c, n) VALUES ('ab ', -0.004)");
    EXPECT_EQ(RowOf("SELECT c, n FROM narrow", 1), "ab|0.00");
    Run("INSERT INTO narrow (c, n) VALUES ('abc   ', -9.985)");
    EXPECT_EQ(RowOf("SELECT c, n FROM narrow", 2), "abc|-9.99");
    ExpectSound("narrow");
}

TEST_F(WritingTest, NumbersAreHandedOutOnce) {
    Run("CREATE TABLE counted (a I AUTOINC NEXTVALUE 5 STEP 3, b C(5))");
    for (const auto* values :
         {"(b) VALUES ('x')", "(b) VALUES ('y')", "(a, b) VALUES (40, 'z')", "(b) VALUES ('w')"}) {
        Run(std::string("INSERT INTO counted ") + values);
    }
    EXPECT_EQ(RowsOf(*Connect(folder_.Path()), "SELECT a FROM counted"),
              (Rows{"5", "8", "40", "43"}));
    // A row that is refused within a batch takes none.
    const auto connection = Connect(folder_.Path());
    connection->ExpectManyRows();
    const auto insert = connection->Prepare("INSERT INTO counted (b) VALUES (?)", {});
    insert->Execute(std::vector<Cell>{Cell::Text("v")});
    EXPECT_THROW(insert->Execute(std::vector<Cell>{Cell::Text("longer")}), DataError);
    insert->Execute(std::vector<Cell>{Cell::Text("u")});
    connection->Settle();
    EXPECT_EQ(RowsOf(*connection, "SELECT a FROM counted WHERE a > 43"), (Rows{"46", "49"}));
    ExpectSound("counted");
}

TEST_F(WritingTest, AMemoIsKeptThoughTheHeaderNamesItsBlockAsFree) {
    Run("CREATE TABLE t (m M)");
    Run("INSERT INTO t VALUES ('first')");
    auto memos = folder_.Read("t.fpt");
    memos[3] = 8;  // the first block behind the header
    folder_.Write("t.fpt", memos);
    Run("INSERT INTO t VALUES ('other')");
    EXPECT_EQ(RowsOf(*Connect(folder_.Path()), "SELECT m FROM t"),
              (Rows{"6669727374", "6f74686572"}));  // both, in hexadecimal digits
}

TEST_F(WritingTest, ChangesAndDeletionsKeepTheRest) {
    Run("CREATE TABLE t (id I, name C(20), note M)");
    const auto connection = Connect(folder_.Path());
    const auto insert = connection->Prepare("INSERT INTO t VALUES (?,?,?)", {});
    for (int id = 1; id <= 500; ++id) {
        const std::string text(static_cast<std::size_t>(id % 7 * 100), 'n');
        insert->Execute(std::vector<Cell>{Cell::Int64(id), Cell::Text("name"), Cell::Text(text)});
    }
    connection->Execute("UPDATE t SET note = 'changed', name = 'new' WHERE id <= 100");
    connection->Execute("DELETE FROM t WHERE id > 450");
    EXPECT_EQ(RowsOf(*connection, "SELECT count(*) FROM t"), Rows{"450"});
    EXPECT_EQ(RowOf("SELECT name, note FROM t WHERE id = 100"), "new|changed");
    EXPECT_EQ(RowOf("SELECT name FROM t WHERE id = 101"), "name");
    EXPECT_EQ(RowsOf(*Connect(folder_.Path(), "Deleted=No"), "SELECT count(*) FROM t"),
              Rows{"500"});
    ExpectSound("t");
    connection->Execute("DELETE FROM t");
    EXPECT_EQ(std::filesystem::file_size(folder_ / "t.fpt"), 512U);
    connection->Execute("INSERT INTO t VALUES (1, 'a', 'b')");
    EXPECT_EQ(RowOf("SELECT * FROM t"), "1|a|b");
    ExpectSound("t");
    connection->Execute("DROP TABLE t");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

// Random rows of the types that the independent reader knows, in code pages of all families.
TEST_F(WritingTest, AnIndependentReaderSeesTheSameRows) {
    if (!HasDbfread()) {
        GTEST_SKIP() << "The Debian package python3-dbfread isn't installed.";
    }
    const std::tuple<int, const char*, const char*> pages[] = {{1252, "cp1252", "äÖß€é"},
                                                               {1251, "cp1251", "ЖяЩ"},
                                                               {437, "cp437", "éÄ½"},
                                                               {932, "cp932", "日本語"},
                                                               {949, "cp949", "한국"}};
    std::mt19937 random(3);
    for (const auto& [code_page, encoding, letters] : pages) {
        const std::string table = "cp" + std::to_string(code_page);
        const std::string more = "CodePage=" + std::to_string(code_page);
        const auto connection = Connect(folder_.Path(), more);
        connection->Execute("CREATE TABLE " + table +
                            " (c C(40) NOT NULL, n N(14,3) NOT NULL, i I NOT NULL, b B NOT NULL, y "
                            "Y NOT NULL, l L NOT NULL, d D NOT NULL, t T NOT NULL, m M NOT NULL)");
        const auto insert =
            connection->Prepare("INSERT INTO " + table + " VALUES (?,?,?,?,?,?,?,?,?)", {});
        for (int row = 0; row < 200; ++row) {
            const std::string text = letters + std::to_string(random());
            std::string memo;
            for (auto words = random() % 40; words > 0; --words) {
                memo += letters + std::string(" and ");
            }
            memo += "end";
            const auto day = static_cast<std::int32_t>(random() % 100'000);
            insert->Execute(std::vector<Cell>{
                Cell::Text(text),
                Cell::FromDecimal({static_cast<Int128>(random()) - (1U << 31), 3}),
                Cell::Int64(static_cast<std::int32_t>(random())),
                Cell::Double(static_cast<double>(random()) / 3),
                Cell::FromDecimal({static_cast<Int128>(random()) * 1000, 4}),
                Cell::Boolean(random() % 2 == 0),
                Cell::FromDateTime({day, 0}),
                Cell::FromDateTime(
                    {day, static_cast<std::int64_t>(random() % 86'400) * kNanosPerSecond}),
                Cell::Text(memo)});
        }
        connection->Settle();
        const auto ours = RowsOf(*Connect(folder_.Path()), "SELECT * FROM " + table);
        const auto theirs = RowsByDbfread(folder_ / (table + ".dbf"), encoding);
        ASSERT_EQ(ours.size(), 200U);
        EXPECT_EQ(ours, theirs) << table;
        ExpectSound(table);
    }
}

TEST_F(WritingTest, DefinitionsThatNoTableHasAreRefused) {
    const std::pair<const char*, const char*> tables[] = {
        {"a C(0)", "1 to 254"},
        {"a Q(255)", "1 to 254"},
        {"a N(21)", "1 to 20"},
        {"a N(5,5)", "0 to 4"},
        {"a XYZ", "'XYZ'"},
        {"elevenchars I", "more than 10"},
        {"[a b] I", "another name"},
        {"a C(5), A I", "already exists"},
        {"a I NOCPTRANS", "holds no text"},
    };
    for (const auto& [fields, says] : tables) {
        Refused(std::string("CREATE TABLE bad (") + fields + ")", says);
    }
    Refused("CREATE TABLE bad (a I)", "1258", "CodePage=1258");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
    folder_.Write("kept.fpt", std::string(2000, 'x'));
    Refused("CREATE TABLE kept (m M)", "kept.fpt");
    EXPECT_EQ(folder_.Read("kept.fpt"), std::string(2000, 'x'));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "kept.dbf"));
}

TEST_F(WritingTest, ARecordHasTheBytesThatTheFormatFixes) {
    const auto connection = Connect(folder_.Path(), "CodePage=1252");
    connection->Execute(
        "CREATE TABLE b (q Q(4) NULL, v V(6) NULL, w V(4) NOT NULL, i I NOT NULL, t T NOT NULL, d "
        "D NOT NULL, l L NOT NULL, n N(8,2) NOT NULL, y Y NOT NULL, b B NOT NULL, c C(4) NULL)");
    const std::string four("\0\x20\xFF\x7F", 4);
    const auto insert = connection->Prepare("INSERT INTO b VALUES (?,?,?,?,?,?,?,?,?,?,?)", {});
    insert->Execute(std::vector<Cell>{Cell::Bytes(std::as_bytes(std::span(four))),
                                      Cell::Text("été"),
                                      Cell::Text(""),
                                      Cell::Int64(10248),
                                      Cell::FromDateTime({34659, 48'939 * kNanosPerSecond}),
                                      Cell::FromDateTime({34659, 0}),
                                      Cell::Boolean(true),
                                      Cell::FromDecimal({-123, 2}),
                                      Cell::FromDecimal({-1, 4}),
                                      Cell::Double(1.5),
                                      Cell::Null()});
    connection->Settle();
    const auto file = folder_.Read("b.dbf");
    const auto record = file.substr(296 + 32 * 12);
    // Bits: 0 short Q, 1 null Q, 2 short V, 3 null V, 4 short W, 5 null C.
    EXPECT_EQ(
        HexOf(record),
        HexOf(" " + four + "\xE9t\xE9  \x03" + std::string("   \0", 4) +
              std::string("\x08\x28\0\0", 4) + std::string("\x0E\x61\x25\0\xF8\xBF\xEA\x02", 8) +
              "19941121T   -1.23" + std::string(8, '\xFF') +
              std::string("\0\0\0\0\0\0\xF8\x3F", 8) + "    " + "\x34\x1A"));
    ExpectSound("b");
}

TEST_F(WritingTest, TheWidestTablesAndAnEmptyOneAreReadByOthers) {
    const auto connection = Connect(folder_.Path(), "CodePage=1252");
    std::string nullable;
    std::string values;
    for (int k = 1; k <= 254; ++k) {
        nullable += (k == 1 ? "f" : ", f") + std::to_string(k) + " C(254)";
        values += (k == 1 ? "'v" : ", 'v") + std::to_string(k) + "'";
    }
    connection->Execute("CREATE TABLE wide (" + nullable + ")");
    EXPECT_EQ(RowsOf(*connection, "SELECT * FROM wide"), Rows());
    if (HasDbfread()) {
        EXPECT_EQ(RowsByDbfread(folder_ / "wide.dbf"), Rows());
    }
    connection->Execute("INSERT INTO wide VALUES (" + values + ")");
    const auto rows = RowsOf(*Connect(folder_.Path()), "SELECT * FROM wide");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].substr(0, 5), HexOf("v1") + "\t");
    EXPECT_TRUE(rows[0].ends_with("\t" + HexOf("v254")));
    if (HasDbfread()) {
        EXPECT_EQ(RowsByDbfread(folder_ / "wide.dbf"), rows);
    }
    ExpectSound("wide");
    // One more has room only where no null flags are needed.
    EXPECT_THROW(connection->Execute("CREATE TABLE wider (" + nullable + ", f255 C(1))"),
                 DataError);
    Connect(folder_.Path(), "Null=No")->Execute("CREATE TABLE wider (" + nullable + ", f255 C(1))");
    ExpectSound("wider");
}

// Around the borders of blocks, and large ones in one transaction with small ones.
TEST_F(WritingTest, MemosOfEverySizeComeBack) {
    const auto connection = Connect(folder_.Path(), "CodePage=1252");
    connection->Execute("CREATE TABLE memos (n N(10) NOT NULL, m M NOT NULL, w W NOT NULL)");
    const auto insert = connection->Prepare("INSERT INTO memos VALUES (?,?,?)", {});
    const auto content = [](std::size_t size) {
        std::string bytes(size, '\0');
        for (std::size_t k = 0; k < size; ++k) {
            bytes[k] = static_cast<char>(32 + (k * 7 + size) % 90);
        }
        return bytes;
    };
    const std::vector<std::size_t> sizes = {
        0, 1, 55, 56, 57, 120, 121, 503, 504, 505, 65'535, 262'144, 262'137, 1'000'000, 20'000'000};
    for (const auto size : sizes) {
        const auto text = content(size);
        insert->Execute(std::vector<Cell>{Cell::Int64(static_cast<std::int64_t>(size)),
                                          Cell::Text(text),
                                          Cell::Bytes(std::as_bytes(std::span(text)))});
    }
    connection->Settle();
    const auto again = Connect(folder_.Path());
    const auto cursor = again->OpenCursor("SELECT * FROM memos");
    for (const auto size : sizes) {
        ASSERT_TRUE(cursor->Next());
        const auto text = content(size);
        EXPECT_TRUE(cursor->Row()[1].AsText() == text) << size;
        EXPECT_TRUE(size == 0 || cursor->Row()[2].AsText() == text) << size;
    }
    ExpectSound("memos");
}

// A table comes without its memo file, or with sidecars spelled in other letters.
TEST_F(WritingTest, SidecarsAreFoundOrMissedWithoutHarm) {
    {
        const auto connection = Connect(folder_.Path());
        connection->Execute("CREATE TABLE t (id I, m M)");
        connection->Execute("CREATE INDEX by_id ON t (id)");
        connection->Execute("INSERT INTO t VALUES (1, 'memo')");
    }
    std::filesystem::rename(folder_ / "t.fpt", folder_ / "T.Fpt");
    EXPECT_EQ(RowOf("SELECT * FROM t"), "1|memo");
    // What a drop set aside, a long time ago, doesn't take the place of what is there now.
    const auto memos = folder_.Read("T.Fpt");
    const auto index = folder_.Read("t.cdx");
    folder_.Write("T.Fpt-dropped", std::string(1'024, 'm'));
    folder_.Write("t.cdx-dropped", std::string(1'024, 'x'));
    EXPECT_EQ(RowOf("SELECT * FROM t WHERE id = 1"), "1|memo");
    EXPECT_EQ(folder_.Read("T.Fpt") + folder_.Read("t.cdx"), memos + index);
    std::filesystem::remove(folder_ / "T.Fpt-dropped");
    std::filesystem::remove(folder_ / "T.Fpt");
    const auto connection = Connect(folder_.Path());
    EXPECT_EQ(RowOf("SELECT * FROM t"), "1|NULL");
    EXPECT_THROW(connection->Execute("INSERT INTO t VALUES (2, 'x')"), DataError);
    EXPECT_EQ(RowsOf(*connection, "SELECT id FROM t"), Rows{"1"});
}

}  // namespace
}  // namespace vantry::foxpro

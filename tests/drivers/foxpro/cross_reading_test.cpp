// Tables of ours at the ends of what the format allows, read back by us and by independent readers,
// and the bytes of a record that the format fixes.

#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/verify/verify.h"

#include <gtest/gtest.h>

namespace vantry::foxpro {
namespace {

using Texts = std::vector<std::string>;

class CrossReadingTest : public testing::Test {
protected:
    void ExpectSound(const std::string& table) {
        EXPECT_EQ(Verify((folder_ / (table + ".dbf")).string()), Texts()) << table;
    }
    // As another family of programs sees the table; it knows texts, numbers, dates and logicals.
    std::string ByGdal(const std::string& file) const {
        return test::OutputOf({"ogr2ogr", "-f", "CSV", "/vsistdout/", (folder_ / file).string()});
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

TEST_F(CrossReadingTest, ARecordHasTheBytesThatTheFormatFixes) {
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

// Null flags are what the independent readers don't know: a null is a blank to them.
TEST_F(CrossReadingTest, NullsAreBlankToReadersThatKnowNone) {
    if (!HasDbfread()) {
        GTEST_SKIP() << "The Debian package python3-dbfread isn't installed.";
    }
    const auto connection = Connect(folder_.Path(), "CodePage=1252");
    connection->Execute("CREATE TABLE [with blanks] (c C(254), n N(20,4), d D, l L, m M, i I)");
    const auto insert = connection->Prepare("INSERT INTO [with blanks] VALUES (?,?,?,?,?,?)", {});
    const std::string long_text(254, 'x');
    insert->Execute(std::vector<Cell>(6, Cell::Null()));
    insert->Execute(std::vector<Cell>{Cell::Text(long_text),
                                      Cell::NumberText("-12345678901234.5678"),
                                      Cell::FromDateTime({kMinDay, 0}),
                                      Cell::Boolean(true),
                                      Cell::Text(""),
                                      Cell::Int64(-1)});
    connection->Settle();
    EXPECT_EQ(RowsByDbfread(folder_ / "with blanks.dbf"),
              (Rows{"\tnull\tnull\tnull\tnull\t0",
                    HexOf(long_text) + "\t-12345678901235\t0001-01-01 00:00:00\tyes\tnull\t-1"}));
    EXPECT_EQ(RowsOf(*Connect(folder_.Path()), "SELECT * FROM [with blanks]"),
              (Rows{"null\tnull\tnull\tnull\tnull\tnull",
                    HexOf(long_text) + "\t-12345678901235\t0001-01-01 00:00:00\tyes\t\t-1"}));
    ExpectSound("with blanks");
}

TEST_F(CrossReadingTest, TheWidestTablesAndAnEmptyOneAreReadByOthers) {
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

TEST_F(CrossReadingTest, AGeographersReaderSeesTheSameTexts) {
    if (ByGdal("nothing.dbf").empty() && test::OutputOf({"ogr2ogr", "--version"}).empty()) {
        GTEST_SKIP() << "The Debian package gdal-bin isn't installed.";
    }
    const auto connection = Connect(folder_.Path(), "CodePage=1251;Null=No");
    connection->Execute("CREATE TABLE plain (c C(20), n N(12,3), f F(6), d D)");
    connection->Execute("INSERT INTO plain VALUES ('Жук, \"да\"', -1234.5, 77, {^1999-12-31})");
    connection->Execute("INSERT INTO plain (c) VALUES ('')");
    EXPECT_EQ(ByGdal("plain.dbf"),
              "C,N,F,D\n\"Жук, \"\"да\"\"\",-1234.500,\"77\",1999/12/31\n,,,\n");
}

// Around the borders of blocks, and large ones in one transaction with small ones.
TEST_F(CrossReadingTest, MemosOfEverySizeComeBack) {
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
TEST_F(CrossReadingTest, SidecarsAreFoundOrMissedWithoutHarm) {
    {
        const auto connection = Connect(folder_.Path());
        connection->Execute("CREATE TABLE t (id I, m M)");
        connection->Execute("INSERT INTO t VALUES (1, 'memo')");
    }
    std::filesystem::rename(folder_ / "t.fpt", folder_ / "T.Fpt");
    EXPECT_EQ(TextsOfRow(*Connect(folder_.Path()), "SELECT * FROM t"), (Texts{"1", "memo"}));
    std::filesystem::remove(folder_ / "T.Fpt");
    const auto connection = Connect(folder_.Path());
    EXPECT_EQ(TextsOfRow(*connection, "SELECT * FROM t"), (Texts{"1", "NULL"}));
    EXPECT_THROW(connection->Execute("INSERT INTO t VALUES (2, 'x')"), DataError);
    EXPECT_EQ(RowsOf(*connection, "SELECT id FROM t"), Rows{"1"});
}

}  // namespace
}  // namespace vantry::foxpro

// Tables that we make and fill, read back by us and by independent readers.

#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/verify/verify.h"

#include <random>

namespace vantry::foxpro {
namespace {

using Texts = std::vector<std::string>;

class WritingTest : public testing::Test {
protected:
    void Run(const std::string& sql, const std::string& more = {}) {
        Connect(folder_.Path(), more)->Execute(sql);
    }
    std::string ErrorOf(const std::string& sql, const std::string& more = {}) {
        try {
            Run(sql, more);
        } catch (const DataError& error) {
            return error.Description();
        }
        return {};
    }
    Texts First(const std::string& sql, const std::string& more = {}) {
        return TextsOfRow(*Connect(folder_.Path(), more), sql);
    }
    void ExpectSound(const std::string& table) {
        EXPECT_EQ(Verify((folder_ / (table + ".dbf")).string()), Texts()) << table;
    }
    static unsigned Byte(const std::string& content, std::size_t at) {
        return static_cast<unsigned char>(content.at(at));
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

// Bytes that the format fixes.
TEST_F(WritingTest, ANewTableHasTheHeaderOfItsKind) {
    Run("CREATE TABLE plain (id I, name C(50) NOT NULL)", "CodePage=1252;Null=No");
    const auto plain = folder_.Read("plain.dbf");
    ASSERT_EQ(plain.size(), 360U + 1);
    EXPECT_EQ(Byte(plain, 0), 0x30U);
    EXPECT_EQ(Byte(plain, 8) + 256 * Byte(plain, 9), 360U);
    EXPECT_EQ(Byte(plain, 10) + 256 * Byte(plain, 11), 55U);
    EXPECT_EQ(Byte(plain, 28), 0U);
    EXPECT_EQ(Byte(plain, 29), 0x03U);
    EXPECT_EQ(plain.substr(32, 11), std::string("ID\0\0\0\0\0\0\0\0\0", 11));
    EXPECT_EQ(plain[32 + 11], 'I');
    EXPECT_EQ(Byte(plain, 32 + 12), 1U);
    EXPECT_EQ(Byte(plain, 32 + 18), 0x04U);
    EXPECT_EQ(Byte(plain, 64 + 12), 5U);
    EXPECT_EQ(Byte(plain, 64 + 16), 50U);
    EXPECT_EQ(Byte(plain, 96), 0x0DU);
    EXPECT_EQ(plain.substr(97, 263), std::string(263, '\0'));
    EXPECT_EQ(Byte(plain, 360), 0x1AU);

    Run("CREATE TABLE flags (a I AUTOINC NEXTVALUE 7 STEP 2, v V(10) NULL, m M NOT NULL)");
    const auto flags = folder_.Read("flags.dbf");
    EXPECT_EQ(Byte(flags, 0), 0x32U);
    EXPECT_EQ(Byte(flags, 28), 0x02U);
    EXPECT_EQ(Byte(flags, 32 + 18), 0x0CU);
    EXPECT_EQ(Byte(flags, 32 + 19), 7U);
    EXPECT_EQ(Byte(flags, 32 + 23), 2U);
    EXPECT_EQ(flags.substr(32 + 3 * 32, 10), "_NullFlags");
    EXPECT_EQ(flags[32 + 3 * 32 + 11], '0');
    EXPECT_EQ(Byte(flags, 32 + 3 * 32 + 18), 0x05U);
    EXPECT_EQ(folder_.Read("flags.fpt").substr(0, 8), std::string("\0\0\0\x08\0\0\0\x40", 8));
    EXPECT_EQ(folder_.Read("flags.fpt").size(), 512U);
    // No field takes 255 characters, a memo does.
    Run("CREATE TABLE wide (a C(255))");
    EXPECT_EQ(folder_.Read("wide.dbf")[32 + 11], 'M');
    Run("CREATE TABLE counted (a I AUTOINC)");
    EXPECT_EQ(Byte(folder_.Read("counted.dbf"), 0), 0x31U);
}

TEST_F(WritingTest, EveryTypeComesBackAsItWas) {
    Run("CREATE TABLE everything (c C(12), cb C(4) NOCPTRANS, v V(9), q Q(5), n N(12,3), f F(20), "
        "y Y, i I, b B(4), l L, d D, t T, m M, mb M NOCPTRANS, g G, w W)");
    const auto connection = Connect(folder_.Path());
    const auto statement =
        connection->Prepare("INSERT INTO everything VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)", {});
    const std::string raw("\0\x1A\xFF\x80", 4);
    const auto bytes = Cell::Bytes(std::as_bytes(std::span(raw)));
    const std::string long_text = std::string(70'000, 'x') + " é €";
    const DateTime moment{36526, (12 * 3600 + 34 * 60 + 56) * kNanosPerSecond};
    statement->Execute(std::vector<Cell>{
        Cell::Text("Zoë €"),
        bytes,
        Cell::Text("two  "),
        bytes,
        Cell::NumberText("-12345.678"),
        Cell::NumberText("12345678901234567890"),
        Cell::FromDecimal({-9'223'372'036'854'775'807, 4}),
        Cell::Int64(-2'147'483'647),
        Cell::Double(4.9e-324),
        Cell::Boolean(true),
        Cell::FromDateTime({kMinDay, 0}),
        Cell::FromDateTime(moment),
        Cell::Text(long_text),
        bytes,
        bytes,
        bytes,
    });
    statement->Execute(std::vector<Cell>(16, Cell::Null()));
    statement->Execute(std::vector<Cell>{Cell::Text(""),
                                         Cell::Text("four"),
                                         Cell::Text("full  999"),
                                         Cell::Text("12345"),
                                         Cell::Double(0.0005),
                                         Cell::Int64(-1),
                                         Cell::Double(0.00005),
                                         Cell::Text("17"),
                                         Cell::Text("1e3"),
                                         Cell::Int64(0),
                                         Cell::FromDateTime({kMaxDay, 1}),
                                         Cell::FromDateTime({5, kNanosPerDay - 1}),
                                         Cell::Text(""),
                                         Cell::Text("m"),
                                         Cell::Null(),
                                         Cell::Null()});
    connection->Settle();
    EXPECT_TRUE(First("SELECT * FROM everything") == (Texts{"Zoë €",
                                                            raw,
                                                            "two  ",
                                                            raw,
                                                            "-12345.678",
                                                            "12345678901234567890",
                                                            "-922337203685477.5807",
                                                            "-2147483647",
                                                            "5E-324",
                                                            "True",
                                                            "0001-01-01",
                                                            "2000-01-01 12:34:56",
                                                            long_text,
                                                            raw,
                                                            raw,
                                                            raw}));
    EXPECT_EQ(TextsOfRow(*connection, "SELECT * FROM everything", 1), Texts(16, "NULL"));
    EXPECT_EQ(TextsOfRow(*connection, "SELECT * FROM everything", 2),
              (Texts{"",
                     "four",
                     "full  999",
                     "12345",
                     "0.001",
                     "-1",
                     "0.0001",
                     "17",
                     "1000",
                     "False",
                     "9999-12-31",
                     "1900-01-05",
                     "",
                     "m",
                     "NULL",
                     "NULL"}));
    ExpectSound("everything");
}

// What a field can't hold refuses the row, names the field, and leaves the table as it was.
TEST_F(WritingTest, WhatDoesntFitIsAnErrorOfItsRow) {
    Run("CREATE TABLE narrow (c C(3) NOT NULL, n N(5,2), i I, d D, l L, y Y, m M)",
        "CodePage=1252");
    Run("INSERT INTO narrow (c) VALUES ('abc')");
    const auto before = folder_.Read("narrow.dbf");
    const struct {
        const char* values;
        const char* says;
    } rows[] = {
        {"(c) VALUES ('abcd')", "4 bytes for a width of 3"},
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
    for (const auto& row : rows) {
        const auto error = ErrorOf(std::string("INSERT INTO narrow ") + row.values);
        EXPECT_NE(error.find(row.says), std::string::npos) << row.values << ": " << error;
    }
    EXPECT_EQ(folder_.Read("narrow.dbf"), before);
    Run("INSERT INTO narrow (c, n) VALUES ('ab ', -0.004)");
    EXPECT_EQ(TextsOfRow(*Connect(folder_.Path()), "SELECT c, n FROM narrow", 1),
              (Texts{"ab", "0.00"}));
    Run("INSERT INTO narrow (c, n) VALUES ('abc   ', -9.985)");
    EXPECT_EQ(TextsOfRow(*Connect(folder_.Path()), "SELECT c, n FROM narrow", 2),
              (Texts{"abc", "-9.99"}));
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
    ExpectSound("counted");
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
    EXPECT_EQ(First("SELECT name, note FROM t WHERE id = 100"), (Texts{"new", "changed"}));
    EXPECT_EQ(First("SELECT name FROM t WHERE id = 101"), Texts{"name"});
    EXPECT_EQ(RowsOf(*Connect(folder_.Path(), "Deleted=No"), "SELECT count(*) FROM t"),
              Rows{"500"});
    ExpectSound("t");
    connection->Execute("DELETE FROM t");
    EXPECT_EQ(folder_.Read("t.dbf").size(), std::filesystem::file_size(folder_ / "t.dbf"));
    EXPECT_EQ(std::filesystem::file_size(folder_ / "t.fpt"), 512U);
    connection->Execute("INSERT INTO t VALUES (1, 'a', 'b')");
    EXPECT_EQ(First("SELECT * FROM t"), (Texts{"1", "a", "b"}));
    ExpectSound("t");
    connection->Execute("DROP TABLE t");
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
}

// Random rows of the types that the independent reader knows, in code pages of all families.
TEST_F(WritingTest, AnIndependentReaderSeesTheSameRows) {
    if (!HasDbfread()) {
        GTEST_SKIP() << "The Debian package python3-dbfread isn't installed.";
    }
    const struct {
        int code_page;
        const char* encoding;
        const char* letters;
    } pages[] = {{1252, "cp1252", "äÖß€é"},
                 {1250, "cp1250", "łŐČž"},
                 {1251, "cp1251", "ЖяЩ"},
                 {1253, "cp1253", "αΩ"},
                 {1254, "cp1254", "şĞı"},
                 {437, "cp437", "éÄ½"},
                 {850, "cp850", "éÄ½"},
                 {852, "cp852", "łŐČ"},
                 {866, "cp866", "Жя"},
                 {932, "cp932", "日本語"},
                 {936, "gbk", "中文"},
                 {949, "cp949", "한국"}};
    std::mt19937 random(3);
    for (const auto& page : pages) {
        const std::string table = "cp" + std::to_string(page.code_page);
        const std::string more = "CodePage=" + std::to_string(page.code_page);
        const auto connection = Connect(folder_.Path(), more);
        connection->Execute("CREATE TABLE " + table +
                            " (c C(40) NOT NULL, n N(14,3) NOT NULL, i I NOT NULL, b B NOT NULL, y "
                            "Y NOT NULL, l L NOT NULL, d D NOT NULL, t T NOT NULL, m M NOT NULL)");
        const auto insert =
            connection->Prepare("INSERT INTO " + table + " VALUES (?,?,?,?,?,?,?,?,?)", {});
        for (int row = 0; row < 200; ++row) {
            const std::string text = page.letters + std::to_string(random());
            std::string memo;
            for (auto words = random() % 40; words > 0; --words) {
                memo += page.letters + std::string(" and ");
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
        const auto theirs = RowsByDbfread(folder_ / (table + ".dbf"), page.encoding);
        ASSERT_EQ(ours.size(), 200U);
        EXPECT_EQ(ours, theirs) << table;
        ExpectSound(table);
    }
}

TEST_F(WritingTest, DefinitionsThatNoTableHasAreRefused) {
    const struct {
        const char* fields;
        const char* says;
    } tables[] = {
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
    for (const auto& table : tables) {
        const auto error = ErrorOf(std::string("CREATE TABLE bad (") + table.fields + ")");
        EXPECT_NE(error.find(table.says), std::string::npos) << table.fields << ": " << error;
    }
    EXPECT_NE(ErrorOf("CREATE TABLE bad (a I)", "CodePage=1258").find("1258"), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
    folder_.Write("kept.fpt", std::string(2000, 'x'));
    EXPECT_NE(ErrorOf("CREATE TABLE kept (m M)").find("kept.fpt"), std::string::npos);
    EXPECT_EQ(folder_.Read("kept.fpt"), std::string(2000, 'x'));
    EXPECT_FALSE(std::filesystem::exists(folder_ / "kept.dbf"));
}

}  // namespace
}  // namespace vantry::foxpro

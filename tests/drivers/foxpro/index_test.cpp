// Tags that we make, through SQL and below it: what their keys are, what they refuse, and that they
// are right after any change.

#include "drivers/foxpro/indexes/key_maker.h"
#include "drivers/foxpro/indexes/node.h"
#include "drivers/foxpro/indexing.h"

#include <filesystem>

namespace vantry::foxpro {
namespace {

class IndexTest : public TableTest {
protected:
    IndexTest() { keeps_connection_ = true; }
    Rows EntriesOf(const std::string& table) {
        return IndexedTable(folder_ / (table + ".dbf")).Entries();
    }
    // Gives a table of ours these tags, beside those that it has.
    void AddTags(const std::string& table, std::span<const TagDefinition> tags) {
        Run("CREATE INDEX first ON " + table + " (id)");
        IndexedTable opened(folder_ / (table + ".dbf"));
        opened.table.Group().Begin();
        opened.tags.AddTags(tags, WalkOver(opened.table));
        opened.table.Group().Commit();
    }
};

// Keys that the original products stored for these values.
TEST_F(IndexTest, KeysAreThoseOfTheOriginalProducts) {
    Run("CREATE TABLE t (id I NOT NULL, i I, c C(5), d D, n N(3) NOT NULL, g C(50) NOT NULL)");
    Run("INSERT INTO t VALUES (10248, 1, 'ALFKI', {^1996-07-04}, 45, 'la descrip')");
    Run("INSERT INTO t (id, n, g) VALUES (-1, -45, 'LA DESCRIP')");
    const std::vector<TagDefinition> tags = {
        {.name = "i", .expression = "i"},
        {.name = "c", .expression = "c"},
        {.name = "d", .expression = "d"},
        {.name = "n", .expression = "n"},
        {.name = "g", .expression = "g", .collation = "general"}};
    AddTags("t", tags);
    const std::string general =
        "6d60116466"
        "76"
        "62"
        "756a73" +
        std::string(180, '0');
    EXPECT_EQ(EntriesOf("t"),
              (Rows{"C 000000000000 2",
                    "C 80414c464b49 1",
                    "D 000000000000000000 2",
                    "D 80c142b1ae80000000 1",
                    "FIRST 7fffffff 2",
                    "FIRST 80002808 1",
                    "G " + general + " 1",
                    "G " + general + " 2",
                    "I 0000000000 2",
                    "I 8080000001 1",
                    "N 3fb97fffffffffff 2",
                    "N c046800000000000 1"}));
    ExpectSound("t");
}

std::string KeyOf(const std::string& expression,
                  const RecordView& record,
                  std::size_t length,
                  const std::string& collation = {}) {
    TagHeader header;
    header.expression = expression;
    header.key_length = length;
    header.options = kTagCompact;
    header.kind = collation.empty() ? kKindMachine : kKindCollation;
    header.collation = collation;
    const LetterTable letters(record.layout->code_page);
    const KeyMaker maker(header, *record.layout, letters);
    if (!maker.Unsupported().empty()) {
        return "unsupported: " + maker.Unsupported();
    }
    std::vector<std::byte> key(length);
    try {
        static_cast<void>(maker.Make(record, key));
    } catch (const KeyTrouble& trouble) {
        return std::string("trouble: ") + trouble.what();
    }
    return std::string(AsText(key));
}

TEST_F(IndexTest, ExpressionsAreEvaluatedOrNamed) {
    Run("CREATE TABLE t (id I NOT NULL, name C(10) NOT NULL, v V(6) NOT NULL, n N(8,2) NOT NULL, "
        "d D NOT NULL, t T NOT NULL, l L NOT NULL, x C(4) NULL, m M)");
    Run("INSERT INTO t (id, name, v, n, d, t, l) VALUES (7, '  Zoë é', 'ab', -2.5, {^2021-02-09}, "
        "{^1999-12-31 12:00:00}, .T.)");
    TableFile table((folder_ / "t.dbf").string(), {}, {});
    RecordReader reader(table);
    ASSERT_TRUE(reader.Next());
    const auto record = reader.View();
    const auto key = [&](const std::string& expression, std::size_t length = 12) {
        return KeyOf(expression, record, length);
    };
    EXPECT_EQ(key("UPPER(name)"), "  ZO\xCB \xC9     ");
    EXPECT_EQ(key("lower(T.name)+'|'"), "  zo\xEB \xE9   | ");
    EXPECT_EQ(key("ALLT(name)+\"|\"+v+[|]"), "Zo\xEB \xE9|ab|   ");
    EXPECT_EQ(key("STR(id)+PADL(ALLTRIM(v),4,'0')", 14), "         700ab");
    EXPECT_EQ(key("STR(n,6,1)+STR(n,2)+STR(n,6,3)", 14), "  -2.5-3-2.500");
    EXPECT_EQ(key("STR(n*1000,4)+STR(0.05,5,2)+STR(-0.001,5,2)", 14), "**** 0.05 0.00");
    EXPECT_EQ(key("DTOS(d)+DTOC(d+23,1)", 16), "2021020920210304");
    EXPECT_EQ(key("DTOS(t)+DTOS({})+DTOS({^2024-2-29})", 24), "19991231        20240229");
    EXPECT_EQ(key("STR(YEAR(d),4)+STR(MONTH(d),2)+STR(DAY(t),2)", 8), "2021 231");
    EXPECT_EQ(key("SUBSTR(name,3,3)+LEFT(v,1)+RIGHT(v,1)+SUBS(v,9)", 6),
              "Zo\xEB"
              "ab ");
    EXPECT_EQ(key("IIF(l.AND.n<0.OR..F.,'yes','no ')", 3), "yes");
    EXPECT_EQ(key("IIF(NOT EMPTY(x) OR !l,'yes','no ')+NVL(x,'none')", 7), "yesnone");
    EXPECT_EQ(key("IIF(ISNULL(x) .and. id<>8 AND d>={^2021/02/09},'yes','no ')", 3), "yes");
    EXPECT_EQ(key("STR(VAL('  12.5abc')+2*(3-1)/4,5,1)", 5), " 13.5");
    EXPECT_EQ(key("DELETED()", 1), "F");
    EXPECT_EQ(key("v=\"a\"", 1),
              "trouble: whether \"ab\" and \"a\" are the same depends on SET EXACT");
    EXPECT_EQ(key("v=>\"a\"", 1), "T");
    EXPECT_EQ(key("v==\"ab\" AND 'b' $ v", 1), "T");
    EXPECT_EQ(key("STR(12345678901)", 10),
              "trouble: STR() of a number of more than 10 digits isn't certain");
    EXPECT_EQ(key("n/0", 8), "trouble: it divides by zero");
    for (const auto& [expression, why] : std::vector<std::pair<std::string, std::string>>{
             {"SOUNDEX(name)", "the function SOUNDEX() isn't known here"},
             {"DATE()-d", "the function DATE() isn't known here"},
             {"nothing", "there is no field nothing"},
             {"m.x", "it has a variable"},
             {"UPPER(other.name)", "it has a field of another table, other.name"},
             {"tt->name", "it has a field of another table, tt.name"},
             {"m", "fields of the type M, such as M, aren't kept in keys here"},
             {"name+id", "an argument of + has a type that isn't known here"},
             {"name-v", "the operator - isn't known here between these values"},
             {"UPPER(name", "a \")\" is missing"},
             {"UPPER()", "an argument of UPPER is missing"},
             {"UPPER(name,1)", "UPPER has too many arguments"},
             {"name name", "\"name\" isn't understood"},
             {"'name", "a text has no end"},
             {"{01/02/03}", "the date {01/02/03} isn't of the form {^2001-12-31}"},
             {"id", "its keys have 12 bytes, which doesn't go with its expression"},
             {std::string(400, '('), "it is nested too deeply"},
         }) {
        EXPECT_EQ(key(expression), "unsupported: " + why);
    }
    // An order of letters concerns texts alone, and that of GENERAL is known for one code page.
    EXPECT_EQ(KeyOf("id", record, 4, "PINYIN"), key("id", 4));
    EXPECT_EQ(KeyOf("name", record, 20, "SPANISH"),
              "unsupported: its order is SPANISH of code page 1252");
    EXPECT_EQ(KeyOf("id<8 AND v='a'", record, 1, "GENERAL"),
              "unsupported: it compares texts in the order GENERAL");
    // The name in the container is one of its own, too.
    auto named = table.Layout();
    named.names.emplace_back("Order détails");
    EXPECT_EQ(KeyOf("order_D\xC9TAILS.v", {&named, record.bytes, 1}, 6), "ab    ");
    auto russian = table.Layout();
    russian.code_page = 1251;
    EXPECT_EQ(KeyOf("name", {&russian, record.bytes, 1}, 20, "GENERAL"),
              "unsupported: its order is GENERAL of code page 1251");
}

// Leaves as the format has them: bits, free bytes, what keys have in common.
TEST_F(IndexTest, ALeafIsPackedAsTheOriginalsAre) {
    const TreeShape shape{4, std::byte{0}};
    std::vector<std::byte> entries;
    for (RecordNumber k = 1; k <= 16; ++k) {
        entries.resize(entries.size() + 8);
        file::StoreBigU32(entries, entries.size() - 8, k ^ 0x80000000U);
        file::StoreBigU32(entries, entries.size() - 4, k);
    }
    std::vector<std::byte> page(kIndexPage);
    LeafPacker packer;
    packer.Pack(entries, shape, true);
    packer.Encode(0, page);
    EXPECT_EQ(file::LoadU16(page, 0), 2U);
    EXPECT_EQ(file::LoadU16(page, 2), 16U);
    EXPECT_EQ(file::LoadU16(page, 12), 437U);
    EXPECT_EQ(file::LoadU32(page, 14), 0x3FFU);
    EXPECT_EQ(HexOf(AsText(ByteSpan(page).subspan(18, 10))), "07070a0303020100020c");
    EXPECT_EQ(HexOf(AsText(ByteSpan(page).subspan(505, 7))), "04030280000001");
}

TEST_F(IndexTest, SqlMakesIndexes) {
    Run("CREATE TABLE t (id I PRIMARY KEY, name C(20), code C(4) UNIQUE, n N(6,2), d D, l L, "
        "same C(1), CONSTRAINT both UNIQUE (name, n))");
    Run("INSERT INTO t VALUES (1, 'one', 'a', 1.5, {^2001-01-01}, .T., 'x')");
    Run("INSERT INTO t VALUES (2, 'two', 'b', 2.5, {^2001-01-02}, .F., 'x')");
    Refused("INSERT INTO t VALUES (1, 'x', 'x', 0, NULL, NULL, 'x')", "record 1");
    Refused("UPDATE t SET code = 'a' WHERE id = 2", "index CODE");
    Refused("INSERT INTO t VALUES (3, 'one', 'c', 1.5, NULL, NULL, 'x')", "index BOTH");
    Refused("INSERT INTO t VALUES (NULL, 'x', 'x', 0, NULL, NULL, 'x')");
    // Two rows of one statement: neither is there.
    Refused("INSERT INTO t SELECT 7 AS id, name & 'x' AS name, name AS code, n FROM t");
    EXPECT_EQ(RowsOf(*connection_, "SELECT id FROM t"), (Rows{"1", "2"}));

    Refused("CREATE UNIQUE INDEX wrong ON t (same)");
    Run("CREATE INDEX everything_there_is ON t (name DESC, d DESC, l DESC)");
    Run("CREATE UNIQUE INDEX [1st] ON t (d) WITH IGNORE NULL");
    Run("INSERT INTO t (id, code) VALUES (3, 'c')");
    Run("INSERT INTO t (id, code, n) VALUES (4, 'd', 4)");
    Refused("UPDATE t SET d = {^2001-01-02} WHERE id = 4", "index _1ST");
    Refused("CREATE UNIQUE INDEX wrong ON t (id, m)");
    Refused("CREATE INDEX wrong ON t (nothing)");
    Refused("CREATE INDEX wrong ON t (d) WITH DISALLOW NULL");
    // A deleted record keeps its key.
    Run("DELETE FROM t WHERE id = 4");
    Refused("INSERT INTO t (id, code) VALUES (4, 'e')", "deleted records count");
    Rows tags;
    IndexedTable table(folder_ / "t.dbf");
    for (const auto& tag : table.tags.Tags()) {
        tags.push_back(tag.name + ": " + tag.expression +
                       (tag.filter.empty() ? "" : " FOR " + tag.filter) +
                       (tag.candidate ? " candidate" : "") + (tag.descending ? " desc" : ""));
    }
    EXPECT_EQ(tags,
              (Rows{"BOTH: NAME+STR(N,6,2) FOR .NOT.ISNULL(NAME).AND..NOT.ISNULL(N) candidate",
                    "CODE: CODE candidate",
                    "EVERYTHING: NAME+DTOS(D)+IIF(L,'T','F') desc",
                    "PRIMARYKEY: ID candidate",
                    "_1ST: D FOR .NOT.ISNULL(D) candidate"}));
    EXPECT_EQ(static_cast<unsigned char>(folder_.Read("t.dbf")[28]), 1U);
    ExpectSound("t");
    Run("DELETE FROM t");
    EXPECT_EQ(EntriesOf("t"), Rows());
    Run("INSERT INTO t (id, code) VALUES (4, 'e')");
    ExpectSound("t");
    Run("DROP TABLE t");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "t.cdx"));
}

// An index that nobody may lose or take for the table's own.
TEST_F(IndexTest, FilesInTheWayAreKept) {
    Run("CREATE TABLE t (id I)");
    Run("CREATE INDEX i ON t (id)");
    Run("INSERT INTO t VALUES (1)");
    connection_.reset();
    std::filesystem::copy(folder_ / "t.cdx", folder_ / "u.cdx");
    Refused("CREATE TABLE u (id I PRIMARY KEY)", "u.cdx");
    Run("CREATE TABLE u (id I)");
    Refused("CREATE INDEX i ON u (id)", "u.cdx");
    EXPECT_EQ(folder_.Read("u.cdx"), folder_.Read("t.cdx"));
    // Left behind by a creation that was killed: without entries.
    Run("DELETE FROM t");
    std::filesystem::copy(folder_ / "t.cdx", folder_ / "v.cdx");
    Run("CREATE TABLE v (id I PRIMARY KEY)");
    ExpectSound("v");
    // Any letter case, and missing.
    std::filesystem::rename(folder_ / "v.cdx", folder_ / "V.CDX");
    connection_.reset();
    Run("INSERT INTO v VALUES (1)");
    ExpectSound("v");
    connection_.reset();
    std::filesystem::remove(folder_ / "V.CDX");
    Refused("INSERT INTO v VALUES (2)", "is missing");
}

// Who has a table open notices that another one gave it an index.
TEST_F(IndexTest, AnIndexIsNoticedByOthers) {
    Run("CREATE TABLE t (id I)");
    Run("INSERT INTO t VALUES (1)");
    Connect(folder_.Path())->Execute("CREATE UNIQUE INDEX i ON t (id)");
    Refused("INSERT INTO t VALUES (1)", "index I");
    Run("INSERT INTO t VALUES (2)");
    Connect(folder_.Path())->Execute("CREATE INDEX j ON t (id)");
    Run("INSERT INTO t VALUES (3)");
    ExpectSound("t");
    EXPECT_EQ(EntriesOf("t").size(), 6U);
}

// A table that other programs have made wrong isn't made worse.
TEST_F(IndexTest, AStaleTagRefusesTheChange) {
    Run("CREATE TABLE t (id I, name C(5))");
    Run("CREATE INDEX i ON t (name)");
    for (int k = 0; k < 50; ++k) {
        Run("INSERT INTO t VALUES (" + std::to_string(k) + ", 'a')");
    }
    connection_.reset();
    auto bytes = folder_.Read("t.dbf");
    bytes.replace(bytes.find("a    "), 5, "b    ");
    folder_.Write("t.dbf", bytes);
    EXPECT_NE(Verify((folder_ / "t.dbf").string()), Rows());
    Refused("UPDATE t SET name = 'c' WHERE id = 0", "the entry of record 1 is missing");
    EXPECT_EQ(folder_.Read("t.dbf"), bytes);
    Run("UPDATE t SET name = 'c' WHERE id = 1");
}

}  // namespace
}  // namespace vantry::foxpro

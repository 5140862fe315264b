// Saved queries and links, from rows as Access stores them: no statement of ours makes them.

#include "drivers/access/catalogue/saved_query.h"

#include "drivers/access/connected.h"
#include "drivers/access/engine_rows.h"
#include "drivers/access/pages/page_source.h"
#include "files/error_of.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

namespace vantry::access {
namespace {

using Row = EngineRows::QueryRow;

// "select *" from the tables with their joins.
std::vector<Row> AllOf(std::initializer_list<const char*> tables, const std::vector<Row>& joins) {
    std::vector<Row> rows{{6, "*"}};
    for (const char* table : tables) {
        rows.push_back({5, "", table});
    }
    rows.insert(rows.end(), joins.begin(), joins.end());
    return rows;
}

class SavedQuery : public testing::Test {
protected:
    std::string Path() const { return (folder_ / "queries.mdb").string(); }

    void Add(const std::string& name, int kind, const std::vector<Row>& rows) {
        rows_.AddQuery(name, kind, rows);
    }
    void AddLink(const std::string& name, ObjectType type, const char* file, const char* connect) {
        rows_.AddObject(name,
                        type,
                        {{"Flags", Cell::Int64(0)},
                         {"Database", EngineRows::TextOrNull(file)},
                         {"Connect", EngineRows::TextOrNull(connect)},
                         {"ForeignName", Cell::Text("orders of " + name)}});
    }
    // The text, or the error's.
    std::string TextOf(const std::string& name) {
        const auto source = OpenReadOnly(Path());
        ObjectCatalog catalog(*source);
        std::string text;
        const auto error =
            test::ErrorOf([&] { text = SavedQueryText(*source, catalog, *catalog.Find(name)); });
        return text + error;
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
    std::unique_ptr<DriverConnection> connection_ = test::ConnectToNew(Path());
    EngineRows rows_{Path()};
};

TEST_F(SavedQuery, PutsItsClausesTogether) {
    Add("plain",
        0,
        {{6, "a.id"},
         {6, "a.x & b.y", "both of them"},
         {5, "", "first table", "a"},
         {5, "", "b"},
         {7, "a.id = b.aid", "a", "b", 2},
         {7, "a.x = b.y", "a", "b", 2},
         {8, "a.id > 3"},
         {11, "b.y", "D"},
         {11, "a.id"},
         {3, "", "10", "", 0x10 | 0x20 | 0x02}});
    EXPECT_EQ(TextOf("plain"),
              "SELECT DISTINCT TOP 10 PERCENT a.id, a.x & b.y AS [both of them] FROM [first table] "
              "AS [a] LEFT JOIN [b] ON (a.id = b.aid) AND (a.x = b.y) WHERE a.id > 3 ORDER BY b.y "
              "DESC, a.id");
    Add("grouped",
        0,
        {{6, "x"},
         {6, "Count(*)", "n"},
         {5, "select x from a", "", "inner part"},
         {9, "x"},
         {10, "Count(*) > 1"}});
    EXPECT_EQ(TextOf("grouped"),
              "SELECT x, Count(*) AS [n] FROM (select x from a) AS [inner part] GROUP BY x HAVING "
              "Count(*) > 1");
    Add("star", 0, {{3, "", "", "", 0x01}, {5, "", "a"}, {5, "", "b"}});
    EXPECT_EQ(TextOf("star"), "SELECT * FROM [a], [b]");
}

TEST_F(SavedQuery, JoinsInnerTablesFirstAndTurnsOuterJoinsRound) {
    Add("tree",
        0,
        AllOf({"a", "b", "c"}, {{7, "a.i = b.i", "a", "b", 2}, {7, "b.j = c.j", "b", "c", 1}}));
    EXPECT_EQ(TextOf("tree"),
              "SELECT * FROM [a] LEFT JOIN ([b] INNER JOIN [c] ON (b.j = c.j)) ON (a.i = b.i)");
    Add("turned",
        0,
        AllOf({"a", "b"}, {{7, "a.i = b.i", "a", "b", 2}, {7, "b.j = a.j", "b", "a", 3}}));
    EXPECT_EQ(TextOf("turned"), "SELECT * FROM [a] LEFT JOIN [b] ON (a.i = b.i) AND (b.j = a.j)");
}

TEST_F(SavedQuery, OfUnionsWithAndWithoutDoubles) {
    const std::vector<Row> parts = {{5, "select x from a;", "", "X7YZ_____1"},
                                    {5, "select y from b", "", "X7YZ_____2"}};
    Add("all", 0x80, parts);
    EXPECT_EQ(TextOf("all"), "select x from a UNION ALL select y from b");
    auto distinct = parts;
    distinct.push_back({3, "", "", "", 0x02});
    distinct.push_back({11, "x"});
    Add("once", 0x80, distinct);
    EXPECT_EQ(TextOf("once"), "select x from a UNION select y from b ORDER BY x");
}

TEST_F(SavedQuery, RefusesWhatNeedsMoreThanTheFile) {
    const std::pair<const char*, std::vector<Row>> cases[] = {
        {"parameter 'From which day'", {{2, "", "From which day"}, {6, "*"}, {5, "", "a"}}},
        {"of another database", {{6, "*"}, {5, "other.mdb", "a"}}},
        {"another database", {{4, "", "other.mdb"}, {6, "*"}, {5, "", "a"}}},
        {"no columns", {{0}, {255}}},
        {"isn't among its tables", AllOf({"a"}, {{7, "a.i = z.i", "a", "z", 1}})},
        {"in two ways",
         AllOf({"a", "b"}, {{7, "a.i = b.i", "a", "b", 1}, {7, "a.j = b.j", "a", "b", 2}})},
    };
    int number = 0;
    const auto expect_refused = [&](const char* words, int kind, const std::vector<Row>& rows) {
        const auto name = "query " + std::to_string(++number);
        Add(name, kind, rows);
        EXPECT_TRUE(test::Has(TextOf(name), words));
    };
    for (const auto& [words, rows] : cases) {
        expect_refused(words, 0, rows);
    }
    for (const auto& [words, kind] :
         {std::pair("crosstab", 0x10), {"another server", 0x70}, {"changes data", 0x20}}) {
        expect_refused(words, kind, {{6, "*"}, {5, "", "a"}});
    }
}

TEST_F(SavedQuery, IsReadLikeATable) {
    connection_->Execute("create table a (id long, x text(20))");
    connection_->Execute("create table b (aid long, y text(20))");
    connection_->Execute("insert into a values (1, 'one')");
    connection_->Execute("insert into a values (2, 'two')");
    connection_->Execute("insert into b values (2, 'zwei')");
    Add("words",
        0,
        {{6, "a.x", "word"},
         {6, "b.y"},
         {5, "", "a"},
         {5, "", "b"},
         {7, "a.id = b.aid", "a", "b", 2}});
    EXPECT_EQ(connection_->OpenCursor("select * from words")->Columns()[0].name, "word");
    EXPECT_EQ(test::RowsBy(*connection_, "select * from words where word <> 'one'"),
              std::vector<std::string>{"two|zwei"});
}

TEST_F(SavedQuery, IsListedAndLinksSayWhereTheyLeadButNotTheirPasswords) {
    AddLink("near", ObjectType::Link, "Z:\\data\\shop.mdb", "");
    AddLink("far", ObjectType::OdbcLink, "", "DSN=shop;UID=joe;PWD=hidden");
    const auto hidden = Cell::Int64(kObjectHidden);
    rows_.AddObject("hidden", ObjectType::Table, {{"Flags", hidden}});
    Add("every", 0, {{6, "*"}, {5, "", "near"}});
    Add("union", 0x80, {{5, "select 1", "", "X"}});
    Add("gone", 0x20, {{5, "", "near"}});
    connection_->Execute("create table own (id long)");
    std::string listed;
    for (const auto& table : connection_->Tables()) {
        const bool is_engines = table.name.starts_with("MSys") && table.name != "MSysObjects";
        listed += is_engines ? "" : table.name + ": " + table.type + "; ";
    }
    EXPECT_EQ(listed,
              "every: VIEW; far: PASS-THROUGH; hidden: TABLE; MSysObjects: SYSTEM TABLE; near: "
              "LINK; own: TABLE; "
              "union: VIEW; ");
    const auto why = [&](const std::string& table) {
        return test::ErrorOf([&] { connection_->OpenCursor("select * from " + table); });
    };
    EXPECT_TRUE(test::Has(why("near"), "a link to table 'orders of near' of 'Z:\\data\\shop.mdb'"));
    EXPECT_TRUE(test::Has(why("far"), "a link to table 'orders of far' of an ODBC data source"));
    EXPECT_EQ(why("far").find("hidden"), std::string::npos);
}

}  // namespace
}  // namespace vantry::access

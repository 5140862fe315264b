// Saved queries and links, from rows as Access stores them: no statement of ours makes them.

#include "drivers/access/catalogue/saved_query.h"

#include "drivers/access/database_file.h"
#include "drivers/access/driver.h"
#include "drivers/access/pages/page_source.h"
#include "drivers/access/write/table_writer.h"
#include "files/error_of.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <map>

namespace vantry::access {
namespace {

struct Row {
    int attribute;
    std::string expression = {};
    std::string name1 = {};
    std::string name2 = {};
    int flag = 0;
};

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
    SavedQuery() {
        const auto driver = MakeAccessDriver();
        const auto string =
            ConnectionString::Parse("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + Path());
        driver->CreateDatabase(string);
        connection_ = driver->Connect(string);
    }

    std::string Path() const { return (folder_ / "queries.mdb").string(); }

    void Add(const std::string& name, int kind, const std::vector<Row>& rows) {
        const Cell id = AddObject(name, ObjectType::Query, {{"Flags", Cell::Int64(kind)}});
        int order = 1000;
        for (const auto& row : rows) {
            const auto number = std::to_string(order++);
            Insert("MSysQueries",
                   {{"ObjectId", id},
                    {"Attribute", Cell::Int64(row.attribute)},
                    {"Order", Cell::Bytes(std::as_bytes(std::span(number)))},
                    {"Expression", TextOrNull(row.expression)},
                    {"Name1", TextOrNull(row.name1)},
                    {"Name2", TextOrNull(row.name2)},
                    {"Flag", Cell::Int64(row.flag)}});
        }
    }
    void AddLink(const std::string& name, ObjectType type, const char* file, const char* connect) {
        AddObject(name,
                  type,
                  {{"Flags", Cell::Int64(0)},
                   {"Database", TextOrNull(file)},
                   {"Connect", TextOrNull(connect)},
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

    std::unique_ptr<DriverConnection> connection_;

private:
    static Cell TextOrNull(const std::string& text) {
        return text.empty() ? Cell::Null() : Cell::Text(text);
    }
    // Returns its number.
    Cell AddObject(const std::string& name, ObjectType type, std::map<std::string, Cell> values) {
        const Cell id = Cell::Int64(next_id_++);
        const Cell day = Cell::FromDateTime({45'000, 0});
        values.insert({{"Id", id},
                       {"ParentId", Cell::Int64(251'658'241)},
                       {"Name", Cell::Text(name)},
                       {"Type", Cell::Int64(static_cast<int>(type))},
                       {"DateCreate", day},
                       {"DateUpdate", day}});
        Insert("MSysObjects", values);
        return id;
    }
    // Into one of the engine's own tables, which no statement may change.
    void Insert(std::string_view table, const std::map<std::string, Cell>& values) {
        DatabaseFile file(Path(), "");
        const auto* object = file.catalog.Find(table);
        file.store->Begin();
        TableWriter writer(*file.store, file.catalog.ReadTable(*object), {});
        std::vector<Cell> row;
        for (const auto& column : writer.Def().columns) {
            const auto value = values.find(column.name);
            row.push_back(value == values.end() ? Cell::Null() : value->second);
        }
        writer.Insert(row);
        file.store->Commit();
    }

    test::TempDir folder_;
    int next_id_ = INT32_MIN;
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
    for (const auto& [words, rows] : cases) {
        Add(words, 0, rows);
        EXPECT_TRUE(test::Has(TextOf(words), words));
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
    const auto cursor = connection_->OpenCursor("select * from words where word <> 'one'");
    ASSERT_TRUE(cursor->Next());
    EXPECT_EQ(cursor->Columns()[0].name, "word");
    EXPECT_EQ(cursor->Row()[1].AsText(), "zwei");
    EXPECT_FALSE(cursor->Next());
}

TEST_F(SavedQuery, LinksAreListedAndSayWhereTheyLeadButNotTheirPasswords) {
    AddLink("near", ObjectType::Link, "Z:\\data\\shop.mdb", "");
    AddLink("far", ObjectType::OdbcLink, "", "DSN=shop;UID=joe;PWD=hidden");
    std::string listed;
    for (const auto& table : connection_->Tables()) {
        listed += table.name.starts_with("MSys") ? "" : table.name + ": " + table.type + "; ";
    }
    EXPECT_EQ(listed, "far: PASS-THROUGH; near: LINK; ");
    const auto why = [&](const std::string& table) {
        return test::ErrorOf([&] { connection_->OpenCursor("select * from " + table); });
    };
    EXPECT_TRUE(test::Has(why("near"), "a link to table 'orders of near' of 'Z:\\data\\shop.mdb'"));
    EXPECT_TRUE(test::Has(why("far"), "a link to table 'orders of far' of an ODBC data source"));
    EXPECT_EQ(why("far").find("hidden"), std::string::npos);
}

}  // namespace
}  // namespace vantry::access

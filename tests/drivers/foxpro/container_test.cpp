// Containers that we make: what is in them after tables came and went, what an independent reader
// sees, and what a kill leaves. Containers that FoxPro made take our changes, too.

#include "drivers/foxpro/container/container_change.h"
#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/verify/container_verify.h"
#include "support/crash_states.h"

#include <gtest/gtest.h>

namespace vantry::foxpro {
namespace {

void MakeContainer(const std::filesystem::path& path, const std::string& more = {}) {
    MakeFoxProDriver()->CreateDatabase(ConnectionString::Parse(
        "Driver={Microsoft Visual FoxPro Driver};SourceType=DBC;SourceDb=" + path.string() + ";" +
        more));
}

Rows NamesOf(DriverConnection& connection) {
    Rows names;
    for (const auto& entry : connection.Tables()) {
        names.push_back(entry.name + " " + entry.type);
    }
    return names;
}

class ContainerTest : public testing::Test {
protected:
    std::filesystem::path Path() const { return folder_ / "shop.dbc"; }
    void ExpectSound() const { EXPECT_EQ(VerifyContainer(Path().string()), Rows()); }
    bool IsThere(const std::string& name) const { return std::filesystem::exists(folder_ / name); }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

TEST_F(ContainerTest, AnEmptyOneHasWhatEveryContainerHas) {
    MakeContainer(Path());
    ExpectSound();
    const auto content = folder_.Read("shop.dbc");
    EXPECT_EQ(content.substr(8, 4), std::string("\x28\x02\xA5\0", 4)) << "header, record";
    EXPECT_EQ(content[28], 7);
    EXPECT_EQ(content.substr(0x228 + 1, 18), std::string("\1\0\0\0\1\0\0\0Database  ", 18));
    EXPECT_EQ(content.substr(0x228 + 5 * 165), "\x1A");
    const auto properties = folder_.Read("shop.dct").substr(512, 8 + 11);
    EXPECT_EQ(properties, std::string("\0\0\0\1\0\0\0\x0B\x0B\0\0\0\1\0\x18\0\0\0\x0A", 19));
    EXPECT_EQ(NamesOf(*Connect(Path())), Rows());
    // Never over another one, and nothing stays of a vain attempt.
    EXPECT_THROW(MakeContainer(Path()), DataError);
    folder_.Write("other.dct", "of somebody");
    EXPECT_THROW(MakeContainer(folder_ / "other.dbc"), DataError);
    EXPECT_THROW(MakeContainer(folder_ / "nosuch/x.dbc"), DataError);
    EXPECT_THROW(MakeContainer(folder_ / "p.dbc", "CodePage=20866"), DataError);
    EXPECT_EQ(folder_.Read("other.dct"), "of somebody");
    EXPECT_FALSE(IsThere("other.dcx"));
    EXPECT_FALSE(IsThere("other.dbc"));
    EXPECT_FALSE(IsThere("p.dbc"));
}

TEST_F(ContainerTest, TablesComeAndGoWithAllThatBelongsToThem) {
    MakeContainer(Path(), "CodePage=1252");
    const auto connection = Connect(Path(), "CodePage=1252");
    connection->Execute(
        "Create Table Customers(\r customer_identification Integer,\r customer_identification2 "
        "Character(20),\r note MEMO\r)");
    connection->Execute("CREATE TABLE [order Détails] (id I, price Y)");
    ExpectSound();
    EXPECT_EQ(NamesOf(*connection), (Rows{"Customers TABLE", "order Détails TABLE"}));
    connection->Execute(
        "INSERT INTO [customers] (customer_identification,customer_identification2,"
        "note) VALUES (1, 'first', 'a memo')");
    EXPECT_EQ(RowText(*connection, "SELECT customer_identification2, note FROM shop!customers"),
              "first|a memo");
    // Short names in the header, the container's name behind it, no listing in the folder.
    const auto header = folder_.Read("Customers.dbf");
    EXPECT_EQ(header.substr(32, 10), "CUSTOMER_I");
    EXPECT_EQ(header.substr(64, 10), "CUSTOMER_2");
    EXPECT_EQ(header.substr(32 + 4 * 32 + 1, 9), std::string("shop.dbc\0", 9));
    EXPECT_EQ(NamesOf(*Connect(folder_.Path())), Rows());
    if (HasDbfread()) {
        EXPECT_EQ(RowsByDbfread(folder_ / "Customers.dbf").size(), 1U);
    }

    // What can't be, and says why.
    const std::pair<const char*, const char*> refused[] = {
        {"CREATE TABLE customers (a I)", "customers"},
        {"CREATE TABLE [../up] (a I)", "can't be the name"},
        {"CREATE TABLE [日本] (a I)", "code page"},
        {"DROP TABLE nosuch", "nosuch"},
    };
    for (const auto& [sql, says] : refused) {
        EXPECT_NE(ErrorOf(*connection, sql).find(says), std::string::npos) << sql;
    }
    // A free table of that name is somebody's.
    Connect(folder_.Path())->Execute("CREATE TABLE free (a I)");
    EXPECT_NE(ErrorOf(*connection, "CREATE TABLE free (a I)"), "");
    ExpectSound();

    connection->Execute("drop table [CUSTOMERS]");
    EXPECT_EQ(NamesOf(*connection), Rows{"order Détails TABLE"});
    EXPECT_FALSE(IsThere("Customers.dbf") || IsThere("Customers.fpt"));
    ExpectSound();
    connection->Execute("CREATE TABLE customers (a C(3))");
    EXPECT_EQ(RowsOf(*connection, "SELECT * FROM customers"), Rows());
    ExpectSound();
    // A table whose file is gone can still be taken out.
    std::filesystem::remove(folder_ / "customers.dbf");
    EXPECT_FALSE(VerifyContainer(Path().string()).empty());
    connection->Execute("DROP TABLE customers");
    ExpectSound();
    // Keys are entered with the table, and kept.
    connection->Execute("CREATE TABLE keyed (id I PRIMARY KEY, long_column_name C(20) UNIQUE)");
    connection->Execute("INSERT INTO keyed VALUES (1, 'x')");
    EXPECT_NE(ErrorOf(*connection, "INSERT INTO keyed VALUES (1, 'y')"), "");
    ExpectSound();
    connection->Execute("DROP TABLE keyed");
    EXPECT_FALSE(IsThere("keyed.cdx"));
    // Many of them: the container's index gets pages.
    for (int k = 0; k < 40; ++k) {
        connection->Execute("CREATE TABLE t" + std::to_string(k) + " (one I, two C(5), three D)");
    }
    for (int k = 0; k < 40; k += 3) {
        connection->Execute("DROP TABLE t" + std::to_string(k));
    }
    ExpectSound();
    EXPECT_EQ(NamesOf(*connection).size(), 27U);
}

// A view is run as a SELECT over the container's tables; one that can't be says why.
TEST_F(ContainerTest, ViewsAreReadOrSayWhyNot) {
    MakeContainer(Path());
    {
        const auto connection = Connect(Path());
        connection->Execute("CREATE TABLE a (id I, name C(10))");
        connection->Execute("CREATE TABLE b (id I, price N(8,2))");
        connection->Execute("INSERT INTO a VALUES (1, 'one')");
        connection->Execute("INSERT INTO b VALUES (1, 2.5)");
        Container container(Path().string(), {});
        ContainerChange change(container);
        const auto add = [&](std::string_view name, std::uint8_t kind, std::string_view sql) {
            change.AddObject(
                kContainerRoot,
                kViewType,
                name,
                {ByteProperty(kPropertyClass, kind), TextProperty(kPropertySqlText, sql)});
        };
        add("joined",
            kClassLocalView,
            "SELECT A.name, B.price FROM  shop!a  INNER JOIN shop!b  ON  A.id = B.id");
        add("remote", kClassRemoteView, "SELECT * FROM dual");
        add("strange", kClassLocalView, "SELECT sys(2003) FROM shop!a");
        change.Commit();
    }
    const auto connection = Connect(Path());
    EXPECT_EQ(RowText(*connection, "SELECT * FROM joined"), "one|2.50");
    for (const std::string name : {"remote", "strange"}) {
        const auto error = ErrorOf(*connection, "SELECT * FROM " + name);
        EXPECT_NE(error.find("'" + name + "'"), std::string::npos) << error;
    }
    EXPECT_EQ(NamesOf(*connection),
              (Rows{"a TABLE", "b TABLE", "joined VIEW", "remote VIEW", "strange VIEW"}));
    ExpectSound();
}

// Every state that a kill leaves on the way through making and dropping tables: each table is
// listed and there with its files, or neither, and the container takes the next one.
TEST_F(ContainerTest, AKillLeavesTableAndEntryTogether) {
    MakeContainer(Path());
    const Rows script = {"CREATE TABLE t (id I, note M)",
                         "INSERT INTO t VALUES (1, 'memo')",
                         "CREATE TABLE u (id I)",
                         "DROP TABLE t",
                         "CREATE TABLE t (name C(5))"};
    test::RecordedRun run(folder_.Path(), test::Planted::Nothing, [&](const test::Report& report) {
        const auto connection = Connect(Path());
        for (const auto& sql : script) {
            connection->Execute(sql);
            report();
        }
    });
    run.CountBad(test::Interruption::Kill, 1, [&](std::size_t done) {
        const auto connection = Connect(Path());
        for (const auto& entry : connection->Tables()) {
            EXPECT_NO_THROW(RowsOf(*connection, "SELECT * FROM " + entry.name)) << done;
        }
        for (const std::string name : {"t", "u"}) {
            const auto names = NamesOf(*connection);
            if (std::find(names.begin(), names.end(), name + " TABLE") == names.end()) {
                EXPECT_EQ(ErrorOf(*connection, "CREATE TABLE " + name + " (x I)"), "") << done;
            }
        }
        EXPECT_EQ(VerifyContainer(Path().string()), Rows()) << done << " statements had ended";
        return true;
    });
}

TEST_F(ContainerTest, AFailingOperationLeavesEverythingAsItWas) {
    const auto prepare = [this] {
        test::WriteFolder(folder_.Path(), {});
        MakeContainer(Path());
        const auto connection = Connect(Path());
        connection->Execute("CREATE TABLE t (id I, note M)");
        connection->Execute("INSERT INTO t VALUES (1, 'memo')");
    };
    for (const std::string sql : {"CREATE TABLE u (id I, note M)", "DROP TABLE t"}) {
        const auto work = [&] { Connect(Path())->Execute(sql); };
        test::FailEachOperation(prepare, work, [&](int nth, const std::string& error) {
            SCOPED_TRACE(sql + " " + std::to_string(nth));
            const auto connection = Connect(Path());
            if (!error.empty()) {
                const auto names = NamesOf(*connection);
                EXPECT_TRUE(names.empty() || (names == Rows{"t TABLE"} &&
                                              RowText(*connection, "SELECT * FROM t") == "1|memo"));
                EXPECT_EQ(ErrorOf(*connection, "CREATE TABLE u (id I, note M)"), "");
            }
            EXPECT_EQ(VerifyContainer(Path().string()), Rows());
        });
    }
}

using RealContainerTest = RealFilesTest;

TEST_F(RealContainerTest, ContainersOfFoxProTakeOurTables) {
    for (const std::string name :
         {"dbc_contacts/FOXPRO-DB-TEST.DBC", "dbc_expenses/EXPENSES.DBC", "dbc_dvds/dvds.dbc"}) {
        const auto path = Real(name).string();
        EXPECT_EQ(WithoutDropped(VerifyContainer(path)), Rows()) << name;
        const auto connection = Connect(path);
        const auto listed = NamesOf(*connection);
        connection->Execute("CREATE TABLE a_new_one (long_field_name_1 I, long_field_name_2 C(9))");
        connection->Execute("INSERT INTO a_new_one VALUES (1, 'x')");
        EXPECT_EQ(WithoutDropped(VerifyContainer(path)), Rows()) << name;
        EXPECT_EQ(NamesOf(*connection).size(), listed.size() + 1);
        // With its relations and tags, and those of others to it.
        const auto first = listed.back().substr(0, listed.back().size() - 6);
        connection->Execute("DROP TABLE [" + first + "]");
        EXPECT_EQ(WithoutDropped(VerifyContainer(path)), Rows()) << name << " without " << first;
        EXPECT_EQ(NamesOf(*connection).size(), listed.size());
    }
    // Views over them, of which one asks another data source and one a file of another machine.
    const auto general = Connect(Real("idx_general/fb2p_dbc.dbc"));
    EXPECT_EQ(RowsOf(*general, "SELECT * FROM vista_local").size(), 5U);
    for (const std::string name : {"vw_local_encuestas", "vw_ora_dual"}) {
        EXPECT_NE(ErrorOf(*general, "SELECT * FROM " + name).find("'" + name + "'"),
                  std::string::npos)
            << ErrorOf(*general, "SELECT * FROM " + name);
    }
}

}  // namespace
}  // namespace vantry::foxpro

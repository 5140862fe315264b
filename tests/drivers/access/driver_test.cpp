// The driver's outside: connecting, listing, queries, keys; on files of its own.

#include "drivers/access/connected.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/file_bytes.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/verify/verify.h"
#include "files/error_of.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace vantry::access {
namespace {

using test::ConnectBy;
using test::ConnectTo;
using test::ConnectToNew;
using test::ErrorOf;
using test::Has;
using test::RowsBy;
using Strings = std::vector<std::string>;

class AccessDriverTest : public testing::Test {
protected:
    std::unique_ptr<DriverConnection> New(const std::string& name) {
        return ConnectToNew(folder_ / name);
    }
    // A file of our own that has two rows in [table].
    std::string Made(const std::string& name) {
        const auto connection = New(name);
        connection->Execute("create table [table] (id long, data text(20))");
        connection->Execute("insert into [table] values (1, 'one')");
        connection->Execute("insert into [table] values (2, 'two')");
        return folder_ / name;
    }
    static void Damage(const std::string& file,
                       const std::function<void(test::FileBytes&)>& change) {
        test::FileBytes bytes(file);
        change(bytes);
        bytes.Save(file);
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

TEST_F(AccessDriverTest, TakesTheConnectionStringsOfItsProvidersAndOfTheBuiltInDriver) {
    const auto mdb = Made("Shop.MDB");
    Made("new.accdb");
    const auto folder = folder_.Path().string();
    for (const auto& text : {"PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + mdb +
                                 ";Jet OLEDB:Database Password=;Jet OLEDB:System Database=",
                             "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + folder +
                                 "/shop.mdb;Jet OLEDB:Database "
                                 "Password=needless",
                             "Driver=Microsoft Access Driver (*.mdb, *.accdb);DBQ=" + folder +
                                 "/SHOP.mdb;UID=admin;PWD=;SystemDB="}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(RowsBy(*ConnectBy(text), "select count(*) from [table]"), Strings{"2"});
    }
    EXPECT_TRUE(Has(ErrorOf([&] {
                        ConnectBy("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
                                  "/new.accdb");
                    }),
                    "Use the ACE provider"));
    EXPECT_TRUE(Has(ErrorOf([&] { ConnectTo(folder + "/absent.mdb"); }), "absent.mdb"));
    EXPECT_TRUE(
        Has(ErrorOf([&] { ConnectBy("Provider=Microsoft.Jet.OLEDB.4.0"); }), "no database file"));
}

TEST_F(AccessDriverTest, DefaultsOfAStatementAreTakenAsTheyWereWritten) {
    const auto connection = New("made.mdb");
    connection->Execute(
        "Create Table [t] ([id] Long, [a] Text(10) DEFAULT 'it''s', [b] Text(5) DEFAULT \"x\" NOT "
        "NULL, [c] Long DEFAULT 5, [d] YesNo DEFAULT Yes, [e] DateTime DEFAULT #2/1/2024#)");
    connection->Execute("insert into t (id) values (1)");
    connection->Execute("insert into t (id, a) values (2, null)");
    EXPECT_EQ(RowsBy(*connection, "select * from t"),
              (Strings{"1|it's|x|5|True|2024-02-01", "2|NULL|x|5|True|2024-02-01"}));
}

TEST_F(AccessDriverTest, GuidsAreFoundByTheirLiteralsAndMadeByTheirDefault) {
    const auto connection = New("guids.accdb");
    connection->Execute("create table t (id guid default GenGUID() primary key, n long)");
    const std::string one = "{guid {12345678-1234-1234-1234-123456789abc}}";
    connection->Execute("insert into t values (" + one + ", 1)");
    connection->Execute("insert into t values ({GUID{12345678-1234-1234-1234-123456789ABD} }, 2)");
    EXPECT_EQ(RowsBy(*connection, "select * from t where id = " + one),
              Strings{"{12345678-1234-1234-1234-123456789ABC}|1"});
    EXPECT_EQ(RowsBy(*connection, "select n from t where id > " + one), Strings{"2"});
    for (const char* malformed : {"{guid {12345678-1234-1234-1234-123456789ab}}",
                                  "{guid {12345678-1234-1234-1234-123456789abc}"}) {
        const auto error = ErrorOf([&] {
            connection->OpenCursor("select n from t where id = " + std::string(malformed));
        });
        EXPECT_TRUE(Has(error, "Syntax error in GUID")) << error;
    }
    connection->Execute("insert into t (n) values (3)");
    connection->Execute("insert into t (n) values (4)");  // a number of its own, or a duplicate
    EXPECT_EQ(RowsBy(*connection, "select n from t where id is not null and n > 2"),
              (Strings{"3", "4"}));
}

// A row whose texts make too long a key is refused before anything of it is written.
TEST_F(AccessDriverTest, TooLongKeysAreTheErrorOfTheirRow) {
    const auto connection = New("keys.accdb");
    const std::string table =
        "create table t (id long primary key, a text(255), b text(255), c text(255), d text(255))";
    const std::string row =
        "insert into t values (1, String(255, 'x'), String(255, 'y'), String(255, 'z'), 'd')";
    const std::string index = "create index parts on t (a, b, c, d)";
    const std::string too_long = "update t set d = String(255, 'w')";
    const std::string wanted = "table 't' can't be changed: the key of a row in its index 'parts'";
    for (const bool index_first : {true, false}) {
        connection->Execute(table);
        connection->Execute(row);
        connection->Execute(index_first ? index : too_long);
        const auto& refused = index_first ? too_long : index;
        EXPECT_TRUE(Has(ErrorOf([&] { connection->Execute(refused); }), wanted));
        EXPECT_EQ(Verify(folder_ / "keys.accdb").Text(), "");
        connection->Execute("drop table t");
    }
}

TEST_F(AccessDriverTest, MakesFilesThatAreWhatTheirEndingSays) {
    const auto driver = MakeAccessDriver();
    for (const std::string provider : {"Microsoft.Jet.OLEDB.4.0", "Microsoft.ACE.OLEDB.12.0"}) {
        for (const std::string name : {"a.mdb", "b.accdb", "c"}) {
            const auto path = (folder_ / (provider + name)).string();
            const auto text = "Provider=" + provider + ";Data Source=" + path;
            driver->CreateDatabase(ConnectionString::Parse(text));
            const bool ace_only = name == "b.accdb" && provider.find("Jet") != provider.npos;
            EXPECT_EQ(ErrorOf([&] { ConnectBy(text); }).find("Use the ACE provider") != text.npos,
                      ace_only)
                << text;
            EXPECT_EQ(ErrorOf([&] { ConnectTo(path); }), "") << text;
        }
    }
    EXPECT_TRUE(Has(ErrorOf([&] { New("no/x.mdb"); }), "no/x.mdb'"));
}

TEST_F(AccessDriverTest, ReportsColumnsAndFindsRowsByKeyInFilesOfItsOwn) {
    const auto connection = ConnectTo(Made("own.accdb"));
    connection->Execute(
        "create table types (a counter, b text(50), c byte, d short, e long, f double, g datetime, "
        "h currency, i yesno, j memo, k image, l guid, m decimal(18,2), n binary(9), o single)");
    std::string columns;
    const auto none = connection->OpenCursor("select * from types where 1=2");
    for (const auto& info : none->Columns()) {
        columns += info.name + " " + std::to_string(info.type) + " " +
                   std::to_string(info.defined_size) + " " + std::to_string(info.precision) + " " +
                   std::to_string(info.scale) + "; ";
    }
    EXPECT_EQ(columns,
              "a 3 4 10 255; b 202 50 255 255; c 17 1 3 255; d 2 2 5 255; e 3 4 10 255; "
              "f 5 8 15 255; g 7 8 255 255; h 6 8 19 255; i 11 2 255 255; "
              "j 203 536870910 255 255; k 205 1073741823 255 255; l 72 16 255 255; "
              "m 131 19 18 2; n 204 9 255 255; o 4 4 7 255; ");
    connection->Execute("create unique index ids on [table] (id)");
    connection->Execute("create index words on [table] (data)");
    connection->Execute("insert into [table] values (3, 'Мир')");
    connection->Execute("insert into [table] values (4, 'ONE ')");
    EXPECT_EQ(RowsBy(*connection, "select id, data from [table] where id = 2"), Strings{"2|two"});
    EXPECT_EQ(RowsBy(*connection, "select id from [table] where data = 'мир'"), Strings{"3"});
    EXPECT_EQ(RowsBy(*connection, "select id from [table] where data = 'onE'"), Strings{"1"});
    EXPECT_EQ(RowsBy(*connection, "select id from [table] where data = 'on'"), Strings());
    EXPECT_EQ(
        RowsBy(*connection,
               "select a.id from [table] a inner join [table] b on a.id = b.id where b.id > 1"),
        (Strings{"2", "3", "4"}));
}

TEST_F(AccessDriverTest, OpensEncodedPagesAndSaysWhatAnEncryptionLacks) {
    // The engine's own encoding needs no password.
    constexpr std::uint32_t kKey = 0x1234ABCD;
    const auto encoded = Made("encoded.mdb");
    Damage(encoded, [&](test::FileBytes& file) {
        const auto pages = file.bytes.size() / 4096;
        for (std::size_t page = 1; page < pages; ++page) {
            MakeJetEncoding(kKey)->Encrypt(static_cast<PageNumber>(page),
                                           std::span(file.bytes).subspan(page * 4096, 4096));
        }
        const auto header = std::span(file.bytes).first(4096);
        MaskHeader(kJet4Layout, header);
        std::memcpy(header.data() + kEncryptionKeyOffset, &kKey, sizeof(kKey));
        MaskHeader(kJet4Layout, header);
    });
    EXPECT_EQ(RowsBy(*ConnectTo(encoded), "select count(*) from [table]"), Strings{"2"});

    const auto office = Made("office.accdb");
    Damage(office,
           [](test::FileBytes& file) { file.bytes[kEncryptionKeyOffset] ^= std::byte{0x55}; });
    EXPECT_TRUE(Has(ErrorOf([&] { ConnectTo(office); }), "description of its encryption"));
}

TEST_F(AccessDriverTest, RefusesWhatIsNoAccessFile) {
    const std::string money =
        std::string("\0\1\0\0MSISAM Database\0\1\0\0\0", 24) + std::string(5000, ' ');
    const std::pair<std::string, const char*> cases[] = {
        {"", "doesn't begin like"},
        {"id;name\n1;x\n", "doesn't begin like"},
        {money, "Money"},
        {std::string("\xD0\xCF\x11\xE0 and so on"), "OLE container"},
        {std::string("\0\1\0\0Standard ACE DB\0\x1F\0\0\0", 24) + std::string(5000, ' '),
         "version byte 31"},
        {std::string("\0\1\0\0Standard Jet DB\0\1\0\0\0", 24), "shorter than one page"},
    };
    for (const auto& [content, words] : cases) {
        const auto path = folder_.Write("other.mdb", content);
        EXPECT_TRUE(Has(ErrorOf([&] { ConnectTo(path); }), words));
    }
}

TEST_F(AccessDriverTest, StatementsOfATransactionAreThereTogetherOrNot) {
    const auto path = Made("shop.accdb");
    const auto reader = ConnectTo(path);
    auto writer = ConnectTo(path);
    const auto rows = [&] { return RowsBy(*reader, "select id from [table] order by id"); };
    const auto added = [&](int id) {
        const std::string text = "insert into [table] values (" + std::to_string(id) + ", ";
        writer->Execute(text + "'x')");
        // Refused after the pages of the row have been chosen, or before.
        EXPECT_NE(ErrorOf([&] { writer->Execute(text + "'" + std::string(21, 'l') + "')"); }), "");
    };
    for (const char* end : {"commit", "rollback", "update", "close"}) {
        SCOPED_TRACE(end);
        writer->Execute("begin transaction");
        EXPECT_TRUE(Has(ErrorOf([&] { writer->Execute("begin transaction"); }), "within"));
        EXPECT_TRUE(Has(ErrorOf([&] { writer->Execute("drop table [table]"); }), "dropping"));
        added(3);
        writer->Execute("delete from [table] where id = 1");
        added(4);
        EXPECT_EQ(RowsBy(*writer, "select id from [table] order by id"), (Strings{"2", "3", "4"}));
        EXPECT_EQ(rows(), (Strings{"1", "2"}));
        const std::string word = end;
        if (word == "update") {
            EXPECT_NE(
                ErrorOf([&] { writer->Execute("update [table] set data = String(id * 6, 'u')"); }),
                "");
        } else if (word == "close") {
            writer = ConnectTo(path);
        } else {
            writer->Execute(word + " transaction");
        }
        EXPECT_TRUE(Has(ErrorOf([&] { writer->Execute("commit transaction"); }), "no transaction"));
        EXPECT_EQ(rows(), word == "commit" ? (Strings{"2", "3", "4"}) : (Strings{"1", "2"}));
        EXPECT_EQ(Verify(path).Text(), "");
        writer->Execute("delete from [table]");
        writer->Execute("insert into [table] values (1, 'one')");
        writer->Execute("insert into [table] values (2, 'two')");
    }
}

// The rows' long values lie on other pages, which the other connection frees and uses again.
TEST_F(AccessDriverTest, GivesWholeValuesWhileAnotherConnectionChangesThem) {
    const auto writer = New("shop.accdb");
    const auto reader = ConnectTo(folder_ / "shop.accdb");
    const std::string before(3'000, 'b');
    const std::string after(9'000, 'a');
    writer->Execute("create table t (id long, m memo)");
    for (int i = 0; i < 300; ++i) {
        writer->Execute("insert into t values (" + std::to_string(i) + ", '" + before + "')");
    }
    const auto cursor = reader->OpenCursor("select id, m from t");
    int rows = 0;
    while (cursor->Next()) {
        if (rows++ % 30 == 10) {
            const auto limit = std::to_string(rows + 40);
            writer->Execute("update t set m = '" + after + "' where id < " + limit);
            writer->Execute("update t set m = 'short' where id > " + limit);
            writer->Execute("update t set m = '" + before + "' where id > " + limit);
        }
        ASSERT_EQ(cursor->Row()[1].Kind(), ValueKind::Text) << cursor->FieldError(1).Description();
        const auto text = cursor->Row()[1].AsText();
        EXPECT_TRUE(text == before || text == after)
            << "row " << rows << ": " << text.substr(0, 40);
    }
    EXPECT_EQ(rows, 300);
}

}  // namespace
}  // namespace vantry::access

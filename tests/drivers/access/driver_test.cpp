// The driver's outside: connecting, listing, queries, keys, links; on files of its own, and on
// those that Access wrote.

#include "drivers/access/driver.h"

#include "data/utf.h"
#include "data/value_text.h"
#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/file_bytes.h"
#include "drivers/access/pages/header_mask.h"
#include "drivers/access/real_files.h"
#include "drivers/access/verify/verify.h"
#include "files/error_of.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

namespace vantry::access {
namespace {

namespace fs = std::filesystem;
using test::ErrorOf;
using test::Has;
using Strings = std::vector<std::string>;

class AccessDriverTest : public testing::Test {
protected:
    // A file of our own that has two rows in [table].
    std::string Made(const std::string& name) {
        const auto path = folder_ / name;
        const auto text = "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + path.string();
        driver_->CreateDatabase(ConnectionString::Parse(text));
        const auto connection = Connect(text);
        connection->Execute("create table [table] (id long, data text(20))");
        connection->Execute("insert into [table] values (1, 'one')");
        connection->Execute("insert into [table] values (2, 'two')");
        return path.string();
    }
    std::string Damaged(const std::string& file,
                        const std::function<void(test::FileBytes&)>& change) {
        test::FileBytes bytes(file);
        change(bytes);
        return folder_
            .Write(fs::path(file).filename().string(),
                   {reinterpret_cast<const char*>(bytes.bytes.data()), bytes.bytes.size()})
            .string();
    }

    std::unique_ptr<DriverConnection> Connect(const std::string& text) {
        return driver_->Connect(ConnectionString::Parse(text));
    }
    std::unique_ptr<DriverConnection> Open(const std::string& path) {
        return Connect("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + path);
    }
    static Strings Rows(DriverConnection& connection, const std::string& sql) {
        Strings lines;
        const auto cursor = connection.OpenCursor(sql);
        while (cursor->Next()) {
            std::string line;
            for (const auto& cell : cursor->Row()) {
                line += (line.empty() ? "" : "|") + (cell.IsNull() ? "NULL" : ToText(cell));
            }
            lines.push_back(std::move(line));
        }
        return lines;
    }
    test::TempDir folder_;
    std::unique_ptr<Driver> driver_ = MakeAccessDriver();
};

class AccessDriverOnRealFiles : public AccessDriverTest {
protected:
    void SetUp() override {
        if (!fs::exists(test::kRealFiles)) {
            GTEST_SKIP() << test::kRealFiles << " isn't there";
        }
    }
    // A copy that nothing else uses.
    std::string Copy(const std::string& file) {
        const auto path = folder_ / file;
        fs::copy_file(test::kRealFiles / file, path, fs::copy_options::overwrite_existing);
        return path.string();
    }
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
        EXPECT_EQ(Rows(*Connect(text), "select count(*) from [table]"), Strings{"2"});
    }
    EXPECT_TRUE(Has(ErrorOf([&] {
                        Connect("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
                                "/new.accdb");
                    }),
                    "Use the ACE provider"));
    EXPECT_TRUE(Has(ErrorOf([&] { Open(folder + "/absent.mdb"); }), "absent.mdb"));
    EXPECT_TRUE(
        Has(ErrorOf([&] { Connect("Provider=Microsoft.Jet.OLEDB.4.0"); }), "no database file"));
}

TEST_F(AccessDriverTest, DefaultsOfAStatementAreTakenAsTheyWereWritten) {
    const auto text =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder_ / "made.mdb").string();
    driver_->CreateDatabase(ConnectionString::Parse(text));
    const auto connection = Connect(text);
    connection->Execute(
        "Create Table [t] ([id] Long, [a] Text(10) DEFAULT 'it''s', [b] Text(5) DEFAULT \"x\" NOT "
        "NULL, [c] Long DEFAULT 5, [d] YesNo DEFAULT Yes, [e] DateTime DEFAULT #2/1/2024#)");
    connection->Execute("insert into t (id) values (1)");
    connection->Execute("insert into t (id, a) values (2, null)");
    EXPECT_EQ(Rows(*connection, "select * from t"),
              (Strings{"1|it's|x|5|True|2024-02-01", "2|NULL|x|5|True|2024-02-01"}));
}

TEST_F(AccessDriverTest, GuidsAreFoundByTheirLiteralsAndMadeByTheirDefault) {
    const auto text =
        "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + (folder_ / "guids.accdb").string();
    driver_->CreateDatabase(ConnectionString::Parse(text));
    const auto connection = Connect(text);
    connection->Execute("create table t (id guid default GenGUID() primary key, n long)");
    const std::string one = "{guid {12345678-1234-1234-1234-123456789abc}}";
    connection->Execute("insert into t values (" + one + ", 1)");
    connection->Execute("insert into t values ({GUID{12345678-1234-1234-1234-123456789ABD} }, 2)");
    EXPECT_EQ(Rows(*connection, "select * from t where id = " + one),
              Strings{"{12345678-1234-1234-1234-123456789ABC}|1"});
    EXPECT_EQ(Rows(*connection, "select n from t where id > " + one), Strings{"2"});
    for (const char* malformed : {"{guid {12345678-1234-1234-1234-123456789ab}}",
                                  "{guid {12345678-1234-1234-1234-123456789abc}"}) {
        const auto error = ErrorOf([&] {
            connection->OpenCursor("select n from t where id = " + std::string(malformed));
        });
        EXPECT_TRUE(Has(error, "Syntax error in GUID")) << error;
    }
    connection->Execute("insert into t (n) values (3)");
    connection->Execute("insert into t (n) values (4)");  // a number of its own, or a duplicate
    EXPECT_EQ(Rows(*connection, "select n from t where id is not null and n > 2"),
              (Strings{"3", "4"}));
}

// A row whose texts make too long a key is refused before anything of it is written.
TEST_F(AccessDriverTest, TooLongKeysAreTheErrorOfTheirRow) {
    const auto path = (folder_ / "keys.accdb").string();
    const auto text = "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + path;
    driver_->CreateDatabase(ConnectionString::Parse(text));
    const auto connection = Connect(text);
    connection->Execute(
        "create table t (id long primary key, a text(255), b text(255), c text(255), d text(255))");
    const std::string row = ", String(255, 'x'), String(255, 'y'), String(255, 'z'), 'd')";
    connection->Execute("insert into t values (1" + row);
    connection->Execute("create index parts on t (a, b, c, d)");
    const std::string too_long = "update t set d = String(255, 'w')";
    const std::string wanted = "table 't' can't be changed: the key of a row in its index 'parts'";
    EXPECT_TRUE(Has(ErrorOf([&] { connection->Execute(too_long); }), wanted));
    connection->Execute("drop table t");
    connection->Execute(
        "create table t (id long primary key, a text(255), b text(255), c text(255), d text(255))");
    connection->Execute("insert into t values (1" + row);
    connection->Execute(too_long);
    EXPECT_TRUE(
        Has(ErrorOf([&] { connection->Execute("create index parts on t (a, b, c, d)"); }), wanted));
    EXPECT_EQ(Verify(path).Text(), "");
}

TEST_F(AccessDriverTest, MakesFilesThatAreWhatTheirEndingSays) {
    for (const std::string provider : {"Microsoft.Jet.OLEDB.4.0", "Microsoft.ACE.OLEDB.12.0"}) {
        for (const std::string name : {"a.mdb", "b.accdb", "c"}) {
            const auto path = (folder_ / (provider + name)).string();
            const auto text = "Provider=" + provider + ";Data Source=" + path;
            driver_->CreateDatabase(ConnectionString::Parse(text));
            const bool ace_only = name == "b.accdb" && provider.find("Jet") != provider.npos;
            EXPECT_EQ(ErrorOf([&] { Connect(text); }).find("Use the ACE provider") != text.npos,
                      ace_only)
                << text;
            EXPECT_EQ(
                ErrorOf([&] { Connect("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + path); }),
                "")
                << text;
        }
    }
    const auto lost =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder_ / "no/x.mdb").string();
    EXPECT_NE(
        ErrorOf([&] { driver_->CreateDatabase(ConnectionString::Parse(lost)); }).find("no/x.mdb'"),
        std::string::npos);
}

TEST_F(AccessDriverOnRealFiles, ListsTablesAndQueriesByNameWithTheirTypes) {
    const auto listed = [&](const std::string& file) {
        Strings lines;
        for (const auto& table : Open(Copy(file))->Tables()) {
            if (table.name.substr(0, 4) != "MSys") {
                lines.push_back(table.name + ": " + table.type);
            }
        }
        return lines;
    };
    EXPECT_EQ(listed("queryTestV2003.mdb"),
              (Strings{"CrosstabQuery: VIEW",
                       "SelectQuery: VIEW",
                       "Table1: TABLE",
                       "Table2: TABLE",
                       "Table3: TABLE",
                       "UnionQuery: VIEW"}));
    const auto system = Open(Copy("delTestV2000.mdb"))->Tables();
    EXPECT_EQ(system.front().name + ": " + system.front().type, "MSysAccessObjects: ACCESS TABLE");
    EXPECT_EQ(system[2].name + ": " + system[2].type, "MSysACEs: SYSTEM TABLE");
}

TEST_F(AccessDriverTest, ListsAHiddenTableLikeAnyOther) {
    CatalogObject object;
    object.name = "Orders";
    object.type = ObjectType::Table;
    object.flags = kObjectHidden;
    EXPECT_EQ(ListedType(object), "TABLE");
}

TEST_F(AccessDriverOnRealFiles, SeveralValuesOfAnUnknownKindAreUnreadable) {
    const auto read = [&](const std::string& path) {
        std::map<ValueKind, int> kinds;
        const auto connection = Open(path);
        const auto cursor = connection->OpenCursor("select [multi-value-data] from Table1");
        while (cursor->Next()) {
            ++kinds[cursor->Row()[0].Kind()];
        }
        return kinds;
    };
    EXPECT_EQ(read(Copy("complexDataTestV2010.accdb"))[ValueKind::Unreadable], 0);
    const auto path = Damaged(
        (test::kRealFiles / "complexDataTestV2010.accdb").string(), [](test::FileBytes& file) {
            // The column of the values gets another name in every table that has one.
            const std::u16string name = u"Value";
            const auto sought = std::as_bytes(std::span(name));
            for (auto at = file.bytes.begin();;) {
                at = std::search(at, file.bytes.end(), sought.begin(), sought.end());
                if (at == file.bytes.end()) {
                    break;
                }
                *at = std::byte{'W'};
            }
        });
    EXPECT_EQ(read(path)[ValueKind::Text], 0);
    EXPECT_GT(read(path)[ValueKind::Unreadable], 0);
}

TEST_F(AccessDriverOnRealFiles, ReadsSavedQueriesOrSaysWhyNot) {
    const auto connection = Open(Copy("queryTestV2003.mdb"));
    const auto cursor = connection->OpenCursor("select * from SelectQuery");
    EXPECT_EQ(cursor->Columns().size(), 6U);  // three of Table1, two of Table2, one of Table3
    EXPECT_FALSE(cursor->Next());
    const auto why = [&](const std::string& query) {
        return ErrorOf([&] { connection->OpenCursor("select * from " + query); });
    };
    EXPECT_TRUE(Has(why("CrosstabQuery"), "crosstab"));
    EXPECT_TRUE(Has(why("PassthroughQuery"), "another server"));
    EXPECT_TRUE(Has(why("DeleteQuery"), "changes data"));
}

TEST_F(AccessDriverOnRealFiles, ShowsTheValuesOfColumnsThatHoldSeveral) {
    EXPECT_EQ(Rows(*Open(Copy("complexDataTestV2010.accdb")), "select * from Table1"),
              (Strings{"row1|NULL|NULL|NULL|NULL",
                       "row2|row2-memo|row2-memo|value1;value4|test_data.txt;test_data2.txt",
                       "row3|row3-memo|row3-memo-again|value1;value2;value3;value4|NULL",
                       "row4|row4-memo|row4-memo|NULL|test_data2.txt"}));
}

TEST_F(AccessDriverOnRealFiles, FindsRowsByKey) {
    const auto index = Open(Copy("indexTestV2000.mdb"));
    EXPECT_EQ(Rows(*index, "select id, data from Table1 where id = 2"),
              Rows(*index, "select id, data from Table1 where id + 0 = 2"));
    EXPECT_EQ(Rows(*index, "select t.id from Table1 t inner join Table2 u on t.otherfk1 = u.id"),
              Rows(*index, "select t.id from Table1 t, Table2 u where t.otherfk1 = u.id + 0"));
    const auto text = Open(Copy("testUnicodeCompV2003.mdb"));
    EXPECT_EQ(Rows(*text, "select id from [Table] where unicode = 'ONLY ascii chars'"),
              Strings{"1"});
    EXPECT_EQ(Rows(*text, "select id from [Table] where unicode = 'Мир'"), Strings{"3"});
    EXPECT_EQ(Rows(*text, "select id from [Table] where unicode = 'ascii'"), Strings());
}

TEST_F(AccessDriverOnRealFiles, ReportsColumnsAsTheProvidersDo) {
    const auto columns = [&](const std::string& file, const std::string& sql) {
        const auto connection = Open(Copy(file));
        const auto cursor = connection->OpenCursor(sql);
        Strings lines;
        for (const auto& info : cursor->Columns()) {
            lines.push_back(info.name + " " + std::to_string(info.type) + " " +
                            std::to_string(info.defined_size) + " " +
                            std::to_string(info.precision) + " " + std::to_string(info.scale));
        }
        return lines;
    };
    EXPECT_EQ(columns("testV1997.mdb", "select * from Table1 where 1=2"),
              (Strings{"A 202 50 255 255",
                       "B 202 100 255 255",
                       "C 17 1 3 255",
                       "D 2 2 5 255",
                       "E 3 4 10 255",
                       "F 5 8 15 255",
                       "G 7 8 255 255",
                       "H 6 8 19 255",
                       "I 11 2 255 255"}));
    EXPECT_EQ(columns("fixedNumericTestV2003.mdb", "select col1, col2 from test where 1=2"),
              (Strings{"col1 203 536870910 255 255", "col2 131 19 18 0"}));
}

TEST_F(AccessDriverTest, ReportsColumnsAndFindsRowsByKeyInFilesOfItsOwn) {
    const auto connection = Open(Made("own.accdb"));
    connection->Execute(
        "create table types (a counter, b text(50), c byte, d short, e long, f double, g datetime, "
        "h currency, i yesno, j memo, k image, l guid, m decimal(18,2), n binary(9), o single)");
    Strings lines;
    const auto none = connection->OpenCursor("select * from types where 1=2");
    for (const auto& info : none->Columns()) {
        lines.push_back(info.name + " " + std::to_string(info.type) + " " +
                        std::to_string(info.defined_size) + " " + std::to_string(info.precision) +
                        " " + std::to_string(info.scale));
    }
    EXPECT_EQ(lines,
              (Strings{"a 3 4 10 255",
                       "b 202 50 255 255",
                       "c 17 1 3 255",
                       "d 2 2 5 255",
                       "e 3 4 10 255",
                       "f 5 8 15 255",
                       "g 7 8 255 255",
                       "h 6 8 19 255",
                       "i 11 2 255 255",
                       "j 203 536870910 255 255",
                       "k 205 1073741823 255 255",
                       "l 72 16 255 255",
                       "m 131 19 18 2",
                       "n 204 9 255 255",
                       "o 4 4 7 255"}));
    connection->Execute("create unique index ids on [table] (id)");
    connection->Execute("create index words on [table] (data)");
    connection->Execute("insert into [table] values (3, 'Мир')");
    connection->Execute("insert into [table] values (4, 'ONE ')");
    EXPECT_EQ(Rows(*connection, "select id, data from [table] where id = 2"), Strings{"2|two"});
    EXPECT_EQ(Rows(*connection, "select id from [table] where data = 'мир'"), Strings{"3"});
    EXPECT_EQ(Rows(*connection, "select id from [table] where data = 'onE'"), Strings{"1"});
    EXPECT_EQ(Rows(*connection, "select id from [table] where data = 'on'"), Strings());
    EXPECT_EQ(Rows(*connection,
                   "select a.id from [table] a inner join [table] b on a.id = b.id where b.id > 1"),
              (Strings{"2", "3", "4"}));
}

TEST_F(AccessDriverTest, OpensEncodedPagesAndProtectedFilesWithTheirPassword) {
    // The engine's own encoding needs no password.
    constexpr std::uint32_t kKey = 0x1234ABCD;
    const auto encoded = Damaged(Made("encoded.mdb"), [&](test::FileBytes& file) {
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
    EXPECT_EQ(Rows(*Open(encoded), "select count(*) from [table]"), Strings{"2"});

    const auto locked = Damaged(Made("locked.mdb"), [&](test::FileBytes& file) {
        const auto header = std::span(file.bytes).first(4096);
        MaskHeader(kJet4Layout, header);
        // A file without a password has zeros under the date's mask.
        const auto password = Utf16FromUtf8("S3cr3t-Ünique");
        const auto bytes = std::as_bytes(std::span(password));
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            header[kPasswordOffset + i] ^= bytes[i];
        }
        MaskHeader(kJet4Layout, header);
    });
    EXPECT_EQ(Rows(*Connect("Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + locked +
                            ";Jet OLEDB:Database Password=S3cr3t-Ünique"),
                   "select count(*) from [table]"),
              Strings{"2"});
    EXPECT_TRUE(Has(ErrorOf([&] { Open(locked); }), "Not a valid password"));
    const auto wrong = ErrorOf([&] {
        Connect("Driver={Microsoft Access Driver (*.mdb, *.accdb)};DBQ=" + locked + ";PWD=s3cr3t");
    });
    EXPECT_TRUE(Has(wrong, "Not a valid password"));
    EXPECT_FALSE(Has(wrong, "s3cr3t"));

    const auto office = Damaged(Made("office.accdb"), [&](test::FileBytes& file) {
        file.bytes[kEncryptionKeyOffset] ^= std::byte{0x55};
    });
    EXPECT_TRUE(Has(ErrorOf([&] { Open(office); }), "description of its encryption"));
}

TEST_F(AccessDriverTest, RefusesWhatIsNoAccessFile) {
    const auto write = [&](std::string_view content) {
        return folder_.Write("other.mdb", content).string();
    };
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
        EXPECT_TRUE(Has(ErrorOf([&] { Open(write(content)); }), words));
    }
}

// A field that can't be read spoils neither the row's other fields nor the rows behind it.
TEST_F(AccessDriverOnRealFiles, SaysWhichFieldIsDamagedAndReadsOn) {
    const auto path =
        Damaged((test::kRealFiles / "extDateTestV2019.accdb").string(), [&](test::FileBytes& file) {
            // The extended date of row 2: its digits stand in the file as text.
            const std::string digits = "0000000000000737954";  // 2021-06-14
            const auto chars = std::string_view(reinterpret_cast<const char*>(file.bytes.data()),
                                                file.bytes.size());
            const auto at = chars.find(digits);
            ASSERT_NE(at, std::string_view::npos);
            file.bytes[at + 3] = std::byte{'x'};
        });
    const auto connection = Open(path);
    const auto cursor = connection->OpenCursor("select ID, DateExt, Field1 from Table1");
    int damaged = 0;
    int rows = 0;
    while (cursor->Next()) {
        ++rows;
        EXPECT_EQ(cursor->Row()[2].Kind(), ValueKind::Text);
        if (cursor->Row()[1].Kind() == ValueKind::Unreadable) {
            ++damaged;
            const auto error = cursor->FieldError(1).Description();
            EXPECT_TRUE(Has(error, "'DateExt'"));
            EXPECT_TRUE(Has(error, "extended date"));
        }
    }
    EXPECT_EQ(rows, 9);
    EXPECT_EQ(damaged, 1);
}

// The rows' long values lie on other pages, which the other connection frees and uses again.
TEST(AccessScanTest, GivesWholeValuesWhileAnotherConnectionChangesThem) {
    const test::TempDir folder;
    const auto driver = MakeAccessDriver();
    const auto string = ConnectionString::Parse("Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" +
                                                (folder / "shop.accdb").string());
    driver->CreateDatabase(string);
    const auto reader = driver->Connect(string);
    const auto writer = driver->Connect(string);
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

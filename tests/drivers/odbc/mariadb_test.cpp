// The driver over the real MariaDB ODBC driver and a private server: bound columns in blocks.

#include "data/answer_watch.h"
#include "drivers/mysql/scripted_server.h"
#include "drivers/odbc/odbc_fixture.h"
#include "support/private_mariadb.h"

#include <dlfcn.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sql.h>
#include <sqlext.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <chrono>
#include <optional>
#include <random>

namespace {

// The row of each block that the driver is made to refuse; none while negative.
int RefusedRow = -1;

}  // namespace

// Stands before the driver manager's own: no driver on a test machine refuses one row of a block.
extern "C" SQLRETURN SQL_API SQLFetch(SQLHSTMT statement) {
    static const auto next =
        reinterpret_cast<SQLRETURN (*)(SQLHSTMT)>(dlsym(RTLD_NEXT, "SQLFetch"));
    const SQLRETURN result = next(statement);
    SQLULEN rows = 1;
    SQLUSMALLINT* status = nullptr;
    SQLGetStmtAttr(statement, SQL_ATTR_ROW_ARRAY_SIZE, &rows, 0, nullptr);
    SQLGetStmtAttr(statement, SQL_ATTR_ROW_STATUS_PTR, &status, 0, nullptr);
    if (RefusedRow < 0 || !SQL_SUCCEEDED(result) || status == nullptr ||
        rows <= static_cast<SQLULEN>(RefusedRow)) {
        return result;
    }
    status[RefusedRow] = SQL_ROW_ERROR;
    return SQL_SUCCESS_WITH_INFO;
}

namespace vantry::test {
namespace {

class MariaDbOdbcTest : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (MissingParts().empty()) {
            server_ = std::make_unique<PrivateMariaDb>();
        }
    }
    static void TearDownTestSuite() { server_.reset(); }
    void SetUp() override {
        if (const auto missing = MissingParts(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        Registry().Register(
            {PrivateOdbc::Driver("MariaDB Unicode", kMariaDbLibrary)},
            {{"shop",
              "Driver=MariaDB Unicode\nSERVER=127.0.0.1\nPORT=" + std::to_string(server_->Port()) +
                  "\nDATABASE=" + server_->Database() + "\nUSER=" + server_->User() +
                  "\nPASSWORD=" + server_->Password() + "\n"}});
    }
    static std::string MissingParts() {
        auto missing = PrivateOdbc::Missing(kMariaDbLibrary, "odbc-mariadb");
        return missing.empty() ? PrivateMariaDb::Missing() : missing;
    }
    static std::string Text() { return server_->ConnectionText("MySQL (MariaDB Unicode)"); }
    static std::unique_ptr<DriverConnection> Open(const odbc::Tuning& tuning = {}) {
        return Connect(Text(), tuning);
    }

    static std::unique_ptr<PrivateMariaDb> server_;
};
std::unique_ptr<PrivateMariaDb> MariaDbOdbcTest::server_;

TEST_F(MariaDbOdbcTest, TypesAndValuesOfAllKindsOfColumns) {
    const auto connection = Open();
    connection->Execute(
        "create or replace table kinds (bi bit(1), ti tinyint, tu tinyint unsigned, iu int "
        "unsigned, bg "
        "bigint, "
        "bu bigint unsigned, dc decimal(38,10), fl float, db double, da date, tm time(3), "
        "dt datetime(6), ch char(10), vc varchar(50), tx text, lt longtext, bn binary(4), "
        "lb longblob)");
    connection->Execute(
        "insert into kinds values (1,-128,255,4294967295,-9223372036854775808,"
        "18446744073709551615,-12345678901234567890.5,0.1,0.1,'2020-02-29','-12:30:15.123',"
        "'2020-02-03 04:05:06.123456','zeichen','vierä😀','text','long','ab',x'0078')");
    connection->Execute("insert into kinds (bi,vc,tx,lb) values (0,'','','')");
    connection->Execute("insert into kinds (bi) values (null)");
    const auto cursor = connection->OpenCursor("select * from kinds");
    EXPECT_EQ(Shown(cursor->Columns()),
              "bi 11 2, ti 16 1 p3, tu 17 1 p3, iu 19 4 p10, bg 20 8 p19, bu 21 8 p20, "
              "dc 131 19 p38 s10, fl 4 4 p7, db 5 8 p15, da 133 6 p10 s0, tm 134 6 p8 s0, "
              "dt 135 16 p26 s6, ch 130 10, vc 202 50, tx 203 65535, lt 203 1073741823, "
              "bn 128 4, lb 205 2147483647");
    const auto rows = RowsOf(*cursor);
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(
        Shown(rows[0]),
        "bool:True | number:-128 | number:255 | number:4294967295 | "
        "number:-9223372036854775808 | number:18446744073709551615 | "
        "number:-12345678901234567890.5 | number:0.1 | number:0.1 | "
        "moment:2020-02-29 00:00:00 | text:-12:30:15.123 | moment:2020-02-03 04:05:06.123456 | "
        "text:zeichen | text:vierä😀 | text:text | text:long | bytes:4 | bytes:2");
    EXPECT_EQ(Shown(rows[1][13]) + Shown(rows[1][14]) + Shown(rows[1][17]), "text:text:bytes:0");
    for (const auto& value : rows[2]) {
        EXPECT_TRUE(value.IsNull());
    }
    connection->Execute("set sql_mode=''");
    connection->Execute(
        "insert into kinds (da,dt,tm) values ('0000-00-00','0000-00-00','812:00:01')");
    EXPECT_EQ(Shown(Query(*connection, "select da, dt, tm from kinds where tm>'800:00:00'")[0]),
              "text:0000-00-00 | text:0000-00-00 00:00:00.000000 | text:812:00:01.000");
}

// The driver has its own idea of how far apart the values of a block lie, and leaves the length of
// a bit untouched.
TEST_F(MariaDbOdbcTest, ABlockHoldsWhatItsRowsHoldOneByOne) {
    const auto plain = Open();
    plain->Execute(
        "create or replace table kinds as select seq as id, cast(seq as float)/8 as f, seq/3e0 as "
        "d, seq mod 100 as ti, seq*1e9 div 1 as bg, cast(seq as unsigned) as bu, "
        "cast(seq/7 as decimal(12,3)) as de, '2020-01-01' + interval seq day as da, "
        "sec_to_time(seq*61) as tm, timestamp('2020-01-01') + interval seq second as dt, "
        "concat('ä', seq) as v, cast(seq as binary(4)) as bn from seq_1_to_300");
    plain->Execute(
        "alter table kinds modify f float, modify ti tinyint, add si smallint, add y year, "
        "add f2 float, add b bit(1) after id");
    plain->Execute(
        "update kinds set si=-id, y=2000+id mod 100, f2=id/16, b=id mod 2 where id mod 5");
    plain->Execute("update kinds set f=null, d=null, ti=null, bg=null where id mod 7 = 0");
    odbc::Tuning by_row;
    by_row.block_rows = 1;
    const auto in_blocks = Query(*Open(), "select * from kinds order by id");
    const auto one_by_one = Query(*Open(by_row), "select * from kinds order by id");
    ASSERT_EQ(in_blocks.size(), 300U);
    for (std::size_t k = 0; k < in_blocks.size(); ++k) {
        ASSERT_EQ(Shown(in_blocks[k]), Shown(one_by_one[k]));
    }
    EXPECT_EQ(Shown(in_blocks[2][2]), "number:0.375");
    EXPECT_EQ(Shown(in_blocks[3][1]) + Shown(in_blocks[4][1]) + Shown(in_blocks[6][1]),
              "bool:Falsenullbool:True");
    EXPECT_EQ(Shown(in_blocks[298].back()), "number:18.6875");
}

// Whole blocks, one row more and one less; by blocks of other sizes, and field by field.
TEST_F(MariaDbOdbcTest, RowsAtTheEdgesOfBlocksComeOnceAndInOrder) {
    const auto plain = Open();
    plain->Execute(
        "create or replace table edges (id int, v varchar(40), d datetime, n decimal(12,3))");
    plain->Execute(
        "insert into edges select seq, if(seq mod 7, concat('row ä', seq), null), "
        "'2020-01-01' + interval seq second, seq / 8 from seq_1_to_201");
    std::vector<odbc::Tuning> tunings(4);
    tunings[1].block_rows = 1;
    tunings[2].block_bytes = 700;  // three rows or so
    tunings[3].bound_bytes = 8;    // nearly nothing is bound
    for (const auto& tuning : tunings) {
        const auto connection = Open(tuning);
        for (const int count : {0, 1, 99, 100, 101, 200, 201}) {
            const auto cursor = connection->OpenCursor(
                "select id, v, n from edges where id <= " + std::to_string(count) + " order by id");
            int id = 0;
            while (cursor->Next()) {
                ++id;
                const auto row = cursor->Row();
                ASSERT_EQ(ToText(row[0]), std::to_string(id));
                ASSERT_EQ(row[1].IsNull(), id % 7 == 0);
                if (id % 7 != 0) {
                    ASSERT_EQ(ToText(row[1]), "row ä" + std::to_string(id));
                }
                ASSERT_EQ(row[2].Kind(), ValueKind::NumberText);
            }
            EXPECT_EQ(id, count);
            EXPECT_FALSE(cursor->Next());
        }
    }
}

// What lies in the buffers of such a row is anything; the rows around it are good.
TEST_F(MariaDbOdbcTest, ARefusedRowOfABlockIsUnreadableAndTheOthersStand) {
    odbc::Tuning tuning;
    tuning.block_rows = 4;
    const auto connection = Open(tuning);
    connection->Execute("create or replace table refused (i int, v varchar(20))");
    connection->Execute(
        "insert into refused values (1,'a'),(2,'b'),(3,'c'),(4,'d'),(5,'e'),(6,'f')");
    const auto cursor = connection->OpenCursor("select i, v from refused order by i");
    std::string shown;
    struct Refused {
        Refused() { RefusedRow = 1; }
        ~Refused() { RefusedRow = -1; }
    } const refused;
    while (cursor->Next()) {
        shown += Shown(Value(cursor->Row()[0])) + Shown(Value(cursor->Row()[1])) + " ";
        if (cursor->Row()[1].Kind() == ValueKind::Unreadable) {
            EXPECT_NE(cursor->FieldError(1).Description(), "");
        }
    }
    EXPECT_EQ(shown,
              "number:1text:a unreadableunreadable number:3text:c number:4text:d number:5text:e "
              "unreadableunreadable ");
}

// Where texts travel as UTF-16, each piece is turned into it by itself: half a character would be
// lost in it.
TEST_F(MariaDbOdbcTest, PiecesOfALongTextEndBetweenCharacters) {
    for (const bool utf16 : {false, true}) {
        for (const std::size_t piece : {64U, 65U, 66U, 67U}) {
            odbc::Tuning tuning;
            tuning.piece_bytes = piece;
            tuning.utf16_text = utf16;
            const auto connection = Open(tuning);
            connection->Execute("create or replace table pieces (id int, t longtext)");
            const auto text = LongText(30'000);
            connection->OpenAppender("Select id, t FROM pieces")
                ->Append(std::vector<Cell>{Cell::Int64(1), Cell::Text(text)});
            EXPECT_TRUE(One(*connection, "select t from pieces") == text) << piece << utf16;
            EXPECT_EQ(server_->QueryOne("select length(t) from " + server_->Database() + ".pieces"),
                      std::to_string(text.size()));
        }
    }
}

TEST_F(MariaDbOdbcTest, RowsOfLongAndShortValuesKeepThemApartInAnyOrder) {
    const auto connection = Open();
    connection->Execute(
        "create or replace table mixed (id int, a longtext, b longblob, c varchar(40), d "
        "longtext)");
    const auto appender = connection->OpenAppender("Select id, a, b, c, d FROM mixed");
    std::mt19937 random(7);
    std::vector<std::string> expected;
    for (int id = 1; id <= 60; ++id) {
        std::vector<std::string> texts(4);
        std::vector<Cell> row = {Cell::Int64(id)};
        std::string& lengths = expected.emplace_back();
        for (std::size_t k = 0; k < texts.size(); ++k) {
            const auto form = random() % 4;
            texts[k] = std::string(form == 0 && k != 2 ? 100'000 + random() % 3 : random() % 9,
                                   static_cast<char>('a' + random() % 26));
            row.push_back(form == 1 ? Cell::Null()
                          : k == 1  ? BytesOf(texts[k])
                                    : Cell::Text(texts[k]));
            lengths +=
                form == 1 ? "-|" : std::to_string(texts[k].size()) + texts[k].substr(0, 1) + "|";
        }
        appender->Append(row);
    }
    const auto rows = Query(*connection, "select a, b, c, d from mixed order by id");
    ASSERT_EQ(rows.size(), expected.size());
    for (std::size_t k = 0; k < rows.size(); ++k) {
        std::string lengths;
        for (const auto& value : rows[k]) {
            const std::string text(value.IsNull() ? "" : value.AsCell().AsText());
            lengths +=
                value.IsNull() ? "-|" : std::to_string(text.size()) + text.substr(0, 1) + "|";
        }
        EXPECT_EQ(lengths, expected[k]) << k + 1;
    }
}

TEST_F(MariaDbOdbcTest, WhatIsTooLongForTheServerCostsItsStatementAlone) {
    server_->Run("set global max_allowed_packet=1048576");
    const auto connection = Open();
    server_->Run("set global max_allowed_packet=67108864");
    connection->Execute("create or replace table too_long (id int, t longtext)");
    const std::string whole(3'000'000, 'w');
    const auto half = whole.substr(0, 500'000);
    const auto insert = [&](const std::string& text) {
        connection->Execute("insert into too_long values (1,'" + text + "')");
    };
    EXPECT_TRUE(Has(ErrorOf([&] { insert(whole); }).Description(), "max_allowed_packet"));
    insert(half);
    const auto appender = connection->OpenAppender("Select id, t FROM too_long");
    const auto append = [&](int id, const std::string& text) {
        appender->Append(std::vector{Cell::Int64(id), Cell::Text(text)});
    };
    EXPECT_NE(ErrorOf([&] { append(2, whole); }).Number(), 0);
    append(3, half);
    EXPECT_EQ(One(*connection, "select group_concat(id, ':', length(t) order by id) from too_long"),
              "1:500000,3:500000");
}

// A value that doesn't fit what its description promised: here the room for a character is too
// small. It is whole or it is an error of its own field, and never another row's.
TEST_F(MariaDbOdbcTest, AValueThatDoesntFitItsRoomIsWholeOrAnErrorOfItsField) {
    const auto plain = Open();
    plain->Execute("create or replace table narrow (id int, a varchar(10), b varchar(10))");
    plain->Execute(
        "insert into narrow values (1,'short','x'),(2,'äöüäöüäöüä','y'),(3,'z','😀😀😀😀😀😀')");
    const auto shown = [](const odbc::Tuning& tuning) {
        const auto connection = Open(tuning);
        const auto cursor = connection->OpenCursor("select id, a, b from narrow order by id");
        std::string text;
        while (cursor->Next()) {
            for (std::size_t k = 0; k < cursor->Row().size(); ++k) {
                text += Shown(Value(cursor->Row()[k])) + " ";
                if (cursor->Row()[k].Kind() == ValueKind::Unreadable) {
                    EXPECT_TRUE(
                        Has(cursor->FieldError(k).Description(), k == 1 ? "column a" : "column b"));
                }
            }
        }
        return text;
    };
    odbc::Tuning tuning;
    tuning.character_bytes = 1;
    EXPECT_EQ(shown(tuning),
              "number:1 text:short text:x number:2 unreadable text:y number:3 text:z unreadable ");
    tuning.block_rows = 1;
    EXPECT_EQ(shown(tuning),
              "number:1 text:short text:x number:2 text:äöüäöüäöüä text:y number:3 text:z "
              "text:😀😀😀😀😀😀 ");
}

TEST_F(MariaDbOdbcTest, BackslashesAreDataInStatementsAndEscapesInConditions) {
    const auto connection = Open();
    connection->Execute("create or replace table paths (id int, v varchar(40), w varchar(40))");
    const char* const all = "select group_concat(id,v,w order by id separator '|') from paths";
    connection->Execute(R"(INSERT INTO paths VALUES (1,'C:\new\','),(9,'),(2,'it''s \','\\');)");
    EXPECT_EQ(One(*connection, all), R"(1C:\new\),(9,|2it's \\\)");
    EXPECT_EQ(One(*connection, R"(select count(*) from paths where v='C:\\new\\')"), "1");
    connection->Execute(R"(INSERT INTO paths VALUES (3,'\','\t'))");
    EXPECT_EQ(One(*connection, all), R"(1C:\new\),(9,|2it's \\\|3\\t)");
}

TEST_F(MariaDbOdbcTest, ConnectionsFailInPlainWordsAndWithoutThePassword) {
    const auto here = "DRIVER={MariaDB Unicode};SERVER=127.0.0.1;PORT=";
    const std::pair<std::string, const char*> cases[] = {
        {here + std::to_string(server_->Port()) + ";UID=vantry;PWD={wrong;s3cret}}x}",
         "Access denied"},
        {here + std::string("1;UID=a;PWD=s3cret"), "127.0.0.1"},
        // A driver that repeats what it was given repeats it without the password.
        {"DRIVER={MariaDB Unicode};SERVER=s3cret.host.invalid;UID=a;PWD=s3cret", ".host.invalid"},
        {"DSN=nosuch;UID=a;PWD=s3cret", "Data source name not found"}};
    for (const auto& [text, words] : cases) {
        const auto error = ErrorOf([&, text = text] { Connect(text); });
        EXPECT_TRUE(Has(error.Description(), words));
        EXPECT_FALSE(Has(error.Description(), "s3cret"));
    }
    const auto steering = ErrorOf([&] {
        Open()->Execute("signal sqlstate '45000' set message_text='\x1B]0;x\x07 " +
                        server_->Password() + "'");
    });
    EXPECT_TRUE(steering.Description().ends_with(" *****")) << steering.Description();
    EXPECT_EQ(steering.Description().find_first_of("\x1B\x07"), std::string::npos);
}

TEST_F(MariaDbOdbcTest, ASourceOfTheIniFileIsReachedByTheProviderOfAnySource) {
    const auto by_its_own_login = Connect("Provider=MSDASQL;DSN=shop;UID=;PWD=;");
    EXPECT_EQ(One(*by_its_own_login, "select database()"), server_->Database());
    const auto by_ours =
        Connect("DSN=shop;User ID=" + server_->User() + ";Password=" + server_->Password() + ";");
    by_ours->Execute("create table if not exists listed (id int)");
    by_ours->Execute("create or replace view looked_at as select 1 as x");
    std::string found;
    for (const auto& table : by_ours->Tables()) {
        if (table.name == "listed" || table.name == "looked_at") {
            found += table.name + ":" + table.type + ";";
        }
        EXPECT_NE(table.name, "user") << "a table of another database";
    }
    EXPECT_EQ(found, "listed:TABLE;looked_at:VIEW;");
}

// A server that accepts and says nothing: the login timeout ends it. The one of this test is short.
TEST_F(MariaDbOdbcTest, ASilentServerEndsTheConnectByItsTimeLimit) {
    const ScriptedServer silent({.greeting = "", .then_hangs = true});
    const auto begin = std::chrono::steady_clock::now();
    const auto error = ErrorOf([&] {
        Connect("DRIVER={MariaDB Unicode};SERVER=127.0.0.1;UID=a;PWD=b;CONN_TIMEOUT=1;PORT=" +
                std::to_string(silent.Port()));
    });
    const auto elapsed = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(error.Number(), kErrUnspecified);
    EXPECT_LT(elapsed, std::chrono::seconds(10));
}

TEST_F(MariaDbOdbcTest, NoValueIsChangedToFitItsColumnAndRefusedRowsArentSaidToBeGone) {
    server_->Run("set global sql_mode=''");
    for (const std::string engine : {"InnoDB", "MyISAM"}) {
        server_->Run("create or replace table refused (v int, t varchar(3)) engine=" + engine);
        const auto connection = Open();
        const auto error = ErrorOf([&] {
            connection->Execute("INSERT INTO `refused` ( `v`) VALUES (1),(99999999999),(2);");
        });
        EXPECT_EQ(error.Number(), kErrConversion) << error.Description();
        const auto expected =
            engine == "InnoDB" ? std::optional<std::int64_t>(0) : std::optional<std::int64_t>();
        EXPECT_EQ(error.ArrivedRows(), expected) << engine;
        const std::vector<ParameterInfo> text = {{adVarWChar, 50}};
        EXPECT_NE(ErrorOf([&] {
                      connection->Prepare("insert into refused (t) values (?)", text)
                          ->Execute(std::vector<Cell>{Cell::Text("too long")});
                  }).Number(),
                  0);
        EXPECT_EQ(server_->QueryOne("select count(*) from refused where v>2 or t is not null"),
                  "0");
    }
    server_->Run("set global sql_mode=default");
}

TEST_F(MariaDbOdbcTest, AStoppedServerIsGivenUpAndADeadNetworkNoticed) {
    const NewSockets sockets;
    const auto connection = Connect(Text() + ";ANSWER_TIMEOUT=1");
    const auto opened = sockets.Find();
    ASSERT_FALSE(opened.empty());
    unsigned unconfirmed_ms = 0;
    socklen_t size = sizeof unconfirmed_ms;
    getsockopt(opened[0], IPPROTO_TCP, TCP_USER_TIMEOUT, &unconfirmed_ms, &size);
    EXPECT_GT(unconfirmed_ms, 0U);
    kill(server_->Pid(), SIGSTOP);
    int status = 0;
    waitpid(server_->Pid(), &status, WUNTRACED);
    const auto error = ErrorOf([&] { connection->Execute("INSERT INTO `t` VALUES (1)"); });
    kill(server_->Pid(), SIGCONT);
    EXPECT_TRUE(Has(error.Description(), "ANSWER_TIMEOUT"));
    EXPECT_EQ(error.ArrivedRows(), std::nullopt);
    const auto later = ErrorOf([&] { connection->Execute("INSERT INTO `t` VALUES (2)"); });
    EXPECT_NE(later.Number(), 0);
    EXPECT_EQ(later.ArrivedRows(), 0);
}

}  // namespace
}  // namespace vantry::test

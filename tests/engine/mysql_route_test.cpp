// Whole sessions with a real MySQL server on one side and delimited text on the other, and what is
// left when one of them fails: the rows of the source are the growth of the target and the rows
// that the log calls failed.

#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "support/private_mariadb.h"
#include "support/session_steps.h"
#include "support/tcp_relay.h"
#include "support/temp_dir.h"
#include "text/text_writer.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <set>
#include <thread>

namespace vantry::test {
namespace {

class MySqlRoute : public RunTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateMariaDb::Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        Server().Run("drop table if exists orders; drop table if exists copied");
    }

    static PrivateMariaDb& Server() {
        static PrivateMariaDb server({.general_log = true});
        return server;
    }
    static std::string TextByPort(int port) {
        return "DRIVER={MySQL (built in)};SERVER=127.0.0.1;DATABASE=shop;USER=vantry;PASSWORD=" +
               Server().Password() + ";port=" + std::to_string(port) + ";Option=3";
    }
    static std::int64_t RowsIn(const std::string& table) {
        return std::stoll(Server().QueryOne("select count(*) from " + table));
    }

    // ---- The session

    static void OneTable(const std::string& name) {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = name;
        DstTables.clear();
    }

    void FromCsv(const std::string& content) {
        folder_.Write("orders.csv", content);
        SourceType = "TEXT";
        SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
                        ";Extended Properties=\"text;FMT=Delimited\";\"";
        OneTable("orders.csv");
    }
    static void FromMySql(const std::string& table) {
        SourceType = "MySQL";
        SourceConnStr = Server().ConnectionText();
        OneTable(table);
        SrcTables[0].Owner = "shop";
    }
    static void ToMySql() {
        TargetType = "MySQL";
        TargetConnStr = Server().ConnectionText();
    }
    void ToCsv() {
        TargetType = "TEXT";
        TextDestFormat = "DELIMITED";
        TextDestDir = folder_.Path().string();
        TextDestExt = ".out";
        TextDestDelim = ",";
        TextDestQual = "\"";
        TextDestHeader = kTrue;
    }
    // Orders 1 to `count`; `bad_row` has a customer of 60 characters.
    static std::string Orders(int count, int bad_row = 0) {
        std::string csv = "id,customer,price,ordered\r\n";
        for (int id = 1; id <= count; ++id) {
            csv += std::to_string(id) + ",\"O'Brien & Söhne \\ " + std::to_string(id) +
                   (id == bad_row ? std::string(40, 'x') : "") + "\"," + std::to_string(id) +
                   ".25,2006-05-01 14:30:15\r\n";
        }
        return csv;
    }
    static void MakeOrders() {
        Server().Run(
            "create table orders (id integer, customer varchar(40), price double, "
            "ordered datetime)");
    }

    static std::string Whole(const std::string& middle) {
        return RunLog(middle + " Time Elapsed :E");
    }
    // Rows that the log calls failed when batches of 100 are lost as a whole: the number beside an
    // error is the row reached.
    std::int64_t RowsOfLostBatches(std::int64_t rows) const {
        std::set<std::int64_t> batches;
        const std::string words = "Error Loading Row:";
        for (auto at = view.log.find(words); at != std::string::npos;
             at = view.log.find(words, at + 1)) {
            batches.insert((std::stoll(view.log.substr(at + words.size())) - 1) / 100);
        }
        std::int64_t lost = 0;
        for (const auto batch : batches) {
            lost += std::min<std::int64_t>(100, rows - batch * 100);
        }
        return lost;
    }

    TempDir folder_;
};

TEST_F(MySqlRoute, AnExistingTableIsAppendedToEmptiedOrRebuilt) {
    MakeOrders();
    Server().Run("insert into orders (id) values (77)");
    const std::pair<const char*, std::int64_t> cases[] = {
        {"APPEND", 4}, {"DELETE", 3}, {"DROP", 3}};
    for (const auto& [option, rows] : cases) {
        FromCsv(Orders(3));
        ToMySql();
        MapTables();
        SrcTables[0].LoadOption = DstTables[0].LoadOption = option;
        RunSession("");
        EXPECT_TRUE(LogHas("About to Insert Rows in orders Table\n3 Rows Loaded")) << Log();
        EXPECT_EQ(RowsIn("orders"), rows) << option;
    }
    // The rebuilt table has the source's idea of its columns.
    EXPECT_NE(Server().QueryOne("select column_type from information_schema.columns where "
                                "table_name='orders' and column_name='customer'"),
              "varchar(40)");
}

TEST_F(MySqlRoute, ATableThatIsItsOwnSourceKeepsItsRows) {
    MakeOrders();
    FromCsv(Orders(250));
    ToMySql();
    MapTables();
    RunSession("");
    const std::pair<const char*, std::int64_t> cases[] = {
        {"DROP", 250}, {"DELETE", 250}, {"APPEND", 500}};
    for (const auto& [option, rows] : cases) {
        FromMySql("orders");
        MapTables();
        SrcTables[0].LoadOption = DstTables[0].LoadOption = option;
        RunSession("");
        EXPECT_EQ(RowsIn("orders"), rows) << Log();
    }
    // Locked for writers until its last row is read.
    Server().Run(
        "drop table orders; create table orders (id int, t varchar(200)) engine=MyISAM;"
        "insert into orders select seq, repeat('x', 200) from seq_1_to_40000;"
        "delete from orders where id=2");
    FromMySql("orders");
    MapTables();
    RunSession("");
    EXPECT_EQ(RowsIn("orders"), 2 * 39'999) << Log().substr(0, 2000);
}

TEST_F(MySqlRoute, ThreeInsertsCarryTwoHundredAndFiftyRows) {
    MakeOrders();
    FromCsv(Orders(250));
    ToMySql();
    TcpRelay relay(Server().Port());
    TargetConnStr = TextByPort(relay.Port());
    MapTables();
    Server().ClearLog();
    RunSession("");
    const auto is_other = [](const std::string& text) { return !text.starts_with("INSERT"); };
    auto logged = Server().LoggedStatements();
    std::erase_if(logged, is_other);
    EXPECT_EQ(logged.size(), 3U) << "as the server counts them";
    auto sent = relay.Queries();
    std::erase_if(sent, is_other);
    ASSERT_EQ(sent.size(), 3U);
    const std::string head =
        "INSERT INTO `orders` ( `id`, `customer`, `price`, `ordered`) VALUES (";
    const auto row = [](int id) {
        const auto number = std::to_string(id);
        return number + ",'O''Brien & Söhne \\ " + number + "'," + number +
               ".25,'2006-05-01-14-30-15')";
    };
    for (int batch = 0; batch < 3; ++batch) {
        std::string expected = head;
        const int last = std::min(250, batch * 100 + 100);
        for (int id = batch * 100 + 1; id <= last; ++id) {
            expected += row(id) + (id < last ? ",(" : "");
        }
        EXPECT_EQ(sent[static_cast<std::size_t>(batch)], expected + (batch < 2 ? ";" : ""));
    }
    EXPECT_EQ(Server().QueryOne("select count(*) from orders where customer like '%Söhne %' and "
                                "ordered='2006-05-01 14:30:15'"),
              "250");
}

TEST_F(MySqlRoute, OneBadRowLosesItsBatchAndTheLogSaysSo) {
    MakeOrders();
    FromCsv(Orders(250, 150));
    ToMySql();
    MapTables();
    RunSession("");
    EXPECT_EQ(Log(),
              Whole("About to Insert Rows in orders Table\n"
                    "Error Loading Row:200\nData too long for column 'customer' at row 50\n"
                    "250 Rows Loaded"));
    EXPECT_EQ(view.counter_changes, 2);  // not for the batch that failed
    EXPECT_EQ(RowsIn("orders"), 150);
    EXPECT_EQ(RowsIn("orders") + RowsOfLostBatches(250), 250);
}

TEST_F(MySqlRoute, AFieldThatCantBeReadLosesItsBatchAndNeverBecomesAnotherValue) {
    MakeOrders();
    auto csv = Orders(250);
    const auto at = csv.find("\r\n120,");
    csv.replace(at + 2, 3, "12x");
    folder_.Write("Schema.ini",
                  "[orders.csv]\r\nColNameHeader=True\r\nFormat=CSVDelimited\r\n"
                  "Col1=id Long\r\nCol2=customer Text\r\nCol3=price Double\r\n"
                  "Col4=ordered DateTime\r\n");
    FromCsv(csv);
    ToMySql();
    MapTables();
    RunSession("");
    EXPECT_NE(view.log.find("12x"), std::string::npos) << view.log;
    EXPECT_EQ(RowsIn("orders"), 150) << view.log;
    EXPECT_EQ(RowsIn("orders") + RowsOfLostBatches(250), 250) << view.log;
}

// The server has committed, and its answer is lost on the way: the report doesn't call the rows
// failed, for a second load would double them.
TEST_F(MySqlRoute, RowsWhoseAnswerIsLostMayHaveArrived) {
    MakeOrders();
    FromCsv(Orders(1000));
    ToMySql();
    TcpRelay relay(Server().Port());
    TargetConnStr = TextByPort(relay.Port());
    MapTables();
    view.hook_at_event = 150;
    view.hook = [&] {
        relay.Spoil([](std::string& piece) {
            piece.clear();
            return false;
        });
    };
    RunSession("");
    const auto& report = ReportOf(0);
    EXPECT_EQ(RowsIn("orders"), 200);
    EXPECT_EQ(report.RowsLoaded, 100) << Log();
    EXPECT_EQ(report.RowsUnknown, 100) << Log();
    EXPECT_EQ(report.RowsFailed(), 800) << Log();
    EXPECT_TRUE(LogHas("\n100 rows may have arrived in orders")) << Log();
}

TEST_F(MySqlRoute, ATableWithoutTransactionsKeepsTheRowsBeforeTheRefusedOne) {
    Server().Run("set global sql_mode=''");
    MakeOrders();
    Server().Run("alter table orders engine=MyISAM");
    FromCsv(Orders(250, 157));
    ToMySql();
    MapTables();
    RunSession("");
    Server().Run("set global sql_mode=default");
    EXPECT_EQ(RowsIn("orders"), 206);
    EXPECT_EQ(ReportOf(0).RowsLoaded, 206) << Log();
    EXPECT_EQ(ReportOf(0).RowsFailed(), 44);
    EXPECT_EQ(Server().QueryOne("select max(char_length(customer))<40 from orders"), "1");
}

// Killed in the middle of the sixth INSERT, which a trigger holds up.
TEST_F(MySqlRoute, ATargetThatDiesDuringABatchLeavesTheLedgerRight) {
    MakeOrders();
    Server().Run(
        "create trigger slow before insert on orders for each row "
        "begin if new.id = 550 then do sleep(30); end if; end");
    FromCsv(Orders(1000));
    ToMySql();
    MapTables();
    std::thread killer([] {
        const auto held = [] {
            return Server().QueryOne(
                       "select count(*) from information_schema.processlist "
                       "where state = 'User sleep'") == "1";
        };
        for (int tries = 0; tries < 3000 && !held(); ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        Server().Kill();
    });
    RunSession("");
    killer.join();
    Server().Restart();
    Server().Run("drop trigger slow");
    EXPECT_TRUE(LogHas("\nError Loading Row:600\nLost connection")) << Log();
    EXPECT_EQ(RowsIn("orders"), 500);
    EXPECT_EQ(RowsIn("orders") + RowsOfLostBatches(1000), 1000) << Log();
}

TEST_F(MySqlRoute, AnUnreachableTargetEndsInErrorsUpToTheLimit) {
    MakeOrders();
    FromCsv(Orders(250));
    ToMySql();
    MapTables();
    TargetConnStr = TextByPort(1);
    const std::string refused = "Can't connect to server on '127.0.0.1' (115)\n";
    RunSession("");
    EXPECT_EQ(Log(),
              Whole("About to Insert Rows in orders Table\n"
                    "Error Loading Row:100\n" +
                    refused + "Error Loading Row:200\n" + refused + "Error Loading Row:250\n" +
                    refused + "250 Rows Loaded"));
    EXPECT_EQ(RowsOfLostBatches(250), 250);

    SrcTables[0].TableExists = DstTables[0].TableExists = kFalse;
    RunSession("");
    EXPECT_EQ(Log(),
              RunLog("About To Create Table orders.csv\n\nError Creating Table orders\n\n" +
                     refused.substr(0, refused.size() - 1)));
}

// ---- From the server

TEST_F(MySqlRoute, ASourceThatBreaksOffLeavesWholeBatchesAndIsGivenUp) {
    Server().Run(
        "create table orders as select seq as id, repeat('x', 200) as customer "
        "from seq_1_to_50000; create table copied like orders");
    TcpRelay relay(Server().Port());
    FromMySql("orders");
    ToMySql();
    MapTables("copied");
    SourceConnStr = TextByPort(relay.Port());
    view.hook_at_event = 1000;
    view.hook = [&] { relay.Spoil([](std::string&) { return false; }); };
    RunSession("");
    EXPECT_TRUE(LogHas("Aborting Loading Rows for Table :orders As Errors Exceeded 50 Allowed"))
        << Log().substr(0, 3000);
    EXPECT_TRUE(LogHas("Lost connection")) << Log().substr(0, 3000);
    const auto rows = RowsIn("copied");
    EXPECT_GT(rows, 900);
    EXPECT_LT(rows, 50000);
    EXPECT_EQ(rows % 100, 0);
    EXPECT_EQ(Server().QueryOne("select max(id) from copied"), std::to_string(rows));
    EXPECT_EQ(Server().QueryOne("select count(*) from copied where length(customer) <> 200"), "0");
}

// Its shortest form, 3.4028235E+38, is above it, and the server looks at that.
TEST_F(MySqlRoute, TheLargestFloatsArrive) {
    Server().Run("create table orders (id integer, f float)");
    folder_.Write("Schema.ini", "[orders.csv]\nCol1=id Long\nCol2=f Single\n");
    FromCsv(
        "id,f\n1,3.4028234663852886E+38\n2,-3.4028235E+38\n3,3.402823E+38\n4,1.1754944E-38\n"
        "5,0.1\n");
    ToMySql();
    MapTables();
    RunSession("");
    EXPECT_EQ(Server().QueryOne("select group_concat(id order by id) from orders where "
                                "abs(f)>3.4028234e38"),
              "1,2")
        << Log();
    EXPECT_EQ(RowsIn("orders"), 5) << Log();
}

TEST_F(MySqlRoute, DatesThatNoCalendarHasArriveAsTheyAre) {
    Server().Run(
        "set sql_mode=''; create table orders (id int, d date, t datetime);"
        "insert into orders values (1, '0000-00-00', '2006-05-00 10:00:00'), "
        "(2, '2006-05-01', null)");
    Server().Run("create table copied like orders");
    FromMySql("orders");
    ToMySql();
    MapTables("copied");
    RunSession("");
    EXPECT_EQ(Log(), Whole("About to Insert Rows in copied Table\n2 Rows Loaded"));
    EXPECT_EQ(Server().QueryOne("select group_concat(concat_ws('|', id, d, ifnull(t, '-')) order "
                                "by id) from copied"),
              "1|0000-00-00|2006-05-00 10:00:00,2|2006-05-01|-");
}

// Long and binary columns go row by row: an error costs its row alone.
TEST_F(MySqlRoute, ABadRowAmongLongValuesIsTheOnlyOneLost) {
    Server().Run(
        "create table orders (id int, picture blob, d datetime);"
        "insert into orders select seq, unhex(concat('00275cff', hex(seq))), "
        "'2006-05-01 14:30:15' from seq_1_to_25;"
        "update orders set id = 3 where id = 17;"
        "create table copied (id int primary key, picture blob, d datetime)");
    FromMySql("orders");
    ToMySql();
    MapTables("copied");
    RunSession("");
    EXPECT_EQ(Log(),
              Whole("About to Insert Rows in copied Table\n"
                    "Error Loading Row:16\nDuplicate entry '3' for key 'PRIMARY'\n"
                    "24 Rows Loaded"));
    EXPECT_EQ(Server().QueryOne("select count(*) from orders join copied using (id, picture) "
                                "where copied.d = '2006-05-01'"),
              "24");
}

TEST_F(MySqlRoute, EveryTypeReachesTheTextFileUnchanged) {
    struct Column {
        const char* declared;
        const char* literal;
        std::string written;
    };
    const std::vector<Column> columns = {
        {"bit(1)", "1", "True"},
        {"bigint unsigned", "18446744073709551615", "18446744073709551615"},
        {"decimal(10,2)", "-0.5", "-0.5"},
        {"decimal(38,10)",
         "1234567890123456789012345678.0123456789",
         "1234567890123456789012345678.0123456789"},
        {"double", "12345678901.0625", "12345678901.0625"},
        {"date", "'2006-05-01'", "2006-05-01"},
        {"time", "'-838:59:59'", "-838:59:59"},
        {"datetime(6)", "'2006-05-01 14:30:15.000001'", "2006-05-01 14:30:15.000001"},
        {"timestamp", "'2006-05-01 00:00:00'", "2006-05-01"},
        {"varchar(40)", "'O\\'Brien, \\\\ 😀'", "\"O'Brien, \\ 😀\""},
        {"json", "'{\"k\": [1]}'", "\"{\"k\": [1]}\""},
        {"binary(3)", "x'410042'", {"A\0B", 3}},
        {"blob", "x'5c225c'", "\\\"\\"},
        {"int", "null", ""},
        {"varchar(5)", "null", ""},
        {"varchar(5)", "''", "\"\""},
    };
    std::string declared;
    std::string literals;
    std::string heading;
    std::string written;
    for (std::size_t k = 0; k < columns.size(); ++k) {
        const auto& column = columns[k];
        const std::string comma = k > 0 ? "," : "";
        declared += comma + "c" + std::to_string(k) + " " + column.declared + " null";
        literals += comma + column.literal;
        heading += comma + "c" + std::to_string(k);
        written += comma + column.written;
    }
    Server().Run("create table orders (" + declared + "); insert into orders values (" + literals +
                 "), (" + literals + ")");
    FromMySql("orders");
    ToCsv();
    MapTables();
    RunSessionToText("");
    EXPECT_EQ(folder_.Read("orders.out"), heading + "\r\n" + written + "\r\n" + written + "\r\n");
    EXPECT_EQ(Log(),
              "Started Loading at T\nAbout to Start Loading Rows in :" +
                  (folder_ / "orders.out").string() +
                  "\n2 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
}

TEST_F(MySqlRoute, RowsComeBackFromANewTableByteForByte) {
    FromCsv(Orders(250));
    ToMySql();
    MapTables();
    RunSession("");
    EXPECT_EQ(Log(),
              Whole("About To Create Table orders.csv\n\n"
                    "orders Table Created Successfully\n\n"
                    "About to Insert Rows in orders Table\n"
                    "250 Rows Loaded"));
    FromMySql("orders");
    ToCsv();
    MapTables();
    RunSessionToText("");
    const auto written = folder_.Read("orders.out");
    EXPECT_TRUE(written == Orders(250)) << written.substr(0, 500);
}

}  // namespace
}  // namespace vantry::test

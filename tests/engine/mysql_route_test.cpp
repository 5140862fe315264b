// Whole sessions with a real MySQL server on one side and delimited text on the other, and what is
// left when one of them fails: the rows of the source are the growth of the target and the rows
// that the log calls failed.

#include "data/answer_watch.h"
#include "engine/route_fixture.h"
#include "support/private_mariadb.h"
#include "support/tcp_relay.h"
#include "text/text_writer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <string_view>
#include <thread>

namespace vantry::test {
namespace {

class MySqlRoute : public RouteTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateMariaDb::Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        Server().Run("drop table if exists orders; drop table if exists copied");
    }

    static PrivateMariaDb& Server() {
        static PrivateMariaDb server;
        return server;
    }
    static std::string TextByPort(int port) {
        return "DRIVER={MySQL (built in)};SERVER=127.0.0.1;DATABASE=shop;USER=vantry;PASSWORD=" +
               Server().Password() + ";port=" + std::to_string(port) + ";Option=3";
    }
    static std::int64_t RowsIn(const std::string& table) {
        return std::stoll(Server().QueryOne("select count(*) from " + table));
    }

    static void MakeOrders() {
        Server().Run(
            "create table orders (id integer, customer varchar(40), price double, "
            "ordered datetime)");
    }
    void FromCsvToOrders(const std::string& csv,
                         const std::string& target = Server().ConnectionText()) const {
        FromCsv(csv);
        TargetType = "MySQL";
        TargetConnStr = target;
        Map("orders.csv");
    }
    static void FromOrdersTo(const std::string& target) {
        SourceType = TargetType = "MySQL";
        SourceConnStr = TargetConnStr = Server().ConnectionText();
        Map("orders", target, "shop");
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
};

TEST_F(MySqlRoute, ATableThatIsItsOwnSourceKeepsItsRows) {
    MakeOrders();
    FromCsvToOrders(Orders(250));
    RunSession("");
    const std::pair<const char*, std::int64_t> cases[] = {
        {"DROP", 250}, {"DELETE", 250}, {"APPEND", 500}};
    for (const auto& [option, rows] : cases) {
        FromOrdersTo("");
        EXPECT_NE(RunAndLog(option), "");
        EXPECT_EQ(RowsIn("orders"), rows) << Log();
    }
    // Locked for writers until its last row is read.
    Server().Run(
        "drop table orders; create table orders (id int, t varchar(200)) engine=MyISAM;"
        "insert into orders select seq, repeat('x', 200) from seq_1_to_40000;"
        "delete from orders where id=2");
    FromOrdersTo("");
    RunSession("");
    EXPECT_EQ(RowsIn("orders"), 2 * 39'999) << Log().substr(0, 2000);
}

// The server takes a statement back whole: its rows are in the log, the others in the table, and
// none is in both.
TEST_F(MySqlRoute, ADeadlockOrALockWaitCostsItsBatchAlone) {
    Server().Run("create table weight (id int)");
    for (const char* words : {"Deadlock found", "Lock wait timeout exceeded"}) {
        const bool deadlock = *words == 'D';
        Server().Run(
            "set global innodb_lock_wait_timeout=" + std::string(deadlock ? "50" : "1") +
            ";drop table if exists orders; create table orders (id int primary key, customer "
            "varchar(80), price double, ordered datetime)");
        Connection other;
        other.Open(Server().ConnectionText());
        // The server takes back what has changed fewer rows.
        other.Execute("begin");
        other.Execute("insert into weight select seq from seq_1_to_1000");
        other.Execute("insert into orders (id) values (150)");
        std::thread rival([&] {
            // The server's table of locks is a copy that is renewed when nobody asks for a while.
            const std::string waiting =
                "select count(*) from information_schema.innodb_trx where trx_state='LOCK WAIT'";
            for (int k = 0; deadlock && k < 50 && Server().QueryOne(waiting) == "0"; ++k) {
                std::this_thread::sleep_for(std::chrono::milliseconds(150));
            }
            if (deadlock) {
                other.Execute("insert into orders (id) values (110)");
            }
        });
        FromCsvToOrders(Orders(300));
        RunAndLog("APPEND");
        rival.join();
        other.Execute("rollback");
        EXPECT_TRUE(LogHas("Error Loading Row:200\n" + std::string(words))) << Log();
        EXPECT_EQ(ReportOf(0).Errors, 1);
        EXPECT_EQ(Server().QueryOne("select group_concat(n) from (select floor((id-1)/100)*1000+"
                                    "count(*) n from orders group by floor((id-1)/100)) g"),
                  "100,2100");
        EXPECT_EQ(ReportOf(0).RowsLoaded, 200);
        EXPECT_EQ(ReportOf(0).RowsUnknown, 0);
    }
    Server().Run("set global innodb_lock_wait_timeout=50; drop table weight");
}

// A session whose table is gone would fail in each later run.
TEST_F(MySqlRoute, ADroppedTableIsMadeAnewBeforeACancelIsHeeded) {
    struct CancelAtDrop : RecordingView {
        void AppendLogText(std::string_view text) override {
            RecordingView::AppendLogText(text);
            if (text.find("Table dropped") != std::string_view::npos) {
                SessionCancelled = TableCancelled = kTrue;
                CancelWaits();
            }
        }
    } cancelling;
    MakeOrders();
    TcpRelay relay(Server().Port());
    relay.SetDelay(std::chrono::milliseconds(40));  // a login is under way at a look
    FromCsvToOrders(Orders(10), TextByPort(relay.Port()));
    SrcTables[0].TableExists = kTrue;
    SrcTables[0].LoadOption = "DROP";
    CurrentRunView = &cancelling;
    RunSession("");
    CurrentRunView = &view;
    AllowWaits();
    EXPECT_EQ(Server().QueryOne("show tables like 'orders'"), "orders") << cancelling.log;
}

TEST_F(MySqlRoute, ANewTablesRowsGoInThreeInsertsAndComeBackByteForByte) {
    TcpRelay relay(Server().Port());
    FromCsvToOrders(Orders(250), TextByPort(relay.Port()));
    EXPECT_EQ(RunAndLog(),
              Whole("About To Create Table orders.csv\n\norders Table Created Successfully\n\n"
                    "About to Insert Rows in orders Table\n250 Rows Loaded"));
    auto sent = relay.Queries();
    std::erase_if(sent, [](const std::string& text) { return !text.starts_with("INSERT"); });
    ASSERT_EQ(sent.size(), 3U);
    for (int batch = 0; batch < 3; ++batch) {
        std::string expected =
            "INSERT INTO `orders` ( `id`, `customer`, `price`, `ordered`) VALUES (";
        const int last = std::min(250, batch * 100 + 100);
        for (int id = batch * 100 + 1; id <= last; ++id) {
            const auto number = std::to_string(id);
            expected += number + ",'O''Brien & Söhne \\ [😀] " + number + "'," + number +
                        ".25,'2006-05-01-14-30-15')" + (id < last ? ",(" : "");
        }
        EXPECT_EQ(sent[static_cast<std::size_t>(batch)], expected + (batch < 2 ? ";" : ""));
    }
    FromOrdersTo("");
    ToText();
    Map("orders", "", "shop");
    RunSessionToText("");
    const auto written = folder_.Read("orders.out");
    EXPECT_TRUE(written == Orders(250)) << written.substr(0, 500);
}

TEST_F(MySqlRoute, ABadRowLosesItsBatchAndTheLogSaysSo) {
    MakeOrders();
    FromCsvToOrders(Orders(250, 150));
    EXPECT_EQ(RunAndLog(),
              Whole("About to Insert Rows in orders Table\n"
                    "Error Loading Row:200\nData too long for column 'customer' at row 50\n"
                    "250 Rows Loaded"));
    EXPECT_EQ(view.counter_changes, 2);  // not for the batch that failed
    EXPECT_EQ(RowsIn("orders"), 150);
    EXPECT_EQ(RowsOfLostBatches(250), 100);

    // A field that can't be read never becomes another value.
    auto csv = Orders(250);
    csv.replace(csv.find("\r\n120,") + 2, 3, "12x");
    folder_.Write("Schema.ini",
                  "[orders.csv]\r\nColNameHeader=True\r\nFormat=CSVDelimited\r\n"
                  "Col1=id Long\r\nCol2=customer Text\r\nCol3=price Double\r\n"
                  "Col4=ordered DateTime\r\n");
    FromCsvToOrders(csv);
    EXPECT_NE(RunAndLog("DELETE").find("12x"), std::string::npos) << view.log;
    EXPECT_EQ(RowsIn("orders"), 150) << view.log;
    EXPECT_EQ(RowsOfLostBatches(250), 100) << view.log;

    // A table without transactions keeps the rows before the refused one.
    Server().Run("set global sql_mode=''; alter table orders engine=MyISAM");
    FromCsvToOrders(Orders(250, 157));
    RunAndLog("DELETE");
    Server().Run("set global sql_mode=default");
    EXPECT_EQ(RowsIn("orders"), 206);
    EXPECT_EQ(ReportOf(0).RowsLoaded, 206) << Log();
    EXPECT_EQ(ReportOf(0).RowsFailed(), 44);
    EXPECT_EQ(Server().QueryOne("select max(char_length(customer))<40 from orders"), "1");
}

// The server has committed, and its answer is lost on the way: the report doesn't call the rows
// failed, for a second load would double them.
TEST_F(MySqlRoute, RowsWhoseAnswerIsLostMayHaveArrived) {
    MakeOrders();
    TcpRelay relay(Server().Port());
    FromCsvToOrders(Orders(1000), TextByPort(relay.Port()));
    view.hook_at_event = 150;
    view.hook = [&] {
        // The first batch has gone out, and its answer isn't read before the second one goes.
        while (RowsIn("orders") < 100) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
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

// Killed in the middle of the sixth INSERT, which a trigger holds up.
TEST_F(MySqlRoute, ATargetThatDiesDuringABatchLeavesTheLedgerRight) {
    MakeOrders();
    Server().Run(
        "create trigger slow before insert on orders for each row "
        "begin if new.id = 550 then do sleep(30); end if; end");
    FromCsvToOrders(Orders(1000));
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
    EXPECT_EQ(RowsOfLostBatches(1000), 500) << Log();
}

}  // namespace
}  // namespace vantry::test

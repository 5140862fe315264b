// Whole sessions with a real MySQL server on one side and delimited text on the other, and what is
// left when one of them fails: the rows of the source are the growth of the target and the rows
// that the log calls failed.

#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "mapping/column_discovery.h"
#include "support/private_mariadb.h"
#include "support/tcp_relay.h"
#include "support/temp_dir.h"
#include "text/text_writer.h"

#include <chrono>
#include <set>
#include <thread>

namespace vantry::test {
namespace {

// Runs something of the test's own at one of the moments at which a run lets events in.
class HookedView : public RecordingView {
public:
    void DoEvents() override {
        RecordingView::DoEvents();
        if (events == hook_at_event) {
            hook();
        }
    }

    int hook_at_event = 0;
    std::function<void()> hook;
};

class MySqlRoute : public testing::Test {
protected:
    void SetUp() override {
        if (const auto missing = PrivateMariaDb::Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        CurrentRunView = &view_;
        CurrentSessionID = 0;
        SetLocalDateForm(DateForm());
        Server().Run("drop table if exists orders; drop table if exists copied");
    }
    void TearDown() override {
        SrcRS.reset();
        SrcConn.reset();
        DstRS.reset();
        DstConn.reset();
        CurrentRunView = nullptr;
    }

    static PrivateMariaDb& Server() {
        static PrivateMariaDb server([] {
            MariaDbOptions options;
            options.general_log = true;
            return options;
        }());
        return server;
    }
    static std::string TextByPort(int port) {
        return "DRIVER={MySQL (built in)};SERVER=127.0.0.1;DATABASE=shop;USER=vantry;PASSWORD=" +
               Server().Password() + ";port=" + std::to_string(port) + ";Option=3";
    }
    static std::int64_t RowsOf(const std::string& table) {
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
    // What the mapping page does when it opens; `target` names the target table.
    static void Map(const std::string& target = {}) {
        std::vector<std::string> names;
        FillTargetTables();
        if (!target.empty()) {
            DstTables[0].Name = target;
        }
        LoadSourceColumns();
        CheckTargetTables(names);
        LoadTargetColumns();
        BuildColMaps();
    }
    static void Load(const std::string& option) {
        SrcTables[0].LoadOption = option;
        DstTables[0].LoadOption = option;
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

    // ---- The log

    std::string Log() const { return ReadableLog(view_.log); }
    // The log between its first and its closing lines.
    static std::string Whole(const std::string& middle) {
        return "Started loading at :T\n" + middle +
               " Time Elapsed :E\nEnd Time is :T\nTotal Time Elapsed for Session:E\n"
               "*******( F.I.N.I.S.H )*********";
    }
    // Rows that the log calls failed when batches of 100 are lost as a whole: the number beside an
    // error is the row reached.
    std::int64_t RowsOfLostBatches(std::int64_t rows) const {
        std::set<std::int64_t> batches;
        const std::string words = "Error Loading Row:";
        for (auto at = view_.log.find(words); at != std::string::npos;
             at = view_.log.find(words, at + 1)) {
            batches.insert((std::stoll(view_.log.substr(at + words.size())) - 1) / 100);
        }
        std::int64_t lost = 0;
        for (const auto batch : batches) {
            lost += std::min<std::int64_t>(100, rows - batch * 100);
        }
        return lost;
    }

    TempDir folder_;
    HookedView view_;
};

TEST_F(MySqlRoute, AMissingTableIsCreatedAndFilled) {
    FromCsv(Orders(3));
    ToMySql();
    Map();
    RunSession("");
    EXPECT_EQ(Log(),
              Whole("About To Create Table orders.csv\n\n"
                    "orders Table Created Successfully\n\n"
                    "About to Insert Rows in orders Table\n"
                    "3 Rows Loaded"));
    EXPECT_EQ(Server().QueryOne("select group_concat(concat_ws('|', id, customer, price, ordered) "
                                "order by id separator '\\n') from orders"),
              "1|O'Brien & Söhne \\ 1|1.25|2006-05-01 14:30:15\n"
              "2|O'Brien & Söhne \\ 2|2.25|2006-05-01 14:30:15\n"
              "3|O'Brien & Söhne \\ 3|3.25|2006-05-01 14:30:15");
}

TEST_F(MySqlRoute, AnExistingTableIsAppendedToEmptiedOrRebuilt) {
    MakeOrders();
    Server().Run("insert into orders (id) values (77)");
    struct Case {
        const char* option;
        const char* preparation;
        std::int64_t rows;
    };
    for (const auto& one :
         {Case{"APPEND", "", 4},
          Case{"DELETE",
               "About to delete existing rows from orders\n"
               "Existing Rows deleted succesfully from table orders\n",
               3},
          Case{"DROP",
               "About to Drop Table :orders\norders Table dropped\n"
               "About To Create Table orders.csv\n\norders Table Created Successfully\n\n",
               3}}) {
        SCOPED_TRACE(one.option);
        FromCsv(Orders(3));
        ToMySql();
        Map();
        Load(one.option);
        RunSession("");
        EXPECT_EQ(Log(),
                  Whole(one.preparation +
                        std::string("About to Insert Rows in orders Table\n3 Rows Loaded")));
        EXPECT_EQ(RowsOf("orders"), one.rows);
    }
    // The rebuilt table has the source's idea of its columns.
    EXPECT_NE(Server().QueryOne("select column_type from information_schema.columns where "
                                "table_name='orders' and column_name='customer'"),
              "varchar(40)");
}

TEST_F(MySqlRoute, ThreeInsertsCarryTwoHundredAndFiftyRows) {
    MakeOrders();
    FromCsv(Orders(250));
    ToMySql();
    TcpRelay relay(Server().Port());
    TargetConnStr = TextByPort(relay.Port());
    Map();
    Server().ClearLog();
    RunSession("");

    int logged = 0;
    for (const auto& text : Server().LoggedStatements()) {
        logged += text.starts_with("INSERT INTO `orders`") ? 1 : 0;
    }
    EXPECT_EQ(logged, 3) << "as the server counts them";

    std::vector<std::string> sent;
    for (const auto& text : relay.Queries()) {
        if (text.starts_with("INSERT")) {
            sent.push_back(text);
        }
    }
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
    Map();
    RunSession("");
    EXPECT_EQ(Log(),
              Whole("About to Insert Rows in orders Table\n"
                    "Error Loading Row:200\nData too long for column 'customer' at row 50\n"
                    "250 Rows Loaded"));
    EXPECT_EQ(RowsOf("orders"), 150);
    EXPECT_EQ(RowsOf("orders") + RowsOfLostBatches(250), 250);
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
    Map();
    RunSession("");
    EXPECT_NE(view_.log.find("12x"), std::string::npos) << view_.log;
    EXPECT_EQ(RowsOf("orders"), 150) << view_.log;
    EXPECT_EQ(RowsOf("orders") + RowsOfLostBatches(250), 250) << view_.log;
}

TEST_F(MySqlRoute, ATargetThatDiesBetweenBatchesLeavesTheLedgerRight) {
    MakeOrders();
    FromCsv(Orders(1000));
    ToMySql();
    Map();
    view_.hook_at_event = 450;  // behind batch 4
    view_.hook = [] { Server().Kill(); };
    RunSession("");
    Server().Restart();
    EXPECT_EQ(LogErrors(), 6) << Log();
    EXPECT_EQ(RowsOf("orders") + RowsOfLostBatches(1000), 1000) << Log();
}

}  // namespace
}  // namespace vantry::test

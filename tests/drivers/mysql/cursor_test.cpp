// Results that stream: in flat memory, side by side with other statements, and when they break off.

#include "drivers/mysql/mysql_fixture.h"
#include "support/tcp_relay.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

namespace vantry::test {
namespace {

class MySqlCursorTest : public MySqlTest {
protected:
    static std::size_t ResidentBytes() {
        std::size_t total = 0;
        std::size_t resident = 0;
        std::ifstream("/proc/self/statm") >> total >> resident;
        return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    }

    static std::string First(const Cursor& cursor) { return ToText(cursor.Row()[0]); }

    // Reads on to the end or the error.
    static DataError ErrorOfReading(Cursor& cursor) {
        return ErrorOf([&] {
            while (cursor.Next()) {
            }
        });
    }

    static std::unique_ptr<DriverConnection> ConnectThrough(const TcpRelay& relay) {
        return ConnectBy("DRIVER=MySQL;SERVER=127.0.0.1;DATABASE=shop;USER=vantry;PASSWORD=" +
                         Server().Password() + ";port=" + std::to_string(relay.Port()));
    }
};

constexpr const char* kEndless = "select seq, repeat('x', 200) from seq_1_to_1000000000";

TEST_F(MySqlCursorTest, MemoryStaysFlatOverManyRows) {
    const auto connection = Connect();
    for (const char* more : {"", ", cast(seq as float)"}) {
        const auto cursor = connection->OpenCursor(std::string("select seq, repeat('x', 300)") +
                                                   more + " from seq_1_to_300000");
        for (int k = 0; k < 1000; ++k) {
            ASSERT_TRUE(cursor->Next());
        }
        const auto before = ResidentBytes();
        std::int64_t rows = 1000;
        while (cursor->Next()) {
            ++rows;
        }
        EXPECT_EQ(rows, 300000);
        EXPECT_LT(ResidentBytes(), before + (std::size_t{4} << 20));
    }
}

TEST_F(MySqlCursorTest, OtherStatementsWorkWhileRowsAreBeingRead) {
    const auto connection = Connect();
    connection->Execute("create or replace table seen (x bigint, t varchar(20))");
    const auto appender = connection->OpenAppender("Select x, t FROM seen");
    for (const char* more : {"", ", cast(1 as float)"}) {
        SCOPED_TRACE(more);
        connection->Execute("delete from seen");
        const auto outer = connection->OpenCursor(
            std::string("select seq + 1000000000000000, concat('row ', seq)") + more +
            " from seq_1_to_500");
        ASSERT_TRUE(outer->Next());
        ASSERT_TRUE(outer->Next());
        const auto inner = connection->OpenCursor("select seq from seq_7_to_9");
        EXPECT_EQ(First(*outer), "1000000000000002") << "the row stays when another result opens";
        EXPECT_EQ(ToText(outer->Row()[1]), "row 2");
        ASSERT_TRUE(inner->Next());
        connection->Execute("insert into seen values (0, 'first')");
        EXPECT_EQ(First(*inner), "7");
        // The row of a cursor goes in over the cursor's own connection.
        appender->Append(outer->Row().first(2));
        ASSERT_TRUE(outer->Next());
        EXPECT_EQ(ToText(outer->Row()[1]), "row 3");
        ASSERT_TRUE(inner->Next());
        ASSERT_TRUE(inner->Next());
        EXPECT_EQ(First(*inner), "9");
        EXPECT_FALSE(inner->Next());
        int rows = 3;
        while (outer->Next()) {
            ++rows;
        }
        EXPECT_EQ(rows, 500);
        EXPECT_EQ(ReadColumn(*connection, "select t from seen order by x"),
                  (std::vector<std::string>{"T first", "T row 2"}));
    }
}

// The values given to a statement look at the row of a cursor that the statement itself moves.
TEST_F(MySqlCursorTest, ARowCanBeAppendedOverItsOwnConnectionWhileItStreams) {
    const auto connection = Connect();
    connection->Execute("create or replace table copied (t varchar(300))");
    const auto appender = connection->OpenAppender("Select t FROM copied");
    const auto cursor =
        connection->OpenCursor("select concat(seq, repeat('y', 250)) from seq_1_to_2000");
    while (cursor->Next()) {
        const std::vector<Cell> row(cursor->Row().begin(), cursor->Row().end());
        appender->Append(row);
    }
    EXPECT_EQ(Server().QueryOne("select count(distinct t) from copied where t regexp "
                                "'^[0-9]{1,4}y{250}$'"),
              "2000");
}

TEST_F(MySqlCursorTest, AnUnreadResultHoldsNobodyUp) {
    const auto begin = std::chrono::steady_clock::now();
    const auto connection = Connect();
    for (const char* sql : {kEndless, "select seq, cast(1 as float) from seq_1_to_1000000000"}) {
        const auto cursor = connection->OpenCursor(sql);
        ASSERT_TRUE(cursor->Next());
    }
    EXPECT_EQ(ReadColumn(*connection, "select 5"), std::vector<std::string>{"N 5"});
    {
        const auto closed = Connect();
        const auto cursor = closed->OpenCursor(kEndless);
        ASSERT_TRUE(cursor->Next());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST_F(MySqlCursorTest, LongValuesComeWhole) {
    const auto connection = Connect();
    for (const char* more : {"", ", cast(1 as float)"}) {
        const auto cursor = connection->OpenCursor(
            std::string("select seq, repeat('0123456789abcdef', seq * 65536 * 8)") + more +
            " from seq_1_to_3");
        for (std::size_t k = 1; k <= 3; ++k) {
            ASSERT_TRUE(cursor->Next());
            const auto text = cursor->Row()[1].AsText();
            ASSERT_EQ(text.size(), k << 23);
            EXPECT_EQ(text.substr(text.size() - 17), "f0123456789abcdef");
        }
        EXPECT_FALSE(cursor->Next());
    }
}

TEST_F(MySqlCursorTest, AResultThatBreaksOffIsAnErrorForGood) {
    signal(SIGPIPE, SIG_DFL);
    for (const char* sql : {kEndless, "select cast(seq as float) from seq_1_to_1000000000"}) {
        const auto connection = Connect();
        const auto cursor = connection->OpenCursor(sql);
        ASSERT_TRUE(cursor->Next());
        Server().Kill();
        const auto error = ErrorOfReading(*cursor);
        EXPECT_EQ(error.Number(), kErrUnspecified);
        EXPECT_NE(error.Description().find("Lost connection"), std::string::npos)
            << error.Description();
        EXPECT_EQ(ErrorOf([&] { cursor->Next(); }).Description(), error.Description());
        EXPECT_NE(ErrorOf([&] { connection->Execute("do 1"); }).Number(), 0);
        EXPECT_NE(ErrorOf([&] { connection->Execute(std::string(4 << 20, ' ')); }).Number(), 0);
        Server().Restart();
    }
}

TEST_F(MySqlCursorTest, AStatementThatIsKilledTellsSo) {
    const auto connection = Connect();
    const auto id = ReadColumn(*connection, "select connection_id()")[0].substr(2);
    const auto cursor = connection->OpenCursor(kEndless);
    ASSERT_TRUE(cursor->Next());
    Server().Run("kill query " + id);
    EXPECT_NE(ErrorOfReading(*cursor).Description().find("interrupted"), std::string::npos);
    EXPECT_EQ(ReadColumn(*connection, "select 5"), std::vector<std::string>{"N 5"});
}

// A row or a statement in the middle of which the server is gone, and answers that lie.
TEST_F(MySqlCursorTest, ASpoiledAnswerIsAnErrorAndNoCrash) {
    struct Spoiling {
        const char* name;
        std::function<bool(std::string&)> spoil;
    };
    const std::vector<Spoiling> spoilings = {
        {"cut in the middle of a row",
         [](std::string& piece) {
             piece.resize(piece.size() / 2);
             return false;
         }},
        {"nothing at all", [](std::string&) { return false; }},
        {"a field longer than its row",
         [](std::string& piece) {
             for (std::size_t at = 0; at + 8 < piece.size(); at += 97) {
                 piece[at] = '\xfd';  // the mark of a three-byte length
             }
             return true;
         }},
        {"a field of an impossible length",
         [](std::string& piece) {
             for (std::size_t at = 5; at < piece.size(); at += 61) {
                 piece[at] = '\xfe';  // the mark of an eight-byte length
             }
             return true;
         }},
        {"zeros",
         [](std::string& piece) {
             piece.assign(piece.size(), '\0');
             return true;
         }},
    };
    for (const auto& spoiling : spoilings) {
        SCOPED_TRACE(spoiling.name);
        TcpRelay relay(Server().Port());
        const auto connection = ConnectThrough(relay);
        const auto cursor = connection->OpenCursor(kEndless);
        ASSERT_TRUE(cursor->Next());
        relay.Spoil(spoiling.spoil);
        EXPECT_NE(ErrorOfReading(*cursor).Number(), 0);
        EXPECT_NE(ErrorOf([&] { cursor->Next(); }).Number(), 0);
    }
}

TEST_F(MySqlCursorTest, AServerThatDiesDuringAStatementEndsIt) {
    const auto connection = Connect();
    std::thread killer([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        Server().Kill();
    });
    const auto error = ErrorOf([&] { connection->Execute("do sleep(60)"); });
    killer.join();
    EXPECT_NE(error.Description().find("Lost connection"), std::string::npos)
        << error.Description();
    Server().Restart();
}

}  // namespace
}  // namespace vantry::test

// Results that stream: in flat memory, side by side with other statements, and when they break off.

#include "drivers/mysql/mysql_fixture.h"
#include "support/resident_memory.h"

#include <chrono>
#include <csignal>
#include <thread>

namespace vantry::test {
namespace {

class MySqlCursorTest : public MySqlTest {
protected:
    static std::string First(const Cursor& cursor) { return ToText(cursor.Row()[0]); }

    // Reads on to the end or the error.
    static DataError ErrorOfReading(Cursor& cursor) {
        return ErrorOf([&] {
            while (cursor.Next()) {
            }
        });
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
            std::string("select seq + 1000000000000000, concat('row ', nullif(seq, 4))") + more +
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
        ASSERT_TRUE(outer->Next());
        EXPECT_TRUE(outer->Row()[1].IsNull());
        ASSERT_TRUE(inner->Next());
        ASSERT_TRUE(inner->Next());
        EXPECT_EQ(First(*inner), "9");
        EXPECT_FALSE(inner->Next());
        int rows = 4;
        while (outer->Next()) {
            ++rows;
        }
        EXPECT_EQ(rows, 500);
        EXPECT_EQ(ReadColumn(*connection, "select t from seen order by x"),
                  (std::vector<std::string>{"T first", "T row 2"}));
    }
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

TEST_F(MySqlCursorTest, AResultThatBreaksOffIsAnErrorForGood) {
    signal(SIGPIPE, SIG_DFL);
    for (const char* sql : {kEndless, "select cast(seq as float) from seq_1_to_1000000000"}) {
        const auto connection = Connect();
        const auto cursor = connection->OpenCursor(sql);
        ASSERT_TRUE(cursor->Next());
        Server().Kill();
        const auto error = ErrorOfReading(*cursor);
        EXPECT_EQ(error.Number(), kErrUnspecified);
        EXPECT_TRUE(Has(error.Description(), "Lost connection"));
        EXPECT_EQ(ErrorOf([&] { cursor->Next(); }).Description(), error.Description());
        EXPECT_NE(ErrorOf([&] { connection->Execute("do 1"); }).Number(), 0);
        EXPECT_NE(ErrorOf([&] { connection->Execute(std::string(4 << 20, ' ')); }).Number(), 0);
        Server().Restart();
    }
}

TEST_F(MySqlCursorTest, AReaderThatPausesIsntCutOff) {
    Server().Run(
        "create table paused (t varchar(200)); insert into paused select repeat('x', 200) from "
        "seq_1_to_100000; set global net_write_timeout=1");
    const auto connection = Connect();
    const auto cursor = connection->OpenCursor("select t from paused");
    ASSERT_TRUE(cursor->Next());
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    int rows = 1;
    while (cursor->Next()) {
        ++rows;
    }
    EXPECT_EQ(rows, 100'000);
    Server().Run("set global net_write_timeout=60");
}

}  // namespace
}  // namespace vantry::test

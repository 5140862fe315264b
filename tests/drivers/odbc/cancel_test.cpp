// The user's cancel while a server works on a statement, through the real drivers: PostgreSQL and
// MariaDB in front of a table that another connection has locked, FreeTDS in front of a stand-in
// that doesn't answer.

#include "data/answer_watch.h"
#include "data/cancelled.h"
#include "drivers/odbc/odbc_fixture.h"
#include "support/private_mariadb.h"
#include "support/private_postgres.h"
#include "support/tds_server.h"

#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>

namespace vantry::test {
namespace {

using Clock = std::chrono::steady_clock;

struct Server {
    const char* name;
    std::string text;
    std::function<void()> block;  // INSERTs from here on
    std::function<void()> unblock;
    std::optional<std::int64_t> arrived;  // rows of a stopped INSERT, as far as the driver can know
};

class CancelTest : public DriverTest {
protected:
    template <typename... Needed>
    explicit CancelTest(const Needed&... needed) : DriverTest(needed...) {
        Registry().Register({PrivateOdbc::Driver("FreeTDS", kFreeTdsLibrary),
                             PrivateOdbc::Driver("MariaDB Unicode", kMariaDbLibrary),
                             PrivateOdbc::Driver("PostgreSQL Unicode", kPostgreSqlLibrary)});
    }
    ~CancelTest() override { AllowWaits(); }

    // The error of `call`, during which the user cancels.
    static DataError Cancelled(const char* name, const std::function<void()>& call) {
        Clock::time_point cancelled;
        std::thread user([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            cancelled = Clock::now();
            CancelWaits();
        });
        auto error = ErrorOf(call);
        const auto end = Clock::now();
        user.join();
        AllowWaits();
        const std::chrono::duration<double, std::milli> took = end - cancelled;
        std::printf("%s: %.0f ms from the cancel to the end of the call\n", name, took.count());
        EXPECT_LT(took.count(), 3000) << name;  // the connection would be cut after five seconds
        return error;
    }

    static void StopsAndGoesOn(const Server& server) {
        SCOPED_TRACE(server.name);
        const auto connection = Connect(server.text);
        connection->Execute("create table waits (id int)");
        const auto parameter = ParameterInfo{adInteger, 4};
        const auto insert =
            connection->Prepare("INSERT INTO waits (id) VALUES (?)", std::span(&parameter, 1));
        const Cell one = Cell::Int64(1);
        insert->Execute(std::span(&one, 1));
        server.block();
        const auto row = Cancelled(server.name, [&] { insert->Execute(std::span(&one, 1)); });
        server.unblock();
        EXPECT_TRUE(IsCancelled(row)) << row.Description();
        EXPECT_EQ(row.ArrivedRows(), server.arrived) << row.Description();

        // Rows that go together.
        if (insert->MostKept() > 1) {
            for (int k = 0; k < 3; ++k) {
                ASSERT_EQ(insert->Keep(std::span(&one, 1)), Statement::Keeping::Kept);
            }
            server.block();
            RowOutcomes outcomes;
            Cancelled(server.name, [&] { insert->SendKept(outcomes); });
            server.unblock();
            ASSERT_EQ(outcomes.size(), 3U);
            for (const auto& outcome : outcomes) {
                ASSERT_TRUE(outcome && IsCancelled(*outcome))
                    << (outcome ? outcome->Description() : "stored");
                EXPECT_EQ(outcome->ArrivedRows(), server.arrived);
            }
        }
        // The connection and the statement are as good as before.
        insert->Execute(std::span(&one, 1));
        if (server.arrived) {
            EXPECT_EQ(One(*connection, "select count(*) from waits"), "2");
        }
    }

    // Statements that end about when they would be stopped: neither side may free what the other
    // one uses.
    static void EndsAtTheSameMoment(const std::string& text, const std::string& sleep) {
        const auto connection = Connect(text);
        CancelWaits();
        int stopped = 0;
        int ended = 0;
        for (int k = 0; k < 40; ++k) {
            const auto ms = std::to_string(0.06 + k * 0.002);
            const auto error = ErrorOf([&] { Query(*connection, sleep + "(" + ms + ")"); });
            ++(error.Number() == 0 ? ended : stopped);
            EXPECT_TRUE(error.Number() == 0 || IsCancelled(error)) << error.Description();
        }
        AllowWaits();
        std::printf("%d stopped, %d ended by themselves\n", stopped, ended);
        EXPECT_EQ(One(*connection, "select 7"), "7");
    }
};

class CancelPostgreSql : public CancelTest {
protected:
    CancelPostgreSql()
        : CancelTest(kPostgreSqlLibrary, "odbc-postgresql", PrivatePostgres::Missing()) {}
};
class CancelMariaDb : public CancelTest {
protected:
    CancelMariaDb() : CancelTest(kMariaDbLibrary, "odbc-mariadb", PrivateMariaDb::Missing()) {}
};
class CancelSqlServer : public CancelTest {
protected:
    CancelSqlServer() : CancelTest(kFreeTdsLibrary, "tdsodbc") {}
};

TEST_F(CancelPostgreSql, StopsTheStatement) {
    const PrivatePostgres server;
    const auto other = Connect(server.ConnectionText());
    StopsAndGoesOn({"PostgreSQL",
                    server.ConnectionText(),
                    [&] {
                        other->Execute("BEGIN");
                        other->Execute("LOCK TABLE waits");
                    },
                    [&] { other->Execute("COMMIT"); },
                    0});
    EndsAtTheSameMoment(server.ConnectionText(), "select pg_sleep");

    // Behind a refused row the others go one by one, and none behind the one that is stopped.
    const auto connection = Connect(server.ConnectionText());
    connection->Execute("create table keys (id int primary key)");
    connection->Execute("insert into keys values (1)");
    const auto insert = connection->Prepare("INSERT INTO keys (id) VALUES (?)",
                                            std::vector<ParameterInfo>{{adInteger, 4}});
    for (const int id : {3, 1, 2, 4}) {
        insert->Keep(std::vector{Cell::Int64(id)});
    }
    other->Execute("BEGIN");
    other->Execute("insert into keys values (2)");  // the other 2 waits for its end
    RowOutcomes outcomes;
    Cancelled("block", [&] { insert->SendKept(outcomes); });
    other->Execute("ROLLBACK");
    ASSERT_EQ(outcomes.size(), 4U);
    EXPECT_TRUE(!outcomes[0] && outcomes[1] && !IsCancelled(*outcomes[1]));
    EXPECT_TRUE(outcomes[2] && IsCancelled(*outcomes[2]));
    EXPECT_TRUE(outcomes[3] && IsCancelled(*outcomes[3]));
    EXPECT_EQ(One(*connection, "select count(*) from keys"), "2");
}

TEST_F(CancelMariaDb, StopsTheStatement) {
    const PrivateMariaDb server;
    const auto text = server.ConnectionText("MariaDB Unicode");
    const auto other = Connect(text);
    StopsAndGoesOn({"MariaDB",
                    text,
                    [&] { other->Execute("lock tables waits write"); },
                    [&] { other->Execute("unlock tables"); },
                    0});
}

TEST_F(CancelSqlServer, StopsTheStatement) {
    TdsServer server;
    StopsAndGoesOn({"SQL Server",
                    server.ConnectionText(),
                    [&] {
                        server.AddFault({"INSERT INTO waits", 0, TdsFault::Then::Hang});
                    },
                    [] {},
                    std::nullopt});
}

}  // namespace
}  // namespace vantry::test

// Servers that say nothing any more, and networks that carry nothing: every wait has an end.

#include "data/answer_watch.h"
#include "drivers/mysql/mysql_fixture.h"
#include "support/tcp_relay.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace vantry::test {
namespace {

using Clock = std::chrono::steady_clock;

class MySqlSilentServer : public MySqlTest {
protected:
    // Returns when it really stands still.
    static void StopServer() {
        kill(Server().Pid(), SIGSTOP);
        int status = 0;
        waitpid(Server().Pid(), &status, WUNTRACED);
    }
    void TearDown() override {
        if (PrivateMariaDb::Missing().empty()) {
            kill(Server().Pid(), SIGCONT);
        }
    }
};

TEST_F(MySqlSilentServer, AStoppedServerIsGivenUpWhenItsTimeIsOver) {
    Server().Run("create or replace table waited (id int)");
    const std::function<void(DriverConnection&)> waits[] = {
        [](auto& connection) { connection.Execute("INSERT INTO `waited` VALUES (1)"); },
        [](auto& connection) { ReadColumn(connection, "select 1"); },
        [](auto& connection) { connection.Prepare("insert into waited values (1)", {}); },
        [](auto& connection) { connection.OpenAppender("select id from waited"); },
    };
    for (const auto& wait : waits) {
        const auto connection = ConnectBy(Server().ConnectionText() + ";ANSWER_TIMEOUT=1");
        StopServer();
        const auto begin = Clock::now();
        const auto error = ErrorOf([&] { wait(*connection); });
        EXPECT_LT(Clock::now() - begin, std::chrono::seconds(20));
        kill(Server().Pid(), SIGCONT);
        EXPECT_TRUE(Has(error.Description(), "ANSWER_TIMEOUT"));
        EXPECT_EQ(error.ArrivedRows(), std::nullopt);
        EXPECT_NE(ErrorOf([&] { connection->Execute("do 1"); }).Number(), 0);
    }
    // A row in the middle of others.
    const auto connection = ConnectBy(Server().ConnectionText() + ";ANSWER_TIMEOUT=1");
    const auto cursor = connection->OpenCursor("select seq from seq_1_to_3000000");
    ASSERT_TRUE(cursor->Next());
    StopServer();
    const auto error = ErrorOf([&] {
        while (cursor->Next()) {
        }
    });
    EXPECT_TRUE(Has(error.Description(), "ANSWER_TIMEOUT"));
}

TEST_F(MySqlSilentServer, ABusyServerHasItsTime) {
    const auto connection = ConnectBy(Server().ConnectionText() + ";ANSWER_TIMEOUT=3");
    EXPECT_EQ(ReadColumn(*connection, "select sleep(1.2) + 7"), std::vector<std::string>{"N 7"});
    std::this_thread::sleep_for(std::chrono::seconds(4));  // nobody waits
    connection->Execute("do 1");
}

// In a process of its own: a cancel is for good.
TEST_F(MySqlSilentServer, ACancelEndsTheWait) {
    const auto text = Server().ConnectionText();
    const pid_t server = Server().Pid();
    const pid_t child = fork();
    if (child == 0) {
        std::unique_ptr<DriverConnection> connection;
        const auto refused = ErrorOf([&] { connection = ConnectBy(text); });
        if (refused.Number() != 0) {
            _exit(2);
        }
        kill(server, SIGSTOP);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        CancelWaits();
        const auto error = ErrorOf([&] { connection->Execute("do 1"); });
        const auto begin = Clock::now();
        const auto late = ErrorOf([&] { ConnectBy(text); });  // it never lets us in
        const bool at_once = Clock::now() - begin < std::chrono::seconds(5);
        const auto is_told = [](const DataError& one) {
            return one.Description().find("after the cancel") != std::string::npos;
        };
        _exit(is_told(error) && is_told(late) && at_once ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

// Also one that is so far away that the login which stops it takes longer than the first look for
// cancelled waits.
TEST_F(MySqlSilentServer, ACancelStopsTheStatementAtTheServer) {
    const pid_t child = fork();
    if (child == 0) {
        TcpRelay relay(Server().Port());
        relay.SetDelay(std::chrono::milliseconds(40));
        auto text = Server().ConnectionText();
        const auto port = "port=" + std::to_string(Server().Port());
        text.replace(text.find(port), port.size(), "port=" + std::to_string(relay.Port()));
        std::unique_ptr<DriverConnection> connection;
        const auto refused = ErrorOf([&] { connection = ConnectBy(text); });
        std::thread cancel([] {
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            CancelWaits();
        });
        const auto start = std::chrono::steady_clock::now();
        connection->Execute("do sleep(30)");  // stopped, it ends without an error
        const auto seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        cancel.join();
        _exit(refused.Number() == 0 && seconds < 3 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(MySqlSilentServer, ADeadNetworkIsNoticedByTheSystem) {
    const NewSockets sockets;
    const auto connection = Connect();
    const auto opened = sockets.Find();
    ASSERT_FALSE(opened.empty());
    for (const int socket : opened) {
        unsigned unconfirmed_ms = 0;
        socklen_t size = sizeof unconfirmed_ms;
        ASSERT_EQ(getsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &unconfirmed_ms, &size), 0);
        EXPECT_GT(unconfirmed_ms, 0U);
        EXPECT_LE(unconfirmed_ms, 180'000U);
    }
}

}  // namespace
}  // namespace vantry::test

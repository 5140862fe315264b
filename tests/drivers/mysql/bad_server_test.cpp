// Servers that lie, stop in the middle, ask for what isn't theirs or say nothing any more, and
// networks that carry nothing: an error or sane values, soon, every wait has an end, and nothing of
// this machine goes to them.

#include "data/answer_watch.h"
#include "drivers/mysql/mysql_fixture.h"
#include "drivers/mysql/scripted_server.h"
#include "support/child_process.h"
#include "support/tcp_relay.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

namespace vantry::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

std::unique_ptr<DriverConnection> ConnectTo(const ScriptedServer& server) {
    return mysql::MakeMySqlDriver()->Connect(ConnectionString::Parse(
        "DRIVER=MySQL;SERVER=127.0.0.1;USER=u;PASSWORD=S3cr3t;CONN_TIMEOUT=1;port=" +
        std::to_string(server.Port())));
}

// Rows that come before the end; every value is looked at.
int ReadAll(DriverConnection& connection) {
    const auto cursor = connection.OpenCursor("select 1");
    int rows = 0;
    while (cursor->Next()) {
        ++rows;
        for (const Cell& cell : cursor->Row()) {
            ToText(cell);
        }
    }
    return rows;
}

// What every failure has to be: soon, in words, without the password.
void ExpectError(const std::string& name, const std::function<void()>& action) {
    const auto begin = std::chrono::steady_clock::now();
    const auto error = ErrorOf(action);
    EXPECT_NE(error.Number(), 0) << name;
    EXPECT_FALSE(error.Description().empty()) << name;
    EXPECT_FALSE(Has(error.Description(), "S3cr3t")) << name;
    EXPECT_FALSE(Has(error.Description(), "\n")) << name;
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)) << name;
}

TEST(BadMySqlServer, LoginsThatGoWrongEndInAnError) {
    const auto switch_to = [](const std::string& plugin) {
        return Packet(2, "\xFE" + plugin + '\0' + "abcdefghijklmnopqrst" + '\0');
    };
    const std::tuple<std::string, Script> cases[] = {
        {"another protocol", {.greeting = "HTTP/1.1 400 Bad Request\r\n\r\n"}},
        {"no greeting", {.greeting = "", .then_hangs = true}},
        {"a refusal of endless words",
         {.login_answer = Packet(2, "\xFF\x15\x04#28000"s + std::string(60'000, 'x'))}},
        {"an unknown way to log in", {.login_answer = switch_to("../../nosuch")}},
        {"a greeting that never stops coming",
         {.greeting = Greeting() + std::string(200, 'x'), .per_byte = 200ms}},
        {"a refusal that plays a log",
         {.login_answer = Packet(2, "\xFF\x15\x04#28000no\r\n300 Rows Loaded\n"s)}},
        {"no answer", {.login_answer = "", .then_hangs = true}},
    };
    for (const auto& [name, script] : cases) {
        const ScriptedServer server(script);
        ExpectError(name, [&] { ConnectTo(server); });
    }
}

// Whoever stands in the server's place could ask for it otherwise.
TEST(BadMySqlServer, ThePasswordIsNeverSentInTheClear) {
    for (const std::string plugin : {"mysql_clear_password", "dialog"}) {
        const ScriptedServer server(
            {.login_answer = Packet(2, "\xFE" + plugin + '\0' + "Password: " + '\0'),
             .then_hangs = true});
        ExpectError(plugin, [&] { ConnectTo(server); });
        EXPECT_FALSE(Has(server.Sent(), "S3cr3t")) << plugin;
    }
}

TEST(BadMySqlServer, AnswersThatLieEndInAnError) {
    const std::string head = ResultHead(2);
    const std::string row = Packet(5, Lengthened("a") + Lengthened("b"));
    const std::tuple<std::string, std::string> cases[] = {
        {"closed in a row", head + row + row.substr(0, 5)},
        {"closed behind a row", head + row},
        {"a field of 2^63 bytes", head + Packet(5, "\xFE\0\0\0\0\0\0\0\x80xyz"s)},
        {"a row out of turn", head + Packet(77, Lengthened("a") + Lengthened("b"))},
        {"2^63 columns", Packet(1, "\xFE\0\0\0\0\0\0\0\x80"s)},
        {"an end before the descriptions", Packet(1, "\2") + EndPacket(2)},
        {"a packet of no bytes for a row", head + Packet(5, "")},
        {"an error without words", Packet(1, "\xFF")},
    };
    for (const auto& [name, answer] : cases) {
        const ScriptedServer server({.answer = answer});
        ExpectError(name, [&] { ReadAll(*ConnectTo(server)); });
        ErrorOf([&] { ConnectTo(server)->Execute("do 1"); });
        ErrorOf([&] { ConnectTo(server)->Tables(); });
    }
}

// One that counts none has loaded none; the rows of one that is gone before its remarks were read
// are there.
TEST(BadMySqlServer, AnInsertsAnswerSaysWhichRowsHaveArrived) {
    const std::tuple<std::string, std::string, std::int64_t> cases[] = {
        {"\0"s, "\0\0"s, 0},
        {"\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s, "\0\0"s, 0},
        {"\3"s, "\1\0"s, 3}};
    for (const auto& [counted, remarks, arrived] : cases) {
        const ScriptedServer server({.answer = Packet(1, "\0"s + counted + "\0\2\0"s + remarks)});
        ExpectError("an insert", [&, arrived = arrived] {
            const auto error =
                ErrorOf([&] { ConnectTo(server)->Execute("INSERT INTO `t`(a) VALUES (1)"); });
            EXPECT_EQ(error.ArrivedRows(), arrived) << error.Description();
            throw DataError(error);
        });
    }
}

TEST(BadMySqlServer, AnswersToPreparedStatementsThatLieEndInAnError) {
    constexpr unsigned char kFloat = 4;
    const auto prepared = [](char columns, std::string_view parameters) {
        return Packet(1, "\0\1\0\0\0"s + columns + "\0"s + std::string(parameters) + "\0\0\0"s);
    };
    const std::string one_float = ResultHead(1, kFloat);
    // What follows the head's first packet is what follows the answer to a preparation.
    const std::string with_column = prepared(1, "\0\0"s) + one_float.substr(5);
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {"no descriptions", prepared(2, "\0\0"s) + EndPacket(2), ""},
        {"a row of half a number", with_column, one_float + Packet(4, "\0\0\x12\x34"s)},
        {"more columns than prepared", with_column, ResultHead(3) + Packet(6, "\0\0\5abc"s)},
        {"a longer text than its row",
         with_column,
         ResultHead(1) + Packet(4, "\0\0\xFE\0\0\0\0\0\0\0\x7F"s + "abc")},
    };
    for (const auto& [name, prepare, answer] : cases) {
        const ScriptedServer server({.prepare_answer = prepare, .answer = answer});
        ExpectError(name, [&] { ReadAll(*ConnectTo(server)); });
    }
    for (const std::string& parameters : {"\0\0"s, "\2\0"s, "\xFF\xFF"s}) {
        const ScriptedServer server({.prepare_answer = prepared(0, parameters), .answer = ""});
        ExpectError("parameters", [&] {
            const auto connection = ConnectTo(server);
            const std::vector<ParameterInfo> wanted = {{adInteger, 4}};
            connection->Prepare("insert into t values (?)", wanted)
                ->Execute(std::vector<Cell>{Cell::Int64(1)});
        });
    }
}

// Numbers go into statements for another server as they are.
TEST(BadMySqlServer, ValuesThatTheirTypeDoesntHaveAreTextsOrNulls) {
    const std::pair<std::vector<int>, std::vector<std::string>> cases[] = {
        {{3, 8, 246},
         {"1),(2", "user()", "-", "", "1.", "1..2", "1-1", "1e9(", "(select load_file('/x'))"}},
        {{246}, {"1.2.3"}},
        {{12}, {"9999-99-99 99:99:99", ""}},
        {{11}, {"-999:99:99"}},
        {{13}, {"20x4"}},
        {{253, 99}, {"\xFF\xFE\0"s, "x"}},
    };
    for (const auto& [types, values] : cases) {
        for (const int type : types) {
            for (const auto& value : values) {
                const ScriptedServer server(
                    {.answer = ResultHead(1, static_cast<unsigned char>(type)) +
                               Packet(4, Lengthened(value)) + EndPacket(5)});
                const auto connection = ConnectTo(server);
                const auto cursor = connection->OpenCursor("select 1");
                ASSERT_TRUE(cursor->Next());
                EXPECT_EQ(cursor->Row()[0].Kind(), ValueKind::Text) << type << " " << value;
            }
        }
    }
}

TEST(BadMySqlServer, AListOfTablesEndsWhateverTheServerSays) {
    for (const std::string& answer :
         {ResultHead(1) + Packet(4, Lengthened("a")) + EndPacket(5),
          ResultHead(2) + Packet(5, "\xFB\xFB") + EndPacket(6),
          ResultHead(2, 3) + Packet(5, Lengthened("1") + Lengthened("2")) + EndPacket(6)}) {
        const ScriptedServer server({.answer = answer});
        EXPECT_TRUE(ConnectTo(server)->Tables().empty());
    }
}

// Its words go to a log, a terminal and boxes.
TEST(BadMySqlServer, ItsWordsSteerNoTerminalAndRepeatNoPassword) {
    const std::string words =
        "#HY000\x1B]0;title\x07\x1B[2J\rS3cr3t is \xC2\x9B"
        "31m wrong \xE2\x80\xAE"
        "drow\n\x7Fline"s;
    const std::string answer = Packet(1, std::string("\xFF\x28\x04").append(words));
    const ScriptedServer server({.prepare_answer = answer, .answer = answer});
    const std::function<void()> calls[] = {
        [&] { ConnectTo(server)->Execute("do 1"); },
        [&] { ReadAll(*ConnectTo(server)); },
        [&] { ConnectTo(server)->Prepare("do 1", {}); },
        [&] { ConnectTo(server)->OpenAppender("select 1"); },
    };
    for (const auto& call : calls) {
        const auto error = ErrorOf(call);
        EXPECT_EQ(error.Description(), "?]0;title??[2J?***** is ?31m wrong ?drow ?line");
    }
}

// It may ask in answer to any statement.
TEST(BadMySqlServer, NoFileIsSent) {
    const ScriptedServer server({.answer = Packet(1, "\xFB/etc/hostname")});
    ExpectError("file", [&] { ConnectTo(server)->Execute("do 1"); });
    ExpectError("file", [&] { ReadAll(*ConnectTo(server)); });
    std::string name;
    std::getline(std::ifstream("/etc/hostname"), name);
    ASSERT_FALSE(name.empty());
    EXPECT_FALSE(Has(server.Sent(), name + "\n"));
}

using Clock = std::chrono::steady_clock;

class MySqlSilentServer : public MySqlTest {
protected:
    // In a child: what was found wrong there ends it with an error.
    static void RequireNoFailure() {
        if (HasFailure()) {
            throw std::runtime_error("a check failed");
        }
    }
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
    const auto ended = RunChild([](const Report&) {
        const auto text = Server().ConnectionText();
        const auto connection = ConnectBy(text);
        kill(Server().Pid(), SIGSTOP);
        std::this_thread::sleep_for(100ms);
        CancelWaits();
        const auto error = ErrorOf([&] { connection->Execute("do 1"); });
        const auto begin = Clock::now();
        const auto late = ErrorOf([&] { ConnectBy(text); });  // it never lets us in
        EXPECT_LT(Clock::now() - begin, 5s);
        EXPECT_TRUE(Has(error.Description(), "after the cancel"));
        EXPECT_TRUE(Has(late.Description(), "after the cancel"));
        RequireNoFailure();
    });
    EXPECT_TRUE(ended.whole);
}

// Also one that is so far away that the login which stops it takes longer than the first look for
// cancelled waits.
TEST_F(MySqlSilentServer, ACancelStopsTheStatementAtTheServer) {
    const auto ended = RunChild([](const Report&) {
        TcpRelay relay(Server().Port());
        relay.SetDelay(40ms);
        auto text = Server().ConnectionText();
        const auto port = "port=" + std::to_string(Server().Port());
        text.replace(text.find(port), port.size(), "port=" + std::to_string(relay.Port()));
        const auto connection = ConnectBy(text);
        std::thread cancel([] {
            std::this_thread::sleep_for(300ms);
            CancelWaits();
        });
        const auto start = Clock::now();
        connection->Execute("do sleep(30)");  // stopped, it ends without an error
        EXPECT_LT(Clock::now() - start, 3s);
        cancel.join();
        RequireNoFailure();
    });
    EXPECT_TRUE(ended.whole);
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

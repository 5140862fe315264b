// How a connection string finds its server, and what is said when it doesn't.

#include "drivers/mysql/mysql_fixture.h"
#include "support/tcp_relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

namespace vantry::test {
namespace {

class MySqlConnect : public MySqlTest {
protected:
    static std::string Port() { return std::to_string(Server().Port()); }
    static std::string WhoAmI(const std::string& text) {
        return ReadColumn(*ConnectBy(text),
                          "select concat(user(), ' ', ifnull(database(), '-'), ' ', @@port)")[0];
    }
};

TEST_F(MySqlConnect, EveryFormOfTheStringReachesTheServer) {
    const auto& user = Server().User();
    const auto& password = Server().Password();
    const std::string by_port = "T vantry@127.0.0.1 ";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"DRIVER={MySQL (built in)};SERVER=127.0.0.1;DATABASE=information_schema;USER=" + user +
             ";PASSWORD=" + password + ";port=" + Port() + ";Option=3",
         by_port + "information_schema " + Port()},
        {"DRIVER={MySQL (built in)};SERVER=127.0.0.1;USER=" + user + ";PASSWORD=" + password +
             ";port=" + Port() + ";Option=3",
         by_port + "- " + Port()},
        {"Driver=MySQL;server=localhost;database=shop;UID=" + user + ";PWD={" + password +
             "};PORT=" + Port(),
         by_port + "shop " + Port()},
        {"DRIVER=MySQL;SERVER=localhost;SOCKET=" + Server().Socket() + ";UID=" + user +
             ";PWD=" + password + ";CHARSET=latin1",
         "T vantry@localhost - " + Port()},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(WhoAmI(text), expected) << text;
    }
}

TEST_F(MySqlConnect, FailuresSpeakTheServersWordsAndNeverThePassword) {
    const auto start = "DRIVER=MySQL;SERVER=127.0.0.1;port=" + Port() + ";USER=vantry;PASSWORD=";
    struct Case {
        std::string text;
        std::string words;
    };
    const std::vector<Case> cases = {
        {start + "Wr0ng-S3cret",
         "Access denied for user 'vantry'@'127.0.0.1' (using password: YES)"},
        {start + Server().Password() + ";DATABASE=nosuch", "Unknown database 'nosuch'"},
        {"DRIVER=MySQL;SERVER=127.0.0.1;port=1;USER=vantry;PASSWORD=Wr0ng-S3cret",
         "Can't connect to server on '127.0.0.1'"},
        {"DRIVER=MySQL;SERVER=no.such.host.invalid;USER=vantry;PASSWORD=Wr0ng-S3cret",
         "no.such.host.invalid"},
        {"DRIVER=MySQL;SERVER=127.0.0.1;port=33o6;USER=vantry", "33o6"},
        {"DRIVER=MySQL;SERVER=127.0.0.1;port=70000;USER=vantry", "70000"},
        {start + Server().Password() + ";INITSTMT=sett password = '" + Server().Password() + "'",
         "You have an error in your SQL syntax"},
        {start + Server().Password() + ";FORCETLS=1", "FORCETLS"},
    };
    for (const auto& one : cases) {
        const auto error = ErrorOf([&] { ConnectBy(one.text); });
        EXPECT_NE(error.Number(), 0) << one.text;
        EXPECT_NE(error.Description().find(one.words), std::string::npos)
            << one.text << "\n  gives: " << error.Description();
        EXPECT_EQ(error.Description().find("S3cr"), std::string::npos) << error.Description();
        EXPECT_EQ(error.Source(), "MySQL");
    }
}

TEST_F(MySqlConnect, AServerThatSaysNothingEndsTheLoginInTime) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(listener, generic, size), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    ASSERT_EQ(getsockname(listener, generic, &size), 0);
    const auto begin = std::chrono::steady_clock::now();
    const auto error = ErrorOf([&] {
        ConnectBy("DRIVER=MySQL;SERVER=127.0.0.1;CONN_TIMEOUT=1;USER=u;port=" +
                  std::to_string(ntohs(address.sin_port)));
    });
    EXPECT_NE(error.Number(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    close(listener);
}

// The time limit is the login's alone.
TEST_F(MySqlConnect, AStatementMayTakeLongerThanTheLoginMay) {
    const auto connection = ConnectBy(Server().ConnectionText() + ";CONN_TIMEOUT=1");
    EXPECT_EQ(ReadColumn(*connection, "select sleep(1.5)"), std::vector<std::string>{"N 0"});
}

TEST_F(MySqlConnect, FirstStatementRunsAndEachStatementIsCommittedByItself) {
    Server().Run("create table committed (x int); set global autocommit=0");
    const auto connection = ConnectBy(Server().ConnectionText() + ";INITSTMT=set @mark=7");
    Server().Run("set global autocommit=1");
    EXPECT_EQ(ReadColumn(*connection, "select @mark"), std::vector<std::string>{"N 7"});
    connection->Execute("insert into committed values (1)");
    EXPECT_EQ(Server().QueryOne("select count(*) from committed"), "1");
}

TEST_F(MySqlConnect, NoFileOfThisMachineGoesToTheServer) {
    Server().Run("create table stolen (line text)");
    const auto connection = Connect();
    EXPECT_NE(ErrorOf([&] {
                  connection->Execute("load data local infile '/etc/hostname' into table stolen");
              }).Number(),
              0);
    // A server can ask for a file in answer to any statement: a packet that begins with 0xfb.
    TcpRelay relay(Server().Port());
    const auto asked =
        ConnectBy("DRIVER=MySQL;SERVER=127.0.0.1;USER=vantry;PASSWORD=" + Server().Password() +
                  ";port=" + std::to_string(relay.Port()));
    relay.Spoil([](std::string& piece) {
        piece = std::string("\x0e\x00\x00\x01\xfb/etc/hostname", 18);
        return true;
    });
    EXPECT_NE(ErrorOf([&] { asked->Execute("do 1"); }).Number(), 0);
    std::string name;
    std::getline(std::ifstream("/etc/hostname"), name);
    ASSERT_FALSE(name.empty());
    EXPECT_EQ(relay.Sent().find(name + "\n"), std::string::npos);
}

}  // namespace
}  // namespace vantry::test

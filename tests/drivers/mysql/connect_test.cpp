// How a connection string finds its server, and what is said when it doesn't.

#include "drivers/mysql/mysql_fixture.h"
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
        EXPECT_TRUE(Has(error.Description(), one.words)) << one.text << "\n gives: ";
        EXPECT_FALSE(Has(error.Description(), "S3cr"));
        EXPECT_EQ(error.Source(), "MySQL");
    }
}

// The time limit is the login's alone.
TEST_F(MySqlConnect, FirstStatementRunsAndStatementsTakeTheirTimeAndAreCommitted) {
    Server().Run("create table committed (x int); set global autocommit=0");
    const auto connection =
        ConnectBy(Server().ConnectionText() + ";CONN_TIMEOUT=1;INITSTMT=set @mark=7");
    Server().Run("set global autocommit=1");
    EXPECT_EQ(ReadColumn(*connection, "select @mark + sleep(1.5)"),
              std::vector<std::string>{"N 7"});
    connection->Execute("insert into committed values (1)");
    EXPECT_EQ(Server().QueryOne("select count(*) from committed"), "1");
}

}  // namespace
}  // namespace vantry::test

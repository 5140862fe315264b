// How a connection string finds its server, what is said when it doesn't, and to whom a password
// goes: to a server that has proved itself, or to nobody.

#include "drivers/mysql/mysql_fixture.h"
#include "drivers/mysql/scripted_server.h"

#include <tuple>

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

using namespace std::string_literals;

const std::string kPassword = "S3cr3t-password";
const std::string kChallenge = "abcdefghijklmnopqrst";

// What a server of the newer kind says at a login on which it wants the password itself. Packets
// are numbered on from the client's first, which is one later inside of TLS.
// `gives_key`: to a client that has none, outside of TLS.
Script AskingForPassword(const std::string& plugin,
                         const TestKeys& keys,
                         bool tls,
                         bool gives_key) {
    const int first = tls ? 3 : 2;
    Script script;
    script.greeting = Greeting(tls);
    script.tls = tls ? &keys : nullptr;
    script.login_answer = Packet(first, "\xFE" + plugin + '\0' + kChallenge + '\0');
    const auto key = [&](int number) { return Packet(number, "\x01" + keys.PublicKey()); };
    if (plugin == "sha256_password") {
        script.login_more = gives_key ? std::vector{key(first + 2), OkPacket(first + 4)}
                                      : std::vector{OkPacket(first + 2)};
        return script;
    }
    // The answer to the challenge isn't enough: then the password, or a wish for the key.
    script.login_more = {Packet(first + 2, "\x01\x04")};
    if (gives_key) {
        script.login_more.push_back(key(first + 4));
    }
    script.login_more.push_back(OkPacket(gives_key ? first + 6 : first + 4));
    return script;
}

// Whether the password can be read out of what the client sent.
bool HasPassword(const std::string& sent, const TestKeys& keys) {
    if (sent.find(kPassword) != std::string::npos) {
        return true;
    }
    constexpr std::size_t kBlock = 256;
    for (std::size_t at = 0; at + kBlock <= sent.size(); ++at) {
        auto plain = keys.Decrypted(std::string_view(sent).substr(at, kBlock));
        for (std::size_t k = 0; k < plain.size(); ++k) {
            plain[k] = static_cast<char>(plain[k] ^ kChallenge[k % kChallenge.size()]);
        }
        if (plain.starts_with(kPassword)) {
            return true;
        }
    }
    return false;
}

struct Attempt {
    DataError error{0, ""};
    bool got_password = false;
};

Attempt ConnectTo(Script script, const TestKeys& keys, const std::string& more) {
    const ScriptedServer server(std::move(script));
    Attempt attempt;
    attempt.error = ErrorOf([&] {
        mysql::MakeMySqlDriver()->Connect(ConnectionString::Parse(
            "DRIVER=MySQL;SERVER=127.0.0.1;USER=u;PASSWORD=" + kPassword +
            ";CONN_TIMEOUT=3;port=" + std::to_string(server.Port()) + ";" + more));
    });
    attempt.got_password = HasPassword(server.Sent() + std::string(256, '\0'), keys);
    return attempt;
}

TEST(MySqlPassword, GoesToAProvenServerAndToNobodyElse) {
    const TestKeys server;
    const TestKeys stranger;
    const std::tuple<const char*, bool, std::string, bool> cases[] = {
        {"a key that comes along", false, "", false},
        {"a key that comes along, TLS off", false, "SSLMODE=DISABLED", false},
        {"no TLS where it was asked for", false, "SSLMODE=REQUIRED", false},
        {"no TLS where a proof was asked for", false, "SSLVERIFY=1", false},
        {"no TLS where a fingerprint was given", false, "TLSPEERFP=" + server.Fingerprint(), false},
        {"a certificate of nobody", true, "", false},
        {"the same, asked for", true, "SSLMODE=REQUIRED", false},
        {"the certificate of another", true, "SSLCA=" + stranger.CertificateFile(), false},
        {"the fingerprint of another", true, "TLSPEERFP=" + stranger.Fingerprint(), false},
        {"the key of another", false, "RSAKEY=" + stranger.PublicKeyFile(), false},
        {"the key inside of TLS of nobody", true, "RSAKEY=" + server.PublicKeyFile(), false},
        {"a key that isn't there", false, "RSAKEY=/nonexistent", false},
        {"a key that is none", false, "RSAKEY=" + server.CertificateFile(), false},
        {"a good certificate", true, "SSLCA=" + server.CertificateFile(), true},
        {"the same, by its mode",
         true,
         "SSLMODE=VERIFY_IDENTITY;SSLCA=" + server.CertificateFile(),
         true},
        {"the same, where TLS would do",
         true,
         "SSLMODE=PREFERRED;SSLCA=" + server.CertificateFile(),
         true},
        {"its fingerprint", true, "TLSPEERFP=" + server.Fingerprint(), true},
        {"its key", false, "RSAKEY=" + server.PublicKeyFile(), true},
        {"its key, TLS off", false, "SSLMODE=DISABLED;RSAKEY=" + server.PublicKeyFile(), true},
    };
    for (const std::string plugin : {"caching_sha2_password", "sha256_password"}) {
        for (const auto& [name, tls, keys, sent] : cases) {
            const bool gives_key = !tls && keys.find("RSAKEY") == std::string::npos;
            const auto attempt =
                ConnectTo(AskingForPassword(plugin, server, tls, gives_key), server, keys);
            EXPECT_EQ(attempt.got_password, sent) << plugin << ": " << name;
            // Who can't read it may let everybody in.
            if (sent) {
                EXPECT_EQ(attempt.error.Number(), 0)
                    << plugin << ": " << name << ": " << attempt.error.Description();
            } else if (keys.empty()) {
                EXPECT_TRUE(Has(attempt.error.Description(), "Add to the connection string"));
            }
        }
    }
}

class MySqlTls : public MySqlTest {};

TEST_F(MySqlTls, IsUsedWhereverAServerOffersItUnlessTheStringSaysOtherwise) {
    const TestKeys keys;
    const PrivateMariaDb server({.more_settings = {"--ssl-cert=" + keys.CertificateFile(),
                                                   "--ssl-key=" + keys.PrivateKeyFile()}});
    const std::tuple<std::string, bool, bool> cases[] = {
        {"", true, true},
        {"SSLMODE=DISABLED", true, false},
        {"SSLMODE=REQUIRED", true, true},
        {"FORCETLS=1", true, true},
        {"SSLMODE=VERIFY_CA", false, true},  // nobody vouches for the certificate
        {"SSLCA=" + keys.CertificateFile(), true, true},
        {"TLSPEERFP=" + keys.Fingerprint(), true, true},
        {"TLSPEERFP=" + std::string(40, 'A'), false, true},
        {"SSLMODE=ALWAYS", false, true},
    };
    for (const auto& [more, connects, encrypted] : cases) {
        std::string cipher;
        const auto error = ErrorOf([&, more = more] {
            const auto connection = ConnectBy(server.ConnectionText() + ";" + more);
            cipher = ReadColumn(*connection, "show session status like 'Ssl_cipher'", 1)[0];
        });
        EXPECT_EQ(error.Number() == 0, connects) << more << ": " << error.Description();
        if (connects) {
            EXPECT_EQ(cipher != "T ", encrypted) << more;
        }
    }
}

}  // namespace
}  // namespace vantry::test

#pragma once
// A stand-in for a Microsoft SQL Server on the loopback address, for tests and for walks through
// the wizard: it speaks version 7.4 of the server's protocol, as much as FreeTDS needs (prelogin
// without encryption, login, batches, prepared calls, cancels), over SQLite databases in memory
// that keep SQL Server's types, conversions, errors and system tables. It lives in a thread of the
// test.
//
//     TdsServer server;                                   // user sa, databases master and shop
//     server.Run("create table orders (id int primary key, note nvarchar(40))");
//     SourceConnStr = server.ConnectionText();            // by the OLE DB provider
//     server.AddFault({"INSERT INTO", 3, TdsFault::Then::BreakOff});
//
// It isn't the server: no transactions, no locks, no procedures but those that drivers call, and of
// the language what SQLite understands, too.

#include "support/tds/store.h"

#include <atomic>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vantry::test {

struct TdsOptions {
    std::string user = "sa";
    std::string password = "s3cret-pass";
    std::vector<std::string> databases = {"shop"};  // beside "master"
};

// What is to go wrong: with the statements that hold these words, behind the first `skip` of them,
// `times` times.
struct TdsFault {
    std::string words;
    int skip = 0;
    enum class Then {
        Fail,            // with `error`
        BreakOff,        // the connection, before the statement is run
        RunAndBreakOff,  // the connection, in place of the answer
        Hang             // until the client cancels or leaves
    } then = Then::Fail;
    tds::ServerError error{1205,
                           "Transaction (Process ID 51) was deadlocked on lock resources with "
                           "another process and has been chosen as the deadlock victim. Rerun the "
                           "transaction.",
                           13};
    int times = 1;
};

// What clients have sent since the start or the last call of TakeCounts.
struct TdsCounts {
    int requests = 0;    // messages that are answered: round trips
    int statements = 0;  // run for them, prepared ones each time
};

class TdsServer {
public:
    explicit TdsServer(TdsOptions options = {});
    ~TdsServer();  // ends all connections
    TdsServer(const TdsServer&) = delete;
    TdsServer& operator=(const TdsServer&) = delete;

    int Port() const { return port_; }
    const TdsOptions& Options() const { return options_; }
    // As the pages write it for the provider; with `driver` for that ODBC driver.
    std::string ConnectionText(const std::string& database = "shop",
                               const std::string& driver = {}) const;

    // Statements of a test's own, apart by semicolons, past the protocol.
    void Run(const std::string& statements, const std::string& database = "shop");
    // The rows of a query as they are stored, one a line, fields apart by "|".
    std::string Rows(const std::string& query, const std::string& database = "shop");
    tds::Store& Databases() { return store_; }

    void AddFault(TdsFault fault);
    TdsCounts TakeCounts();

    // For the sessions.
    std::optional<TdsFault> TakeFault(const std::string& statement);
    void CountRequest() { ++requests_; }
    void CountStatement() { ++statements_; }

private:
    struct Client {
        int socket = -1;
        std::atomic<bool> done = false;
        std::thread thread;
    };
    void Accept();
    void Collect(bool all);

    TdsOptions options_;
    tds::Store store_;
    int port_ = 0;
    int listener_ = -1;
    int wake_ = -1;  // readable: end
    std::atomic<int> requests_ = 0;
    std::atomic<int> statements_ = 0;
    std::mutex mutex_;
    std::list<TdsFault> faults_;
    std::list<Client> clients_;
    std::thread acceptor_;
};

}  // namespace vantry::test

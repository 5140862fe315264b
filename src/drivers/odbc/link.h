#pragma once
// One connection to a data source, what is to be known of its driver, and the calls on it.

#include "data/answer_watch.h"
#include "data/connection_string.h"
#include "drivers/odbc/block_rules.h"
#include "drivers/odbc/driver.h"
#include "drivers/odbc/errors.h"
#include "drivers/odbc/handles.h"
#include "drivers/odbc/translation.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::odbc {

// Which server really is at the other end: drivers' oddities hang on it.
enum class Dialect { Other, MySql, SqlServer, Oracle, PostgreSql, Sqlite };

struct Traits {
    Dialect dialect = Dialect::Other;
    Provider provider = Provider::Odbc;
    bool wide_calls = true;  // statements and names travel as UTF-16
    bool utf8_text = false;  // SQL_C_CHAR is UTF-8, whatever the locale; else SQL_C_WCHAR is used
    bool one_statement = false;  // no second statement while rows are being read
    Blocks blocks = Blocks::None;
    bool rereads_bound = false;  // a bound field of the current row can be read again in pieces
};

// What reads rows while the connection is wanted for something else.
class Streamer {
public:
    virtual void TakeRowsIntoMemory() = 0;  // doesn't throw: a failure is the reader's next error

protected:
    ~Streamer() = default;
};

// Questions about one table.
enum class CatalogCall { Columns, PrimaryKey, UniqueIndexes };

class Link {
public:
    // Connects; `connection` is the stored string, whose passwords errors must not repeat.
    Link(const Login& login, const ConnectionString& connection, const Tuning& tuning);
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    const Traits& GetTraits() const { return traits_; }
    const Tuning& GetTuning() const { return tuning_; }
    const std::string& Source() const { return source_; }
    // Of the sockets that the driver has opened. Each call that asks the server waits under it.
    AnswerWatch& Watch() const { return watch_; }
    // One call that asks the server by a statement: waits under the watch, and is stopped at the
    // server when the user cancels meanwhile. Costs two stores more. Nothing but the driver's one
    // call goes in here: what reads the statement's diagnostics mustn't meet the stop, which clears
    // them from its own thread.
    template <typename DriverCall>
    SQLRETURN Asking(const StatementHandle& statement, const DriverCall& call) const {
        const Call watched(*this, statement);
        return call();
    }
    // Whether the statement of the last call was stopped in that way: its errors come from there,
    // also those of later calls. A stop that comes when the statement has just ended closes its
    // results.
    bool WasStopped() const { return stopped_.load(std::memory_order_acquire) != nullptr; }
    // An error has said that the connection broke off.
    bool IsLost() const { return lost_; }
    // The driver knows that it has, whatever its errors say.
    bool IsDead() const;

    // Each throws the driver's error. Statements travel in the form that the driver has.
    StatementHandle NewStatement() const;
    void Prepare(const StatementHandle& statement, std::string_view sql) const;
    SQLRETURN ExecuteDirect(const StatementHandle& statement, std::string_view sql) const;
    // Behind the execution of a statement that added or changed `rows` rows, which gave `result`:
    // what is to be thrown if the driver remarks that a value is another one in the table. For
    // every statement if a text was cut, once for each remark if only digits behind the last
    // decimal were lost. `rows` below 0: the driver can't count them.
    std::optional<DataError> ChangeIn(SQLRETURN result,
                                      const StatementHandle& statement,
                                      std::int64_t rows);
    // Tables and views of the current catalogue.
    void ListTables(const StatementHandle& statement) const;
    // `schema` may be empty: the driver says which it means. A driver that doesn't know the
    // question throws as a server does that refuses it.
    void AskCatalog(const StatementHandle& statement,
                    CatalogCall call,
                    std::string_view schema,
                    std::string_view table) const;
    std::string UserName() const { return InfoText(SQL_USER_NAME); }
    // What stands around a name; a blank where the source has no such thing.
    std::string IdentifierQuote() const { return InfoText(SQL_IDENTIFIER_QUOTE_CHAR); }
    // Reads what a statement gives behind its first result; an error in it is this call's.
    void DropFurtherResults(const StatementHandle& statement) const;

    // The one check of all calls: throws what the statement's diagnostics say. No data is no error.
    void Check(SQLRETURN result, const StatementHandle& statement) const;
    DataError ErrorOf(const StatementHandle& statement) const;
    DataError ErrorOf(const std::vector<DiagnosticRecord>& records) const;
    // Whether statements commit by themselves, as they do unless they are told not to.
    void CommitEach(bool each) const;
    // Ends the transaction of statements that don't.
    void EndTransaction(bool commit) const;

    // Makes the connection free for a statement where it can carry only one.
    void Idle();
    bool IsStreaming() const { return streamer_ != nullptr; }
    // Between the two the streamer is asked to make room; drivers with several statements need not.
    void BeginStream(Streamer* streamer);
    void EndStream(const Streamer* streamer);

private:
    class Call {
    public:
        Call(const Link& link, const StatementHandle& statement) : wait_(link.watch_), link_(link) {
            link_.BeginCall(statement.Get());
        }
        ~Call() { link_.EndCall(); }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;

    private:
        AnswerWatch::Wait wait_;
        const Link& link_;
    };
    void BeginCall(SQLHANDLE statement) const;
    void EndCall() const;
    void StopCall() const;
    void Connect(const Login& login);
    DataError Masked(const DataError& error) const;
    DataError WithReason(DataError error) const;
    void LearnTraits(const std::string& library);
    std::string InfoText(SQLUSMALLINT item) const;
    std::string CurrentCatalog() const;

    EnvironmentHandle environment_;
    ConnectionHandle handle_;
    // The statement of the call that goes on. Read and used by the watch's own thread, which the
    // call's end waits for: a statement is never freed under a stop.
    mutable std::atomic<SQLHANDLE> calling_ = nullptr;
    mutable std::atomic<bool> stopping_ = false;
    mutable std::atomic<SQLHANDLE> stopped_ = nullptr;
    mutable std::mutex stop_mutex_;
    mutable AnswerWatch watch_;
    mutable bool lost_ = false;  // the connection broke off, and an error has said so
    Tuning tuning_;
    Traits traits_;
    std::string source_;
    std::set<std::string> told_;        // of lost digits
    std::vector<std::string> secrets_;  // that no error may repeat
    Streamer* streamer_ = nullptr;
};

}  // namespace vantry::odbc

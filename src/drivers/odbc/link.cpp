// Everything about one connection that isn't about rows. What a driver can is asked once, behind
// the connect, and its oddities hang on who it is. Easy to get wrong: drivers without UTF-16 calls
// get their text as bytes, or the driver manager would squeeze it through the locale; the sockets
// that a driver opened are found by comparing, as no driver gives them away, and are needed to end
// a wait; and errors must not repeat a password in either form, the stored or the sent one.

#include "drivers/odbc/link.h"

#include "data/cancelled.h"
#include "drivers/odbc/errors.h"
#include "drivers/odbc/text_form.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace vantry::odbc {
namespace {

constexpr std::uintptr_t kLoginTimeoutSeconds = 15;
constexpr std::chrono::seconds kLongestLogin{4 * kLoginTimeoutSeconds};
constexpr std::uintptr_t kCatalogTimeoutSeconds = 60;

SQLPOINTER AsAttribute(std::uintptr_t number) {
    return reinterpret_cast<SQLPOINTER>(number);
}

Dialect DialectOf(std::string_view dbms) {
    struct Rule {
        std::string_view word;
        Dialect dialect;
    };
    static constexpr Rule kRules[] = {{"SQLite", Dialect::Sqlite},
                                      {"MariaDB", Dialect::MySql},
                                      {"MySQL", Dialect::MySql},
                                      {"PostgreSQL", Dialect::PostgreSql},
                                      {"Oracle", Dialect::Oracle},
                                      {"SQL Server", Dialect::SqlServer}};
    for (const auto& rule : kRules) {
        if (ContainsNoCase(dbms, rule.word)) {
            return rule.dialect;
        }
    }
    return Dialect::Other;
}

}  // namespace

Link::Link(const Login& login, const ConnectionString& connection, const Tuning& tuning)
    : environment_(OpenEnvironment()),
      handle_(ConnectionHandle::Allocate(environment_.Get())),
      watch_(std::chrono::seconds(login.answer_timeout_s)),
      tuning_(tuning),
      source_(login.source) {
    if (!handle_) {
        throw NoDriverManager();
    }
    traits_.provider = login.provider;
    traits_.wide_calls = HasWideCalls(login.library);
    // Some drivers know a password in the form that was sent, some users in the one that is stored.
    secrets_ = connection.Secrets();
    const auto sent = ConnectionString::Parse(login.text);
    secrets_.insert(secrets_.end(), sent.Secrets().begin(), sent.Secrets().end());
    std::stable_sort(secrets_.begin(), secrets_.end(), [](const auto& left, const auto& right) {
        return left.size() > right.size();  // one may hold another
    });
    const NewSockets sockets;
    Connect(login);
    const auto opened = sockets.Find();
    std::for_each(opened.begin(), opened.end(), NoticeDeadNetwork);
    watch_.SetStopper([this] { StopCall(); });
    watch_.Watch(opened);
    LearnTraits(login.library);
}

void Link::Connect(const Login& login) {
    // A driver that doesn't know the attribute has a time limit of its own or none; it says so at
    // the connect, which then goes on.
    SQLSetConnectAttr(handle_.Get(), SQL_ATTR_LOGIN_TIMEOUT, AsAttribute(kLoginTimeoutSeconds), 0);
    const bool wide = traits_.wide_calls;
    const CallText text(login.text, wide);
    const auto length = text.Count<SQLSMALLINT>(wide);
    // The driver's own limit is for one address and for each answer of a login.
    const LoginWatch watch(kLongestLogin);
    const auto result = wide ? SQLDriverConnectW(handle_.Get(),
                                                 nullptr,
                                                 text.Wide(),
                                                 length,
                                                 nullptr,
                                                 0,
                                                 nullptr,
                                                 SQL_DRIVER_NOPROMPT)
                             : SQLDriverConnect(handle_.Get(),
                                                nullptr,
                                                text.Narrow(),
                                                length,
                                                nullptr,
                                                0,
                                                nullptr,
                                                SQL_DRIVER_NOPROMPT);
    if (!SQL_SUCCEEDED(result)) {
        if (watch.Ended() != WaitEnd::None) {
            throw watch.Ended() == WaitEnd::TooLong ? LoginTooLong(kLongestLogin, source_)
                                                    : CancelledLogin(source_);
        }
        const auto records = ReadDiagnostics(SQL_HANDLE_DBC, handle_.Get(), wide);
        throw Masked(ConnectError(records, source_));
    }
}

void Link::LearnTraits(const std::string& library) {
    traits_.dialect = DialectOf(InfoText(SQL_DBMS_NAME));
    const auto driver = InfoText(SQL_DRIVER_NAME);
    const auto is = [&](std::string_view word) {
        return LibraryIs(driver, word) || LibraryIs(library, word);
    };
    // Drivers whose bytes are known to be UTF-8 on any locale, FreeTDS because we ask for it. Bytes
    // are the faster form by far; a driver without wide calls has no other.
    const bool utf8_bytes = (is("maodbc") || is("tdsodbc")) && !tuning_.utf16_text;
    traits_.utf8_text = utf8_bytes || !traits_.wide_calls;
    traits_.blocks = BlocksOf(driver);
    if (traits_.blocks == Blocks::None) {
        traits_.blocks = BlocksOf(library);
    }
    // 0 stands for no limit.
    SQLUSMALLINT statements = 0;
    SQLGetInfo(
        handle_.Get(), SQL_MAX_CONCURRENT_ACTIVITIES, &statements, sizeof statements, nullptr);
    traits_.one_statement = statements == 1 || tuning_.one_statement_at_a_time;
    SQLUINTEGER extensions = 0;
    SQLGetInfo(handle_.Get(), SQL_GETDATA_EXTENSIONS, &extensions, sizeof extensions, nullptr);
    // All three, or a bound value that was cut off can't be asked for once more.
    constexpr SQLUINTEGER kNeeded = SQL_GD_ANY_COLUMN | SQL_GD_ANY_ORDER | SQL_GD_BOUND;
    traits_.rereads_bound = (extensions & kNeeded) == kNeeded;
}

std::string Link::InfoText(SQLUSMALLINT item) const {
    std::array<SQLCHAR, 256> text{};
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetInfo(
            handle_.Get(), item, text.data(), static_cast<SQLSMALLINT>(text.size()), &length))) {
        return {};
    }
    const auto size =
        static_cast<std::size_t>(std::clamp<int>(length, 0, static_cast<int>(text.size()) - 1));
    return TextOfUnits(text.data(), size);
}

std::string Link::CurrentCatalog() const {
    constexpr std::size_t kUnits = 1024;
    SQLINTEGER bytes = 0;
    if (traits_.wide_calls) {
        // The last unit is kept from the driver: whatever it writes, a zero stands behind.
        std::vector<SQLWCHAR> text(kUnits);
        if (SQL_SUCCEEDED(
                SQLGetConnectAttrW(handle_.Get(),
                                   SQL_ATTR_CURRENT_CATALOG,
                                   text.data(),
                                   static_cast<SQLINTEGER>((kUnits - 1) * sizeof(SQLWCHAR)),
                                   &bytes))) {
            const auto end = std::find(text.begin(), text.end(), SQLWCHAR{0});
            return TextOfUnits(text.data(), static_cast<std::size_t>(end - text.begin()));
        }
        return {};
    }
    std::vector<SQLCHAR> text(kUnits);
    if (SQL_SUCCEEDED(SQLGetConnectAttr(
            handle_.Get(), SQL_ATTR_CURRENT_CATALOG, text.data(), kUnits - 1, &bytes))) {
        const auto end = std::find(text.begin(), text.end(), SQLCHAR{0});
        return TextOfUnits(text.data(), static_cast<std::size_t>(end - text.begin()));
    }
    return {};
}

StatementHandle Link::NewStatement() const {
    auto statement = StatementHandle::Allocate(handle_.Get());
    if (!statement) {
        auto error = StatementError(
            ReadDiagnostics(SQL_HANDLE_DBC, handle_.Get(), traits_.wide_calls), source_);
        error.SetArrivedRows(0);  // nothing has been sent
        throw DataError(error);
    }
    return statement;
}

void Link::Prepare(const StatementHandle& statement, std::string_view sql) const {
    const bool wide = traits_.wide_calls;
    const CallText text(sql, wide);
    const auto length = text.Count<SQLINTEGER>(wide);
    const auto result = Asking(statement, [&] {
        return wide ? SQLPrepareW(statement.Get(), text.Wide(), length)
                    : SQLPrepare(statement.Get(), text.Narrow(), length);
    });
    Check(result, statement);
}

SQLRETURN Link::ExecuteDirect(const StatementHandle& statement, std::string_view sql) const {
    const bool wide = traits_.wide_calls;
    const CallText text(sql, wide);
    const auto length = text.Count<SQLINTEGER>(wide);
    const auto result = Asking(statement, [&] {
        return wide ? SQLExecDirectW(statement.Get(), text.Wide(), length)
                    : SQLExecDirect(statement.Get(), text.Narrow(), length);
    });
    Check(result, statement);
    return result;
}

std::optional<DataError> Link::ChangeIn(SQLRETURN result,
                                        const StatementHandle& statement,
                                        std::int64_t rows) {
    if (result != SQL_SUCCESS_WITH_INFO) {
        return std::nullopt;
    }
    for (const auto& record :
         ReadDiagnostics(SQL_HANDLE_STMT, statement.Get(), traits_.wide_calls)) {
        // Lost digits would be told for every row; once is enough. A changed value is each row's
        // own.
        const auto loss = LossIn(record);
        if (loss == Loss::Value || (loss == Loss::Digits && told_.insert(record.text).second)) {
            return Masked(ValuesChanged(record.text, rows, source_));
        }
    }
    return std::nullopt;
}

void Link::ListTables(const StatementHandle& statement) const {
    SQLSetStmtAttr(statement.Get(), SQL_ATTR_QUERY_TIMEOUT, AsAttribute(kCatalogTimeoutSeconds), 0);
    // Without a catalogue some drivers list those of every database.
    const auto catalog = CurrentCatalog();
    const bool wide = traits_.wide_calls;
    const CallText text(catalog, wide);
    const auto length = text.Count<SQLSMALLINT>(wide);
    const auto result = Asking(statement, [&] {
        return wide ? SQLTablesW(statement.Get(),
                                 catalog.empty() ? nullptr : text.Wide(),
                                 length,
                                 nullptr,
                                 0,
                                 nullptr,
                                 0,
                                 nullptr,
                                 0)
                    : SQLTables(statement.Get(),
                                catalog.empty() ? nullptr : text.Narrow(),
                                length,
                                nullptr,
                                0,
                                nullptr,
                                0,
                                nullptr,
                                0);
    });
    Check(result, statement);
}

namespace {

// The calls in one of their two forms, wide or narrow.
template <typename Char, typename Columns, typename Keys, typename Statistics>
struct CatalogCalls {
    Columns columns;
    Keys keys;
    Statistics statistics;

    SQLRETURN operator()(SQLHSTMT statement,
                         CatalogCall call,
                         Char* catalog,
                         SQLSMALLINT in_catalog,
                         Char* schema,
                         SQLSMALLINT in_schema,
                         Char* table,
                         SQLSMALLINT in_table) const {
        const auto ask = [&](auto question, auto... more) {
            return question(
                statement, catalog, in_catalog, schema, in_schema, table, in_table, more...);
        };
        switch (call) {
            case CatalogCall::Columns:
                return ask(columns, nullptr, SQLSMALLINT{0});
            case CatalogCall::PrimaryKey:
                return ask(keys);
            case CatalogCall::UniqueIndexes:
                break;
        }
        return ask(statistics, SQLUSMALLINT{SQL_INDEX_UNIQUE}, SQLUSMALLINT{SQL_QUICK});
    }
};

template <typename Char, typename Columns, typename Keys, typename Statistics>
CatalogCalls<Char, Columns, Keys, Statistics> CallsOf(Columns columns,
                                                      Keys keys,
                                                      Statistics statistics) {
    return {columns, keys, statistics};
}

}  // namespace

void Link::AskCatalog(const StatementHandle& statement,
                      CatalogCall call,
                      std::string_view schema,
                      std::string_view table) const {
    SQLSetStmtAttr(statement.Get(), SQL_ATTR_QUERY_TIMEOUT, AsAttribute(kCatalogTimeoutSeconds), 0);
    const auto current = CurrentCatalog();
    const bool wide = traits_.wide_calls;
    const std::array<CallText, 3> texts = {
        CallText(current, wide), CallText(schema, wide), CallText(table, wide)};
    const auto ask = [&](const auto& calls, auto name) {
        const auto length = [&](std::size_t k) { return texts[k].Count<SQLSMALLINT>(wide); };
        // An empty text would ask for what has no schema; none at all leaves it open.
        const auto or_none = [&](std::size_t k, bool none) {
            return none ? nullptr : (texts[k].*name)();
        };
        return calls(statement.Get(),
                     call,
                     or_none(0, current.empty()),
                     length(0),
                     or_none(1, schema.empty()),
                     length(1),
                     (texts[2].*name)(),
                     length(2));
    };
    const auto result = Asking(statement, [&] {
        return wide ? ask(CallsOf<SQLWCHAR>(SQLColumnsW, SQLPrimaryKeysW, SQLStatisticsW),
                          &CallText::Wide)
                    : ask(CallsOf<SQLCHAR>(SQLColumns, SQLPrimaryKeys, SQLStatistics),
                          &CallText::Narrow);
    });
    Check(result, statement);
}

void Link::DropFurtherResults(const StatementHandle& statement) const {
    if (WasStopped()) {
        // It came too late: the statement has done its work.
        SQLFreeStmt(statement.Get(), SQL_CLOSE);
        return;
    }
    // What goes wrong in later parts of a batch comes with their results.
    for (;;) {
        const auto result = Asking(statement, [&] { return SQLMoreResults(statement.Get()); });
        if (result == SQL_NO_DATA) {
            break;
        }
        Check(result, statement);
    }
    Asking(statement, [&] { return SQLFreeStmt(statement.Get(), SQL_CLOSE); });
}

void Link::Check(SQLRETURN result, const StatementHandle& statement) const {
    if (!SQL_SUCCEEDED(result) && result != SQL_NO_DATA) {
        throw ErrorOf(statement);
    }
}

DataError Link::Masked(const DataError& error) const {
    std::string text = error.Description();
    for (const auto& secret : secrets_) {
        text = MaskSecret(text, secret);
    }
    DataError masked(error.Number(), std::move(text), error.Source());
    masked.SetArrivedRows(error.ArrivedRows());
    return masked;
}

// Where it was us who cut the connection, the driver's words mislead. And what is sent over a
// connection that is known to be gone doesn't arrive.
DataError Link::WithReason(DataError error) const {
    if (watch_.Ended() != AnswerWatch::End::None) {
        error = watch_.Ended() == AnswerWatch::End::TooLong ? NoAnswer(watch_.Limit(), source_)
                                                            : CancelledWait(source_);
    }
    if (!error.ArrivedRows() && std::exchange(lost_, true)) {
        error.SetArrivedRows(0);
    }
    return error;
}

// MariaDB's driver asks the server.
bool Link::IsDead() const {
    const AnswerWatch::Wait wait(watch_);
    SQLUINTEGER dead = SQL_CD_FALSE;
    return SQL_SUCCEEDED(SQLGetConnectAttr(
               handle_.Get(), SQL_ATTR_CONNECTION_DEAD, &dead, sizeof dead, nullptr)) &&
           dead == SQL_CD_TRUE;
}

DataError Link::ErrorOf(const StatementHandle& statement) const {
    return ErrorOf(ReadDiagnostics(SQL_HANDLE_STMT, statement.Get(), traits_.wide_calls));
}

DataError Link::ErrorOf(const std::vector<DiagnosticRecord>& records) const {
    auto broken_off = StatementError(records, source_);
    if (IsDead()) {
        broken_off.SetArrivedRows(std::nullopt);
    }
    auto error = WithReason(Masked(broken_off));
    if (!WasStopped() || watch_.Ended() != AnswerWatch::End::None) {
        return error;
    }
    DataError stopped(kErrCancelled, error.Description(), error.Source());
    // The protocol of SQL Server throws away what the server had still to say: it may have been
    // that the row is stored.
    stopped.SetArrivedRows(traits_.dialect == Dialect::SqlServer ? std::nullopt
                                                                 : error.ArrivedRows());
    return stopped;
}

void Link::BeginCall(SQLHANDLE statement) const {
    const SQLHANDLE stopped = stopped_.load(std::memory_order_relaxed);
    if (stopped != nullptr && (stopped != statement || !WaitsAreCancelled())) {
        stopped_.store(nullptr, std::memory_order_relaxed);
    }
    calling_.store(statement);
}

// Both sides write first and then read what the other has written: either the stop finds no
// statement any more, or this end sees the stop and waits for it.
void Link::EndCall() const {
    calling_.store(nullptr);
    if (stopping_.load()) {
        const std::lock_guard through(stop_mutex_);
    }
}

void Link::StopCall() const {
    const std::lock_guard lock(stop_mutex_);
    stopping_.store(true);
    if (SQLHANDLE const statement = calling_.load()) {
        stopped_.store(statement, std::memory_order_release);
        SQLCancel(statement);
    }
    stopping_.store(false);
}

void Link::CommitEach(bool each) const {
    const auto value = AsAttribute(each ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF);
    if (!SQL_SUCCEEDED(SQLSetConnectAttr(handle_.Get(), SQL_ATTR_AUTOCOMMIT, value, 0))) {
        throw ErrorOf(ReadDiagnostics(SQL_HANDLE_DBC, handle_.Get(), traits_.wide_calls));
    }
}

void Link::EndTransaction(bool commit) const {
    const AnswerWatch::Wait wait(watch_);
    const auto how = static_cast<SQLSMALLINT>(commit ? SQL_COMMIT : SQL_ROLLBACK);
    if (!SQL_SUCCEEDED(SQLEndTran(SQL_HANDLE_DBC, handle_.Get(), how))) {
        throw ErrorOf(ReadDiagnostics(SQL_HANDLE_DBC, handle_.Get(), traits_.wide_calls));
    }
}

void Link::Idle() {
    if (streamer_ != nullptr) {
        std::exchange(streamer_, nullptr)->TakeRowsIntoMemory();
    }
}

void Link::BeginStream(Streamer* streamer) {
    if (traits_.one_statement) {
        streamer_ = streamer;
    }
}

void Link::EndStream(const Streamer* streamer) {
    if (streamer_ == streamer) {
        streamer_ = nullptr;
    }
}

}  // namespace vantry::odbc

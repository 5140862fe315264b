// One connection carries one result at a time, but the loaders read and write over the same one.
// What a session sets on its server (strictness, backslashes, patience with slow readers) is set
// when it is first needed, because most connections only read. Easy to get wrong: a result that is
// left in the middle has to be read to its end or stopped from a second connection, and a stop that
// comes too late hits the statement behind it.

#include "drivers/mysql/session.h"

#include "drivers/mysql/errors.h"

#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>
#include <vector>

namespace vantry::mysql {
namespace {

constexpr int kRowsNotWorthAStop = 1000;
constexpr std::size_t kAlwaysFits = std::size_t{64} << 10;

// 0 when the server doesn't tell.
std::uint64_t LongestStatement(MYSQL* handle) {
    constexpr std::string_view kQuestion = "select @@max_allowed_packet";
    if (mysql_real_query(handle, kQuestion.data(), kQuestion.size()) != 0) {
        return 0;
    }
    const std::unique_ptr<MYSQL_RES, void (*)(MYSQL_RES*)> result(mysql_store_result(handle),
                                                                  mysql_free_result);
    const MYSQL_ROW row = result ? mysql_fetch_row(result.get()) : nullptr;
    std::uint64_t bytes = 0;
    if (row != nullptr && row[0] != nullptr) {
        const std::string_view text = row[0];
        std::from_chars(text.data(), text.data() + text.size(), bytes);
    }
    return bytes;
}

}  // namespace

Session::Session(Login login)
    : login_(std::move(login)),
      handle_(OpenHandle(login_)),
      watch_(std::chrono::seconds(login_.answer_timeout_s)) {
    watch_.SetStopper([this] { StopRunningStatement(); });
    watch_.Watch({static_cast<int>(mysql_get_socket(handle_.get()))});
    MY_CHARSET_INFO charset{};
    mysql_get_character_set_info(handle_.get(), &charset);
    bytes_per_character_ = charset.mbmaxlen;
}

Session::~Session() {
    if (abandoned_) {
        // The rest isn't wanted: without this the client library would, to the last row.
        shutdown(static_cast<int>(mysql_get_socket(handle_.get())), SHUT_RDWR);
        abandoned_.reset();
    }
}

MYSQL* Session::Idle() {
    if (streamer_ != nullptr) {
        std::exchange(streamer_, nullptr)->TakeRowsIntoMemory();
    }
    if (abandoned_) {
        DropAbandoned();
    }
    return handle_.get();
}

DataError Session::Failure() const {
    return WithReason(ServerError(handle_.get()));
}

DataError Session::Failure(MYSQL_STMT* statement) const {
    // In some cases the library notes a lost connection at the connection alone.
    return WithReason(mysql_stmt_errno(statement) != 0 ? StatementError(statement, handle_.get())
                                                       : ServerError(handle_.get()));
}

// Where it was us who cut the connection, the library's words mislead.
DataError Session::WithReason(DataError error) const {
    switch (watch_.Ended()) {
        case AnswerWatch::End::TooLong:
            return NoAnswer(watch_.Limit());
        case AnswerWatch::End::Cancelled:
            return CancelledWait();
        case AnswerWatch::End::None:
            break;
    }
    return error;
}

void Session::Send(std::string_view sql, int times) {
    const AnswerWatch::Wait wait(watch_, times);
    if (mysql_real_query(handle_.get(), sql.data(), sql.size()) != 0) {
        throw Failure();
    }
}

void Session::BeStrict() {
    if (!strict_) {
        Send(
            "set session "
            "sql_mode=concat(@@sql_mode,',STRICT_ALL_TABLES,NO_AUTO_VALUE_ON_ZERO')");
        strict_ = true;  // only now: what couldn't be set is tried again before the next write
    }
}

void Session::ReadBackslashesAs(Backslash meaning, std::string_view sql) {
    if (sql.find('\\') == std::string_view::npos) {
        return;
    }
    unsigned status = 0;  // as the server's last answer had it
    mariadb_get_infov(handle_.get(), MARIADB_CONNECTION_SERVER_STATUS, &status);
    const bool are_data = (status & SERVER_STATUS_NO_BACKSLASH_ESCAPES) != 0;
    const bool shall_be_data = meaning == Backslash::Data;
    // A server that always takes them as data is left as it is.
    if (are_data == shall_be_data || (are_data && !backslashes_set_)) {
        return;
    }
    const std::string_view set =
        shall_be_data ? "set session sql_mode=concat(@@sql_mode,',NO_BACKSLASH_ESCAPES')"
                      : "set session sql_mode=replace(@@sql_mode,'NO_BACKSLASH_ESCAPES','')";
    Send(set);
    backslashes_set_ = shall_be_data;
}

void Session::RequireFits(std::string_view sql) {
    if (sql.size() < kAlwaysFits) {
        return;
    }
    if (!longest_statement_) {
        const AnswerWatch::Wait wait(watch_);
        longest_statement_ = LongestStatement(handle_.get());
    }
    if (*longest_statement_ > 0 && sql.size() >= *longest_statement_) {
        throw StatementTooLong(sql.size(), *longest_statement_);
    }
}

void Session::AllowSlowReading() {
    if (slow_reading_allowed_) {
        return;
    }
    slow_reading_allowed_ = true;
    // In seconds. Where it is refused the server's own limit holds; a dead connection is the
    // next statement's error.
    constexpr std::string_view kOneDay = "set session net_write_timeout=86400";
    const AnswerWatch::Wait wait(watch_);
    mysql_real_query(handle_.get(), kOneDay.data(), kOneDay.size());
}

void Session::Abandon(std::unique_ptr<RowSource> rows) {
    streamer_ = nullptr;
    abandoned_ = std::move(rows);
}

void Session::DropAbandoned() {
    const AnswerWatch::Wait wait(watch_);
    auto rows = std::move(abandoned_);
    std::vector<RawField> fields(mysql_field_count(handle_.get()));
    try {
        for (int k = 0; k < kRowsNotWorthAStop; ++k) {
            if (!rows->Fetch(fields)) {
                return;
            }
        }
        StopRunningStatement();
        while (rows->Fetch(fields)) {
        }
    } catch (const DataError&) {  // the stopped statement's own end, or a dead connection: the
                                  // statement that comes next fails
    }
    rows.reset();
    // A stop that came too late for its statement would hit the next one: let it hit this.
    constexpr std::string_view kNothing = "do 0";
    mysql_real_query(handle_.get(), kNothing.data(), kNothing.size());
}

// Every user may stop their own statements. If it can't be done the rows are read to their end.
void Session::StopRunningStatement() const {
    try {
        auto login = login_;
        login.first_statement.clear();
        login.despite_cancel = true;
        constexpr decltype(login.timeout_s) kMostSeconds = 3;  // a cancel waits for this
        login.timeout_s = std::min(login.timeout_s, kMostSeconds);
        const auto side = OpenHandle(login);
        AnswerWatch watch(LoginLimit());
        watch.Watch({static_cast<int>(mysql_get_socket(side.get()))});
        const AnswerWatch::Wait wait(watch);
        const auto sql = "kill query " + std::to_string(mysql_thread_id(handle_.get()));
        mysql_real_query(side.get(), sql.data(), sql.size());
    } catch (const DataError&) {  // no second connection: then it takes longer
    }
}

Deadline::Deadline(const Session& session, std::chrono::seconds limit)
    : watch_([this, limit, socket = static_cast<int>(mysql_get_socket(session.Busy()))] {
          std::unique_lock lock(mutex_);
          if (!ended_.wait_for(lock, limit, [this] { return over_; })) {
              shutdown(socket, SHUT_RDWR);
          }
      }) {}

Deadline::~Deadline() {
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    ended_.notify_all();
    watch_.join();
}

void DropFurtherResults(Session& session) {
    MYSQL* handle = session.Busy();
    const AnswerWatch::Wait wait(session.Watch());
    int status = 0;
    while ((status = mysql_next_result(handle)) == 0) {
        if (MYSQL_RES* result = mysql_use_result(handle)) {
            mysql_free_result(result);
        }
    }
    if (status > 0) {
        throw session.Failure();
    }
}

}  // namespace vantry::mysql

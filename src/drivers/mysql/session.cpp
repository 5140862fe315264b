#include "drivers/mysql/session.h"

#include "drivers/mysql/errors.h"

#include <sys/socket.h>

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

Session::Session(Login login) : login_(std::move(login)), handle_(OpenHandle(login_)) {
    MY_CHARSET_INFO charset{};
    mysql_get_character_set_info(handle_.get(), &charset);
    bytes_per_character_ = charset.mbmaxlen;
}

Session::~Session() {
    if (abandoned_) {
        // Nobody reads the rest: without this the client library would, to the last row.
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

void Session::ReadBackslashesAs(Backslash meaning, std::string_view sql) {
    if (sql.find('\\') == std::string_view::npos) {
        return;
    }
    unsigned status = 0;  // as the server told with its last answer
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
    if (mysql_real_query(handle_.get(), set.data(), set.size()) != 0) {
        throw ServerError(handle_.get());
    }
    backslashes_set_ = shall_be_data;
}

void Session::RequireFits(std::string_view sql) {
    if (sql.size() < kAlwaysFits) {
        return;
    }
    if (!longest_statement_) {
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
    // In seconds. Where it is refused the server's own limit holds; a dead connection is told by
    // the statement that comes next.
    constexpr std::string_view kOneDay = "set session net_write_timeout=86400";
    mysql_real_query(handle_.get(), kOneDay.data(), kOneDay.size());
}

void Session::Abandon(std::unique_ptr<RowSource> rows) {
    streamer_ = nullptr;
    abandoned_ = std::move(rows);
}

void Session::DropAbandoned() {
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
                                  // statement that comes next tells that
    }
    rows.reset();
    // A stop that came too late for its statement would hit the next one: let it hit this.
    constexpr std::string_view kNothing = "do 0";
    mysql_real_query(handle_.get(), kNothing.data(), kNothing.size());
}

// Everybody may stop their own statements. If it can't be done the rows are read to their end.
void Session::StopRunningStatement() const {
    try {
        auto login = login_;
        login.first_statement.clear();
        const auto side = OpenHandle(login);
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

void DropFurtherResults(MYSQL* handle) {
    int status = 0;
    while ((status = mysql_next_result(handle)) == 0) {
        if (MYSQL_RES* result = mysql_use_result(handle)) {
            mysql_free_result(result);
        }
    }
    if (status > 0) {
        throw ServerError(handle);
    }
}

}  // namespace vantry::mysql

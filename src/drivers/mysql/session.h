#pragma once
// One connection to a server, which carries one result at a time. A cursor streams from it for as
// long as no other statement needs it; then the rest of its rows is taken into memory.

#include "data/answer_watch.h"
#include "data/data_error.h"
#include "drivers/mysql/login.h"
#include "drivers/mysql/types.h"
#include "drivers/mysql/warnings.h"

#include <mysql.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <thread>

namespace vantry::mysql {

// The rows of one result on their way from the server. Destroying it reads what is left of them.
class RowSource {
public:
    virtual ~RowSource() = default;
    // False behind the last row. The fields are valid until the next call, or until the connection
    // is used for anything else. Throws DataError.
    virtual bool Fetch(std::span<RawField> fields) = 0;
};

// What reads rows while the connection is wanted for something else.
class Streamer {
public:
    virtual void TakeRowsIntoMemory() = 0;  // doesn't throw: a failure is the reader's next error

protected:
    ~Streamer() = default;
};

// What a backslash in a literal of a statement's text is: the character itself, or the beginning of
// an escape such as \n, as servers have it unless they are told otherwise.
enum class Backslash { Data, Escape };

class Session {
public:
    explicit Session(Login login);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // The connection, free for a new statement.
    MYSQL* Idle();
    // The connection as it is: for what is in the middle of its own statement.
    MYSQL* Busy() const { return handle_.get(); }
    AnswerWatch& Watch() { return watch_; }
    unsigned BytesPerCharacter() const { return bytes_per_character_; }
    std::chrono::seconds LoginLimit() const { return std::chrono::seconds(login_.timeout_s); }

    Warnings& GetWarnings() { return warnings_; }
    // What the last call on the connection, or on a statement of it, failed with.
    DataError Failure() const;
    DataError Failure(MYSQL_STMT* statement) const;

    // Sends a statement's text on the idle connection and waits for the first answer, `times` the
    // time limit at most. Throws DataError.
    void Send(std::string_view sql, int times = 1);

    // To be called on the idle connection before anything is written: a value that doesn't fit its
    // column is refused from then on rather than changed, and a 0 for a counting column stays 0.
    void BeStrict();

    // To be called on the idle connection before `sql` is sent. Costs nothing unless there is a
    // backslash in it. Throws DataError.
    void ReadBackslashesAs(Backslash meaning, std::string_view sql);

    // To be called on the idle connection before `sql` is sent. Throws DataError if it is longer
    // than the server takes: sent, it would cost the connection and with it every later statement.
    void RequireFits(std::string_view sql);

    // To be called on the idle connection before rows are read. Their reader may pause for as
    // long as the rows' target, or a question to the user, takes: a server cuts a reader off after
    // a minute of that unless it is told otherwise.
    void AllowSlowReading();

    bool IsStreaming() const { return streamer_ != nullptr; }
    void BeginStream(Streamer* streamer) { streamer_ = streamer; }
    void EndStream() { streamer_ = nullptr; }
    // Takes over a result that isn't wanted to its end. It costs nothing if the connection
    // is closed next.
    void Abandon(std::unique_ptr<RowSource> rows);

private:
    void DropAbandoned();
    void StopRunningStatement() const;
    DataError WithReason(DataError error) const;

    Login login_;
    UniqueHandle handle_;
    AnswerWatch watch_;
    Warnings warnings_;
    bool strict_ = false;
    unsigned bytes_per_character_ = 4;
    bool backslashes_set_ = false;                    // to be data, by us
    std::optional<std::uint64_t> longest_statement_;  // once it was asked for; 0 is unknown
    bool slow_reading_allowed_ = false;
    Streamer* streamer_ = nullptr;
    std::unique_ptr<RowSource> abandoned_;
};

// Cuts the connection when it outlives its time: the library's own limits can't be set for one
// statement alone. What is waiting for the server then fails.
class Deadline {
public:
    Deadline(const Session& session, std::chrono::seconds limit);
    ~Deadline();
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
    std::thread watch_;
};

// Reads the results behind the first that a statement gave, so that the connection is free again.
// Throws DataError if one of them is an error.
void DropFurtherResults(Session& session);

}  // namespace vantry::mysql

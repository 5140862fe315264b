#pragma once
// The rows that a run didn't load, in a file beside its log: "<log>.rejects.csv", UTF-8 with a byte
// order mark, one heading, the columns
//
//     Table    the source table
//     Row      its number among the rows read, from 1
//     State    "refused"          the target, or the way there, refused it
//              "one of these"     a batch was refused as a whole for one of its rows, which isn't
//                                 known
//              "with another"     of such a batch, but another row is known to be the refused one
//              "not sent"         it was read, and the table given up before it went out
//              "taken back"       the target had it, and lost it again
//              "may have arrived" it was sent, and the answer is missing
//     Reason   the words of the data source
//
// and behind them the row's values as read. They have the source columns' names where all tables of
// the session agree on the name in that place, else "Value 1", "Value 2". Null is an empty field,
// an empty text "", a text always stands in quotes; dates are yyyy-mm-dd hh:mm:ss; bytes are 0x and
// hexadecimal digits, which the text driver reads back as bytes; a field that couldn't be read is
// empty.
//
// Readable by its owner alone; there is none before the first row. One that another program is
// writing stays with that program (IsBeingWritten); a file of the name that is there already stays,
// too, and this one then has the moment in its name: "<log>.2026-01-31-08-00-00.rejects.csv".

#include "data/value.h"
#include "files/file.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

inline constexpr std::string_view kRejectFileEnding = ".rejects.csv";

enum class RejectState : std::uint8_t {
    Refused,
    OneOfThese,
    WithAnother,
    NotSent,
    TakenBack,
    MayHaveArrived
};

class RejectFile {
public:
    explicit RejectFile(std::string path) : path_(std::move(path)) {}
    RejectFile(const RejectFile&) = delete;
    RejectFile& operator=(const RejectFile&) = delete;

    struct Reject {
        const std::string& table;
        std::int64_t row;
        RejectState state;
        std::string_view reason;
    };
    // A failure is kept as Fault: a run goes on without the file. `cells` may be fewer than the
    // table has columns.
    void Add(const Reject& reject, std::span<const Cell> cells) noexcept;
    // Writes out what is held back; to be called whenever a run may wait or end.
    void Flush() noexcept;

    // The file's own, as soon as it is made.
    const std::string& Path() const { return path_; }
    bool IsMade() const { return static_cast<bool>(file_); }
    // Why rows are missing in the file; empty when none is.
    const std::string& Fault() const { return fault_; }

    // Whether the file is such a file: one that isn't belongs to another program.
    static bool IsOne(const std::string& path);
    // Whether a run has it open, in this program or in another one.
    static bool IsBeingWritten(const std::string& path);

private:
    void Begin();

    std::string path_;
    file::File file_;
    std::uint64_t size_ = 0;
    std::string held_;
    std::string fault_;
};

// Of the run that is going on; null where there is none, or no log.
extern RejectFile* CurrentRejects;

}  // namespace vantry

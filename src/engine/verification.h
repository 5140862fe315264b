#pragma once
// Whether what was read from a source is what its target has: the values of the loaded rows are
// summed as they are read (engine/content_sum), the target is read back and summed alike. A table
// that is appended to is read before the load, too: what counts is by how much its sums grew.
//
// Asked for by CurrentSettings.VerifyRuns; a run without it does none of this. Neither the log nor
// the load knows of it. The result is in TableReport::Verified.

#include "core/session_state.h"
#include "engine/content_sum.h"
#include "engine/run_report.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry {

// Rows of a target, read back from its beginning, of the mapped columns in their order.
class TargetRows {
public:
    virtual ~TargetRows() = default;
    // One type code a column; adEmpty where the target has none.
    virtual std::vector<int> Types() const = 0;
    // False behind the last row. Throws DataError.
    virtual bool Next() = 0;
    virtual std::span<const Cell> Row() const = 0;

    // The rows from here on in up to `most` parts, each for a thread of its own, one behind the
    // other; empty where the rows can only be read in one go. Where a part that was read to its end
    // doesn't end with a whole row (or isn't the part that it was to be), the one behind it doesn't
    // begin with one either: then they are good for nothing, and all must be read in one go. So
    // they are where one can't be read. Throws DataError.
    virtual std::vector<std::unique_ptr<TargetRows>> Parts(std::size_t /*most*/) const {
        return {};
    }
    virtual bool EndsWithRow() const { return true; }
};
using OpenTarget = std::function<std::unique_ptr<TargetRows>()>;

class TableVerification {
public:
    // Before the rows of table `i` move; sets CurrentSums when it is asked for. `open` is by
    // default the target table of a database; `appends`: the target may have rows by then.
    explicit TableVerification(i16 i, OpenTarget open = {}, bool appends = true);
    ~TableVerification() { CurrentSums = nullptr; }
    TableVerification(const TableVerification&) = delete;
    TableVerification& operator=(const TableVerification&) = delete;

    // After them: compares, and writes the result into the table's report.
    void Finish();

private:
    void NotDone(std::string why);
    void Compare(const ContentSums& after);
    void Locate(const std::vector<bool>& differs);

    i16 table_;
    OpenTarget open_;
    Verification& verified_;
    std::optional<ContentSums> source_;
    std::optional<ContentSums> before_;
};

// What a person is told of a table: "The content of orders differs from its source in column price
// (1 row, first row 17)."; empty when all is well or nothing was asked.
std::string VerificationText(const TableReport& report);
// The same of all tables, and how many were found to be the same; empty when nothing was asked.
std::string VerificationSummary(std::span<const TableReport> tables);
// Whether the content of some table differs.
bool AnyContentDiffers(const std::vector<TableReport>& tables);
// The name of a result in the summary: "same", "differs", "not done".
const char* ResultName(Verification::Result result);

}  // namespace vantry

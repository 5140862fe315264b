#include "engine/pages/page_rejects.h"

#include "core/session_state.h"
#include "data/data_error.h"
#include "data/date_format.h"
#include "data/paths.h"
#include "data/value_text.h"
#include "engine/run_report.h"
#include "text/reject_layout.h"

namespace vantry {
namespace {

// The moment keeps the lists of several such runs apart.
std::string LogOfUnsaved() {
    return JoinPath(JoinPath(SharedFolder(), "log"),
                    SourceType + "To" + TargetType + FormatDateTime(Now(), "-yyyy-mm-dd-hh-nn-ss"));
}

}  // namespace

void PageRejects::Begin() {
    file_.clear();
    fault_.clear();
    const bool saved = SessionNotSaved == kFalse && !SessionLogFile.empty();
    rejects_.emplace((saved ? SessionLogFile : LogOfUnsaved()) + std::string(kRejectFileEnding));
    CurrentRejects = &*rejects_;
}

void PageRejects::End() {
    CurrentRejects = nullptr;
    if (!rejects_) {
        return;
    }
    rejects_->Flush();
    if (!rejects_->Fault().empty()) {
        fault_ = "The list of rows that aren't loaded, \"" + rejects_->Path() +
                 "\", is incomplete: " + rejects_->Fault();
    }
    if (rejects_->IsMade()) {
        file_ = rejects_->Path();
        try {
            DescribeRejectFile(file_);
        } catch (const DataError& error) {
            // The rows are there; how they are read must be chosen by hand.
            fault_ = fault_.empty() ? error.Description() : fault_;
        }
    }
    rejects_.reset();
}

std::int64_t PageRejects::Rows() {
    std::int64_t rows = 0;
    for (const auto& table : CurrentRunReport.Tables) {
        rows += table.RowsRejected;
    }
    return rows;
}

}  // namespace vantry

#pragma once
// The list of rows that a run started on the run page doesn't load (engine/reject_file). The page
// keeps no log file; the list stands beside the one that the session was saved with, where the
// runner's would, and in the log folder for a session that wasn't saved.

#include "engine/reject_file.h"

#include <optional>
#include <string>

namespace vantry {

class PageRejects {
public:
    PageRejects() = default;
    ~PageRejects() { CurrentRejects = nullptr; }
    PageRejects(const PageRejects&) = delete;
    PageRejects& operator=(const PageRejects&) = delete;

    // A run begins, and has ended.
    void Begin();
    void End();

    // Of the last run: its file, empty when all rows are loaded, and a sentence on what is wrong
    // with it.
    const std::string& File() const { return file_; }
    const std::string& Fault() const { return fault_; }
    // Of all tables of the run.
    static std::int64_t Rows();

private:
    std::optional<RejectFile> rejects_;
    std::string file_;
    std::string fault_;
};

}  // namespace vantry

#pragma once
// A data file that is open for reading. Reads go by position, so any number of scans share one.
// Every read checks that the file is still what it was when it was opened: rows of two versions of
// a file never mix, and a file that was put in place of another isn't taken for it.

#include "files/file.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace vantry::text {

class TextFile {
public:
    // Throws DataError if the file is missing, may not be read, or isn't a regular file.
    static std::shared_ptr<TextFile> Open(const std::string& path);

    const std::string& Path() const { return file_.Path(); }
    const file::FileStamp& Stamp() const { return stamp_; }
    std::int64_t Size() const { return static_cast<std::int64_t>(stamp_.size); }

    // Reads up to `size` bytes at `offset`; fewer only at the end of the file. Throws DataError if
    // that fails or the file has changed, which the error then says of what is behind `row`.
    std::size_t Read(std::int64_t offset, char* out, std::size_t size, std::int64_t row = 0) const;

    // For a change of our own: no scan reads while it lasts, as a second thread of one would take
    // it for a stranger's.
    [[nodiscard]] std::unique_lock<std::mutex> HoldReads() const {
        return std::unique_lock(reads_);
    }
    // Takes the present state for the right one: after we have appended to the file ourselves.
    void Refresh() { stamp_ = file_.Stamp(); }

private:
    explicit TextFile(file::File file) : file_(std::move(file)), stamp_(file_.Stamp()) {}
    void RequireUnchanged(std::int64_t row) const;

    file::File file_;
    file::FileStamp stamp_;
    mutable std::mutex reads_;
};

// Whether the file of the one stamp is the file of the other, with the same content.
bool IsSameState(const file::FileStamp& left, const file::FileStamp& right);

}  // namespace vantry::text

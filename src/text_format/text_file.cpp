#include "text_format/text_file.h"

#include "text_format/errors.h"

#include <fcntl.h>

#include <span>
#include <utility>

namespace vantry::text {

std::shared_ptr<TextFile> TextFile::Open(const std::string& path) {
    auto opened = file::File::OpenIfThere(path, file::OpenMode::Read);
    if (!opened) {
        throw FileMissing(path);
    }
    // A hint: its failure costs nothing.
    ::posix_fadvise(opened->Descriptor(), 0, 0, POSIX_FADV_SEQUENTIAL);
    return std::shared_ptr<TextFile>(new TextFile(std::move(*opened)));
}

std::size_t TextFile::Read(std::int64_t offset,
                           char* out,
                           std::size_t size,
                           std::int64_t row) const {
    const auto hold = HoldReads();
    const std::size_t got = file_.Read(static_cast<std::uint64_t>(offset),
                                       std::as_writable_bytes(std::span(out, size)));
    RequireUnchanged(row);
    return got;
}

void TextFile::RequireUnchanged(std::int64_t row) const {
    // The name must still lead to this file: after the load a polled file is renamed by its name.
    const auto named = file::StampOf(Path());
    if (!IsSameState(file_.Stamp(), stamp_) || !named || !named->SameFile(stamp_)) {
        throw ChangedWhileRead(Path(), row);
    }
}

bool IsSameState(const file::FileStamp& left, const file::FileStamp& right) {
    return left.SameFile(right) && left.size == right.size && left.modified_ns == right.modified_ns;
}

}  // namespace vantry::text

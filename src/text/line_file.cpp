// A file that is written line by line and replaces a former one only as a whole. Lines collect in a
// buffer; a full one is handed to a thread that writes it while the other buffer is filled, so a
// failure shows one buffer late, and the count of lines always says which of them are in the file.
// It is written as "<path>.partial" under a lock and gets its name at the end. Easy to get wrong:
// what a killed run has left under that name, links, a full disk that shows only at the flush or at
// closing, and a failure whose lines must be written once more before they are called lost.

#include "text/line_file.h"

#include "data/data_error.h"
#include "files/file_errors.h"
#include "files/file_lock.h"
#include "files/left_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <span>

namespace vantry::text {
namespace {

constexpr int kUtf8CodePage = 65001;
constexpr mode_t kPermissionBits = 07777;

DataError NotAFile(const std::string& path) {
    return {kErrUnspecified,
            "\"" + path +
                "\" can't be written: there is a folder or a device of that name. Choose another "
                "name or folder for the text file."};
}

DataError BeingWritten(const std::string& path) {
    return {kErrUnspecified,
            "\"" + path +
                "\" is being written by another run. Wait for its end, or choose another folder."};
}

DataError NotOpen() {
    return {kErrObjectClosed, "Nothing is written: the text file couldn't be opened."};
}

DataError UnknownCharacter(const std::string& path) {
    return {kErrConversion,
            "The line isn't written to \"" + path +
                "\": it has a character that the character set of this machine lacks. Run the "
                "program with a UTF-8 locale."};
}

DataError TakenAway(const std::string& partial, const std::string& path) {
    return {kErrUnspecified,
            "Another program has cut, removed or replaced \"" + partial +
                "\" while it was written. None of its lines are in \"" + path +
                "\". Run the session again, and keep other programs out of the folder meanwhile."};
}

DataError LastLinesMissing(const std::string& path, std::int64_t lines, const DataError& reason) {
    return {reason.Number(),
            reason.Description() + " The last " + std::to_string(lines) + " lines aren't in \"" +
                path + "\"."};
}

std::filesystem::file_type TypeOf(const std::string& path) {
    std::error_code absent;
    return std::filesystem::symlink_status(path, absent).type();
}

bool IsThere(const std::string& path) {
    return TypeOf(path) != std::filesystem::file_type::not_found;
}

bool LockForWriting(const file::File& file) {
    return file::TryLock(file, file::LockByte::Writer, file::LockKind::Exclusive);
}

// A file system that is somewhere else sends what it still holds when a descriptor is closed, and
// says only then that there is no room for it.
void FlushToServer(const file::File& file) {
    if (::close(::dup(file.Descriptor())) != 0) {
        throw file::SystemError(file.Path(), "written", errno);
    }
}

// Takes away what a run that died has left; a file that a living run writes is locked.
void RemoveStale(const std::string& partial) {
    if (TypeOf(partial) == std::filesystem::file_type::regular) {
        const auto stale = file::File::OpenIfThere(partial, file::OpenMode::ReadWrite);
        if (stale && !LockForWriting(*stale)) {
            throw BeingWritten(partial);
        }
        file::RemoveFile(partial);
    } else if (TypeOf(partial) == std::filesystem::file_type::symlink) {
        file::RemoveFile(partial);  // the link, never what it leads to
    }
}

}  // namespace

void LineFile::Open(const std::string& path) {
    Abandon();
    path_ = path;
    size_ = line_start_ = 0;
    file_size_ = 0;
    lines_ = lines_waiting_ = 0;
    block_.size = 0;
    taken_away_ = false;
    const auto type = TypeOf(path);
    if (path.find('\0') != std::string::npos || (type != std::filesystem::file_type::not_found &&
                                                 type != std::filesystem::file_type::regular &&
                                                 type != std::filesystem::file_type::symlink)) {
        throw NotAFile(path);
    }
    code_page_.reset();
    // Lines are made as UTF-8 in any case; elsewhere each is recoded when it is complete.
    if (LocaleCodePage() != kUtf8CodePage) {
        code_page_.emplace(LocaleCodePage());
    }
    if (capacity_ == 0) {
        Grow(kWriteSize + kWriteSize / 4);
    }
    TakePartialName();
    KeepMode();
    // Finish syncs a file that takes a former one's place.
    writer_.NewFile(type != std::filesystem::file_type::not_found);
}

void LineFile::TakePartialName() {
    const std::string partial = path_ + ".partial";
    // The lock decides, not the age: a long run may be at work on an old file.
    RemoveStale(partial);
    auto created = file::File::CreateNew(partial, false);
    // Between its making and its lock the file looked stale to others.
    const bool locked = LockForWriting(created);
    const auto there = file::StampOf(partial);
    if (!locked || !there || !there->SameFile(created.Stamp())) {
        throw BeingWritten(partial);
    }
    // Writes go to the end, wherever that is by then: a file that another program cuts under a
    // write ends up too short, rather than whole but for a hole.
    if (::fcntl(created.Descriptor(), F_SETFL, O_APPEND) != 0) {
        throw file::SystemError(partial, "opened for appending", errno);
    }
    file_ = std::move(created);
}

// The new file may be read by whom the former one may be read by.
void LineFile::KeepMode() const {
    struct stat former {};
    if (::lstat(path_.c_str(), &former) == 0 && S_ISREG(former.st_mode)) {
        // A file system without permissions refuses: it then keeps none for the former one either.
        (void)::fchmod(file_.Descriptor(), former.st_mode & kPermissionBits);
    }
}

void LineFile::Grow(std::size_t count) {
    const std::size_t capacity = std::max(capacity_ * 2, size_ + count);
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (size_ != 0) {
        std::memcpy(larger.get(), buffer_.get(), size_);
    }
    buffer_ = std::move(larger);
    capacity_ = capacity;
}

void LineFile::PrepareUncommonLine() {
    try {
        if (!file_) {
            throw NotOpen();
        }
        if (code_page_) {
            Recode();
        }
        if (size_ >= kWriteSize) {
            HandOver();
        }
    } catch (...) {
        BeginLine();
        throw;
    }
}

void LineFile::Recode() {
    const std::string_view line(buffer_.get() + line_start_, size_ - line_start_);
    if (IsAscii(line)) {
        return;
    }
    recoded_.clear();
    if (!code_page_->AppendBytes(line, recoded_)) {
        throw UnknownCharacter(path_);
    }
    BeginLine();
    Append(recoded_);
}

// Gives the accepted lines to the writer and goes on in the other buffer, with the line that is
// being made.
void LineFile::HandOver() {
    SettleBlock();
    if (line_start_ == 0) {
        return;
    }
    RequireOwnFile();
    const std::size_t begun = size_ - line_start_;
    if (block_.capacity < capacity_) {
        block_.bytes = std::make_unique_for_overwrite<char[]>(capacity_);
        block_.capacity = capacity_;
    }
    std::memcpy(block_.bytes.get(), buffer_.get() + line_start_, begun);
    std::swap(block_.bytes, buffer_);
    std::swap(block_.capacity, capacity_);
    block_.size = line_start_;
    block_.lines = lines_waiting_;
    size_ = begun;
    line_start_ = 0;
    writer_.Begin(file_, file_size_, std::as_bytes(std::span(block_.bytes.get(), block_.size)));
    block_.on_its_way = true;
}

// Waits until the block is in the file. A write that fails leaves all as it is: the next one writes
// the same bytes to the same place.
void LineFile::SettleBlock() {
    if (block_.size == 0) {
        return;
    }
    if (block_.on_its_way) {
        block_.on_its_way = false;
        if (const auto error = writer_.Await()) {
            std::rethrow_exception(error);
        }
    } else {
        // The part of it that got through is written again.
        if (file_.Size() > file_size_) {
            file_.Truncate(file_size_);
        }
        file_.Write(file_size_, std::as_bytes(std::span(block_.bytes.get(), block_.size)));
    }
    file_size_ += block_.size;
    lines_waiting_ -= block_.lines;
    block_.size = 0;
}

// A full disk takes a part of a write. The next try appends all of it, and a file that is longer
// than what we wrote counts as somebody else's.
void LineFile::CutTornWrite() noexcept {
    try {
        // A shorter file is another program's doing, which the next look has to see.
        if (file_.Size() > file_size_) {
            file_.Truncate(file_size_);
        }
    } catch (const DataError&) {
        // The failed write is the one to report.
    }
}

// All accepted lines; none that is being made.
void LineFile::WriteAll() {
    BeginLine();
    try {
        SettleBlock();
    } catch (const DataError&) {
        SettleBlock();  // what failed a while ago may succeed by now
    }
    RequireOwnFile();
    if (line_start_ != 0) {
        try {
            file_.Write(file_size_, std::as_bytes(std::span(buffer_.get(), line_start_)));
        } catch (const DataError&) {
            CutTornWrite();
            throw;
        }
        file_size_ += line_start_;
        size_ = line_start_ = 0;
    }
    lines_waiting_ = 0;
}

// A name in a folder can be given to another file at any time, and a rename moves whatever bears
// it then: somebody else's file, or a link. A file that was cut grows again with the next write,
// with a hole before it, so its length is looked at before each.
void LineFile::RequireOwnFile() {
    const auto named = file::StampOf(file_.Path());
    if (TypeOf(file_.Path()) == std::filesystem::file_type::regular && named &&
        named->SameFile(file_.Stamp()) && named->size == file_size_) {
        return;
    }
    taken_away_ = true;
    throw TakenAway(file_.Path(), path_);
}

void LineFile::Finish() {
    if (!file_) {
        throw NotOpen();
    }
    try {
        WriteAll();
        if (IsThere(path_)) {
            file_.Sync();  // a former file is given up only for one that is safe on the disk
        } else {
            FlushToServer(file_);
        }
        RequireOwnFile();  // behind the sync, which may take its time
        const auto stamp = file_.Stamp();
        file::RenameReplacing(file_.Path(), path_);
        file::NoteLeft(path_, stamp, file::Afterwards::MayBeFetched);
        file_ = {};
    } catch (const DataError& error) {
        const std::int64_t accepted = lines_;
        Abandon();  // which tries once more
        const std::int64_t missing = accepted - lines_;
        if (missing == 0 || taken_away_) {
            throw;
        }
        throw LastLinesMissing(path_, missing, error);
    }
}

void LineFile::Abandon() noexcept {
    if (!file_) {
        return;
    }
    try {
        WriteAll();
    } catch (const DataError&) {
        if (taken_away_) {
            lines_ = lines_waiting_ = 0;
            file_ = {};
            return;
        }
        lines_ -= lines_waiting_;
        lines_waiting_ = 0;
        try {
            file_.Truncate(file_size_);
        } catch (const DataError&) {
            // A torn last line stays in a file that is called partial.
        }
    }
    file_ = {};
}

void LineFile::Discard() noexcept {
    const std::string partial = path_ + ".partial";
    const bool open = IsOpen();
    Abandon();
    lines_ = 0;
    if (open) {
        std::error_code stays;  // then the next run takes it away
        std::filesystem::remove(partial, stays);
    }
}

}  // namespace vantry::text

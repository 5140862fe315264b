#include "repository/program_lock.h"

#include "core/session_state.h"
#include "files/file_errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string_view>

namespace vantry {
namespace {

// What the lock file holds. Told apart by their first letter, and of one length, so that one
// written over the other leaves nothing of it.
constexpr std::string_view kUnfinished = "unfinished\n";
constexpr std::string_view kTableNotMade = "table gone\n";

}  // namespace

std::optional<ProgramLock> ProgramLock::Take(const std::string& path) {
    ::mkdir(std::filesystem::path(path).parent_path().c_str(), S_IRWXU);  // most often it is there
    file::UniqueFd descriptor(
        ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!descriptor) {
        throw file::SystemError(path, "opened", errno);
    }
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    // Of the open file, not of the process: another descriptor that is closed doesn't drop it.
    if (::fcntl(descriptor.Get(), F_OFD_SETLK, &lock) == 0) {
        ProgramLock taken(std::move(descriptor));
        char first = 0;
        if (::pread(taken.descriptor_.Get(), &first, 1, 0) == 1) {
            taken.found_mark_ = first == kTableNotMade[0] ? Mark::TableNotMade : Mark::Unfinished;
        }
        return taken;
    }
    if (errno == EAGAIN || errno == EACCES) {
        return std::nullopt;
    }
    // A network file system without locks: two runs of one session would go unnoticed.
    throw file::LockingRefused(path, errno);
}

void ProgramLock::SetMark(Mark mark) {
    // Where the disk is full the mark is missing, and the next run may stumble: no reason not to
    // run.
    if (mark == Mark::None) {
        static_cast<void>(!::ftruncate(descriptor_.Get(), 0));
    } else {
        const std::string_view text = mark == Mark::Unfinished ? kUnfinished : kTableNotMade;
        static_cast<void>(!::pwrite(descriptor_.Get(), text.data(), text.size(), 0));
    }
}

std::string SessionLockFile(const std::string& logs, std::int32_t session_id) {
    return JoinPath(logs, "session" + std::to_string(session_id) + ".lock");
}

std::string LogFolder(const std::string& folder) {
    std::string logs = JoinPath(folder, "log");
    ::mkdir(logs.c_str(), S_IRWXU);
    return logs;
}

}  // namespace vantry

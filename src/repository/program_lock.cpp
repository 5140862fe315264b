#include "repository/program_lock.h"

#include "core/session_state.h"
#include "drivers/file/file_errors.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

namespace vantry {

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
        struct stat state {};
        ProgramLock taken(std::move(descriptor));
        taken.found_unfinished_ =
            ::fstat(taken.descriptor_.Get(), &state) == 0 && state.st_size > 0;
        return taken;
    }
    if (errno == EAGAIN || errno == EACCES) {
        return std::nullopt;
    }
    throw file::LockingRefused(path, errno);
}

void ProgramLock::SetUnfinished(bool unfinished) {
    // Where the disk is full the mark is missing, and the next run may stumble: no reason not to
    // run.
    if (unfinished) {
        static_cast<void>(!::pwrite(descriptor_.Get(), "unfinished\n", 11, 0));
    } else {
        static_cast<void>(!::ftruncate(descriptor_.Get(), 0));
    }
}

std::string LogFolder(const std::string& folder) {
    std::string logs = JoinPath(folder, "log");
    ::mkdir(logs.c_str(), S_IRWXU);
    return logs;
}

}  // namespace vantry

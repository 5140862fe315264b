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
        return ProgramLock(std::move(descriptor));
    }
    if (errno == EAGAIN || errno == EACCES) {
        return std::nullopt;
    }
    throw file::LockingRefused(path, errno);
}

std::string LogFolder(const std::string& folder) {
    std::string logs = JoinPath(folder, "log");
    ::mkdir(logs.c_str(), S_IRWXU);
    return logs;
}

}  // namespace vantry

#include "files/file_lock.h"

#include "files/file_errors.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <thread>

namespace vantry::file {
namespace {

// Behind every size that the formats allow, below the largest offset.
constexpr off_t kFirstLockByte = off_t{1} << 62;

constexpr std::chrono::milliseconds kDefaultTimeout{5000};
std::atomic<std::chrono::milliseconds> timeout_in_force{kDefaultTimeout};

struct flock Describe(LockByte byte, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = kFirstLockByte + static_cast<off_t>(byte);
    lock.l_len = 1;
    return lock;
}

short TypeOf(LockKind kind) {
    return kind == LockKind::Shared ? F_RDLCK : F_WRLCK;
}

bool HasLockOn(const std::filesystem::path& fd_info) {
    std::ifstream in(fd_info);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("lock:")) {
            return true;
        }
    }
    return false;
}

// Whether the process holds a lock on that file through one of its descriptors.
bool Holds(const std::filesystem::path& process, const FileStamp& stamp) {
    namespace fs = std::filesystem;
    std::error_code error;
    for (fs::directory_iterator fd(process / "fd", error), end; !error && fd != end;
         fd.increment(error)) {
        const auto opened = StampOf(fd->path().string());
        if (opened && opened->SameFile(stamp) &&
            HasLockOn(process / "fdinfo" / fd->path().filename())) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::chrono::milliseconds LockTimeout() {
    return timeout_in_force.load();
}
void SetLockTimeout(std::chrono::milliseconds timeout) {
    timeout_in_force.store(timeout);
}

bool TryLock(const File& file, LockByte byte, LockKind kind) {
    struct flock lock = Describe(byte, TypeOf(kind));
    while (::fcntl(file.Descriptor(), F_OFD_SETLK, &lock) != 0) {
        if (errno == EACCES || errno == EAGAIN) {
            return false;
        }
        if (errno != EINTR) {
            throw LockingRefused(file.Path(), errno);
        }
    }
    return true;
}

void Lock(const File& file, LockByte byte, LockKind kind) {
    constexpr std::chrono::microseconds kFirstPause{100};
    constexpr std::chrono::microseconds kLongestPause{5000};
    if (TryLock(file, byte, kind)) {
        return;
    }
    const auto end = std::chrono::steady_clock::now() + LockTimeout();
    for (auto pause = kFirstPause;; pause = std::min(pause * 2, kLongestPause)) {
        std::this_thread::sleep_for(pause);
        if (TryLock(file, byte, kind)) {
            return;
        }
        if (std::chrono::steady_clock::now() >= end) {
            throw FileInUse(file.Path(), HoldersOf(file));
        }
    }
}

void Unlock(const File& file, LockByte byte) {
    struct flock lock = Describe(byte, F_UNLCK);
    // Fails only on a bad descriptor; the lock ends with the descriptor then.
    static_cast<void>(::fcntl(file.Descriptor(), F_OFD_SETLK, &lock));
}

bool LockedByOther(const File& file, LockByte byte, LockKind kind) {
    struct flock lock = Describe(byte, TypeOf(kind));
    if (::fcntl(file.Descriptor(), F_OFD_GETLK, &lock) != 0) {
        throw LockingRefused(file.Path(), errno);
    }
    return lock.l_type != F_UNLCK;
}

std::string HoldersOf(const File& file) {
    namespace fs = std::filesystem;
    const FileStamp stamp = file.Stamp();
    std::string holders;
    std::error_code error;
    for (fs::directory_iterator process("/proc", error), end; !error && process != end;
         process.increment(error)) {
        const std::string id = process->path().filename().string();
        if (id.empty() || id.find_first_not_of("0123456789") != std::string::npos ||
            id == std::to_string(::getpid()) || !Holds(process->path(), stamp)) {
            continue;
        }
        std::string name;
        std::getline(std::ifstream(process->path() / "comm"), name);
        if (!holders.empty()) {
            holders += ", ";
        }
        holders += name + " (process " + id + ")";
    }
    return holders;
}

}  // namespace vantry::file

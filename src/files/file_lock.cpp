// Locks of open file descriptions: they belong to the descriptor, not to the process, so two
// connections of one process lock each other out as two processes do, and closing another
// descriptor of the file releases nothing. They are taken on bytes far behind the data, where no
// reader of the file is in the way. Waiting is by trying again, as the system's own waiting has no
// time limit. Easy to get wrong: a network drive may refuse locks altogether, which is another
// error than being locked out.

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
constexpr std::uint64_t kFirstLockByte = std::uint64_t{1} << 62;

constexpr std::chrono::milliseconds kDefaultTimeout{5000};
std::atomic<std::chrono::milliseconds> TimeoutInForce{kDefaultTimeout};

struct flock Describe(ByteRange range, short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(range.start);
    lock.l_len = static_cast<off_t>(range.length);
    return lock;
}

ByteRange RangeOf(LockByte byte) {
    return {kFirstLockByte + static_cast<std::uint64_t>(byte), 1};
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
    return TimeoutInForce.load();
}
void SetLockTimeout(std::chrono::milliseconds timeout) {
    TimeoutInForce.store(timeout);
}

bool TryLock(const File& file, LockByte byte, LockKind kind) {
    return TryLock(file, RangeOf(byte), kind);
}
void Lock(const File& file, LockByte byte, LockKind kind) {
    Lock(file, RangeOf(byte), kind);
}
void Unlock(const File& file, LockByte byte) {
    Unlock(file, RangeOf(byte));
}

bool TryLock(const File& file, ByteRange range, LockKind kind) {
    struct flock lock = Describe(range, TypeOf(kind));
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

namespace {

void LockWithin(const File& file,
                ByteRange range,
                LockKind kind,
                std::chrono::milliseconds timeout) {
    // Most locks are held for the length of a page read; a long wait costs few wake-ups.
    constexpr std::chrono::microseconds kFirstPause{100};
    constexpr std::chrono::microseconds kLongestPause{5000};
    if (TryLock(file, range, kind)) {
        return;
    }
    const auto end = std::chrono::steady_clock::now() + timeout;
    for (auto pause = kFirstPause;; pause = std::min(pause * 2, kLongestPause)) {
        std::this_thread::sleep_for(pause);
        if (TryLock(file, range, kind)) {
            return;
        }
        if (std::chrono::steady_clock::now() >= end) {
            throw FileInUse(file.Path(), HoldersOf(file));
        }
    }
}

}  // namespace

void Lock(const File& file, ByteRange range, LockKind kind) {
    LockWithin(file, range, kind, LockTimeout());
}

void LockPatiently(const File& file,
                   LockByte byte,
                   LockKind kind,
                   std::chrono::milliseconds least) {
    LockWithin(file, RangeOf(byte), kind, std::max(least, LockTimeout()));
}

void Unlock(const File& file, ByteRange range) {
    struct flock lock = Describe(range, F_UNLCK);
    // Fails only on a bad descriptor; the lock ends with the descriptor then.
    static_cast<void>(::fcntl(file.Descriptor(), F_OFD_SETLK, &lock));
}

bool LockedByOther(const File& file, LockByte byte, LockKind kind) {
    struct flock lock = Describe(RangeOf(byte), TypeOf(kind));
    if (::fcntl(file.Descriptor(), F_OFD_GETLK, &lock) != 0) {
        throw LockingRefused(file.Path(), errno);
    }
    return lock.l_type != F_UNLCK;
}

// By /proc, for the error text only: what can't be looked into (another user's process) is left
// out.
std::string HoldersOf(const File& file) {
    namespace fs = std::filesystem;
    const FileStamp stamp = file.Stamp();
    std::string holders;
    std::error_code error;
    for (fs::directory_iterator process("/proc", error), end; !error && process != end;
         process.increment(error)) {
        const std::string id = process->path().filename().string();
        if (id.empty() || id.find_first_not_of("0123456789") != std::string::npos ||
            // "In use by" this very program would help nobody.
            id == std::to_string(::getpid()) || !Holds(process->path(), stamp)) {
            continue;
        }
        std::string name;
        // Empty when the process has just ended; its number is told all the same.
        std::getline(std::ifstream(process->path() / "comm"), name);
        if (!holders.empty()) {
            holders += ", ";
        }
        holders += name + " (process " + id + ")";
    }
    return holders;
}

}  // namespace vantry::file

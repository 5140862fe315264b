// All calls that open, read, write, flush, rename or remove a file of the engines. Each is made
// here once, restarted when a signal interrupts it, turned into an error that names the file, and
// shown to the fault plan, by which tests make any call fail or kill the program before it. Easy to
// get wrong: short writes, folders and devices under a file's name, file systems without fallocate
// or without renaming that refuses to replace, and a folder that must be flushed too before a new
// name is durable.

#include "files/file.h"

#include "files/fault_plan.h"
#include "files/file_errors.h"
#include "files/left_files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>

namespace vantry::file {
namespace {

constexpr mode_t kOwnerOnly = 0600;
constexpr mode_t kByUmask = 0666;

Verdict Ask(const Call& call) {
    FaultPlan* const plan = InstalledFaultPlan();
    return plan == nullptr ? Verdict{} : plan->Before(call);
}

void Tell(const Call& call) {
    if (FaultPlan* const plan = InstalledFaultPlan(); plan != nullptr) {
        plan->After(call);
    }
}

// Runs `action` (0 or -1 and errno) under the plan; the errno of its failure, else 0.
template <typename Action>
int Perform(const Call& call, Action&& action) {
    const Verdict verdict = Ask(call);
    int error = verdict.error;
    if (error == 0 && !verdict.skip) {
        int result;
        do {
            result = action();
        } while (result == -1 && errno == EINTR);
        error = result == -1 ? errno : 0;
    }
    if (error == 0) {
        Tell(call);
    }
    return error;
}

// Last digits of a time that MarkChanged() set; by chance on one in a thousand others.
constexpr long kMarkModulus = 1000;
constexpr long kMarkDigits = 777;

FileStamp StampFrom(const struct stat& status) {
    return {.device = static_cast<std::uint64_t>(status.st_dev),
            .inode = static_cast<std::uint64_t>(status.st_ino),
            .size = static_cast<std::uint64_t>(status.st_size),
            .modified_ns = static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 +
                           static_cast<std::int64_t>(status.st_mtim.tv_nsec),
            .marked = status.st_mtim.tv_nsec % kMarkModulus == kMarkDigits,
            .owner_only = (status.st_mode & (S_IRWXG | S_IRWXO)) == 0};
}

off_t Offset(std::uint64_t value) {
    return static_cast<off_t>(value);
}

// Opens; the errno of the failure, else 0.
int TryOpen(const std::string& path, int flags, UniqueFd& descriptor) {
    const Call call{.operation = Operation::Open, .path = path};
    return Perform(call, [&] {
        // A program that is started meanwhile must not inherit it: a lock of the file would outlive
        // this one.
        const int opened = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        if (opened >= 0) {
            descriptor.Reset(opened);
            return 0;
        }
        return -1;
    });
}

// EPERM is an immutable file or one on a share that forbids it.
bool MeansReadOnly(int error) {
    return error == EACCES || error == EROFS || error == EPERM;
}

}  // namespace

// O_NONBLOCK in TryOpen: a pipe under a table's name would hang the program; only regular files
// pass.
std::optional<File> File::OpenIfThere(const std::string& path, OpenMode mode, Links links) {
    UniqueFd descriptor;
    const int extra = links == Links::Refused ? O_NOFOLLOW : 0;
    bool writable = mode != OpenMode::Read;
    int error = TryOpen(path, (writable ? O_RDWR : O_RDONLY) | extra, descriptor);
    if (MeansReadOnly(error) && mode == OpenMode::ReadWriteIfAllowed) {
        writable = false;
        // Whoever asked so finds out by Writable() before the first change.
        error = TryOpen(path, O_RDONLY | extra, descriptor);
    }
    if (error == ENOENT) {
        return std::nullopt;
    }
    if (error != 0) {
        throw SystemError(path, "opened", error);
    }
    struct stat status {};
    if (::fstat(descriptor.Get(), &status) != 0) {
        throw SystemError(path, "opened", errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw SystemError(path, "opened", S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
    }
    return File(std::move(descriptor), path, writable);
}

File File::Open(const std::string& path, OpenMode mode) {
    auto opened = OpenIfThere(path, mode);
    if (!opened) {
        throw SystemError(path, "opened", ENOENT);
    }
    return std::move(*opened);
}

// O_EXCL and O_NOFOLLOW: neither a file nor a link that stands there is ever written through.
File File::CreateNew(const std::string& path, bool owner_only) {
    UniqueFd descriptor;
    const Call call{.operation = Operation::Create, .path = path};
    const int error = Perform(call, [&] {
        const int created = ::open(path.c_str(),
                                   O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                   owner_only ? kOwnerOnly : kByUmask);
        if (created >= 0) {
            descriptor.Reset(created);
            return 0;
        }
        return -1;
    });
    if (error == EEXIST) {
        throw AlreadyExists(path);
    }
    if (error != 0) {
        throw SystemError(path, "created", error);
    }
    return File(std::move(descriptor), path, true);
}

FileStamp File::Stamp() const {
    struct stat status {};
    if (::fstat(descriptor_.Get(), &status) != 0) {
        throw SystemError(path_, "examined", errno);
    }
    return StampFrom(status);
}

std::uint64_t File::Size() const {
    return Stamp().size;
}

// Less than asked for only at the end of the file; a file that shrinks is found by that.
std::size_t File::Read(std::uint64_t offset, std::span<std::byte> out) const {
    const Call call{.operation = Operation::Read, .path = path_, .offset = offset};
    if (const Verdict verdict = Ask(call); verdict.error != 0) {
        throw SystemError(path_, "read", verdict.error);
    }
    std::size_t done = 0;
    while (done < out.size()) {
        const ssize_t got =
            ::pread(descriptor_.Get(), out.data() + done, out.size() - done, Offset(offset + done));
        if (got < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw SystemError(path_, "read", errno);
        }
        if (got == 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void File::ReadExactly(std::uint64_t offset, std::span<std::byte> out) const {
    const std::size_t got = Read(offset, out);
    if (got != out.size()) {
        throw UnexpectedEnd(path_, offset + out.size());
    }
}

void File::Write(std::uint64_t offset, std::span<const std::byte> data) {
    iovec piece{};
    // pwritev takes writable pointers by its type only.
    piece.iov_base = const_cast<std::byte*>(data.data());
    piece.iov_len = data.size();
    WriteGathered(offset, {&piece, 1});
}

void File::WriteGathered(std::uint64_t offset, std::span<iovec> pieces) {
    constexpr std::size_t kMaxPieces = IOV_MAX;
    // A test's plan is the one reason for a slow way here: without one, runs of pages go in one
    // call.
    if (InstalledFaultPlan() != nullptr) {
        // One by one, so that the plan sees each page.
        for (const iovec& piece : pieces) {
            std::span<const std::byte> rest(static_cast<const std::byte*>(piece.iov_base),
                                            piece.iov_len);
            while (!rest.empty()) {
                const Call whole{
                    .operation = Operation::Write, .path = path_, .offset = offset, .data = rest};
                const Verdict verdict = Ask(whole);
                if (verdict.error != 0) {
                    throw SystemError(path_, "written", verdict.error);
                }
                const auto part = rest.first(std::min(rest.size(), verdict.limit));
                if (!verdict.skip &&
                    ::pwrite(descriptor_.Get(), part.data(), part.size(), Offset(offset)) <
                        Offset(part.size())) {
                    throw SystemError(path_, "written", errno);
                }
                Tell(
                    {.operation = Operation::Write, .path = path_, .offset = offset, .data = part});
                offset += part.size();
                rest = rest.subspan(part.size());
            }
        }
        return;
    }
    while (!pieces.empty()) {
        const auto count = static_cast<int>(std::min(pieces.size(), kMaxPieces));
        const ssize_t put = ::pwritev(descriptor_.Get(), pieces.data(), count, Offset(offset));
        if (put < 0) {
            if (errno == EINTR) {
                continue;
            }
            throw SystemError(path_, "written", errno);
        }
        // A short write is no error yet: the next call goes on behind it, and says why if it can't.
        auto left = static_cast<std::size_t>(put);
        offset += left;
        while (!pieces.empty() && left >= pieces.front().iov_len) {
            left -= pieces.front().iov_len;
            pieces = pieces.subspan(1);
        }
        if (left > 0) {
            pieces.front().iov_base = static_cast<std::byte*>(pieces.front().iov_base) + left;
            pieces.front().iov_len -= left;
        }
    }
}

// Room is taken before data depends on it: a full disk then fails while all can still be undone.
bool File::Reserve(std::uint64_t offset, std::uint64_t length) {
    const Call call{.operation = Operation::Reserve, .path = path_, .offset = offset + length};
    const int error = Perform(
        call, [&] { return ::fallocate(descriptor_.Get(), 0, Offset(offset), Offset(length)); });
    if (error != 0 && error != EOPNOTSUPP && error != ENOSYS) {
        throw SystemError(path_, "made larger", error);
    }
    return error == 0;
}

void File::SetAside(std::uint64_t offset, std::uint64_t length) {
    const Call call{.operation = Operation::SetAside, .path = path_, .offset = offset + length};
    const int error = Perform(call, [&] {
        return ::fallocate(descriptor_.Get(), FALLOC_FL_KEEP_SIZE, Offset(offset), Offset(length));
    });
    if (error != 0 && error != EOPNOTSUPP && error != ENOSYS) {
        throw SystemError(path_, "made larger", error);
    }
}

void File::Truncate(std::uint64_t size) {
    const Call call{.operation = Operation::Truncate, .path = path_, .offset = size};
    const int error = Perform(call, [&] { return ::ftruncate(descriptor_.Get(), Offset(size)); });
    if (error != 0) {
        throw SystemError(path_, "cut to size", error);
    }
}

// Data and size; the times of the file may be lost in a power failure.
void File::Sync() {
    const Call call{.operation = Operation::Sync, .path = path_};
    const int error = Perform(call, [&] { return ::fdatasync(descriptor_.Get()); });
    if (error != 0) {
        throw SystemError(path_, "written to disk", error);
    }
}

// The time of a change may be too coarse to differ from that of the change before; the digits set
// here say that a committed state has been stamped on purpose.
void File::MarkChanged() {
    timespec times[2] = {};
    times[0].tv_nsec = UTIME_OMIT;
    clock_gettime(CLOCK_REALTIME, &times[1]);
    times[1].tv_nsec += kMarkDigits - times[1].tv_nsec % kMarkModulus;
    static_cast<void>(::futimens(descriptor_.Get(), times));
}

std::optional<FileStamp> StampOf(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return StampFrom(status);
}

std::optional<FileStamp> StampIfThere(const std::string& path) {
    struct stat status {};
    const Call call{.operation = Operation::Open, .path = path};
    const int error = Perform(call, [&] { return ::stat(path.c_str(), &status); });
    if (error == ENOENT || error == ENOTDIR || error == ELOOP || error == ENAMETOOLONG) {
        return std::nullopt;
    }
    if (error != 0) {
        throw SystemError(path, "examined", error);
    }
    return StampFrom(status);
}

bool IsThere(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

std::string RealPath(const std::string& path) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr),
                                                           &std::free);
    // A file that isn't there yet has no other name to be known by.
    return real ? std::string(real.get()) : path;
}

void SyncFolderOf(const std::string& path) {
    const std::filesystem::path parent = std::filesystem::path(path).parent_path();
    const std::string folder = parent.empty() ? "." : parent.string();
    const Call call{.operation = Operation::SyncFolder, .path = folder};
    const int error = Perform(call, [&] {
        const UniqueFd descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        // A folder that may be written but not listed can't be opened for syncing.
        if (!descriptor) {
            return errno == EACCES ? 0 : -1;
        }
        return ::fsync(descriptor.Get()) == 0 || errno == EINVAL ? 0 : -1;
    });
    if (error != 0) {
        throw SystemError(folder, "written to disk", error);
    }
}

bool RemoveFile(const std::string& path) {
    const Call call{.operation = Operation::Remove, .path = path};
    const int error = Perform(call, [&] { return ::unlink(path.c_str()); });
    if (error != 0 && error != ENOENT) {
        throw SystemError(path, "deleted", error);
    }
    // The run itself did it: its look at the end must not take that for another program's work.
    ForgetLeft(path);
    return error == 0;
}

void RenameNoReplace(const std::string& from, const std::string& to) {
    const Call call{.operation = Operation::Rename, .path = to, .former_path = from};
    int error = Perform(call, [&] {
        return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    });
    if (error == EINVAL || error == ENOSYS) {
        // File systems without the flag: a second name, then the first one away.
        error = ::link(from.c_str(), to.c_str()) == 0 ? 0 : errno;
        if (error == 0) {
            ::unlink(from.c_str());
        }
    }
    if (error == EEXIST) {
        throw AlreadyExists(to);
    }
    if (error != 0) {
        throw SystemError(to, "created", error);
    }
    ForgetLeft(from);
}

void RenameReplacing(const std::string& from, const std::string& to) {
    const Call call{.operation = Operation::Rename, .path = to, .former_path = from};
    const int error = Perform(call, [&] { return ::rename(from.c_str(), to.c_str()); });
    if (error != 0) {
        throw SystemError(to, "replaced", error);
    }
    ForgetLeft(to);
    ForgetLeft(from);
}

}  // namespace vantry::file

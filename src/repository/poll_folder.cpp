// Which files are there is a directory listing; whether one is whole is the hard question, since
// no sender says so. Two signs count: no program has it open for writing (the kernel refuses a read
// lease then), and nothing has changed for a second. Where leases aren't to be had (another user's
// file, a network file system), half a minute of quiet has to do.
// Easy to get wrong: a file that is written in pieces looks whole between two of them. It is
// therefore looked at when it is found and again when it is handed out, which may be minutes later.
#include "repository/poll_folder.h"

#include "core/session_state.h"
#include "data/connection_string.h"
#include "data/letter_case.h"
#include "files/file_errors.h"
#include "files/unique_fd.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <memory>
#include <thread>

namespace vantry {
namespace {

constexpr std::int64_t kQuietNanos = 1'000'000'000;
constexpr std::int64_t kQuietNanosOfUnknown = 30 * kQuietNanos;

std::int64_t NowNanos() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * kNanosPerSecond + now.tv_nsec;
}

// A time in the future says nothing: a file server has its own clock.
bool ChangedWithin(std::int64_t nanos, const file::FileStamp& stamp) {
    const auto age = NowNanos() - stamp.modified_ns;
    return age >= 0 && age < nanos;
}

bool IsSameState(const file::FileStamp& left, const file::FileStamp& right) {
    return left.SameFile(right) && left.size == right.size && left.modified_ns == right.modified_ns;
}

}  // namespace

bool MatchesPattern(const std::string& name, const std::string& pattern) {
    std::string plain;
    for (const char c : pattern == "*.*" ? std::string("*") : pattern) {
        if (c == '[' || c == '\\') {
            plain += '\\';  // wildcards to fnmatch, plain letters to the user
        }
        plain += c;
    }
    return ::fnmatch(LowerCased(plain).c_str(), LowerCased(name).c_str(), FNM_PERIOD) == 0;
}

bool IsLoadedName(std::string_view name, std::string_view rename_extension) {
    return name.find("." + std::string(rename_extension) + "_On_") != std::string_view::npos;
}

std::vector<PolledFile> MatchingFiles(const std::string& folder,
                                      const std::string& pattern,
                                      const std::string& rename_extension) {
    const std::unique_ptr<DIR, int (*)(DIR*)> listing(::opendir(folder.c_str()), ::closedir);
    if (!listing) {
        throw file::SystemError(folder, "listed", errno);
    }
    std::vector<PolledFile> files;
    while (const dirent* entry = ::readdir(listing.get())) {
        const std::string name = entry->d_name;
        struct stat state {};
        if (!MatchesPattern(name, pattern) || IsLoadedName(name, rename_extension) ||
            EqualsNoCase(name, "Schema.ini") || LowerCased(name).ends_with(".partial") ||
            ::fstatat(::dirfd(listing.get()), name.c_str(), &state, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(state.st_mode)) {
            continue;
        }
        // From this listing and not from a second look by name: another file may have the name by
        // then.
        PolledFile file{name, {}};
        file.stamp.device = state.st_dev;
        file.stamp.inode = state.st_ino;
        file.stamp.size = static_cast<std::uint64_t>(state.st_size);
        file.stamp.modified_ns = state.st_mtim.tv_sec * kNanosPerSecond + state.st_mtim.tv_nsec;
        files.push_back(std::move(file));
    }
    // Oldest first, as the rows were written; by name where the times are the same.
    std::sort(files.begin(), files.end(), [](const PolledFile& left, const PolledFile& right) {
        return std::tie(left.stamp.modified_ns, left.name) <
               std::tie(right.stamp.modified_ns, right.name);
    });
    return files;
}

std::optional<bool> IsOpenForWriting(const std::string& path) {
    const file::UniqueFd descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    if (!descriptor) {
        return false;  // the load will say what is wrong with it
    }
    // A program that opens the file within the moment of the lease makes the kernel send this
    // process a signal. SIGURG is ignored by default; the usual one, SIGIO, would end the program.
    ::fcntl(descriptor.Get(), F_SETSIG, SIGURG);
    // Granted only while no program has the file open for writing. Given back at once.
    if (::fcntl(descriptor.Get(), F_SETLEASE, F_RDLCK) == 0) {
        ::fcntl(descriptor.Get(), F_SETLEASE, F_UNLCK);
        return false;
    }
    return errno == EAGAIN ? std::optional(true) : std::nullopt;
}

bool PollWalk::IsWhole(const PolledFile& file) const {
    const std::string path = JoinPath(folder_, file.name);
    const auto now = file::StampOf(path);
    if (!now || !IsSameState(*now, file.stamp) || ChangedWithin(kQuietNanos, *now)) {
        return false;
    }
    const auto open_for_writing = IsOpenForWriting(path);
    return open_for_writing ? !*open_for_writing : !ChangedWithin(kQuietNanosOfUnknown, *now);
}

std::vector<PolledFile> PollWalk::NewFiles() {
    auto files = MatchingFiles(folder_, pattern_, rename_extension_);
    // By name and inode: a new file of a former name is another file.
    std::erase_if(files, [this](const PolledFile& file) { return seen_.contains(KeyOf(file)); });
    return files;
}

bool PollWalk::Refill() {
    auto files = NewFiles();
    if (files.empty()) {
        return false;
    }
    const auto whole = [this](const PolledFile& file) { return IsWhole(file); };
    auto rest = std::stable_partition(files.begin(), files.end(), whole);
    if (rest == files.begin()) {
        // Only files that were written just now: one that stays as it is for a second is whole.
        std::this_thread::sleep_for(std::chrono::nanoseconds(kQuietNanos));
        rest = std::stable_partition(files.begin(), files.end(), whole);
        for (auto file = rest; file != files.end(); ++file) {
            seen_.insert(KeyOf(*file));
            waiting_.push_back(file->name);
        }
    }
    files.erase(rest, files.end());
    // Reversed, so that the next one is taken off the end.
    ready_.assign(std::make_move_iterator(files.rbegin()), std::make_move_iterator(files.rend()));
    return true;
}

bool PollWalk::Next(PolledFile& file) {
    while (true) {
        while (!ready_.empty()) {
            file = std::move(ready_.back());
            ready_.pop_back();
            if (IsWhole(file)) {
                seen_.insert(KeyOf(file));
                return true;
            }
        }
        if (!Refill()) {
            return false;
        }
    }
}

}  // namespace vantry

#include "files/journal_trust.h"

#include "files/file_errors.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

namespace vantry::file {
namespace {

struct stat StatusOf(const File& file) {
    struct stat status {};
    if (::fstat(file.Descriptor(), &status) != 0) {
        throw SystemError(file.Path(), "examined", errno);
    }
    return status;
}

struct User {
    std::string name;
    gid_t group = 0;
    bool known = false;
};

User UserOf(uid_t id) {
    // A user whose entry doesn't fit is told by number.
    constexpr std::size_t kMostOfAnEntry = 64U << 10;
    std::vector<char> buffer(kMostOfAnEntry);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(id, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return {"number " + std::to_string(id)};
    }
    return {entry.pw_name, entry.pw_gid, true};
}

bool IsMember(uid_t id, gid_t group) {
    const User user = UserOf(id);
    if (!user.known) {
        return false;
    }
    int count = 0;
    ::getgrouplist(user.name.c_str(), user.group, nullptr, &count);
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(count, 1)));
    count = static_cast<int>(groups.size());
    if (::getgrouplist(user.name.c_str(), user.group, groups.data(), &count) < 0) {
        return false;  // they have changed in between
    }
    groups.resize(static_cast<std::size_t>(count));
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

}  // namespace

void RequireTrusted(const File& journal, const File& database) {
    const auto written = StatusOf(journal);
    const auto into = StatusOf(database);
    const bool for_group = (into.st_mode & S_IWGRP) != 0;
    const bool for_all = (into.st_mode & S_IWOTH) != 0;
    const uid_t writer = written.st_uid;
    // Root, the database's owner and this user could write the database anyway.
    if (writer != into.st_uid && writer != 0 && writer != ::geteuid() && !for_all &&
        !(for_group && IsMember(writer, into.st_gid))) {
        throw UntrustedJournal(
            database.Path(),
            journal.Path(),
            "it was made by the user " + UserOf(writer).name + ", who may not write that file");
    }
    const bool open_to_group = (written.st_mode & S_IWGRP) != 0 && !for_all &&
                               !(for_group && written.st_gid == into.st_gid);
    const bool open_to_all = (written.st_mode & S_IWOTH) != 0 && !for_all;
    if (open_to_group || open_to_all) {
        throw UntrustedJournal(database.Path(),
                               journal.Path(),
                               "users who may not write that file can change the journal");
    }
}

void GrantLike(const File& journal, const File& database) {
    constexpr mode_t kBits = 0666;
    constexpr mode_t kOwner = 0600;
    constexpr mode_t kGroup = 0060;
    const auto into = StatusOf(database);
    const auto made = StatusOf(journal);
    // Root gives it to whose file it is; others can give it to a group of theirs at most.
    const uid_t owner = ::geteuid() == 0 ? into.st_uid : static_cast<uid_t>(-1);
    const bool same_group =
        ::fchown(journal.Descriptor(), owner, into.st_gid) == 0 || made.st_gid == into.st_gid;
    // Readers of the database must be able to open it, too: they play it back.
    mode_t mode = (into.st_mode & kBits) | kOwner;
    if (!same_group) {
        mode &= ~kGroup;
    }
    if (::fchmod(journal.Descriptor(), mode) != 0 && errno != EPERM && errno != ENOTSUP) {
        throw SystemError(journal.Path(), "given its permissions", errno);
    }
}

}  // namespace vantry::file

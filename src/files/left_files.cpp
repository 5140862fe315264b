#include "files/left_files.h"

#include "files/file_errors.h"

#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace vantry::file {
namespace {

struct Left {
    FileStamp stamp;
    Afterwards afterwards = Afterwards::Stays;
    bool told = false;
};

std::mutex NotedMutex;
int Watches = 0;
std::map<std::string, Left> Noted;

// Nothing when it is what was left, or longer: others may add to it.
std::optional<DataError> WhatIsWrong(const std::string& path, const Left& left) {
    const auto now = StampIfThere(path);
    const bool same = now && now->SameFile(left.stamp);
    // Programs wait for finished text files by name, take them away, and may leave others of the
    // name.
    if (!same && left.afterwards == Afterwards::MayBeFetched) {
        return std::nullopt;
    }
    if (!now) {
        return TakenAwayAfterwards(path);
    }
    if (!same) {
        return ReplacedAfterwards(path);
    }
    if (now->size < left.stamp.size) {
        return CutAfterwards(path, left.stamp.size, now->size);
    }
    return std::nullopt;
}

}  // namespace

LeftFilesWatch::LeftFilesWatch() {
    const std::lock_guard lock(NotedMutex);
    // A run within a run (one polled file) sees the list of the whole.
    if (Watches++ == 0) {
        Noted.clear();
    }
}

LeftFilesWatch::~LeftFilesWatch() {
    const std::lock_guard lock(NotedMutex);
    if (--Watches == 0) {
        Noted.clear();
    }
}

void NoteLeft(const std::string& path, const FileStamp& stamp, Afterwards afterwards) {
    const std::lock_guard lock(NotedMutex);
    if (Watches > 0) {
        Noted[path] = {.stamp = stamp, .afterwards = afterwards};
    }
}

void NoteChanged(const std::string& path, std::uint64_t size) {
    const std::lock_guard lock(NotedMutex);
    if (const auto noted = Noted.find(path); noted != Noted.end()) {
        noted->second.stamp.size = size;
    }
}

void ForgetLeft(const std::string& path) {
    const std::lock_guard lock(NotedMutex);
    Noted.erase(path);
}

void RequireLeft(const std::string& path) {
    const std::lock_guard lock(NotedMutex);
    const auto noted = Noted.find(path);
    if (noted == Noted.end()) {
        return;
    }
    if (const auto wrong = WhatIsWrong(path, noted->second)) {
        throw DataError(*wrong);
    }
}

std::vector<LostFile> LostFiles() {
    std::vector<LostFile> lost;
    const std::lock_guard lock(NotedMutex);
    for (auto& [path, left] : Noted) {
        std::optional<DataError> wrong;
        try {
            wrong = WhatIsWrong(path, left);
        } catch (const DataError& unseen) {
            wrong = unseen;
        }
        if (wrong) {
            lost.push_back({path, *wrong, std::exchange(left.told, true)});
        }
    }
    return lost;
}

}  // namespace vantry::file

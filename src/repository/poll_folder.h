#pragma once
// Which files of a polled folder may be loaded: those that match the session's pattern, oldest
// first, and whole. Other systems drop them there at their own pace.

#include "files/file.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

struct PolledFile {
    std::string name;
    file::FileStamp stamp;
};

// "*" and "?", in any letter case; "*.*" is every name, with or without a dot. Names that begin
// with a dot match only a pattern that does.
bool MatchesPattern(const std::string& name, const std::string& pattern);

// Whether the name carries the mark that a loaded file gets: ".<extension>_On_".
bool IsLoadedName(std::string_view name, std::string_view rename_extension);

// Plain files, no links, no "Schema.ini", no "*.partial", none loaded already; oldest first.
// Throws DataError if the folder can't be listed.
std::vector<PolledFile> MatchingFiles(const std::string& folder,
                                      const std::string& pattern,
                                      const std::string& rename_extension);

// Whether some program has the file open for writing. Nothing where the system doesn't tell: it
// does for one's own files on local file systems.
std::optional<bool> IsOpenForWriting(const std::string& path);

// Hands out the files of a folder one by one. A file that changed within the last second or is
// open for writing is looked at again once the others are done; when it is then still being
// written, it waits for the next run. So does one that changed within the last half minute where
// the system doesn't tell of its writers: uploads pause.
class PollWalk {
public:
    PollWalk(std::string folder, std::string pattern, std::string rename_extension)
        : folder_(std::move(folder)),
          pattern_(std::move(pattern)),
          rename_extension_(std::move(rename_extension)) {}

    // Files that arrive meanwhile come, too. False at the end. A file comes once, also if it stays.
    bool Next(PolledFile& file);
    // Names that wait for the next run.
    const std::vector<std::string>& Waiting() const { return waiting_; }

private:
    using Key = std::pair<std::string, std::uint64_t>;  // name and inode
    static Key KeyOf(const PolledFile& file) { return {file.name, file.stamp.inode}; }
    bool Refill();
    std::vector<PolledFile> NewFiles();
    bool IsWhole(const PolledFile& file) const;

    std::string folder_;
    std::string pattern_;
    std::string rename_extension_;
    std::vector<PolledFile> ready_;  // the next one last
    std::set<Key> seen_;
    std::vector<std::string> waiting_;
};

}  // namespace vantry

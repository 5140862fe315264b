#pragma once
// "At most one of these programs at a time": an exclusive lock on a file of its own, held until the
// object goes, and gone with the process however that ends. The file stays: removing it would let a
// third program lock another file of the same name.

#include "files/unique_fd.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vantry {

class ProgramLock {
public:
    // Nothing if another program holds it. Makes the file, readable by its owner alone, and the
    // last folder of its path. Throws DataError where that can't be, or where the file system
    // doesn't lock.
    static std::optional<ProgramLock> Take(const std::string& path);

    // A mark in the file, by which the next holder learns what this one left behind.
    enum class Mark : std::uint8_t {
        None,
        Unfinished,   // it died with its work half done
        TableNotMade  // it came to its end, and a table that it was to drop and make anew may be
                      // gone
    };
    Mark FoundMark() const { return found_mark_; }
    void SetMark(Mark mark);

private:
    explicit ProgramLock(file::UniqueFd descriptor) : descriptor_(std::move(descriptor)) {}
    file::UniqueFd descriptor_;
    Mark found_mark_ = Mark::None;
};

// Held by the run of a session, in the folder `logs`.
std::string SessionLockFile(const std::string& logs, std::int32_t session_id);

// The folder "log" of `folder`, made for its owner alone if it isn't there.
std::string LogFolder(const std::string& folder);

}  // namespace vantry

#pragma once
// What a run over a polled folder is about to do with a file, on disk before it does it. A program
// that is killed between the last row of a file and its new name would otherwise load the file
// again.
//
// The note lies beside the session's log, one file a session, and holds one polled file: a state
// ("begun" or "loaded"), size, time of change in nanoseconds, inode and device, one line each, and
// then the name.

#include "repository/poll_folder.h"

#include <string>

namespace vantry {

class PollNote {
public:
    enum class State : std::uint8_t {
        None,
        Begun,   // rows of the file may be in the target
        Loaded,  // all of them are
    };

    // Reads what a former run left. A note that can't be made sense of counts as none; one that is
    // there and can't be read is an error, as it may say that a file has been loaded.
    explicit PollNote(std::string path);

    // What a former run noted of this very file: the same name, content and place on the disk.
    State Found(const PolledFile& file) const;
    // Throws DataError when the note isn't on the disk: the deed must wait then.
    void Write(State state, const PolledFile& file);
    // The file has its new name. A note that stays does no harm: the name is another one's then.
    void Clear() noexcept;

private:
    std::string path_;
    State state_ = State::None;
    PolledFile file_;
};

}  // namespace vantry

#include "repository/poll_note.h"

#include "data/data_error.h"
#include "files/file.h"
#include "files/replace_file.h"

#include <filesystem>
#include <iterator>
#include <span>
#include <sstream>

namespace vantry {
namespace {

constexpr std::string_view kBegun = "begun";
constexpr std::string_view kLoaded = "loaded";

bool Same(const PolledFile& left, const PolledFile& right) {
    return left.name == right.name && left.stamp.SameFile(right.stamp) &&
           left.stamp.size == right.stamp.size && left.stamp.modified_ns == right.stamp.modified_ns;
}

}  // namespace

PollNote::PollNote(std::string path) : path_(std::move(path)) {
    const auto note = file::File::OpenIfThere(path_, file::OpenMode::Read);
    if (!note) {
        return;
    }
    std::string content(note->Size(), '\0');
    content.resize(note->Read(0, std::as_writable_bytes(std::span(content))));
    std::istringstream in(content);
    std::string state;
    PolledFile file;
    in >> state >> file.stamp.size >> file.stamp.modified_ns >> file.stamp.inode >>
        file.stamp.device;
    in.get();  // the line's end: names may begin with a blank and hold line breaks
    if (!in) {
        return;
    }
    file.name.assign(std::istreambuf_iterator<char>(in), {});
    state_ = state == kLoaded ? State::Loaded : state == kBegun ? State::Begun : State::None;
    file_ = std::move(file);
}

PollNote::State PollNote::Found(const PolledFile& file) const {
    return Same(file, file_) ? state_ : State::None;
}

void PollNote::Write(State state, const PolledFile& file) {
    std::string text(state == State::Loaded ? kLoaded : kBegun);
    for (const auto& number : {std::to_string(file.stamp.size),
                               std::to_string(file.stamp.modified_ns),
                               std::to_string(file.stamp.inode),
                               std::to_string(file.stamp.device)}) {
        text += '\n' + number;
    }
    // Whole or not at all: a note that was cut off would name a file wrongly.
    file::ReplaceFile(path_, text + '\n' + file.name);
    state_ = state;
    file_ = file;
}

void PollNote::Clear() noexcept {
    std::error_code stays;
    std::filesystem::remove(path_, stays);
    state_ = State::None;
}

}  // namespace vantry

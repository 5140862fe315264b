#pragma once
// The files in which the loads of a run have ended, as they were left. A table's load makes sure
// that its file is there when it ends; until the run ends another program may still cut the file,
// take it away or put something in its place, and the next table would go into that.
//
// One list for the process; kept only while a LeftFilesWatch lives. Safe from any thread.

#include "data/data_error.h"
#include "files/file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vantry::file {

class LeftFilesWatch {
public:
    LeftFilesWatch();  // the first one of several begins with an empty list
    ~LeftFilesWatch();
    LeftFilesWatch(const LeftFilesWatch&) = delete;
    LeftFilesWatch& operator=(const LeftFilesWatch&) = delete;
};

enum class Afterwards : std::uint8_t {
    Stays,
    MayBeFetched,  // whoever waits for it may take it away as soon as it has its name
};

// A load has ended in the file.
void NoteLeft(const std::string& path, const FileStamp& stamp, Afterwards afterwards);
// This program has changed a file, removed or replaced it: what was noted of it, if anything.
void NoteChanged(const std::string& path, std::uint64_t size);
void ForgetLeft(const std::string& path);
// Before a change: throws when the file was noted and isn't any more what was left.
void RequireLeft(const std::string& path);

struct LostFile {
    std::string path;
    DataError error;
    bool told = false;  // by an earlier call
};
// Those that aren't any more what was left.
std::vector<LostFile> LostFiles();

}  // namespace vantry::file

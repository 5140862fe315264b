#pragma once
// One open file: whole reads and writes at offsets, syncing, and the operations on names around it.
// Every call passes the fault plan; every failure is a DataError that names the file and says what
// can be done.

#include "files/unique_fd.h"

#include <sys/uio.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vantry::file {

enum class OpenMode : std::uint8_t {
    Read,
    ReadWrite,
    ReadWriteIfAllowed,  // Read where permission or medium refuse more
};

enum class Links : std::uint8_t {
    Followed,
    Refused,  // a symbolic link under the name is an error
};

// By what a file is told apart from others, and from itself before a change.
struct FileStamp {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modified_ns = 0;
    bool marked = false;      // the time of change was set by MarkChanged()
    bool owner_only = false;  // nobody but the owner has any right to it

    bool SameFile(const FileStamp& other) const {
        return device == other.device && inode == other.inode;
    }
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

class File {
public:
    File() = default;

    // Throws if it isn't there.
    static File Open(const std::string& path, OpenMode mode);
    // Nothing if it isn't there.
    static std::optional<File> OpenIfThere(const std::string& path,
                                           OpenMode mode,
                                           Links links = Links::Followed);
    // A new file for reading and writing, never an existing one, never through a symbolic link.
    // `owner_only`: mode 0600, for files in which a connection string can stand.
    static File CreateNew(const std::string& path, bool owner_only);

    explicit operator bool() const { return static_cast<bool>(descriptor_); }
    const std::string& Path() const { return path_; }
    bool Writable() const { return writable_; }
    int Descriptor() const { return descriptor_.Get(); }

    std::uint64_t Size() const;
    FileStamp Stamp() const;

    // Bytes read; fewer than asked for only at the file's end.
    std::size_t Read(std::uint64_t offset, std::span<std::byte> out) const;
    void ReadExactly(std::uint64_t offset, std::span<std::byte> out) const;
    void Write(std::uint64_t offset, std::span<const std::byte> data);
    // Pieces one behind the other, in as few system calls as possible. Uses up `pieces`.
    void WriteGathered(std::uint64_t offset, std::span<iovec> pieces);
    // Sets space aside, growing the file; false, and nothing done, where the file system can't.
    bool Reserve(std::uint64_t offset, std::uint64_t length);
    // The same behind the end of the file, which stays where it is. What isn't used goes back when
    // the file is truncated, be it to the size that it has.
    void SetAside(std::uint64_t offset, std::uint64_t length);
    void Truncate(std::uint64_t size);
    void Sync();
    // Sets the time of change to a moment that no other change has: the system's own clock for it
    // moves in steps of milliseconds, within which two changes look like one. Does nothing where
    // only the file's owner may do that.
    void MarkChanged();

private:
    File(UniqueFd descriptor, std::string path, bool writable)
        : descriptor_(std::move(descriptor)), path_(std::move(path)), writable_(writable) {}

    UniqueFd descriptor_;
    std::string path_;
    bool writable_ = false;
};

// Nothing if there is no such file.
std::optional<FileStamp> StampOf(const std::string& path);
// The same, and throws where it can't be seen whether there is one.
std::optional<FileStamp> StampIfThere(const std::string& path);
// Whether something has that name, be it a symbolic link that leads nowhere.
bool IsThere(const std::string& path);
// The path with all symbolic links followed; `path` itself if it can't be.
std::string RealPath(const std::string& path);
// Makes creations and removals in the folder of `path` last.
void SyncFolderOf(const std::string& path);
// False if it wasn't there.
bool RemoveFile(const std::string& path);
// Gives `from` the name `to`; throws if there is a file of that name.
void RenameNoReplace(const std::string& from, const std::string& to);
// The same, replacing a file of that name at once.
void RenameReplacing(const std::string& from, const std::string& to);

}  // namespace vantry::file

#include "files/replace_file.h"

#include "data/data_error.h"
#include "files/file.h"
#include "files/file_errors.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <span>

namespace vantry::file {
namespace {

constexpr mode_t kPermissionBits = 07777;

void Write(const std::string& path, std::string_view content, std::optional<mode_t> mode) {
    File file = File::CreateNew(path, mode.has_value());
    if (mode && ::fchmod(file.Descriptor(), *mode) != 0) {
        throw SystemError(path, "given its permissions", errno);
    }
    file.Write(0, std::as_bytes(std::span(content)));
    file.Sync();
}

}  // namespace

void ReplaceFile(const std::string& path, std::string_view content) {
    const std::string target = RealPath(path);
    struct stat former {};
    const bool replaces = ::stat(target.c_str(), &former) == 0;
    // The folder may take new files while the file itself is meant to stay as it is.
    if (replaces && ::access(target.c_str(), W_OK) != 0) {
        throw SystemError(path, "written", errno);
    }
    const std::string beside = target + ".new-" + std::to_string(::getpid());
    try {
        RemoveFile(beside);  // of a killed program that had our number
        Write(beside,
              content,
              replaces ? std::optional(former.st_mode & kPermissionBits) : std::nullopt);
        // A reader finds the former file or the whole new one, never a part.
        RenameReplacing(beside, target);
    } catch (const DataError& error) {
        ::unlink(beside.c_str());
        // The user knows the file by its own name, not by the one beside it.
        throw ToldOf(error, path, beside);
    }
    SyncFolderOf(target);
}

}  // namespace vantry::file

#include "files/scratch_file.h"

#include "files/file_errors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

namespace vantry::file {
namespace {

constexpr mode_t kOwnerAlone = 0600;

}  // namespace

std::optional<std::uint64_t> ScratchFile::Append(std::span<const std::byte> bytes) {
    if (!descriptor_ && !refused_) {
        const auto parent = std::filesystem::path(neighbour_).parent_path();
        // On the database's own disk: the folder of temporary files may be memory.
        descriptor_.Reset(::open(
            parent.empty() ? "." : parent.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, kOwnerAlone));
        refused_ = !descriptor_;
    }
    if (refused_) {
        return std::nullopt;
    }
    const std::uint64_t start = end_;
    while (!bytes.empty()) {
        const ssize_t put =
            ::pwrite(descriptor_.Get(), bytes.data(), bytes.size(), static_cast<off_t>(end_));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            // The caller goes on without the file: what was written of this piece counts for
            // nothing.
            end_ = start;
            return std::nullopt;
        }
        end_ += static_cast<std::uint64_t>(put);
        bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
    return start;
}

void ScratchFile::Read(std::uint64_t offset, std::span<std::byte> out) const {
    while (!out.empty()) {
        const ssize_t got =
            ::pread(descriptor_.Get(), out.data(), out.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            throw SystemError(neighbour_,
                              "indexed: what was sorted for it could not be read back",
                              got < 0 ? errno : EIO);
        }
        offset += static_cast<std::uint64_t>(got);
        out = out.subspan(static_cast<std::size_t>(got));
    }
}

void ScratchFile::Clear() {
    if (end_ != 0 && ::ftruncate(descriptor_.Get(), 0) != 0) {
        descriptor_.Reset();
    }
    end_ = 0;
}

}  // namespace vantry::file

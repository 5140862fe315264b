#pragma once
// A file without a name, for what doesn't fit into memory and is nobody's when the program ends. It
// isn't part of any transaction, and no fault plan sees it.

#include "files/unique_fd.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vantry::file {

class ScratchFile {
public:
    // In the folder of `neighbour`, from the first Append on.
    explicit ScratchFile(std::string neighbour) : neighbour_(std::move(neighbour)) {}

    // Where the bytes are now. Nothing if they can't be kept there, for want of room or of such
    // files on that disk; the caller keeps them then.
    std::optional<std::uint64_t> Append(std::span<const std::byte> bytes);
    // Throws DataError. On any thread.
    void Read(std::uint64_t offset, std::span<std::byte> out) const;
    void Clear();

private:
    std::string neighbour_;
    UniqueFd descriptor_;
    bool refused_ = false;  // by the disk: not asked again
    std::uint64_t end_ = 0;
};

}  // namespace vantry::file

#pragma once
// Checked access to the bytes of a page or structure (files/checked_bytes.h), and what the format
// of Access needs besides. A BoundsError is turned into a DataError by the caller that knows file
// and page (see WithPage in errors.h).

#include "files/checked_bytes.h"

#include <cstddef>
#include <cstdint>

namespace vantry::access {

using file::BoundsError;
using file::ByteSpan;
using file::Load;
using file::LoadBigU32;
using file::LoadU16;
using file::LoadU32;
using file::LoadU8;
using file::Slice;

// Index entries have their page numbers with the most significant byte first.
inline std::uint32_t LoadBigU24(ByteSpan bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(LoadU8(bytes, offset)) << 16 |
           static_cast<std::uint32_t>(LoadU8(bytes, offset + 1)) << 8 | LoadU8(bytes, offset + 2);
}

// Walks forward through a structure.
class ByteReader {
public:
    explicit ByteReader(ByteSpan bytes, std::size_t position = 0)
        : bytes_(bytes), position_(position) {}

    ByteSpan Take(std::size_t length) {
        const auto taken = Slice(bytes_, position_, length);
        position_ += length;
        return taken;
    }
    template <typename Number>
    Number Take() {
        const auto value = Load<Number>(bytes_, position_);
        position_ += sizeof(Number);
        return value;
    }
    std::size_t Position() const { return position_; }
    std::size_t Remaining() const {
        return position_ < bytes_.size() ? bytes_.size() - position_ : 0;
    }

private:
    ByteSpan bytes_;
    std::size_t position_;
};

}  // namespace vantry::access

#pragma once
// Checked access to the bytes of a page or structure: no offset, length or count of a file is used
// without passing here. A step outside is a BoundsError, which the caller that knows file and page
// turns into a DataError (see WithPage in errors.h).

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <span>

namespace vantry::access {

using ByteSpan = std::span<const std::byte>;

// Something of the structure lies outside its bytes.
class BoundsError : public std::exception {
public:
    const char* what() const noexcept override { return "a length or offset points outside"; }
};

// Part of a structure.
inline ByteSpan Slice(ByteSpan bytes, std::size_t offset, std::size_t length) {
    if (offset > bytes.size() || length > bytes.size() - offset) {
        throw BoundsError();
    }
    return bytes.subspan(offset, length);
}

// A little-endian number at `offset`.
template <typename Number>
Number Load(ByteSpan bytes, std::size_t offset) {
    if (offset > bytes.size() || sizeof(Number) > bytes.size() - offset) {
        throw BoundsError();
    }
    Number value;
    std::memcpy(&value, bytes.data() + offset, sizeof(Number));
    return value;
}
inline std::uint8_t LoadU8(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint8_t>(bytes, offset);
}
inline std::uint16_t LoadU16(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint16_t>(bytes, offset);
}
inline std::uint32_t LoadU32(ByteSpan bytes, std::size_t offset) {
    return Load<std::uint32_t>(bytes, offset);
}
// Index entries have their page numbers with the most significant byte first.
inline std::uint32_t LoadBigU24(ByteSpan bytes, std::size_t offset) {
    return static_cast<std::uint32_t>(LoadU8(bytes, offset)) << 16 |
           static_cast<std::uint32_t>(LoadU8(bytes, offset + 1)) << 8 | LoadU8(bytes, offset + 2);
}
inline std::uint32_t LoadBigU32(ByteSpan bytes, std::size_t offset) {
    return __builtin_bswap32(LoadU32(bytes, offset));
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

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "pages are read as they lie in the file");

}  // namespace vantry::access

#pragma once
// Values without an upper size, read field by field and in as many pieces as they need. The
// driver's word on how much is to come is a hint for the buffer's size, never a reason to believe
// it.

#include "drivers/odbc/link.h"
#include "drivers/odbc/types.h"

#include <cstddef>
#include <memory>
#include <span>
#include <string>

namespace vantry::odbc {

// A buffer that grows without clearing what it grows by.
class GrowingBuffer {
public:
    std::byte* Data() { return data_.get(); }
    std::size_t Capacity() const { return capacity_; }
    void Grow(std::size_t capacity, std::size_t kept);  // throws std::bad_alloc

private:
    std::unique_ptr<std::byte[]> data_;
    std::size_t capacity_ = 0;
};

struct FieldBytes {
    bool null = false;
    std::span<const std::byte> bytes;  // in the buffer, valid until the next read into it
};

// Reads column `number` (from 1) of the statement's current row. Throws the driver's error.
FieldBytes ReadField(const Link& link,
                     const StatementHandle& statement,
                     SQLUSMALLINT number,
                     const Column& column,
                     GrowingBuffer& buffer);

}  // namespace vantry::odbc

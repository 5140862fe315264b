#include "drivers/odbc/piece_reader.h"

#include "drivers/odbc/errors.h"
#include "drivers/odbc/fetch_length.h"

#include <algorithm>
#include <cstring>

namespace vantry::odbc {
namespace {

constexpr std::size_t kFirstBytes = 256;
constexpr std::size_t kMostAtOnce = std::size_t{16} << 20;  // by the driver's word alone

// The buffer's next size: doubled, but room for one piece at least, and for the rest if the driver
// knows it.
std::size_t NextCapacity(const Filled& filled, std::size_t capacity, std::size_t piece_bytes) {
    const std::size_t wish =
        filled.rest_known ? std::min(filled.rest + sizeof(SQLWCHAR), kMostAtOnce) : 0;
    return capacity + std::max({wish, std::min(capacity, kMostAtOnce), piece_bytes});
}

}  // namespace

void GrowingBuffer::Grow(std::size_t capacity, std::size_t kept) {
    if (capacity <= capacity_) {
        return;
    }
    std::unique_ptr<std::byte[]> fresh(new std::byte[capacity]);
    if (kept != 0) {
        std::memcpy(fresh.get(), data_.get(), kept);
    }
    data_ = std::move(fresh);
    capacity_ = capacity;
}

FieldBytes ReadField(const Link& link,
                     const StatementHandle& statement,
                     SQLUSMALLINT number,
                     const Column& column,
                     GrowingBuffer& buffer) {
    const auto terminator = TerminatorBytes(column.form);
    // Room for every value of a fixed size, as those come in one go.
    buffer.Grow(std::max(kFirstBytes, sizeof(SQL_TIMESTAMP_STRUCT)), 0);
    std::size_t have = 0;
    for (;;) {
        // Whole units only: a driver could put half a UTF-16 unit into an odd byte.
        const auto room = (buffer.Capacity() - have) & ~std::size_t{1};
        SQLLEN indicator = SQL_NO_TOTAL;
        const auto result = link.Asking(statement, [&] {
            return SQLGetData(statement.Get(),
                              number,
                              CTypeOf(column.form),
                              buffer.Data() + have,
                              static_cast<SQLLEN>(room),
                              &indicator);
        });
        // The value has ended just where the buffer did.
        if (result == SQL_NO_DATA) {
            return {false, {buffer.Data(), have}};
        }
        link.Check(result, statement);
        // Such a value needs no length, and not every driver gives one.
        if (HasFixedSize(column.form) && indicator != SQL_NULL_DATA) {
            return {false, {buffer.Data(), room}};
        }
        const auto filled =
            FilledBytes(indicator, room - terminator, result == SQL_SUCCESS_WITH_INFO);
        switch (filled.fill) {
            case Fill::Null:
                return {true, {}};
            case Fill::Impossible:
                throw ImpossibleLength(column.info.name, indicator, link.Source());
            case Fill::Whole:
                return {false, {buffer.Data(), have + filled.bytes}};
            case Fill::CutOff:
                break;
        }
        have += filled.bytes;
        buffer.Grow(NextCapacity(filled, buffer.Capacity(), link.GetTuning().piece_bytes), have);
    }
}

}  // namespace vantry::odbc

// Values lie in one array a parameter, for one row or for a block of them. Binding costs more than
// a value, so a binding stays for as long as its shape fits. Easy to get wrong: arrays that move
// while they are bound, values of a block that would each be declared differently (the block then
// ends before the row that differs), and the address by which a driver asks for a long value.

#include "drivers/odbc/parameters.h"

#include "data/utf.h"
#include "drivers/odbc/errors.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace vantry::odbc {
namespace {

// The longest start of `text` that ends with a whole character.
std::string_view WholeCharacters(std::string_view text, std::size_t most) {
    if (text.size() <= most) {
        return text;
    }
    std::size_t end = most;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    // What isn't UTF-8 is cut anywhere, or this would never end.
    return text.substr(0, end == 0 ? most : end);
}

// Some drivers look for it in spite of the length.
constexpr std::size_t kTerminator = sizeof(SQLWCHAR);
constexpr std::size_t kLeastWidth = 64;

bool IsSized(SQLSMALLINT c_type) {
    return c_type == SQL_C_CHAR || c_type == SQL_C_WCHAR || c_type == SQL_C_BINARY;
}

}  // namespace

Parameters::Parameters(const Link& link,
                       const StatementHandle& statement,
                       std::span<const ParameterInfo> infos,
                       std::size_t block_rows)
    : link_(link),
      statement_(statement),
      encoder_(link),
      slots_(infos.size()),
      block_rows_(block_rows) {
    for (std::size_t k = 0; k < infos.size(); ++k) {
        slots_[k].info = infos[k];
    }
}

void Parameters::Set(std::size_t parameter, const Cell& value) {
    auto& slot = slots_[parameter];
    const auto encoded = encoder_.Encode(slot.info, value, slot.former);
    slot.former.shape = encoded.shape;
    slot.long_value = {};
    if (encoded.is_long) {
        SetLong(slot, encoded);
    } else {
        Put(slot, 0, 1, encoded);
        Bind(slot, slot.data.data());
    }
}

void Parameters::SetLong(Slot& slot, const Encoded& encoded) {
    slot.long_value = encoded.bytes;
    slot.long_is_text = encoded.long_is_text;
    // Announced is what will be sent, which in UTF-16 has another length.
    auto bytes = static_cast<SQLLEN>(encoded.bytes.size());
    if (encoded.long_is_text && !encoder_.Narrow()) {
        bytes = static_cast<SQLLEN>(CountUtf16Units(encoded.bytes) * sizeof(char16_t));
    }
    slot.lengths.resize(std::max<std::size_t>(slot.lengths.size(), 1));
    slot.lengths[0] = SQL_LEN_DATA_AT_EXEC(bytes);
    turned_long_ = turned_long_ || (slot.bound.c_type != 0 && slot.bound_data != &slot);
    Bind(slot, &slot);  // by which the driver says whose data it wants
}

// ---- Several rows

std::size_t Parameters::MostWidth() const {
    return link_.GetTuning().block_bytes / block_rows_;
}

// All values of a parameter are declared alike: in a block they are of one type, and fit the number
// of decimals that the longest of them needs.
bool Parameters::Agrees(const Slot& slot, const Encoded& encoded) {
    const auto& shape = slot.former.shape;
    if (slot.kept_values == 0 || encoded.is_null) {
        return true;
    }
    if (shape.c_type != encoded.shape.c_type || shape.sql_type != encoded.shape.sql_type) {
        return false;
    }
    const auto whole = std::max(slot.whole_digits, encoded.whole_digits);
    return shape.sql_type != SQL_DECIMAL ||
           (encoded.shape.digits >= shape.digits &&
            whole + static_cast<std::size_t>(encoded.shape.digits) <= kDecimalDigits);
}

Statement::Keeping Parameters::Keep(std::span<const Cell> values) {
    if (kept_ == block_rows_) {
        return Statement::Keeping::Full;
    }
    for (std::size_t k = 0; k < slots_.size(); ++k) {
        auto& slot = slots_[k];
        if (kept_ == 0) {
            slot.kept_values = slot.whole_digits = 0;
            // A long row that went alone may have left it wider than a block allows.
            slot.width = slot.width > MostWidth() ? 0 : slot.width;
        }
        const auto encoded = encoder_.Encode(slot.info, values[k], slot.former);
        if (encoded.is_long || encoded.bytes.size() + kTerminator > MostWidth()) {
            return Statement::Keeping::Alone;
        }
        if (!Agrees(slot, encoded)) {
            return Statement::Keeping::Full;
        }
        if (slot.kept_values == 0) {
            slot.former.shape = encoded.shape;
        } else if (!encoded.is_null) {
            auto& shape = slot.former.shape;
            shape.size = std::max(shape.size, encoded.shape.size);
            shape.digits = std::max(shape.digits, encoded.shape.digits);
        }
        slot.new_value = !encoded.is_null;
        slot.whole_digits = std::max(slot.whole_digits, encoded.whole_digits);
        Put(slot, kept_, block_rows_, encoded);
    }
    // Counted when the row is kept as a whole: one that isn't leaves nothing behind.
    for (auto& slot : slots_) {
        slot.kept_values += slot.new_value ? 1 : 0;
    }
    ++kept_;
    return Statement::Keeping::Kept;
}

void Parameters::BindKept() {
    for (auto& slot : slots_) {
        Bind(slot, slot.data.data());
    }
}

void Parameters::DropKept(std::size_t rows) {
    for (auto& slot : slots_) {
        auto* data = slot.data.data();
        std::memmove(data, data + rows * slot.width, (kept_ - rows) * slot.width);
        const auto first = slot.lengths.begin();
        std::copy(first + static_cast<std::ptrdiff_t>(rows),
                  first + static_cast<std::ptrdiff_t>(kept_),
                  first);
    }
    kept_ -= rows;
}

// ---- Memory and binding

void Parameters::Put(Slot& slot, std::size_t row, std::size_t rows, const Encoded& encoded) {
    const bool sized = IsSized(encoded.shape.c_type);
    const auto needed = encoded.bytes.size() + (sized ? kTerminator : 0);
    if (encoded.is_null) {
        Widen(slot, slot.width != 0 ? slot.width : kLeastWidth, rows);
        slot.lengths[row] = SQL_NULL_DATA;
        return;
    }
    // A driver knows itself how far apart values of a fixed size lie.
    Widen(slot,
          !sized                 ? needed
          : needed <= slot.width ? slot.width
                                 : std::max<std::size_t>(RoomFor(needed), kLeastWidth),
          rows);
    auto* place = slot.data.data() + row * slot.width;
    std::copy(encoded.bytes.begin(), encoded.bytes.end(), place);
    std::fill_n(place + encoded.bytes.size(), sized ? kTerminator : 0, '\0');
    slot.lengths[row] = static_cast<SQLLEN>(encoded.bytes.size());
}

// What lies there stays: rows that are kept move apart, or are all null where they move together.
void Parameters::Widen(Slot& slot, std::size_t width, std::size_t rows) {
    if (slot.lengths.size() < rows) {
        slot.lengths.resize(rows, SQL_NULL_DATA);
    }
    const auto former = slot.width;
    if (slot.data.size() < width * rows) {
        slot.data.resize(width * rows);
    }
    // From the last one on: each moves to a place that is free by then.
    for (std::size_t row = rows; width > former && row-- > 1;) {
        std::memmove(slot.data.data() + row * width, slot.data.data() + row * former, former);
    }
    slot.width = width;
}

void Parameters::Bind(Slot& slot, void* data) {
    // SQLite's driver (0.9998) gives bytes the length that they had when they were bound, in all
    // executions.
    const auto& shape = slot.former.shape;
    const bool binds_once =
        shape.c_type != SQL_C_BINARY || link_.GetTraits().dialect != Dialect::Sqlite;
    if (slot.bound == shape && slot.bound_data == data && slot.bound_width == slot.width &&
        slot.bound_lengths == slot.lengths.data() && binds_once) {
        return;
    }
    const auto number = static_cast<SQLUSMALLINT>(&slot - slots_.data() + 1);
    // If the call fails, nothing is bound, whatever was before.
    slot.bound = {};
    link_.Check(SQLBindParameter(statement_.Get(),
                                 number,
                                 SQL_PARAM_INPUT,
                                 shape.c_type,
                                 shape.sql_type,
                                 shape.size,
                                 shape.digits,
                                 data,
                                 static_cast<SQLLEN>(slot.width),
                                 slot.lengths.data()),
                statement_);
    slot.bound = shape;
    slot.bound_data = data;
    slot.bound_width = slot.width;
    slot.bound_lengths = slot.lengths.data();
}

SQLRETURN Parameters::SendLongValues() {
    for (;;) {
        SQLPOINTER wanted = nullptr;
        const auto result =
            link_.Asking(statement_, [&] { return SQLParamData(statement_.Get(), &wanted); });
        if (result != SQL_NEED_DATA) {
            return result;
        }
        const auto* slot = static_cast<const Slot*>(wanted);
        // What a driver gives back isn't used as an address before it is known as one.
        const bool known = slot >= slots_.data() && slot < slots_.data() + slots_.size();
        if (!known) {
            // The statement waits for data, and takes no other call until then.
            SQLCancel(statement_.Get());
            throw DataError(kErrUnspecified,
                            "The driver asked for the data of a parameter that doesn't exist.",
                            link_.Source());
        }
        SendInPieces(slot->long_value, slot->long_is_text);
    }
}

void Parameters::SendInPieces(std::string_view value, bool is_text) {
    const bool as_units = is_text && !encoder_.Narrow();
    while (!value.empty()) {
        const auto most = link_.GetTuning().piece_bytes;
        const auto piece = is_text ? WholeCharacters(value, most) : value.substr(0, most);
        value.remove_prefix(piece.size());
        std::string_view sent = piece;
        if (as_units) {
            units_.clear();
            AppendUtf16FromUtf8(piece, units_);
            sent = {reinterpret_cast<const char*>(units_.data()), units_.size() * sizeof(char16_t)};
        }
        const auto result = link_.Asking(statement_, [&] {
            return SQLPutData(
                statement_.Get(), const_cast<char*>(sent.data()), static_cast<SQLLEN>(sent.size()));
        });
        if (!SQL_SUCCEEDED(result)) {
            const auto error = link_.ErrorOf(statement_);
            SQLCancel(statement_.Get());
            throw DataError(error);
        }
    }
}

}  // namespace vantry::odbc

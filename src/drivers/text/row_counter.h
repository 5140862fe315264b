#pragma once
// Counts the rows of a text file without finding their fields: 64 bytes at a step, by the parity of
// qualifiers where these stand as they should, byte by byte where they don't. Counts what
// RowSplitter would find.

#include "text_format/row_splitter.h"
#include "text_format/text_file.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vantry::text {

class RowCounter {
public:
    // `rules` that CanCount. The first byte begins a row.
    explicit RowCounter(const SplitRules& rules);
    // Delimited rows or rows that are lines, where no character can be mistaken for another.
    static bool CanCount(const SplitRules& rules);

    // Counts on; `bytes` are readable for kWindowPadding more and follow those of the last call.
    void Add(std::string_view bytes);
    // Of all bytes so far, the row that they end in included.
    std::int64_t Rows() const { return rows_ + (IsBetweenRows() ? 0 : 1); }
    bool IsBetweenRows() const { return state_ == State::BehindBreak; }

private:
    // What the last byte was.
    enum class State : std::uint8_t {
        BehindBreak,
        BehindDelimiter,
        Inside,         // of a field without qualifier, or behind the one that ended it
        Qualified,      // between qualifiers
        BehindClosing,  // a qualifier that ended a field, unless another one follows
    };
    void AddBlock(const char* at, std::size_t size);
    void AddBytes(const char* at, std::size_t size);
    State Behind(State state, char byte) const;

    char delimiter_ = '\n';  // a break stands for "there is none"
    char qualifier_ = '\n';
    State state_ = State::BehindBreak;
    std::int64_t rows_ = 0;  // that are ended
};

// The rows from `begin` to `end` of a file, by `rules` that RowCounter::CanCount, `window` bytes at
// once: of a large file by two threads, a half each. Throws DataError if the file can't be read or
// has changed.
std::int64_t CountRows(const TextFile& file,
                       const SplitRules& rules,
                       std::int64_t begin,
                       std::int64_t end,
                       std::size_t window);

}  // namespace vantry::text

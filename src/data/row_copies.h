#pragma once
// Rows that stay good when their source moves on, dropped in the order in which they came. A run
// keeps each row that goes to a server so, and nearly never looks at one: what counts is what
// adding and dropping cost. So cells stay as they came, texts and bytes lie one behind the other,
// and where one lies is found only when its row is asked for, by the sizes of those before it. Rows
// lie in pieces of a fixed number, whose memory is used again: none is ever moved.

#include "data/value.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vantry {

class RowCopies {
public:
    void Add(std::span<const Cell> row) {
        static_assert(std::is_trivially_copyable_v<Cell>);
        Piece& piece = PieceForRow();
        const auto begin = piece.End();
        MakeRoom(piece.cells, begin.cells, row.size());
        std::copy(row.begin(), row.end(), piece.cells.data() + begin.cells);
        auto bytes = begin.bytes;
        // Many sources have the texts of a row side by side: they are copied in one go.
        std::string_view together;
        for (const auto& cell : row) {
            if (cell.IsView()) {
                const auto text = cell.AsText();
                if (together.data() + together.size() == text.data()) {
                    together = {together.data(), together.size() + text.size()};
                } else {
                    bytes = piece.Append(together, bytes);
                    together = text;
                }
            }
        }
        piece.ends[piece.rows++] = {begin.cells + row.size(), piece.Append(together, bytes)};
        ++count_;
    }
    std::size_t Count() const { return count_; }
    bool IsEmpty() const { return count_ == 0; }
    // Good until the next call of any of these.
    std::span<const Cell> Row(std::size_t k) {
        k += dropped_;
        const Piece& piece = *pieces_[k / kRows];
        k %= kRows;
        const auto begin = k == 0 ? Place() : piece.ends[k - 1];
        shown_.assign(piece.cells.begin() + static_cast<std::ptrdiff_t>(begin.cells),
                      piece.cells.begin() + static_cast<std::ptrdiff_t>(piece.ends[k].cells));
        const char* at = piece.bytes.data() + begin.bytes;
        for (auto& cell : shown_) {
            if (cell.IsView()) {
                const std::string_view bytes(at, cell.AsText().size());
                at += bytes.size();
                cell = cell.Kind() == ValueKind::Text ? Cell::Text(bytes)
                       : cell.Kind() == ValueKind::NumberText
                           ? Cell::NumberText(bytes)
                           : Cell::Bytes(std::as_bytes(std::span(bytes)));
            }
        }
        return shown_;
    }
    void DropFirst(std::size_t rows) {
        count_ -= rows;
        dropped_ += rows;
        for (; dropped_ >= kRows; dropped_ -= kRows) {
            pieces_.front()->rows = 0;
            std::rotate(pieces_.begin(), pieces_.begin() + 1, pieces_.end());
        }
    }
    void DropLast() { --pieces_[(dropped_ + --count_) / kRows]->rows; }
    void Clear() {
        for (auto& piece : pieces_) {
            piece->rows = 0;
        }
        count_ = dropped_ = 0;
    }

private:
    static constexpr std::size_t kRows = 64;  // of a piece

    struct Place {
        std::size_t cells = 0;
        std::size_t bytes = 0;
    };
    struct Piece {
        Place End() const { return rows == 0 ? Place() : ends[rows - 1]; }
        std::size_t Append(std::string_view text, std::size_t at) {
            if (!text.empty()) {
                MakeRoom(bytes, at, text.size());
                std::memcpy(bytes.data() + at, text.data(), text.size());
            }
            return at + text.size();
        }
        // Both are longer than what is used of them.
        std::vector<Cell> cells;
        std::vector<char> bytes;
        std::array<Place, kRows> ends;  // behind each row
        std::size_t rows = 0;
    };

    template <typename T>
    static void MakeRoom(std::vector<T>& room, std::size_t used, std::size_t more) {
        if (room.size() - used < more) [[unlikely]] {
            room.resize(std::max(room.size() * 2, used + more));
        }
    }
    Piece& PieceForRow() {
        const auto piece = (dropped_ + count_) / kRows;
        if (piece == pieces_.size()) [[unlikely]] {
            pieces_.push_back(std::make_unique<Piece>());
        }
        return *pieces_[piece];
    }

    std::vector<std::unique_ptr<Piece>>
        pieces_;  // the oldest first; all before the last used one are full
    std::size_t count_ = 0;
    std::size_t dropped_ = 0;  // of the first piece
    std::vector<Cell> shown_;
};

}  // namespace vantry

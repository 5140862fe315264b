#pragma once
// Texts that don't stand in a file as they are to be shown, such as those with a doubled qualifier
// or of another character set: one behind the other, in memory that stands still until it is
// cleared and is used again then.

#include <algorithm>
#include <bit>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace vantry {

class MadeTexts {
public:
    void Clear() {
        piece_ = 0;
        used_ = 0;
    }
    // Room for a text of at most `most` bytes; Keep says how many of them it got.
    char* Room(std::size_t most) {
        if (piece_ == pieces_.size() || pieces_[piece_].size - used_ < most) {
            NextPiece(most);
        }
        return pieces_[piece_].bytes.get() + used_;
    }
    std::string_view Keep(std::size_t size) {
        const std::string_view text(pieces_[piece_].bytes.get() + used_, size);
        used_ += size;
        return text;
    }
    std::string_view Copy(std::string_view text) {
        std::copy(text.begin(), text.end(), Room(text.size()));
        return Keep(text.size());
    }

private:
    struct Piece {
        std::unique_ptr<char[]> bytes;
        std::size_t size;
    };
    void NextPiece(std::size_t least) {
        constexpr std::size_t kPieceBytes = std::size_t{16} << 10;
        piece_ += piece_ < pieces_.size() ? 1 : 0;
        used_ = 0;
        while (piece_ < pieces_.size() && pieces_[piece_].size < least) {
            ++piece_;
        }
        if (piece_ == pieces_.size()) {
            // Powers of two, which later texts of about this length fit into, too.
            const std::size_t size = std::bit_ceil(std::max(least, kPieceBytes));
            pieces_.push_back({std::make_unique_for_overwrite<char[]>(size), size});
        }
    }

    std::vector<Piece> pieces_;
    std::size_t piece_ = 0;
    std::size_t used_ = 0;  // of that piece
};

}  // namespace vantry

#pragma once
// Reads a log of any size a piece at a time, while another program may be writing it: text in any
// encoding as lines of UTF-8, each with its place in the file.

#include "files/file.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vantry {

class LogReader {
public:
    // Throws DataError when it isn't a plain file or can't be read.
    explicit LogReader(std::string path);

    struct Line {
        std::uint64_t begin = 0;  // its first byte
        std::string text;         // without the line break
        bool ended = false;       // by a line break, or cut for its length
    };
    struct Piece {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;  // one behind the last byte of the last line
        std::vector<Line> lines;
    };

    // As of the last look.
    std::uint64_t Size() const { return stamp_.size; }
    // Lines from `begin`, which is where one begins: whole ones up to about `bytes`, the last of
    // the file also where it isn't ended yet. At most kMostLines.
    Piece Read(std::uint64_t begin, std::size_t bytes) const;
    // Where the line begins that holds the byte at `offset`.
    std::uint64_t LineStart(std::uint64_t offset) const;

    enum class News : std::uint8_t { None, Grown, Anew };
    // Whether the file has grown, or begun anew: cut, replaced, or gone for the moment.
    News Look();

    static constexpr std::size_t kMostLines = 8000;
    // A line without an end is cut at a multiple of this that lies a whole block behind its start.
    static constexpr std::uint64_t kBlock = 4096;

private:
    enum class Coding : std::uint8_t { Bytes, Utf16Little, Utf16Big };
    void Open();
    std::string BytesAt(std::uint64_t begin, std::uint64_t end) const;
    // The last line break that begins in [from, to) of `bytes`; npos without one.
    std::size_t LastBreak(const std::string& bytes, std::size_t from, std::size_t to) const;
    std::size_t Unit() const { return coding_ == Coding::Bytes ? 1 : 2; }
    std::string Decoded(std::string_view bytes) const;

    std::string path_;
    file::File file_;
    file::FileStamp stamp_;
    std::string head_;  // the first bytes, by which a new beginning shows
    Coding coding_ = Coding::Bytes;
    std::uint64_t first_ = 0;  // behind the byte order mark
};

}  // namespace vantry

#pragma once
// A text file that is written line by line and stands in its place only when it is whole.
//
// Lines go into a buffer; a full one goes into "<path>.partial" beside the file while the next one
// is filled. Finish gives that the file's name; until then, and for good after Abandon or a killed
// program, a former file of the name stays as it was, and where there is none, none appears: a file
// that lacks lines never goes by the name of a whole one.
//
// What a count of accepted lines is worth: EndLine either accepts the line or throws, and then the
// line is gone without a trace. An accepted line is never dropped while the file is open: that a
// buffer couldn't be written is reported by the line that finds the next one full, which is
// refused, and so is each line after it until the write, tried again with each, succeeds. When
// Finish or Abandon can't get rid of the last lines, Lines() falls to those that are whole in the
// file.

#include "data/code_page.h"
#include "data/utf.h"
#include "files/file.h"
#include "text/write_behind.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::text {

class LineFile {
public:
    LineFile() = default;
    ~LineFile() { Abandon(); }
    LineFile(const LineFile&) = delete;
    LineFile& operator=(const LineFile&) = delete;

    // Throws DataError when there can't be such a file, or another program is writing it; every
    // line is then refused as well.
    void Open(const std::string& path);

    // A line is begun, appended to, and ended, or begun anew.
    void BeginLine() { size_ = line_start_; }
    void Append(std::string_view text) {
        Copy(Room(text.size()), text);
        size_ += text.size();
    }
    // `before`, `text` and `after` at one go: a qualified field, a field and its delimiter.
    void Append(std::string_view before, std::string_view text, std::string_view after) {
        char* out = Room(before.size() + text.size() + after.size());
        out = Copy(out, before);
        out = Copy(out, text);
        out = Copy(out, after);
        size_ = static_cast<std::size_t>(out - buffer_.get());
    }
    // Appends `before`, a text and `after`. `put` writes the text to the place that it is given, at
    // most `most` bytes, and returns its end: that is faster than copying a text that has just been
    // made elsewhere, as its bytes are still on their way to the memory that would be read.
    template <typename Put>
    void AppendMade(std::string_view before, std::size_t most, Put put, std::string_view after) {
        char* out = Room(before.size() + most + after.size());
        out = Copy(put(Copy(out, before)), after);
        size_ = static_cast<std::size_t>(out - buffer_.get());
    }
    void AppendBlanks(std::size_t count) {
        std::memset(Room(count), ' ', count);
        size_ += count;
    }
    // Takes back the last `count` bytes of the line.
    void CutBack(std::size_t count) { size_ -= count; }
    // Ends the line with CR LF, in the machine's character set. Throws DataError when the line
    // isn't accepted: the set lacks one of its characters, or the file can't be written.
    void EndLine() {
        if (size_ >= kWriteSize || !file_ || code_page_) {
            PrepareUncommonLine();
        }
        Copy(Room(2), "\r\n");
        size_ += 2;
        line_start_ = size_;
        ++lines_;
        ++lines_waiting_;
    }

    // Lines accepted; once the file is closed, those that are whole in it.
    std::int64_t Lines() const { return lines_; }
    bool IsOpen() const { return static_cast<bool>(file_); }

    // Writes out what is left and gives the file its name. When that fails: as Abandon, then
    // throws. "<path>.partial" must still be the file that was written, with the length that was
    // left: where another program has cut, removed or replaced it, Lines() falls to 0.
    void Finish();
    // Closes. The lines so far stay in "<path>.partial", for a look; the next run begins anew.
    void Abandon() noexcept;
    // The same, and nothing stays.
    void Discard() noexcept;

private:
    static constexpr std::size_t kWriteSize = 512 * 1024;

    char* Room(std::size_t count) {
        if (capacity_ - size_ < count) {
            Grow(count);
        }
        return buffer_.get() + size_;
    }
    // Most texts are short: up to 16 bytes go without a call, by two overlapping moves. Returns the
    // end.
    static char* Copy(char* out, std::string_view text) {
        const std::size_t size = text.size();
        if (size == 1) {
            *out = text[0];
        } else if (size > 16) {
            std::memcpy(out, text.data(), size);
        } else if (size >= 8) {
            MoveEnds<std::uint64_t>(out, text);
        } else if (size >= 4) {
            MoveEnds<std::uint32_t>(out, text);
        } else if (size >= 2) {
            MoveEnds<std::uint16_t>(out, text);
        }
        return out + size;
    }
    template <typename Word>
    static void MoveEnds(char* out, std::string_view text) {
        Word first;
        Word last;
        std::memcpy(&first, text.data(), sizeof first);
        std::memcpy(&last, text.data() + text.size() - sizeof last, sizeof last);
        std::memcpy(out, &first, sizeof first);
        std::memcpy(out + text.size() - sizeof last, &last, sizeof last);
    }
    void Grow(std::size_t count);
    void PrepareUncommonLine();
    void Recode();
    void HandOver();
    void SettleBlock();
    void RequireOwnFile();
    void CutTornWrite() noexcept;
    void WriteAll();
    void TakePartialName();
    void KeepMode() const;

    std::string path_;
    file::File file_;                    // "<path>.partial"
    std::optional<CodePage> code_page_;  // where the machine's isn't UTF-8
    std::string recoded_;

    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_ = 0;
    std::size_t size_ = 0;
    std::size_t line_start_ = 0;   // accepted lines stand before it
    std::uint64_t file_size_ = 0;  // all of it whole lines, unless a write has failed since
    bool taken_away_ = false;      // by another program: nothing of it counts
    std::int64_t lines_ = 0;
    std::int64_t lines_waiting_ = 0;  // in the buffer and the block

    // Accepted lines that stand before those of the buffer and aren't known to be in the file.
    struct Block {
        std::unique_ptr<char[]> bytes;
        std::size_t capacity = 0;
        std::size_t size = 0;
        std::int64_t lines = 0;
        bool on_its_way = false;
    };
    Block block_;
    WriteBehind writer_;  // behind what it uses: it is the first to go
};

}  // namespace vantry::text

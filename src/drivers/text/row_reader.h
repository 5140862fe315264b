#pragma once
// The rows of a data file, in file order, in memory that depends on the longest row and not on the
// file. Fields are views of the reader's window, valid until the next call of Next() or MoveTo().

#include "data/data_error.h"
#include "text_format/encoding.h"
#include "text_format/row_splitter.h"
#include "text_format/text_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace vantry::text {

// Bytes of the file that are looked at at once, and rows that are split at once.
struct ReaderSizes {
    std::size_t window = std::size_t{256} << 10;
    std::size_t batch = std::size_t{32} << 10;
    // Batches before a second thread is worth its start.
    std::size_t batches_alone = 16;
};

// The rows of a batch with bytes of their own: good whatever the reader does next.
struct RowBlock {
    std::unique_ptr<char[]> text;  // readable for kWindowPadding bytes behind its end
    std::size_t capacity = 0;      // of `text`, without those
    std::size_t size = 0;
    RowBatch batch;
    std::int64_t offset = 0;  // in the file, of the first byte of `text`
    bool is_utf16 = false;    // the file: `text` is UTF-8

    SplitRow Row(std::size_t row) const { return batch.Row(row, text.get()); }
    // Where a place of `text` is in the file.
    std::int64_t OffsetOf(std::size_t place) const;
    // As the reader's own.
    DataError OpenFieldError(const std::shared_ptr<const TextFile>& file,
                             const TextEncoding& encoding) const;
};

class RowReader {
public:
    // Stands before the row that begins at `offset`. At most `max_fields` fields of a row can be
    // asked for.
    RowReader(std::shared_ptr<const TextFile> file,
              const TextEncoding& encoding,
              const SplitRules& rules,
              std::int64_t offset,
              std::size_t max_fields,
              ReaderSizes sizes = {});

    // Throws DataError if the file can't be read, has changed, or a row is longer than
    // kMaxRowBytes.
    bool Next() { return NextInBatch() || NextBatch(); }
    // The same in two steps: rows that are split already, and the first of those that are split
    // next.
    bool NextInBatch() { return ++row_ < batch_.rows.size(); }
    bool NextBatch();

    SplitRow Row() const { return batch_.Row(row_, batch_start_); }
    // What is to be told of a row whose last field's qualifier isn't closed.
    DataError OpenFieldError() const;
    // Where the current row begins in the file, in bytes.
    std::int64_t RowOffset() const;

    // Bytes of the batch that the current row is in.
    std::size_t BatchBytes() const {
        return static_cast<std::size_t>(window_.get() + done_ - batch_start_);
    }
    // Hands the current batch over; there is no current row until NextBatch().
    void GiveBatch(RowBlock& block);

    // The next row will be the one that begins at `offset`.
    void MoveTo(std::int64_t offset);
    // Where the first row behind about half of what is left seems to begin: the rows there have as
    // many fields as they should. 0: not to be told, or not worth it.
    std::int64_t Middle(std::size_t fields) const;
    // The rows end there; the last one may be half of one, and its last field open.
    void EndAt(std::int64_t offset) { end_ = std::min(end_, offset); }
    bool EndedOpen() const { return ended_open_; }

    // The rows from here to the end, which is where the reader stands afterwards. A row that is too
    // long counts.
    std::int64_t CountRest();

private:
    void ReadMore();
    void Append(std::size_t size);
    void AppendDecoded();
    void Grow();
    std::int64_t OffsetOf(std::size_t place) const;

    std::shared_ptr<const TextFile> file_;
    TextEncoding encoding_;
    RowSplitter splitter_;
    ReaderSizes sizes_;
    std::int64_t end_;  // of the data; a Ctrl-Z as the last byte is behind it

    std::unique_ptr<char[]> window_;  // capacity_ + kWindowPadding bytes
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;            // bytes in the window
    std::size_t done_ = 0;            // bytes of it whose rows are in the batch or were read
    std::int64_t window_offset_ = 0;  // in the file, of the window's first byte
    std::int64_t read_offset_ = 0;    // in the file, of what is read next
    bool at_end_ = false;
    bool ended_open_ = false;  // the last batch ends with an open field

    RowBatch batch_;
    std::int64_t rows_behind_ = 0;  // before the batch; below 0 once the reader was moved
    const char* batch_start_ = nullptr;
    std::size_t row_ = 0;

    // UTF-16 only: a place in the window whose offset in the file is known.
    mutable std::size_t known_place_ = 0;
    mutable std::int64_t known_offset_ = 0;
    std::string raw_;
    std::string decoded_;
};

// The number of the line that a place in a file is in, counted from 1. Asking for later places in
// turn reads the file once.
class LineCounter {
public:
    LineCounter(std::shared_ptr<const TextFile> file, const TextEncoding& encoding)
        : file_(std::move(file)), form_(encoding.Kind()) {}
    std::int64_t LineOf(std::int64_t offset);

private:
    std::shared_ptr<const TextFile> file_;
    TextEncoding::Form form_;
    std::int64_t counted_to_ = 0;
    std::int64_t breaks_ = 0;
    bool after_return_ = false;
};

}  // namespace vantry::text

// Slides a window over a file and hands out rows in batches. The window moves only between batches,
// so fields are views into it; it grows when a single row fills it, up to a limit, as an unclosed
// qualifier makes the rest of the file one row. Places in the window and offsets in the file are
// the same thing shifted, except for UTF-16, whose window is UTF-8: there offsets are counted from
// the last known place. Easy to get wrong: a pair of UTF-16 units at the edge of a read, and a file
// that shrinks or grows while it is read.

#include "drivers/text/row_reader.h"

#include "drivers/text/row_counter.h"
#include "text_format/errors.h"
#include "text_format/format.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace vantry::text {
namespace {

constexpr char kCtrlZ = '\x1A';
constexpr std::int64_t kUnknownRow = std::numeric_limits<std::int64_t>::min();

// Where the rows end: a Ctrl-Z as the last character, the end mark of old systems, is none of them.
std::int64_t EndOfRows(const TextFile& file, const TextEncoding& encoding) {
    const std::int64_t unit = encoding.IsUtf16() ? 2 : 1;
    const std::int64_t size = file.Size();
    if (size < unit) {
        return size;
    }
    char last[2] = {0, 0};
    file.Read(size - unit, last, static_cast<std::size_t>(unit));
    if (encoding.Kind() == TextEncoding::Form::Utf16Be) {
        std::swap(last[0], last[1]);
    }
    return last[0] == kCtrlZ && last[1] == 0 ? size - unit : size;
}

// Where `text` ends without the line breaks at its end, but not before `least`.
std::size_t WithoutBreaks(std::string_view text, std::size_t least) {
    std::size_t end = text.size();
    while (end > least && (text[end - 1] == '\n' || text[end - 1] == '\r')) {
        --end;
    }
    return end;
}

DataError NotClosed(const std::shared_ptr<const TextFile>& file,
                    const TextEncoding& encoding,
                    std::int64_t field,
                    std::int64_t end) {
    LineCounter lines(file, encoding);
    const std::int64_t line = lines.LineOf(field);
    return QualifierNotClosed(file->Path(), line, lines.LineOf(end) - line);
}

}  // namespace

RowReader::RowReader(std::shared_ptr<const TextFile> file,
                     const TextEncoding& encoding,
                     const SplitRules& rules,
                     std::int64_t offset,
                     std::size_t max_fields,
                     ReaderSizes sizes)
    : file_(std::move(file)),
      encoding_(encoding),
      splitter_(rules, max_fields),
      sizes_(sizes),
      end_(EndOfRows(*file_, encoding)) {
    capacity_ = std::max<std::size_t>(sizes_.window, 16);
    window_ = std::make_unique_for_overwrite<char[]>(capacity_ + kWindowPadding);
    MoveTo(offset);
    rows_behind_ = 0;
}

void RowReader::MoveTo(std::int64_t offset) {
    used_ = 0;
    done_ = 0;
    window_offset_ = offset;
    read_offset_ = offset;
    known_place_ = 0;
    known_offset_ = offset;
    at_end_ = read_offset_ >= end_;
    batch_.rows.clear();
    rows_behind_ = kUnknownRow;
    row_ = 0;
    std::memset(window_.get(), 0, kWindowPadding);
}

bool RowReader::NextBatch() {
    rows_behind_ += static_cast<std::int64_t>(batch_.rows.size());
    for (;;) {
        batch_start_ = window_.get() + done_;
        row_ = 0;
        if (encoding_.IsUtf16()) {
            OffsetOf(done_);  // while the bytes before the batch are still in the window
        }
        const std::size_t taken =
            splitter_.Split(batch_start_, used_ - done_, at_end_, sizes_.batch, batch_);
        done_ += taken;
        if (!batch_.rows.empty()) {
            ended_open_ = batch_.rows.back().unclosed;
            return true;
        }
        if (at_end_ && done_ == used_) {
            return false;
        }
        if (taken == 0) {
            ReadMore();
        }
    }
}

// A guess: within a text of several lines rows may look the same. That shows when all rows before
// it have been read, whose last text is then open.
std::int64_t RowReader::Middle(std::size_t fields) const {
    constexpr std::int64_t kSmallestHalf = std::int64_t{1} << 20;
    constexpr std::size_t kLook = std::size_t{64} << 10;
    constexpr int kTries = 64;
    const std::int64_t half = (end_ - read_offset_) / 2;
    const auto layout = splitter_.Rules().layout;
    const bool any_count = layout == SplitRules::Layout::RaggedEdge;
    if (encoding_.IsUtf16() || half < kSmallestHalf ||
        (layout != SplitRules::Layout::Delimited && !any_count)) {
        return 0;
    }
    const std::int64_t begin = read_offset_ + half;
    std::vector<char> window(kLook + kWindowPadding);
    const std::size_t got = file_->Read(begin, window.data(), kLook);
    RowSplitter splitter(splitter_.Rules(), fields);
    RowBatch batch;
    const char* at = window.data();
    for (int k = 0; k < kTries; ++k) {
        const auto behind = static_cast<std::size_t>(at - window.data());
        at = static_cast<const char*>(std::memchr(at, '\n', got - behind));
        if (at == nullptr) {
            break;
        }
        const auto place = static_cast<std::size_t>(++at - window.data());
        splitter.Split(at, got - place, false, got - place, batch);
        if (!batch.rows.empty() &&
            std::all_of(batch.rows.begin(), batch.rows.end(), [&](const RowSpan& row) {
                return any_count || row.field_count == fields;
            })) {
            return begin + static_cast<std::int64_t>(place);
        }
    }
    return 0;
}

// Counting needs no fields: where the rules allow it, quotes and breaks are counted by masks alone.
std::int64_t RowReader::CountRest() {
    if (encoding_.IsUtf16() || used_ > 0 || !RowCounter::CanCount(splitter_.Rules())) {
        std::int64_t count = 0;
        while (NextBatch()) {
            count += static_cast<std::int64_t>(batch_.rows.size());
        }
        return count;
    }
    const std::int64_t rows = CountRows(*file_, splitter_.Rules(), read_offset_, end_, capacity_);
    // At the end, where reading all rows would have left it.
    MoveTo(end_);
    return rows;
}

// Reads behind what is left of the window; makes the window larger when a row fills it.
void RowReader::ReadMore() {
    const std::size_t left = used_ - done_;
    if (done_ > 0) {
        if (encoding_.IsUtf16()) {
            known_offset_ = OffsetOf(done_);
            known_place_ = 0;
        }
        std::memmove(window_.get(), window_.get() + done_, left);
        window_offset_ += static_cast<std::int64_t>(done_);
        used_ = left;
        done_ = 0;
    }
    // Half a window of one row: with less room than that, reads would become small and many.
    if (left > capacity_ / 2 && (capacity_ < kMaxRowBytes || left == capacity_)) {
        Grow();
    }
    if (encoding_.IsUtf16()) {
        AppendDecoded();
    } else {
        const auto rest = static_cast<std::uint64_t>(end_ - read_offset_);
        const auto wanted =
            static_cast<std::size_t>(std::min<std::uint64_t>(capacity_ - used_, rest));
        Append(file_->Read(read_offset_, window_.get() + used_, wanted, rows_behind_));
    }
    // The masks read whole blocks: what is behind the end must be the same at each run.
    std::memset(window_.get() + used_, 0, kWindowPadding);
}

void RowReader::Append(std::size_t size) {
    if (size == 0) {
        throw ChangedWhileRead(file_->Path(), rows_behind_);  // it ended before its end
    }
    used_ += size;
    read_offset_ += static_cast<std::int64_t>(size);
    at_end_ = read_offset_ >= end_;
}

void RowReader::AppendDecoded() {
    // One unit is at most three bytes of UTF-8; two are read at least, for a pair.
    std::size_t wanted = std::max<std::size_t>((capacity_ - used_) / 3, 4) & ~std::size_t{1};
    wanted = static_cast<std::size_t>(
        std::min<std::int64_t>(static_cast<std::int64_t>(wanted), end_ - read_offset_));
    raw_.resize(wanted);
    raw_.resize(file_->Read(read_offset_, raw_.data(), wanted, rows_behind_));
    // The first half of a pair waits for the second.
    if (raw_.size() >= 4 && read_offset_ + static_cast<std::int64_t>(raw_.size()) < end_) {
        const bool little = encoding_.Kind() == TextEncoding::Form::Utf16Le;
        const auto high = static_cast<unsigned char>(raw_[raw_.size() - (little ? 1 : 2)]);
        if (high >= 0xD8 && high < 0xDC) {
            raw_.resize(raw_.size() - 2);
        }
    }
    decoded_.clear();
    encoding_.AppendUtf8FromUnits(raw_, decoded_);
    while (capacity_ - used_ < decoded_.size()) {
        Grow();
    }
    std::memcpy(window_.get() + used_, decoded_.data(), decoded_.size());
    // Append counts bytes of the file; the window has got those of the UTF-8.
    const std::size_t before = used_;
    Append(raw_.size());
    used_ = before + decoded_.size();
}

void RowReader::Grow() {
    if (capacity_ >= kMaxRowBytes) {
        const std::int64_t offset = encoding_.IsUtf16() ? known_offset_ : window_offset_;
        throw RowTooLong(file_->Path(), LineCounter(file_, encoding_).LineOf(offset));
    }
    const std::size_t larger = capacity_ * 2;
    auto window = std::make_unique_for_overwrite<char[]>(larger + kWindowPadding);
    std::memcpy(window.get(), window_.get(), used_);
    window_ = std::move(window);
    capacity_ = larger;
}

std::int64_t RowReader::RowOffset() const {
    const auto place =
        static_cast<std::size_t>(batch_start_ - window_.get()) + batch_.rows[row_].begin;
    return OffsetOf(place);
}

DataError RowReader::OpenFieldError() const {
    const auto field = static_cast<std::size_t>(batch_start_ - window_.get()) + batch_.open_field;
    const std::size_t end = WithoutBreaks({window_.get(), used_}, field);
    const std::int64_t at = OffsetOf(field);
    return NotClosed(file_, encoding_, at, OffsetOf(end));
}

// The window slides on under the block's rows, so they take their bytes along.
void RowReader::GiveBatch(RowBlock& block) {
    block.size = BatchBytes();
    if (block.capacity < block.size) {
        block.capacity = std::max(block.size, 2 * sizes_.batch);
        block.text = std::make_unique_for_overwrite<char[]>(block.capacity + kWindowPadding);
    }
    std::memcpy(block.text.get(), batch_start_, block.size + kWindowPadding);
    block.offset = OffsetOf(static_cast<std::size_t>(batch_start_ - window_.get()));
    block.is_utf16 = encoding_.IsUtf16();
    rows_behind_ += static_cast<std::int64_t>(batch_.rows.size());
    std::swap(block.batch, batch_);
    batch_.rows.clear();
    row_ = 0;
}

std::int64_t RowBlock::OffsetOf(std::size_t place) const {
    return offset +
           static_cast<std::int64_t>(is_utf16 ? 2 * CountUtf16Units({text.get(), place}) : place);
}

DataError RowBlock::OpenFieldError(const std::shared_ptr<const TextFile>& file,
                                   const TextEncoding& encoding) const {
    const std::size_t end = WithoutBreaks({text.get(), size}, batch.open_field);
    return NotClosed(file, encoding, OffsetOf(batch.open_field), OffsetOf(end));
}

std::int64_t RowReader::OffsetOf(std::size_t place) const {
    if (!encoding_.IsUtf16()) {
        return window_offset_ + static_cast<std::int64_t>(place);
    }
    if (place < known_place_) {
        return known_offset_ - 2 * static_cast<std::int64_t>(CountUtf16Units(
                                       {window_.get() + place, known_place_ - place}));
    }
    known_offset_ += 2 * static_cast<std::int64_t>(
                             CountUtf16Units({window_.get() + known_place_, place - known_place_}));
    known_place_ = place;
    return known_offset_;
}

std::int64_t LineCounter::LineOf(std::int64_t offset) {
    // Counting goes forward alone: for an earlier place it begins anew.
    if (offset < counted_to_) {
        counted_to_ = 0;
        breaks_ = 0;
        after_return_ = false;
    }
    const std::size_t unit =
        form_ == TextEncoding::Form::Utf16Le || form_ == TextEncoding::Form::Utf16Be ? 2 : 1;
    const std::size_t low = form_ == TextEncoding::Form::Utf16Be ? 1 : 0;
    std::string block(std::size_t{64} << 10, '\0');
    while (counted_to_ < offset) {
        const auto wanted = static_cast<std::size_t>(
            std::min<std::int64_t>(static_cast<std::int64_t>(block.size()), offset - counted_to_));
        const std::size_t got = file_->Read(counted_to_, block.data(), wanted);
        if (got < unit) {
            break;
        }
        for (std::size_t k = 0; k + unit <= got; k += unit) {
            // A unit of UTF-16 may have a line break's byte as half of another letter.
            const char byte = unit == 2 && block[k + 1 - low] != 0 ? ' ' : block[k + low];
            if (byte == '\r' || (byte == '\n' && !after_return_)) {
                ++breaks_;
            }
            after_return_ = byte == '\r';
        }
        counted_to_ += static_cast<std::int64_t>(got - got % unit);
    }
    return breaks_ + 1;
}

}  // namespace vantry::text

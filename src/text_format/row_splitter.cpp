// Cuts bytes into rows and fields without looking at what they mean. Delimited files with single
// bytes for delimiter and qualifier, nearly all, go by masks of 64 bytes (byte_masks.h): one
// instruction finds all delimiters and breaks of a block, and only quoted fields are walked by
// themselves. Sets in which such a byte may be the second half of a character, and longer tokens,
// take the careful road, a character at a time. Easy to get wrong: a row must never be given out
// before its end has been seen, and a CR at the end of a window may have its LF in the next; such a
// row is left for the next call.

#include "text_format/row_splitter.h"

#include "data/ascii.h"
#include "text_format/byte_masks.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

namespace vantry::text {
namespace {

constexpr std::size_t kCharacterBytes = 4;  // the longest

bool IsBreak(char byte) {
    return byte == '\n' || byte == '\r';
}

// Where the row behind the break at `place` begins; nothing if that depends on a byte that isn't in
// the window yet.
std::optional<std::size_t> BehindBreak(const char* data,
                                       std::size_t size,
                                       bool final,
                                       std::size_t place) {
    if (data[place] == '\n') {
        return place + 1;
    }
    if (place + 1 < size) {
        return place + (data[place + 1] == '\n' ? 2 : 1);
    }
    return final ? std::optional(place + 1) : std::nullopt;
}

bool IsBlank(const char* from, const char* to) {
    return std::all_of(from, to, [](char c) { return c == ' '; });
}

struct QualifiedEnd {
    std::size_t place = 0;  // of the closing qualifier, or the window's size
    bool doubled = false;
};

QualifiedEnd FindClosing(const char* data, std::size_t size, std::size_t from, char qualifier) {
    QualifiedEnd end;
    for (;;) {
        end.place = FindByte(data, size, from, qualifier);
        if (end.place + 1 >= size || data[end.place + 1] != qualifier) {
            return end;
        }
        end.doubled = true;
        from = end.place + 2;
    }
}

// Room for one more row's fields.
void Reserve(RowBatch& batch, std::size_t max_fields) {
    const std::size_t wanted = batch.field_count + max_fields;
    if (batch.fields.size() < wanted) {
        batch.fields.resize(std::max(wanted, batch.fields.size() * 2));
    }
}

// Collects the fields of one row.
class RowCollector {
public:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    RowCollector(const char* window, RowBatch& batch, std::size_t max_fields)
        : window_(window), batch_(batch), max_fields_(max_fields) {
        Begin(0);
    }
    void Begin(std::size_t row_begin) {
        Reserve(batch_, max_fields_);
        row_begin_ = row_begin;
        out_ = batch_.fields.data() + batch_.field_count;
        count_ = 0;
        surplus_ = false;
    }
    void Add(FieldSpan field) {
        if (count_ < max_fields_) {
            out_[count_] = field;
        } else {
            // Delimiters at the end of a line are common, and blanks behind them are no data.
            surplus_ = surplus_ || !IsBlank(window_ + field.Begin(), window_ + field.End());
        }
        ++count_;
    }
    // `open_field`: where the field begins whose qualifier isn't closed; kNone: they all are.
    void Finish(bool plain, std::size_t open_field = kNone) {
        batch_.rows.push_back({static_cast<std::uint32_t>(row_begin_),
                               static_cast<std::uint32_t>(batch_.field_count),
                               static_cast<std::uint32_t>(count_),
                               plain,
                               surplus_,
                               open_field != kNone});
        batch_.open_field = open_field;
        batch_.field_count += std::min(count_, max_fields_);
    }
    // Fields beyond max_fields are counted, not kept: callers ask how wide the row was.
    std::size_t RowBegin() const { return row_begin_; }
    std::size_t Count() const { return count_; }

private:
    const char* window_;
    RowBatch& batch_;
    std::size_t max_fields_;
    FieldSpan* out_ = nullptr;
    std::size_t count_ = 0;
    bool surplus_ = false;
    std::size_t row_begin_ = 0;
};

// Second bytes of these sets are digits (GB18030) or from 40 on; commas and tabs never are.
bool MayBeSecondByte(std::string_view token) {
    return std::any_of(token.begin(), token.end(), [](char c) { return c >= 0x40 || IsDigit(c); });
}

}  // namespace

RowSplitter::RowSplitter(SplitRules rules, std::size_t max_fields)
    : rules_(std::move(rules)), max_fields_(max_fields) {
    record_width_ = std::max<std::size_t>(
        std::accumulate(rules_.widths.begin(), rules_.widths.end(), std::size_t{0}), 1);
    const bool pairs = rules_.bytes == ByteForm::DoubleByte || rules_.bytes == ByteForm::ShiftJis;
    // Decided once for a file: asked at each field, it would cost the usual files.
    careful_ = rules_.delimiter.size() != 1 || rules_.qualifier.size() > 1 ||
               (pairs && (MayBeSecondByte(rules_.delimiter) || MayBeSecondByte(rules_.qualifier)));
}

std::size_t RowSplitter::Split(const char* window,
                               std::size_t size,
                               bool final,
                               std::size_t batch_bytes,
                               RowBatch& batch) const {
    batch.rows.clear();
    batch.field_count = 0;
    const Window piece{window, size, final, std::min(size, batch_bytes)};
    switch (rules_.layout) {
        case SplitRules::Layout::RaggedEdge:
            return SplitLines(piece, batch);
        case SplitRules::Layout::TrueFixedLength:
            return SplitRecords(piece, batch);
        case SplitRules::Layout::Delimited:
            break;
    }
    return careful_ ? SplitCarefully(piece, batch) : SplitFields(piece, batch);
}

// A qualifier counts at the beginning of a field alone.
std::size_t RowSplitter::SplitFields(const Window& window, RowBatch& batch) const {
    const char* const data = window.data;
    const char delimiter = rules_.delimiter[0];
    // A byte that is a break can't begin a field: a stand-in for "no qualifier".
    const char qualifier = rules_.qualifier.empty() ? '\n' : rules_.qualifier[0];
    MaskWalk<WalkEvents::Separators> walk(data, window.size, delimiter, '\n');
    RowCollector row(data, batch, max_fields_);
    std::size_t begin = 0;
    while (row.RowBegin() < window.limit) {
        std::size_t place = 0;
        std::size_t open_field = RowCollector::kNone;
        const bool qualified = begin < window.size && data[begin] == qualifier && qualifier != '\n';
        if (!qualified) {
            place = walk.Next();
            row.Add(FieldSpan(begin, place));
        } else {
            const auto closing = FindClosing(data, window.size, begin + 1, qualifier);
            walk.MoveTo(std::min(closing.place + 1, window.size));
            place = walk.Next();
            open_field = closing.place == window.size ? begin : open_field;
            const bool tail = place > closing.place + 1;
            row.Add(FieldSpan::Qualified(
                begin + 1, tail ? place : closing.place, closing.doubled, tail));
        }
        if (place == window.size) {
            if (window.final) {
                row.Finish(walk.TakePlain(), open_field);
                return window.size;
            }
            return row.RowBegin();
        }
        begin = place + 1;
        if (data[place] == delimiter) {
            continue;
        }
        const auto next = BehindBreak(data, window.size, window.final, place);
        if (!next) {
            return row.RowBegin();
        }
        const bool plain = walk.TakePlain();
        // An empty line is no row.
        if (place > row.RowBegin()) {
            row.Finish(plain);
        }
        begin = *next;
        walk.MoveTo(begin);
        row.Begin(begin);
    }
    return row.RowBegin();
}

// The same grammar as SplitFields: what one accepts, the other does, too.
std::size_t RowSplitter::SplitCarefully(const Window& window, RowBatch& batch) const {
    const char* const data = window.data;
    const char* const end = data + window.size;
    const auto stands_at = [&](std::size_t place, const std::string& token) {
        return !token.empty() && window.size - place >= token.size() &&
               std::memcmp(data + place, token.data(), token.size()) == 0;
    };
    RowCollector row(data, batch, max_fields_);
    std::size_t place = 0;
    while (row.RowBegin() < window.limit) {
        // One field: from `place` to a delimiter, a break, or the window's end.
        const bool qualified = stands_at(place, rules_.qualifier);
        const std::size_t begin = place + (qualified ? rules_.qualifier.size() : 0);
        std::size_t closing = window.size;
        bool doubled = false;
        if (qualified) {
            place = begin;
            while (place < window.size) {
                if (!stands_at(place, rules_.qualifier)) {
                    place += CharacterBytes(data + place, end);
                } else if (stands_at(place + rules_.qualifier.size(), rules_.qualifier)) {
                    doubled = true;
                    place += 2 * rules_.qualifier.size();
                } else {
                    break;
                }
            }
            closing = place;
            place += place < window.size ? rules_.qualifier.size() : 0;
        }
        const std::size_t behind = place;
        while (place < window.size && !IsBreak(data[place]) &&
               !stands_at(place, rules_.delimiter)) {
            place += CharacterBytes(data + place, end);
        }
        const bool tail = place > behind;
        row.Add(qualified ? FieldSpan::Qualified(begin, tail ? place : closing, doubled, tail)
                          : FieldSpan(begin, place));
        if (place == window.size) {
            if (window.final) {
                const bool open = qualified && closing == window.size;
                row.Finish(false, open ? begin - rules_.qualifier.size() : RowCollector::kNone);
                return window.size;
            }
            return row.RowBegin();
        }
        if (!IsBreak(data[place])) {
            place += rules_.delimiter.size();
            continue;
        }
        const auto next = BehindBreak(data, window.size, window.final, place);
        if (!next) {
            return row.RowBegin();
        }
        if (place > row.RowBegin()) {
            row.Finish(false);
        }
        place = *next;
        row.Begin(place);
    }
    return row.RowBegin();
}

std::size_t RowSplitter::SplitLines(const Window& window, RowBatch& batch) const {
    MaskWalk<WalkEvents::Breaks> walk(window.data, window.size, '\n', '\n');
    std::size_t row_begin = 0;
    while (row_begin < window.limit) {
        const std::size_t place = walk.Next();
        std::size_t next_row = window.size;
        if (place == window.size) {
            if (!window.final) {
                return row_begin;
            }
        } else {
            const auto next = BehindBreak(window.data, window.size, window.final, place);
            if (!next) {
                return row_begin;
            }
            next_row = *next;
        }
        const bool plain = walk.TakePlain();
        if (place > row_begin) {
            CutColumns(window, row_begin, place, plain, batch);
        }
        row_begin = next_row;
        walk.MoveTo(row_begin);
    }
    return row_begin;
}

// Records of one length need no breaks; a break right behind a record belongs to it.
std::size_t RowSplitter::SplitRecords(const Window& window, RowBatch& batch) const {
    const char* const end = window.data + window.size;
    std::size_t row_begin = 0;
    while (row_begin < window.limit) {
        const char* const from = window.data + row_begin;
        const std::size_t place = row_begin + BytesOfWidth(from, end, record_width_);
        if (!window.final && window.size - place < kCharacterBytes) {
            return row_begin;  // there may be more of its last character, or a break behind it
        }
        std::size_t next_row = place;
        if (place < window.size && IsBreak(window.data[place])) {
            const auto next = BehindBreak(window.data, window.size, window.final, place);
            if (!next) {
                return row_begin;
            }
            next_row = *next;
        }
        // A line that is shorter than a record has its break inside: only the last may be.
        CutColumns(window, row_begin, place, false, batch);
        row_begin = next_row;
    }
    return row_begin;
}

void RowSplitter::CutColumns(
    const Window& window, std::size_t begin, std::size_t end, bool plain, RowBatch& batch) const {
    RowCollector row(window.data, batch, max_fields_);
    row.Begin(begin);
    const std::size_t columns = std::min(rules_.widths.size(), max_fields_);
    std::size_t place = begin;
    for (std::size_t column = 0; column < columns && place < end; ++column) {
        const std::size_t width = rules_.widths[column];
        const std::size_t length =
            plain ? std::min(width, end - place)
                  : BytesOfWidth(window.data + place, window.data + end, width);
        row.Add(FieldSpan(place, place + length));
        place += length;
    }
    if (place < end && columns == rules_.widths.size()) {
        row.Add(FieldSpan(place, end));  // behind the last column
    }
    row.Finish(plain);
}

std::size_t RowSplitter::CharacterBytes(const char* at, const char* end) const {
    const auto lead = static_cast<unsigned char>(*at);
    if (lead < 0x80 || rules_.bytes == ByteForm::SingleByte) {
        return 1;
    }
    const auto is_trail = [&](std::size_t k) {
        return at + k < end && (static_cast<unsigned char>(at[k]) & 0xC0U) == 0x80U;
    };
    switch (rules_.bytes) {
        case ByteForm::Utf8:
            if (lead >= 0xC2 && lead < 0xE0) {
                return is_trail(1) ? 2 : 1;
            }
            if (lead >= 0xE0 && lead < 0xF0) {
                return is_trail(1) && is_trail(2) ? 3 : 1;
            }
            return lead >= 0xF0 && lead < 0xF5 && is_trail(1) && is_trail(2) && is_trail(3) ? 4 : 1;
        case ByteForm::ShiftJis:
            if (lead >= 0xA0 && lead < 0xE0) {
                return 1;
            }
            [[fallthrough]];
        case ByteForm::DoubleByte:
            return lead > 0x80 && at + 1 < end && static_cast<unsigned char>(at[1]) >= 0x30 ? 2 : 1;
        case ByteForm::SingleByte:
            break;
    }
    return 1;
}

// Columns of double-byte sets are as wide as their bytes, all others as their characters.
std::size_t RowSplitter::BytesOfWidth(const char* from, const char* end, std::size_t width) const {
    const auto there = static_cast<std::size_t>(end - from);
    if (rules_.bytes != ByteForm::Utf8) {
        return std::min(width, there);
    }
    std::size_t bytes = 0;
    for (; width > 0 && bytes < there; --width) {
        bytes += CharacterBytes(from + bytes, end);
    }
    return bytes;
}

}  // namespace vantry::text

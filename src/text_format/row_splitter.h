#pragma once
// Finds rows and fields in a piece of a text file. Knows bytes only: what a field means, and in
// which character set, is others' business. The window must begin at the start of a row and must be
// readable for kWindowPadding bytes behind its end.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text {

inline constexpr std::size_t kWindowPadding = 64;

// How characters are made of bytes.
enum class ByteForm : std::uint8_t {
    SingleByte,
    Utf8,
    DoubleByte,  // a lead byte of 0x81 or above; the byte behind it may look like ASCII
    ShiftJis,    // the same, but 0xA1 .. 0xDF stand alone
};

struct SplitRules {
    enum class Layout : std::uint8_t {
        Delimited,
        RaggedEdge,      // fixed columns; a row ends at a line break, perhaps early
        TrueFixedLength  // fixed columns; a row is as long as its columns
    };
    Layout layout = Layout::Delimited;
    std::string delimiter = ",";        // bytes of one character
    std::string qualifier = "\"";       // the same; empty: there is none
    std::vector<std::uint32_t> widths;  // characters a column; fixed layouts only
    ByteForm bytes = ByteForm::Utf8;
};

// One field, as offsets from the window's beginning: without the qualifiers that it begins and ends
// with. Characters may follow the closing one ("Ada" Ltd): then it stands within the span.
class FieldSpan {
public:
    FieldSpan() = default;
    FieldSpan(std::size_t begin, std::size_t end)
        : begin_(static_cast<std::uint32_t>(begin)), end_(static_cast<std::uint32_t>(end)) {}
    static FieldSpan Qualified(std::size_t begin, std::size_t end, bool doubled, bool tail) {
        FieldSpan span(begin, end);
        span.begin_ |= kFlag;
        span.end_ |= (doubled ? kFlag : 0) | (tail ? kTail : 0);
        return span;
    }
    std::size_t Begin() const { return begin_ & ~kFlag; }
    std::size_t End() const { return end_ & ~(kFlag | kTail); }
    bool IsQualified() const { return (begin_ & kFlag) != 0; }
    // Whether there are qualifiers in the span that are no part of the value: doubled ones, or the
    // closing one.
    bool HasQualifiers() const { return (end_ & (kFlag | kTail)) != 0; }
    // Whether characters follow the closing one.
    bool HasTail() const { return (end_ & kTail) != 0; }

private:
    static constexpr std::uint32_t kFlag = 0x8000'0000U;  // windows are far smaller
    static constexpr std::uint32_t kTail = 0x4000'0000U;
    std::uint32_t begin_ = 0;
    std::uint32_t end_ = 0;
};

struct RowSpan {
    std::uint32_t begin = 0;
    std::uint32_t first_field = 0;  // index into RowBatch::fields
    std::uint32_t field_count = 0;  // all of the row, also those that weren't stored
    bool plain = false;             // surely ASCII without NUL; otherwise nothing is known
    bool surplus = false;           // a field that wasn't stored has more than blanks
    bool unclosed = false;          // its last field ends with the file, not with its qualifier
    bool IsOdd() const { return surplus || unclosed; }
};

// One row of a batch whose window begins at `text`.
struct SplitRow {
    const char* text = nullptr;
    const RowSpan* span = nullptr;
    const FieldSpan* fields = nullptr;

    // Those that weren't stored included.
    std::size_t FieldCount() const { return span->field_count; }
    // `position` below FieldCount() and the most that are stored.
    FieldSpan Field(std::size_t position) const { return fields[position]; }
    std::string_view Bytes(FieldSpan field) const {
        return {text + field.Begin(), field.End() - field.Begin()};
    }
    // Surely ASCII without NUL.
    bool IsPlain() const { return span->plain; }
    // Whether fields that weren't stored have values, or the last field's qualifier isn't closed.
    bool IsOdd() const { return span->IsOdd(); }
    bool IsOpen() const { return span->unclosed; }
};

// The rows of one call. At most `max_fields` fields of each row are stored.
struct RowBatch {
    std::vector<RowSpan> rows;
    std::vector<FieldSpan> fields;
    std::size_t field_count = 0;  // of `fields`, which only grows
    std::size_t open_field = 0;   // where the field begins that isn't closed; its row is the last

    SplitRow Row(std::size_t row, const char* text) const {
        return {text, &rows[row], fields.data() + rows[row].first_field};
    }
};

class RowSplitter {
public:
    RowSplitter(SplitRules rules, std::size_t max_fields);

    // Finds the rows that are whole in the window, at most some `batch_bytes` of them but at least
    // one if there is one. With `final` the window ends where the file ends, and what stands there
    // without a line break is a row, too. Empty lines are no rows. Returns the bytes that are done
    // with; what is left over is to stand at the beginning of the next window.
    std::size_t Split(const char* window,
                      std::size_t size,
                      bool final,
                      std::size_t batch_bytes,
                      RowBatch& batch) const;

    const SplitRules& Rules() const { return rules_; }
    // Whether some byte of a character may look like a delimiter, a qualifier, or half of one.
    bool IsCareful() const { return careful_; }

private:
    struct Window {
        const char* data;
        std::size_t size;
        bool final;
        std::size_t limit;  // no row is begun at or behind this offset
    };
    std::size_t SplitFields(const Window& window, RowBatch& batch) const;
    std::size_t SplitCarefully(const Window& window, RowBatch& batch) const;
    std::size_t SplitLines(const Window& window, RowBatch& batch) const;
    std::size_t SplitRecords(const Window& window, RowBatch& batch) const;
    void CutColumns(const Window& window,
                    std::size_t begin,
                    std::size_t end,
                    bool plain,
                    RowBatch& batch) const;
    std::size_t CharacterBytes(const char* at, const char* end) const;
    std::size_t BytesOfWidth(const char* from, const char* end, std::size_t width) const;

    SplitRules rules_;
    std::size_t max_fields_;
    std::size_t record_width_ = 0;
    bool careful_ = false;  // delimiter, qualifier or character set need the byte-by-byte way
};

}  // namespace vantry::text

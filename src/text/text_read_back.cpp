// A piece of the file at a time is split into rows, and a field's cell looks into the piece. A
// large file is read in parts, whose beginnings are guessed: behind a line's end from where on the
// rows have all their fields. A guess within a text of several lines shows at the end of the part
// before it, whose last text then isn't closed. Easy to get wrong: the last row of a piece may be
// half of one, and goes to the beginning of the next.

#include "text/text_read_back.h"

#include "data/code_page.h"
#include "text_format/errors.h"
#include "text_format/format.h"
#include "text_format/row_splitter.h"
#include "text_format/text_file.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

namespace vantry {
namespace {

// Piece and places of its fields stay in the processor's cache.
constexpr std::size_t kPiece = std::size_t{64} << 10;
constexpr std::int64_t kSmallestPart = std::int64_t{1} << 20;
constexpr int kUtf8Page = 65001;

text::SplitRules RulesOf(std::span<const text::LineColumn> columns, bool delimited) {
    text::SplitRules rules;
    rules.delimiter = TextDestDelim;
    rules.qualifier = TextDestQual;
    if (!delimited) {
        rules.layout = text::SplitRules::Layout::RaggedEdge;
        rules.qualifier.clear();
        for (const auto& column : columns) {
            rules.widths.push_back(static_cast<std::uint32_t>(text::WrittenWidth(column)));
        }
    }
    if (LocaleCodePage() != kUtf8Page) {
        rules.bytes = text::ByteForm::SingleByte;
    }
    return rules;
}

DataError LineWithoutEnd(const std::string& path) {
    return {kErrUnspecified,
            "The file \"" + path +
                "\" has a row of more than 256 MB: a text in it lacks the qualifier at its end."};
}

// What all parts of a file share.
struct Written {
    std::shared_ptr<text::TextFile> file;
    text::SplitRules rules;
    std::size_t columns = 0;
};

class TextRows final : public TargetRows {
public:
    TextRows(Written written, std::int64_t begin, std::int64_t end)
        : written_(std::move(written)),
          splitter_(written_.rules, written_.columns),
          begin_(begin),
          end_(end),
          read_(begin),
          row_(written_.columns),
          texts_(written_.columns) {
        if (LocaleCodePage() != kUtf8Page) {
            code_page_.emplace(LocaleCodePage());
        }
    }

    std::vector<int> Types() const override { return std::vector<int>(row_.size(), adEmpty); }
    bool Next() override {
        while (next_ == batch_.rows.size()) {
            if (!Refill()) {
                return false;
            }
        }
        const auto& row = batch_.rows[next_++];
        const std::size_t stored = std::min<std::size_t>(row.field_count, row_.size());
        for (std::size_t k = 0; k < stored; ++k) {
            row_[k] = CellOf(batch_.fields[row.first_field + k], texts_[k]);
        }
        std::fill(row_.begin() + static_cast<std::ptrdiff_t>(stored), row_.end(), Cell::Null());
        return true;
    }
    std::span<const Cell> Row() const override { return row_; }
    std::vector<std::unique_ptr<TargetRows>> Parts(std::size_t most) const override;
    bool EndsWithRow() const override { return ends_with_row_; }

private:
    std::int64_t PlaceOfRow() const { return read_ - static_cast<std::int64_t>(held_ - Begun()); }
    std::size_t Begun() const {
        return next_ < batch_.rows.size() ? batch_.rows[next_].begin : done_;
    }
    std::int64_t RowBehind(std::int64_t place) const;
    bool IsWhole(const text::RowBatch& batch) const;

    bool Refill() {
        for (;;) {
            if (read_ >= end_ && done_ == held_ && read_ > begin_) {
                return false;
            }
            // The cells of the last row point into the piece: the caller is done with them by now.
            held_ -= done_;
            if (done_ > 0) {
                std::memmove(piece_.get(), piece_.get() + done_, held_);
            }
            ReadMore();
            const bool final = read_ >= end_;
            done_ = splitter_.Split(piece_.get(), held_, final, held_, batch_);
            next_ = 0;
            if (held_ - done_ > text::kMaxRowBytes) {
                throw LineWithoutEnd(written_.file->Path());
            }
            if (!batch_.rows.empty()) {
                ends_with_row_ = !batch_.rows.back().unclosed;
                return true;
            }
            if (final) {
                return false;
            }
        }
    }

    // As much as a row that is longer than a piece has by now, or it would be copied too often.
    void ReadMore() {
        const std::size_t room = std::max(held_, kPiece);
        if (capacity_ < held_ + room) {
            auto larger =
                std::make_unique_for_overwrite<char[]>(held_ + room + text::kWindowPadding);
            if (held_ > 0) {
                std::memcpy(larger.get(), piece_.get(), held_);
            }
            piece_ = std::move(larger);
            capacity_ = held_ + room;
        }
        const auto wanted = static_cast<std::size_t>(
            std::min<std::int64_t>(static_cast<std::int64_t>(room), end_ - read_));
        if (wanted > 0) {
            const auto got = written_.file->Read(read_, piece_.get() + held_, wanted);
            if (got == 0) {
                throw text::ChangedWhileRead(written_.file->Path());  // it ended before its end
            }
            held_ += got;
            read_ += static_cast<std::int64_t>(got);
        }
        std::memset(piece_.get() + held_, 0, text::kWindowPadding);
    }

    Cell CellOf(const text::FieldSpan& field, std::string& text) {
        const std::string_view bytes(piece_.get() + field.Begin(), field.End() - field.Begin());
        if (bytes.empty()) {
            // As the driver would read it: an empty field is a null, an empty text stands between
            // qualifiers.
            return field.IsQualified() ? Cell::Text({}) : Cell::Null();
        }
        if (!code_page_ && !field.HasQualifiers()) {
            return Cell::Text(bytes);
        }
        text.clear();
        if (code_page_) {
            code_page_->AppendUtf8(bytes, text);
        } else {
            text = bytes;
        }
        if (field.HasQualifiers()) {
            TakeQualifiersOut(text);
        }
        return Cell::Text(text);
    }

    // Of two, one stays; one alone closes the value, and what follows belongs to it, too.
    void TakeQualifiersOut(std::string& text) const {
        const std::string& qualifier = written_.rules.qualifier;
        std::size_t to = 0;
        for (std::size_t from = 0; from < text.size();) {
            if (text.compare(from, qualifier.size(), qualifier) == 0) {
                from += qualifier.size();
                if (text.compare(from, qualifier.size(), qualifier) != 0) {
                    continue;
                }
            }
            text[to++] = text[from++];
        }
        text.resize(to);
    }

    Written written_;
    text::RowSplitter splitter_;
    std::int64_t begin_;  // in the file
    std::int64_t end_;
    std::int64_t read_;  // so far
    std::optional<CodePage> code_page_;
    std::unique_ptr<char[]> piece_;
    std::size_t capacity_ = 0;
    std::size_t held_ = 0;  // bytes in the piece
    std::size_t done_ = 0;  // of them, those that the batch's rows have
    text::RowBatch batch_;
    std::size_t next_ = 0;
    bool ends_with_row_ = true;
    std::vector<Cell> row_;
    std::vector<std::string> texts_;
};

std::vector<std::unique_ptr<TargetRows>> TextRows::Parts(std::size_t most) const {
    std::vector<std::unique_ptr<TargetRows>> parts;
    std::int64_t from = PlaceOfRow();
    const auto count =
        std::min<std::int64_t>(static_cast<std::int64_t>(most), (end_ - from) / kSmallestPart);
    const std::int64_t size = (end_ - from) / std::max<std::int64_t>(count, 1);
    for (std::int64_t k = 1; k < count; ++k) {
        const auto to = RowBehind(end_ - (count - k) * size);
        if (to > from) {
            parts.push_back(std::make_unique<TextRows>(written_, from, to));
            from = to;
        }
    }
    parts.push_back(std::make_unique<TextRows>(written_, from, end_));
    return parts;
}

// Where a row seems to begin behind this place; 0: not near it.
std::int64_t TextRows::RowBehind(std::int64_t place) const {
    constexpr int kTries = 64;
    std::vector<char> window(kPiece + text::kWindowPadding);
    const auto got = written_.file->Read(place, window.data(), kPiece);
    std::fill(window.begin() + static_cast<std::ptrdiff_t>(got), window.end(), '\0');
    text::RowBatch batch;
    const char* at = window.data();
    for (int k = 0; k < kTries; ++k) {
        const auto left = got - static_cast<std::size_t>(at - window.data());
        at = static_cast<const char*>(std::memchr(at, '\n', left));
        if (at == nullptr) {
            break;
        }
        const auto begin = static_cast<std::size_t>(++at - window.data());
        splitter_.Split(at, got - begin, false, got - begin, batch);
        if (IsWhole(batch)) {
            return place + static_cast<std::int64_t>(begin);
        }
    }
    return 0;
}

bool TextRows::IsWhole(const text::RowBatch& batch) const {
    const bool any_count = written_.rules.layout != text::SplitRules::Layout::Delimited;
    return !batch.rows.empty() &&
           std::all_of(batch.rows.begin(), batch.rows.end(), [&](const text::RowSpan& row) {
               return any_count || row.field_count == row_.size();
           });
}

}  // namespace

std::unique_ptr<TargetRows> ReadTextBack(const std::string& path,
                                         std::span<const text::LineColumn> columns,
                                         bool delimited,
                                         bool has_heading) {
    auto file = text::TextFile::Open(path);
    const auto size = file->Size();
    auto rows = std::make_unique<TextRows>(
        Written{std::move(file), RulesOf(columns, delimited), columns.size()}, 0, size);
    if (has_heading) {
        rows->Next();
    }
    return rows;
}

}  // namespace vantry

// A window of the file at a time is split into rows, and a field's cell looks into the window. Easy
// to get wrong: the last row of a window may be half of one, and goes to the beginning of the next.

#include "text/text_read_back.h"

#include "data/code_page.h"
#include "text_format/row_splitter.h"
#include "text_format/text_file.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

namespace vantry {
namespace {

constexpr std::size_t kWindow = 256 * 1024;
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

class TextRows final : public TargetRows {
public:
    TextRows(const std::string& path,
             std::span<const text::LineColumn> columns,
             bool delimited,
             bool has_heading)
        : file_(text::TextFile::Open(path)),
          count_(columns.size()),
          splitter_(RulesOf(columns, delimited), columns.size()),
          qualifier_(splitter_.Rules().qualifier),
          row_(columns.size()),
          texts_(columns.size()) {
        if (LocaleCodePage() != kUtf8Page) {
            code_page_.emplace(LocaleCodePage());
        }
        if (has_heading) {
            Next();
        }
    }

    std::vector<int> Types() const override { return std::vector<int>(count_, adEmpty); }
    bool Next() override {
        while (next_ == batch_.rows.size()) {
            if (!Refill()) {
                return false;
            }
        }
        const auto& row = batch_.rows[next_++];
        const std::size_t stored = std::min<std::size_t>(row.field_count, count_);
        for (std::size_t k = 0; k < count_; ++k) {
            row_[k] =
                k < stored ? CellOf(batch_.fields[row.first_field + k], texts_[k]) : Cell::Null();
        }
        return true;
    }
    std::span<const Cell> Row() const override { return row_; }

private:
    bool Refill() {
        if (done_ > 0) {
            // The cells of the last row point into the window: the caller is done with them by now.
            std::memmove(window_.data(), window_.data() + done_, held_ - done_);
        }
        held_ -= done_;
        done_ = 0;
        next_ = 0;
        batch_ = {};
        for (;;) {
            const bool whole = read_ >= file_->Size();
            if (!whole) {
                window_.resize(std::max(held_ + kWindow, window_.size()) + text::kWindowPadding);
                const auto got = file_->Read(read_, window_.data() + held_, kWindow);
                held_ += got;
                read_ += static_cast<std::int64_t>(got);
            }
            window_.resize(std::max(window_.size(), held_ + text::kWindowPadding));
            done_ = splitter_.Split(window_.data(), held_, read_ >= file_->Size(), held_, batch_);
            if (!batch_.rows.empty()) {
                return true;
            }
            if (whole) {
                return false;
            }
        }
    }

    Cell CellOf(const text::FieldSpan& field, std::string& text) {
        const std::string_view bytes(window_.data() + field.Begin(), field.End() - field.Begin());
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
        std::size_t to = 0;
        for (std::size_t from = 0; from < text.size();) {
            if (text.compare(from, qualifier_.size(), qualifier_) == 0) {
                from += qualifier_.size();
                if (text.compare(from, qualifier_.size(), qualifier_) != 0) {
                    continue;
                }
            }
            text[to++] = text[from++];
        }
        text.resize(to);
    }

    std::shared_ptr<text::TextFile> file_;
    std::size_t count_;
    text::RowSplitter splitter_;
    std::string qualifier_;
    std::optional<CodePage> code_page_;
    std::vector<char> window_;
    std::size_t held_ = 0;
    std::size_t done_ = 0;
    std::int64_t read_ = 0;
    text::RowBatch batch_;
    std::size_t next_ = 0;
    std::vector<Cell> row_;
    std::vector<std::string> texts_;
};

}  // namespace

std::unique_ptr<TargetRows> ReadTextBack(const std::string& path,
                                         std::span<const text::LineColumn> columns,
                                         bool delimited,
                                         bool has_heading) {
    return std::make_unique<TextRows>(path, columns, delimited, has_heading);
}

}  // namespace vantry

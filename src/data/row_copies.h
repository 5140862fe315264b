#pragma once
// Rows that stay good when their source moves on: their cells one behind the other, texts and bytes
// in one piece of memory that is used again and again.

#include "data/value.h"

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace vantry {

class RowCopies {
public:
    void Add(std::span<const Cell> row) {
        for (const auto& cell : row) {
            kept_.push_back({cell, bytes_.size()});
            if (cell.IsView()) {
                bytes_.append(cell.AsText());
            }
        }
        ends_.push_back(kept_.size());
    }
    std::size_t Count() const { return ends_.size(); }
    bool IsEmpty() const { return ends_.empty(); }
    // Good until the next call of any of these.
    std::span<const Cell> Row(std::size_t k) {
        shown_.clear();
        for (std::size_t i = k == 0 ? 0 : ends_[k - 1]; i < ends_[k]; ++i) {
            shown_.push_back(Shown(kept_[i]));
        }
        return shown_;
    }
    void DropFirst(std::size_t rows) {
        const std::size_t cells = rows == 0 ? 0 : ends_[rows - 1];
        const std::size_t bytes = cells < kept_.size() ? kept_[cells].begin : bytes_.size();
        kept_.erase(kept_.begin(), kept_.begin() + static_cast<std::ptrdiff_t>(cells));
        ends_.erase(ends_.begin(), ends_.begin() + static_cast<std::ptrdiff_t>(rows));
        bytes_.erase(0, bytes);
        for (auto& kept : kept_) {
            kept.begin -= bytes;
        }
        for (auto& end : ends_) {
            end -= cells;
        }
    }
    void DropLast() {
        ends_.pop_back();
        kept_.resize(ends_.empty() ? 0 : ends_.back());
    }
    void Clear() {
        kept_.clear();
        bytes_.clear();
        ends_.clear();
    }

private:
    struct Kept {
        Cell cell;
        std::size_t begin;  // of its bytes
    };
    Cell Shown(const Kept& kept) const {
        const Cell& cell = kept.cell;
        if (!cell.IsView()) {
            return cell;
        }
        const std::string_view bytes(bytes_.data() + kept.begin, cell.AsText().size());
        return cell.Kind() == ValueKind::Text ? Cell::Text(bytes)
               : cell.Kind() == ValueKind::NumberText
                   ? Cell::NumberText(bytes)
                   : Cell::Bytes(std::as_bytes(std::span(bytes)));
    }

    std::vector<Kept> kept_;
    std::string bytes_;
    std::vector<std::size_t> ends_;  // of each row, in kept_
    std::vector<Cell> shown_;
};

}  // namespace vantry

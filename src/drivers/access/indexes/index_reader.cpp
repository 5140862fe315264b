// Reading a tree of keys: down from the root by the greatest key of each child, then along the
// leaves. A page gives its entries by a mask of the bytes at which they end, and all but the first
// lack the prefix that they share, so that a page is taken apart as a whole. Easy to get wrong: row
// numbers are big-endian here and nowhere else, and nodes of other programs' files may be empty but
// for a tail.

#include "drivers/access/indexes/index_reader.h"

#include "drivers/access/errors.h"

#include <bit>

namespace vantry::access {

ByteSpan IndexPage::Key(std::size_t entry) const {
    return ByteSpan(keys_).subspan(entries_[entry].offset, entries_[entry].length);
}

int IndexPage::Compare(ByteSpan left, RowPointer left_row, ByteSpan right, RowPointer right_row) {
    const std::size_t common = std::min(left.size(), right.size());
    if (common > 0) {
        if (const int order = std::memcmp(left.data(), right.data(), common); order != 0) {
            return order;
        }
    }
    // Keys of texts and binaries are of many lengths; a prefix comes first, as in the engine's
    // order.
    if (left.size() != right.size()) {
        return left.size() < right.size() ? -1 : 1;
    }
    if (left_row == right_row) {
        return 0;
    }
    return left_row < right_row ? -1 : 1;
}

void IndexPage::Parse(const Layout& layout, ByteSpan page) {
    const auto& index = layout.index;
    leaf_ = LoadU8(page, kPageTypeOffset) == static_cast<std::uint8_t>(PageType::IndexLeaf);
    free_ = LoadU16(page, kPageFreeOffset);
    owner_ = LoadU32(page, kPageOwnerOffset);
    previous_ = LoadU32(page, index.previous_offset);
    next_ = LoadU32(page, index.next_offset);
    tail_ = LoadU32(page, index.tail_offset);
    prefix_ = LoadU16(page, index.prefix_offset);
    entries_.clear();
    keys_.clear();
    const auto mask = Slice(page, index.mask_offset, index.mask_size);
    const auto area = page.subspan(index.entries_offset);
    const std::size_t tail = leaf_ ? kLeafEntryTail : kNodeEntryTail;
    std::size_t start = 0;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        // Each bit is the end of one entry and the start of the next.
        for (auto bits = static_cast<unsigned>(mask[i]); bits != 0; bits &= bits - 1) {
            const std::size_t end = i * 8 + static_cast<std::size_t>(std::countr_zero(bits));
            AddEntry(Slice(area, start, end - start), tail);
            start = end;
        }
    }
    used_ = start;
}

void IndexPage::AddEntry(ByteSpan bytes, std::size_t tail) {
    const std::size_t offset = keys_.size();
    if (!entries_.empty() && prefix_ > 0) {
        // The first entry is whole; its trailing page and row number may be part of the prefix.
        const auto& first = entries_.front();
        const std::size_t whole = first.length + tail;
        if (prefix_ > whole) {
            throw BoundsError();
        }
        keys_.resize(offset + prefix_);
        std::memcpy(keys_.data() + offset, keys_.data() + first.offset, prefix_);
    }
    keys_.insert(keys_.end(), bytes.begin(), bytes.end());
    const std::size_t length = keys_.size() - offset;
    if (length < tail) {
        throw BoundsError();
    }
    const auto entry = ByteSpan(keys_).subspan(offset, length);
    const std::size_t row_at = length - tail;
    entries_.push_back({offset,
                        row_at,
                        {LoadBigU24(entry, row_at), LoadU8(entry, row_at + 3)},
                        leaf_ ? 0 : LoadBigU32(entry, row_at + kLeafEntryTail)});
}

void IndexReader::Load(PageNumber page) {
    const auto bytes = pages_.Page(page);
    const auto type = static_cast<PageType>(bytes[kPageTypeOffset]);
    if (type != PageType::IndexLeaf && type != PageType::IndexNode) {
        throw DamagedPage(source_->Name(), page, "it isn't an index page");
    }
    WithPage(source_->Name(), page, "its index entries run outside", [&] {
        page_.Parse(source_->GetLayout(), bytes);
    });
    // A page that was freed and taken by another table still looks like an index page.
    if (page_.Owner() != def_->page) {
        throw DamagedPage(source_->Name(), page, "it is an index page of another table");
    }
    page_number_ = page;
}

void IndexReader::Seek(ByteSpan key) {
    PageNumber page = index_->root;
    for (int depth = 0;; ++depth) {
        if (depth > kMaxIndexDepth) {
            throw DamagedPage(source_->Name(), index_->root, "its index has no leaves");
        }
        Load(page);
        std::size_t entry = 0;
        while (entry < page_.Size() && IndexPage::Compare(page_.Key(entry), {}, key, {}) < 0) {
            ++entry;
        }
        if (page_.IsLeaf()) {
            next_entry_ = entry;
            break;
        }
        if (entry < page_.Size()) {
            page = page_.Child(entry);
        } else if (page_.Tail() != 0) {
            page = page_.Tail();
        } else if (page_.Size() > 0) {
            // Without a tail, the last child is the one that holds the greatest keys.
            page = page_.Child(page_.Size() - 1);
        } else {
            throw DamagedPage(source_->Name(), page, "it is an index node without children");
        }
    }
    steps_ = 0;
}

bool IndexReader::Next() {
    while (next_entry_ >= page_.Size()) {
        if (page_.Next() == 0) {
            return false;
        }
        // More leaves than pages: a damaged link leads back.
        if (++steps_ > source_->PageCount()) {
            throw DamagedPage(source_->Name(), page_number_, "its index leaves go in a circle");
        }
        Load(page_.Next());
        if (!page_.IsLeaf()) {
            throw DamagedPage(source_->Name(), page_number_, "it isn't an index leaf");
        }
        next_entry_ = 0;
    }
    entry_ = next_entry_++;
    return true;
}

}  // namespace vantry::access

// Which pages belong to something: a bitmap in a row for small files, or a row of references to
// pages full of bits for large ones. Easy to get wrong: the map of a row that grows is written anew
// as the other kind, so that a map held in memory is read again whenever the file has changed; and
// page numbers taken from a damaged map must not overflow.

#include "drivers/access/pages/usage_map.h"

#include "drivers/access/errors.h"

#include <bit>

namespace vantry::access {

UsageMap::UsageMap(PageSource& source, RowPointer row)
    : source_(&source), row_(row), pages_(source) {
    Load();
}

void UsageMap::Load() {
    WithPage(source_->Name(), row_.page, "its usage map runs outside", [&] {
        const auto page = pages_.Page(row_.page, PageType::Data);
        const auto bytes = FindRow(source_->GetLayout(), page, row_.row).bytes;
        kind_ = LoadU8(bytes, 0);
        bytes_.assign(bytes.begin(), bytes.end());
    });
    if (kind_ != kInlineMap && kind_ != kReferenceMap) {
        throw DamagedPage(
            source_->Name(), row_.page, "row " + std::to_string(row_.row) + " isn't a usage map");
    }
    version_ = source_->Version();
}

std::optional<std::size_t> UsageMap::NextBit(ByteSpan bitmap, std::size_t from) {
    std::size_t byte = from / 8;
    if (byte >= bitmap.size()) {
        return std::nullopt;
    }
    unsigned bits = static_cast<unsigned>(bitmap[byte]) & (0xFFU << (from % 8));
    while (bits == 0) {
        // Long empty stretches are the rule in the maps of big files.
        while (bitmap.size() - (byte + 1) >= 8) {
            std::uint64_t word;
            std::memcpy(&word, bitmap.data() + byte + 1, sizeof(word));
            if (word != 0) {
                break;
            }
            byte += 8;
        }
        if (++byte >= bitmap.size()) {
            return std::nullopt;
        }
        bits = static_cast<unsigned>(bitmap[byte]);
    }
    return byte * 8 + static_cast<std::size_t>(std::countr_zero(bits));
}

std::optional<PageNumber> UsageMap::Next(PageNumber from) {
    if (version_ != source_->Version()) {
        Load();
    }
    if (kind_ == kInlineMap) {
        // Too short for a single bit: it stands for no page.
        if (bytes_.size() < kInlineMapBitsOffset) {
            return std::nullopt;
        }
        const std::uint64_t start = LoadU32(bytes_, kInlineMapStartOffset);
        const auto bitmap = ByteSpan(bytes_).subspan(kInlineMapBitsOffset);
        const auto bit = NextBit(bitmap, from > start ? static_cast<std::size_t>(from - start) : 0);
        if (!bit || start + *bit > kMaxPageNumber) {
            return std::nullopt;
        }
        return static_cast<PageNumber>(start + *bit);
    }
    const auto& layout = source_->GetLayout().map;
    const auto lists = ByteSpan(bytes_).subspan(kReferenceMapPagesOffset);
    for (std::size_t i = from / layout.bitmap_pages; (i + 1) * 4 <= lists.size(); ++i) {
        const PageNumber page = LoadU32(lists, i * 4);
        // A stretch of the file in which nothing belongs to it.
        if (page == 0) {
            continue;
        }
        const std::uint64_t start = i * layout.bitmap_pages;
        const auto bitmap = pages_.Page(page, PageType::UsageBitmap).subspan(layout.bitmap_offset);
        const auto bit = NextBit(bitmap, from > start ? static_cast<std::size_t>(from - start) : 0);
        if (bit && start + *bit <= kMaxPageNumber) {
            return static_cast<PageNumber>(start + *bit);
        }
    }
    return std::nullopt;
}

std::vector<PageNumber> UsageMap::BitmapPages() const {
    std::vector<PageNumber> pages;
    if (kind_ == kReferenceMap) {
        const auto lists = ByteSpan(bytes_).subspan(kReferenceMapPagesOffset);
        for (std::size_t i = 0; (i + 1) * 4 <= lists.size(); ++i) {
            if (const PageNumber page = LoadU32(lists, i * 4); page != 0) {
                pages.push_back(page);
            }
        }
    }
    return pages;
}

}  // namespace vantry::access

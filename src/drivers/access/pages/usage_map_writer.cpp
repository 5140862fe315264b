// A map is either a window of some 500 pages in its own row or a list of bitmap pages. Adding a
// page outside the window first moves it, if all its pages fit another one, and then makes the row
// a list, for good. Easy to get wrong: the map of free pages means the opposite for what it doesn't
// cover, and a bitmap page of it is itself a page that must be marked as used.

#include "drivers/access/pages/usage_map_writer.h"

#include "drivers/access/errors.h"
#include "drivers/access/pages/data_page.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::string_view kDamage = "its usage map runs outside the page";

void PutBit(std::span<std::byte> bits, std::size_t bit, bool value) {
    const std::byte mask{static_cast<unsigned char>(1U << (bit % 8))};
    bits[bit / 8] = value ? bits[bit / 8] | mask : bits[bit / 8] & ~mask;
}
// The first set bit of [from, limit).
std::optional<std::size_t> FindBit(ByteSpan bits, std::size_t from, std::size_t limit) {
    limit = std::min(limit, bits.size() * 8);
    for (std::size_t bit = from; bit < limit;) {
        const unsigned rest = std::to_integer<unsigned>(bits[bit / 8]) >> (bit % 8);
        if (rest != 0) {
            bit += static_cast<std::size_t>(std::countr_zero(rest));
            return bit < limit ? std::optional(bit) : std::nullopt;
        }
        bit = (bit / 8 + 1) * 8;
    }
    return std::nullopt;
}

}  // namespace

// The row is found anew each time: any change of a page may move the views of others.
ByteSpan UsageMapWriter::LookRow() {
    return WithPage(store_->Name(), row_.page, kDamage, [&] {
        const auto row = FindRow(store_->GetLayout(), store_->Look(row_.page), row_.row);
        Slice(row.bytes, 0, kInlineMapBitsOffset);
        return row.bytes;
    });
}

std::span<std::byte> UsageMapWriter::ChangeRow() {
    const auto page = store_->Change(row_.page);
    const auto row = LookRow();
    return page.subspan(static_cast<std::size_t>(row.data() - page.data()), row.size());
}

void UsageMapWriter::Add(PageNumber page) {
    Set(page, true);
}

void UsageMapWriter::Remove(PageNumber page) {
    Set(page, false);
}

bool UsageMapWriter::Covers(PageNumber page) {
    const auto row = LookRow();
    if (LoadU8(row, 0) == kInlineMap) {
        const PageNumber start = LoadU32(row, kInlineMapStartOffset);
        return page >= start && page - start < (row.size() - kInlineMapBitsOffset) * 8;
    }
    const std::size_t entry = page / store_->GetLayout().map.bitmap_pages;
    return entry < (row.size() - kReferenceMapPagesOffset) / 4 &&
           LoadU32(row, kReferenceMapPagesOffset + 4 * entry) != 0;
}

void UsageMapWriter::Set(PageNumber page, bool value) {
    // What a map says of pages that it doesn't cover needs no change when that is what is wanted.
    const bool uncovered_value = kind_ == Kind::FreePages;
    if (LoadU8(LookRow(), 0) == kInlineMap) {
        const auto row = LookRow();
        const PageNumber start = LoadU32(row, kInlineMapStartOffset);
        if (Covers(page)) {
            PutBit(ChangeRow().subspan(kInlineMapBitsOffset), page - start, value);
            return;
        }
        if (value == uncovered_value || (kind_ == Kind::Pages && MoveWindow(page))) {
            return;
        }
        MakeReference();
    }
    const std::size_t covered = store_->GetLayout().map.bitmap_pages;
    const auto row = LookRow();
    const std::size_t entry = page / covered;
    if (entry >= (row.size() - kReferenceMapPagesOffset) / 4) {
        ThrowFull(page);
    }
    if (LoadU32(row, kReferenceMapPagesOffset + 4 * entry) == 0 && value == uncovered_value &&
        kind_ == Kind::Pages) {
        return;
    }
    const PageNumber bitmap = BitmapFor(page);
    PutBit(store_->Change(bitmap).subspan(store_->GetLayout().map.bitmap_offset),
           page % covered,
           value);
}

// Puts the page into an inline map by giving it another start; false if the span is too wide.
bool UsageMapWriter::MoveWindow(PageNumber page) {
    const auto row = ChangeRow();
    const auto bits = row.subspan(kInlineMapBitsOffset);
    const std::size_t capacity = bits.size() * 8;
    const PageNumber start = LoadU32(row, kInlineMapStartOffset);
    std::vector<PageNumber> pages{page};
    for (auto bit = FindBit(bits, 0, capacity); bit; bit = FindBit(bits, *bit + 1, capacity)) {
        pages.push_back(start + static_cast<PageNumber>(*bit));
    }
    const auto [lowest, highest] = std::minmax_element(pages.begin(), pages.end());
    const PageNumber fresh_start = *lowest & ~PageNumber{7};
    if (*highest - fresh_start >= capacity) {
        return false;
    }
    std::memset(bits.data(), 0, bits.size());
    StoreU32(row, kInlineMapStartOffset, fresh_start);
    for (const PageNumber each : pages) {
        PutBit(bits, each - fresh_start, true);
    }
    return true;
}

// The same row as a list of bitmap pages; its bits go through Set() again.
void UsageMapWriter::MakeReference() {
    auto row = ChangeRow();
    const auto former = std::vector<std::byte>(row.begin(), row.end());
    const PageNumber start = LoadU32(former, kInlineMapStartOffset);
    const auto bits = ByteSpan(former).subspan(kInlineMapBitsOffset);
    std::memset(row.data(), 0, row.size());
    row[0] = std::byte{kReferenceMap};
    const std::size_t capacity = bits.size() * 8;
    for (auto bit = FindBit(bits, 0, capacity); bit; bit = FindBit(bits, *bit + 1, capacity)) {
        const PageNumber page = start + static_cast<PageNumber>(*bit);
        // Free pages behind the end are free by being there.
        if (kind_ == Kind::Pages || page < store_->PageCount()) {
            Set(page, true);
        }
    }
}

// The bitmap page that covers `page`, made if there is none.
PageNumber UsageMapWriter::BitmapFor(PageNumber page) {
    const std::size_t entry = page / store_->GetLayout().map.bitmap_pages;
    const PageNumber known = LoadU32(LookRow(), kReferenceMapPagesOffset + 4 * entry);
    if (known == 0) {
        return NewBitmap(entry);
    }
    const auto bytes = store_->Look(known);
    if (bytes[kPageTypeOffset] != std::byte{static_cast<std::uint8_t>(PageType::UsageBitmap)}) {
        throw DamagedPage(store_->Name(), known, "a usage map refers to it, but it is no bitmap");
    }
    return known;
}

PageNumber UsageMapWriter::NewBitmap(std::size_t entry) {
    const auto& map = store_->GetLayout().map;
    const bool of_free_pages = kind_ == Kind::FreePages;
    const PageNumber number = of_free_pages ? store_->Append() : store_->Allocate();
    const auto bytes = store_->Change(number);
    bytes[kPageTypeOffset] = std::byte{static_cast<std::uint8_t>(PageType::UsageBitmap)};
    bytes[kPageMarkOffset] = std::byte{kPageMark};
    StoreU32(ChangeRow(), kReferenceMapPagesOffset + 4 * entry, number);
    if (of_free_pages) {
        // Pages that no map knew are in use as far as the file goes, and free behind its end.
        const auto bits = bytes.subspan(map.bitmap_offset);
        std::memset(bits.data(), 0xFF, bits.size());
        const auto first = static_cast<PageNumber>(entry * map.bitmap_pages);
        const PageNumber end = store_->PageCount();
        for (PageNumber page = first; page < end && page - first < map.bitmap_pages; ++page) {
            PutBit(bits, page - first, false);
        }
        if (number / map.bitmap_pages != entry) {
            Set(number, false);
        }
    }
    return number;
}

// Pages that a map of free pages doesn't cover are not given here: Allocate() appends instead.
std::optional<PageNumber> UsageMapWriter::Next(PageNumber from, PageNumber limit) {
    const auto row = LookRow();
    if (LoadU8(row, 0) == kInlineMap) {
        const PageNumber start = LoadU32(row, kInlineMapStartOffset);
        if (limit <= start) {
            return std::nullopt;
        }
        const auto bit = FindBit(
            row.subspan(kInlineMapBitsOffset), from > start ? from - start : 0, limit - start);
        return bit ? std::optional(start + static_cast<PageNumber>(*bit)) : std::nullopt;
    }
    const auto& map = store_->GetLayout().map;
    const std::size_t entries = (row.size() - kReferenceMapPagesOffset) / 4;
    for (std::size_t entry = from / map.bitmap_pages; entry < entries; ++entry) {
        const auto first = static_cast<PageNumber>(entry * map.bitmap_pages);
        if (first >= limit) {
            break;
        }
        if (LoadU32(row, kReferenceMapPagesOffset + 4 * entry) == 0) {
            continue;
        }
        const PageNumber bitmap = BitmapFor(first);
        const auto bit = FindBit(store_->Look(bitmap).subspan(map.bitmap_offset),
                                 from > first ? from - first : 0,
                                 limit - first);
        if (bit) {
            return first + static_cast<PageNumber>(*bit);
        }
    }
    return std::nullopt;
}

std::vector<PageNumber> UsageMapWriter::BitmapPages() {
    std::vector<PageNumber> pages;
    const auto row = LookRow();
    if (LoadU8(row, 0) == kReferenceMap) {
        for (std::size_t at = kReferenceMapPagesOffset; at + 4 <= row.size(); at += 4) {
            if (const PageNumber page = LoadU32(row, at); page != 0) {
                pages.push_back(page);
            }
        }
    }
    return pages;
}

void UsageMapWriter::Clear() {
    for (const PageNumber bitmap : BitmapPages()) {
        store_->Free(bitmap);
    }
    const auto row = ChangeRow();
    std::memset(row.data(), 0, row.size());
}

void UsageMapWriter::ThrowFull(PageNumber page) {
    throw DamagedPage(
        store_->Name(), row_.page, "its usage map has no place for page " + std::to_string(page));
}

}  // namespace vantry::access

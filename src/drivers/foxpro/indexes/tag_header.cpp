// The directory is a tree like that of a tag: its keys are the names, and in place of a record it
// has the address of the tag's header. A header that can't be right is told with its tag and stops
// nothing else.

#include "drivers/foxpro/indexes/tag_header.h"

#include "drivers/foxpro/errors.h"
#include "drivers/foxpro/indexes/tree.h"
#include "drivers/foxpro/table/text_coder.h"

#include <algorithm>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr TreeShape kDirectoryShape{kTagNameLength, std::byte{' '}};
constexpr std::size_t kMostTags = 4096;

std::string TextIn(ByteSpan pool, std::size_t place, std::size_t length) {
    const auto text = AsText(file::Slice(pool, place, length));
    return std::string(text.substr(0, text.find('\0')));
}

// Throws BoundsError for texts that lie outside.
void Decode(TagHeader& header) {
    const ByteSpan bytes(header.bytes);
    const auto pool = bytes.subspan(kIndexPage, kPoolSize);
    header.root = file::LoadU32(bytes, kTagRootOffset);
    header.key_length = file::LoadU16(bytes, kKeyLengthOffset);
    header.options = file::LoadU8(bytes, kTagOptionsOffset);
    header.kind = file::LoadU8(bytes, kTagKindOffset);
    header.collation = TextIn(bytes, kCollationOffset, kCollationSize);
    header.descending = file::LoadU16(bytes, kDescendingOffset) == 1;
    header.expression = TextIn(
        pool, file::LoadU16(bytes, kKeyPlaceOffset), file::LoadU16(bytes, kKeyTextLengthOffset));
    header.filter = TextIn(
        pool, file::LoadU16(bytes, kFilterPlaceOffset), file::LoadU16(bytes, kFilterLengthOffset));
}

void ReadHeader(IndexPages& pages, TagHeader& header) {
    try {
        for (std::size_t part = 0; part < kTagHeaderSize; part += kIndexPage) {
            const auto page = pages.Page(static_cast<PageAddress>(header.address + part));
            std::copy(page.begin(), page.end(), header.bytes.begin() + part);
        }
        Decode(header);
    } catch (const DataError&) {
        header.damage = "its header lies outside of the file";
        return;
    } catch (const file::BoundsError&) {
        header.damage = "its expression lies outside of its header";
        return;
    }
    if (header.kind != kKindBitmap &&
        (header.root % kIndexPage != 0 || header.root + kIndexPage > pages.Size())) {
        header.damage = "its root lies outside of the file";
    } else if (header.key_length == 0 || header.key_length > kMaxKeyLength) {
        header.damage =
            "its header speaks of keys of " + std::to_string(header.key_length) + " bytes";
    } else if ((header.options & kTagCompact) == 0 || (header.options & kTagDirectory) != 0) {
        header.damage = "its header has options that no tag has";
    }
}

}  // namespace

std::vector<TagHeader> ReadTagHeaders(IndexPages& pages) {
    if (pages.Size() < kTagHeaderSize + kIndexPage) {
        throw DamagedIndex(pages.Path(), "it is too short to be an index");
    }
    const auto start = pages.Page(0);
    const auto root = file::LoadU32(start, kTagRootOffset);
    if ((file::LoadU8(start, kTagOptionsOffset) & kTagDirectory) == 0 ||
        file::LoadU16(start, kKeyLengthOffset) != kTagNameLength) {
        throw DamagedIndex(pages.Path(), "it doesn't begin with a directory of tags");
    }
    std::vector<TagHeader> headers;
    Tree(pages, kDirectoryShape, root, "directory").Walk([&](ByteSpan key, RecordNumber address) {
        if (headers.size() >= kMostTags) {
            throw DamagedIndex(pages.Path(), "its directory has no end");
        }
        // Only noted: the headers are read when the directory is known to be whole.
        TagHeader header;
        header.name = std::string(AsText(key));
        header.name.resize(header.name.find_last_not_of(' ') + 1);
        header.address = address;
        headers.push_back(std::move(header));
    });
    for (auto& header : headers) {
        ReadHeader(pages, header);
    }
    return headers;
}

void EncodeTagHeader(TagHeader& header) {
    header.bytes.fill(std::byte{0});
    const std::span<std::byte> bytes(header.bytes);
    file::Store(bytes, kKeyLengthOffset, static_cast<std::uint16_t>(header.key_length));
    file::Store(bytes, kTagOptionsOffset, header.options);
    file::Store(bytes, kTagKindOffset, header.kind);
    std::memcpy(bytes.data() + kCollationOffset,
                header.collation.data(),
                std::min(header.collation.size(), kCollationSize));
    file::Store(bytes, kDescendingOffset, std::uint16_t{header.descending});
    // Each text ends with a zero.
    const std::size_t key_length = header.expression.size() + 1;
    file::Store(bytes, kFilterPlaceOffset, static_cast<std::uint16_t>(key_length));
    file::Store(bytes, kFilterLengthOffset, static_cast<std::uint16_t>(header.filter.size() + 1));
    file::Store(bytes, kKeyTextLengthOffset, static_cast<std::uint16_t>(key_length));
    // Both fit: no text has more than kMaxKeyLength letters (AddTags).
    std::memcpy(bytes.data() + kIndexPage, header.expression.data(), header.expression.size());
    std::memcpy(bytes.data() + kIndexPage + key_length, header.filter.data(), header.filter.size());
}

void WriteSkeleton(IndexPages& pages,
                   std::span<TagHeader> headers,
                   std::span<const std::byte> pads) {
    pages.Clear();
    pages.AllocateAtEnd(kTagHeaderSize / kIndexPage);
    const auto directory = pages.AllocateAtEnd(1);
    WriteEmptyRoot(kDirectoryShape, pages.Change(directory));
    std::vector<std::byte> entries;
    for (std::size_t k = 0; k < headers.size(); ++k) {
        auto& header = headers[k];
        header.address = pages.AllocateAtEnd(kTagHeaderSize / kIndexPage);
        header.root = pages.AllocateAtEnd(1);
        const std::span<std::byte> bytes(header.bytes);
        file::Store(bytes, kTagRootOffset, header.root);
        // Everything else of a tag that was there stays, known here or not. These four fields would
        // speak of the former tree.
        std::fill_n(bytes.begin() + kFreePageOffset, 8, std::byte{0});
        std::fill_n(bytes.begin() + kTagStatisticsOffset, kTagStatisticsSize, std::byte{0});
        for (std::size_t part = 0; part < kTagHeaderSize; part += kIndexPage) {
            const auto page = pages.Change(static_cast<PageAddress>(header.address + part));
            std::copy_n(
                bytes.begin() + static_cast<std::ptrdiff_t>(part), kIndexPage, page.begin());
        }
        WriteEmptyRoot({header.key_length, pads[k]}, pages.Change(header.root));

        std::array<std::byte, kTagNameLength + sizeof(PageAddress)> entry{};
        std::fill_n(entry.begin(), kTagNameLength, kDirectoryShape.pad);
        std::memcpy(entry.data(), header.name.data(), std::min(header.name.size(), kTagNameLength));
        file::StoreBigU32(entry, kTagNameLength, header.address);
        entries.insert(entries.end(), entry.begin(), entry.end());
    }
    // The headers are sorted by name, as edits must be.
    Tree tree(pages, kDirectoryShape, directory, "directory");
    EditList edits(entries, {}, kDirectoryShape);
    tree.Apply(edits);
    const auto start = pages.Change(0);
    file::Store(start, kTagRootOffset, tree.Root());
    file::Store(start, kKeyLengthOffset, static_cast<std::uint16_t>(kTagNameLength));
    file::Store(start,
                kTagOptionsOffset,
                static_cast<std::uint8_t>(kTagDirectory | kTagCompact | kTagCompound));
    file::Store(start, kTagKindOffset, kKindMachine);
    // What the original product writes there: the lengths of two empty texts.
    file::Store(start, kFilterPlaceOffset, std::uint16_t{1});
    file::Store(start, kFilterLengthOffset, std::uint16_t{1});
    file::Store(start, kKeyTextLengthOffset, std::uint16_t{1});
}

void StoreRoot(IndexPages& pages, const TagHeader& header, PageAddress root) {
    file::Store(pages.Change(header.address), kTagRootOffset, root);
}

void CountChange(IndexPages& pages) {
    const auto start = pages.Change(0);
    file::Store(start, kChangeCounterOffset, file::LoadU32(start, kChangeCounterOffset) + 1);
}

}  // namespace vantry::foxpro

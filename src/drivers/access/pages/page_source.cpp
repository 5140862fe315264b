// Reading pages from a file or from memory, decoded, with a check that they are there. PageReader
// keeps a few of them for walks that go to and fro; it drops them when the source's version moves,
// which is when their bytes may have changed. Easy to get wrong: a file may be cut while we read,
// so the end is found by reading, not by a size asked before.

#include "drivers/access/pages/page_source.h"

#include "drivers/access/encryption/page_cipher.h"
#include "drivers/access/errors.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vantry::access {
namespace {

std::string_view NameOf(PageType type) {
    switch (type) {
        case PageType::Header:
            return "the file's header";
        case PageType::Data:
            return "a data page";
        case PageType::TableDefinition:
            return "a table definition page";
        case PageType::IndexNode:
            return "an index node";
        case PageType::IndexLeaf:
            return "an index leaf";
        case PageType::UsageBitmap:
            return "a usage bitmap";
    }
    return "a known page";
}

// A rest of less than a page at the end is none: a copy that broke off has one.
PageNumber PagesOf(std::uint64_t bytes, std::size_t page_size) {
    return static_cast<PageNumber>(
        std::min<std::uint64_t>(bytes / page_size, std::uint64_t{kMaxPageNumber} + 1));
}

void Decode(const PageCipher* cipher,
            PageNumber first,
            std::size_t page_size,
            std::span<std::byte> out) {
    if (cipher == nullptr) {
        return;
    }
    for (std::size_t at = 0; at < out.size(); at += page_size) {
        cipher->Decrypt(first + static_cast<PageNumber>(at / page_size),
                        out.subspan(at, page_size));
    }
}

}  // namespace

bool PageSource::TryRead(PageNumber /*first*/,
                         std::span<std::byte> /*out*/,
                         std::uint64_t& /*stamp*/) {
    return false;
}

std::uint64_t PageSource::VersionOf(std::uint64_t /*stamp*/) const {
    return kStale;
}

PageReader::PageReader(PageSource& source, std::size_t slots)
    : source_(&source),
      held_(slots, kNothing),
      buffer_(std::make_unique_for_overwrite<std::byte[]>(slots * source.PageSize())) {}

ByteSpan PageReader::Page(PageNumber page) {
    if (version_ != source_->Version()) {
        held_.assign(held_.size(), kNothing);
        version_ = source_->Version();
    }
    const std::size_t size = source_->PageSize();
    // Each page has one place only, which suits walks that go on from page to page and come back to
    // a few.
    const std::size_t slot = page % held_.size();
    const std::span<std::byte> place(buffer_.get() + slot * size, size);
    if (held_[slot] != page) {
        held_[slot] = kNothing;
        source_->Read(page, place);
        if (version_ != source_->Version()) {
            held_.assign(held_.size(), kNothing);
            version_ = source_->Version();
        }
        held_[slot] = page;
    }
    return place;
}

ByteSpan PageReader::Page(PageNumber page, PageType type) {
    const auto bytes = Page(page);
    if (bytes[kPageTypeOffset] != std::byte{static_cast<std::uint8_t>(type)}) {
        throw DamagedPage(source_->Name(), page, "it isn't " + std::string(NameOf(type)));
    }
    return bytes;
}

// The count is checked against the page before anything is reserved by it.
std::size_t CountSlots(const Layout& layout, ByteSpan page) {
    const std::size_t count = LoadU16(page, layout.data.row_count_offset);
    Slice(page, layout.data.slots_offset, count * kSlotSize);
    return count;
}

// A row reaches from its slot's offset to its neighbour's.
RowSlot FindRow(const Layout& layout, ByteSpan page, RowNumber row) {
    const std::size_t count = CountSlots(layout, page);
    if (row >= count) {
        throw BoundsError();
    }
    const std::size_t at = layout.data.slots_offset + row * kSlotSize;
    const std::uint16_t slot = LoadU16(page, at);
    const std::size_t start = slot & kSlotOffsetMask;
    const std::size_t end =
        row == 0 ? page.size() : LoadU16(page, at - kSlotSize) & kSlotOffsetMask;
    if (start > end || start < layout.data.slots_offset + count * kSlotSize) {
        throw BoundsError();
    }
    return {
        Slice(page, start, end - start), (slot & kSlotDeleted) != 0, (slot & kSlotOverflow) != 0};
}

FilePageSource::FilePageSource(int descriptor, FileHeader header, std::string name)
    : PageSource(std::move(header), std::move(name)), descriptor_(descriptor) {}

FilePageSource::~FilePageSource() {
    ::close(descriptor_);
}

PageNumber FilePageSource::PageCount() {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0) {
        throw CannotRead(Name(), 0, std::generic_category().message(errno));
    }
    return PagesOf(static_cast<std::uint64_t>(status.st_size), PageSize());
}

void FilePageSource::Read(PageNumber first, std::span<std::byte> out) {
    std::size_t filled = 0;
    while (filled < out.size()) {
        const auto offset = static_cast<off_t>(std::uint64_t{first} * PageSize() + filled);
        const auto got = ::pread(descriptor_, out.data() + filled, out.size() - filled, offset);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        // The one that failed, of the run that was asked for.
        const auto page = first + static_cast<PageNumber>(filled / PageSize());
        if (got < 0) {
            throw CannotRead(Name(), page, std::generic_category().message(errno));
        }
        if (got == 0) {
            throw DamagedPage(Name(), page, "which is referred to, lies behind the file's end");
        }
        filled += static_cast<std::size_t>(got);
    }
    Decode(Header().cipher.get(), first, PageSize(), out);
}

MemoryPageSource::MemoryPageSource(ByteSpan bytes, FileHeader header, std::string name)
    : PageSource(std::move(header), std::move(name)), bytes_(bytes) {}

PageNumber MemoryPageSource::PageCount() {
    return PagesOf(bytes_.size(), PageSize());
}

void MemoryPageSource::Read(PageNumber first, std::span<std::byte> out) {
    const std::uint64_t begin = std::uint64_t{first} * PageSize();
    if (begin > bytes_.size() || out.size() > bytes_.size() - begin) {
        throw DamagedPage(Name(), first, "which is referred to, lies behind the file's end");
    }
    std::memcpy(out.data(), bytes_.data() + begin, out.size());
    Decode(Header().cipher.get(), first, PageSize(), out);
}

}  // namespace vantry::access

#pragma once
// Pages of an open database file, plain (decoded where the file is encoded), for reading. What
// stands behind it is a file alone (FilePageSource), bytes in memory (MemoryPageSource), or the
// writer's page cache, whose unwritten changes are seen through the same calls.
//
// A PageSource copies pages into the caller's buffer, so nothing that it does later pulls them
// away. PageReader is that buffer with a little memory: one for each thing that walks through
// pages.

#include "drivers/access/bytes.h"
#include "drivers/access/format.h"
#include "drivers/access/pages/file_header.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace vantry::access {

class PageSource {
public:
    virtual ~PageSource() = default;
    PageSource(const PageSource&) = delete;
    PageSource& operator=(const PageSource&) = delete;

    const FileHeader& Header() const { return header_; }
    const Layout& GetLayout() const { return *header_.layout; }
    std::size_t PageSize() const { return header_.layout->page_size; }
    // For messages: the file's name without its folder.
    const std::string& Name() const { return name_; }
    // Whole pages that are there now, page 0 included; grows with the file.
    virtual PageNumber PageCount() = 0;
    // Fills `out` (a multiple of the page size) with the pages from `first` on. Throws DataError
    // naming file and page when one of them isn't there or can't be read.
    virtual void Read(PageNumber first, std::span<std::byte> out) = 0;

    // The same for a second thread that reads ahead while the source's own thread goes on: false
    // where only the own thread can. `stamp` says of what state of the file the pages are.
    virtual bool TryRead(PageNumber first, std::span<std::byte> out, std::uint64_t& stamp);
    // For the own thread: the Version() of pages with that stamp; kStale if they may have changed.
    static constexpr std::uint64_t kStale = UINT64_MAX;
    virtual std::uint64_t VersionOf(std::uint64_t stamp) const;

    // Changes whenever a page may have changed: copies taken at another version are stale. The
    // number is good after each Read, so a reader that puts several pages together compares it at
    // both ends.
    std::uint64_t Version() const { return version_.load(std::memory_order_relaxed); }

protected:
    PageSource(FileHeader header, std::string name)
        : header_(std::move(header)), name_(std::move(name)) {}
    // Also from the thread that commits a batch in the background.
    void BumpVersion() { version_.fetch_add(1, std::memory_order_relaxed); }

private:
    FileHeader header_;
    std::string name_;
    std::atomic<std::uint64_t> version_ = 0;
};

// A reused buffer of pages over a source.
class PageReader {
public:
    // `slots` single pages are remembered, by page number modulo slots.
    explicit PageReader(PageSource& source, std::size_t slots = 1);

    // Valid until the next call on this reader.
    ByteSpan Page(PageNumber page);
    // The same with a check of the type byte and the mark; throws DataError naming the page.
    ByteSpan Page(PageNumber page, PageType type);
    PageSource& Source() const { return *source_; }

private:
    static constexpr PageNumber kNothing = 0xFFFFFFFF;

    PageSource* source_;
    std::vector<PageNumber> held_;
    std::unique_ptr<std::byte[]> buffer_;
    std::uint64_t version_ = 0;
};

// The bytes of row `row` of a data page, and whether its slot is marked; throws BoundsError.
struct RowSlot {
    ByteSpan bytes;
    bool deleted = false;
    bool overflow = false;
};
RowSlot FindRow(const Layout& layout, ByteSpan page, RowNumber row);
// Number of slots, checked against the page's size.
std::size_t CountSlots(const Layout& layout, ByteSpan page);

// A file that is only read: through pread, so that a file that shrinks is an error and no signal.
class FilePageSource : public PageSource {
public:
    // Takes over `descriptor`.
    FilePageSource(int descriptor, FileHeader header, std::string name);
    ~FilePageSource() override;

    PageNumber PageCount() override;
    void Read(PageNumber first, std::span<std::byte> out) override;

private:
    int descriptor_;
};

// Bytes that the caller owns: for tests and fuzzers.
class MemoryPageSource : public PageSource {
public:
    MemoryPageSource(ByteSpan bytes, FileHeader header, std::string name);

    PageNumber PageCount() override;
    void Read(PageNumber first, std::span<std::byte> out) override;

private:
    ByteSpan bytes_;
};

}  // namespace vantry::access

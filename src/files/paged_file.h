#pragma once
// A database file in pages, with transactions: a transaction's changes stay in memory until it is
// committed, then go through the journal, so that the file holds each transaction whole or not at
// all whatever kills the process. Pages behind the former end may be written earlier: nothing
// refers to them yet.

#include "files/file.h"
#include "files/file_transactions.h"
#include "files/journal.h"

#include <chrono>
#include <functional>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace vantry::file {

struct PagedFileOptions {
    std::uint32_t page_size = 4096;            // 512 to 4096, a power of two
    std::uint64_t max_size = UINT64_MAX;       // of the file, in bytes
    std::size_t cache_pages = 2048;            // changed pages kept before they are written early
    std::chrono::milliseconds batch_age{350};  // of a bulk load's transaction
    // Make a page as it lies in the file plain and back, in place; nothing: pages are plain. decode
    // is called from any thread.
    std::function<void(std::uint32_t page, std::span<std::byte> bytes)> decode;
    std::function<void(std::uint32_t page, std::span<std::byte> bytes)> encode;
};

class PagedFile final : public FileTransactions {
public:
    // Plays back an interrupted transaction first. The path is the file's own, no symbolic link's:
    // the journal lies beside it.
    PagedFile(File file, PagedFileOptions options);
    ~PagedFile() override;

    const std::string& Path() const { return file_.file.Path(); }
    bool Writable() const { return file_.file.Writable(); }
    std::uint32_t PageSize() const { return options_.page_size; }

    // ---- Reading
    // Whole pages; with those of the open transaction.
    std::uint32_t PageCount();
    // Pages from `first` on; `out` is a multiple of the page size. With the changes of the open
    // transaction. Returns the version of what was read.
    std::uint64_t Read(std::uint32_t first, std::span<std::byte> out);
    // The same from a thread other than the connection's, which may go on using it meanwhile; see
    // TryReading.
    bool TryRead(std::uint32_t first, std::span<std::byte> out, std::uint64_t& version);
    // Counts the times when another connection was found to have changed the file.
    std::uint64_t ForeignChanges() const { return foreign_changes_; }

    // ---- Rows, of a bulk load or within a statement; `undo`: whether EndRow(false) can take back
    // this row's changes alone; it always can for the first row of a load's transaction.
    void BeginRow(bool undo);
    void EndRow(bool keep);

    // ---- Inside a transaction
    // The page for changing. The view is good as long as ViewNumber() stays the same.
    std::span<std::byte> Change(std::uint32_t page);
    // The page for looking at, likewise.
    std::span<const std::byte> Look(std::uint32_t page);
    // A new page of zeros behind the last one.
    std::uint32_t Append();
    // An existing page whose former content matters to nobody, as zeros: it isn't journalled.
    std::span<std::byte> Renew(std::uint32_t page);
    // The page is full or otherwise complete: it will hardly be touched again.
    void Finish(std::uint32_t page) { finished_.push_back(page); }
    // No view is in use: pages may be written early and views become stale.
    void SafePoint();
    std::uint64_t ViewNumber() const { return view_; }

private:
    struct Frame {
        std::byte* bytes = nullptr;
        std::uint64_t mark = 0;  // the row that saved an image of it last
        bool changed = false;
    };
    struct Image {
        std::uint32_t page;
        std::unique_ptr<std::byte[]> bytes;
    };
    using Frames = std::unordered_map<std::uint32_t, Frame>;

    std::uint64_t OffsetOf(std::uint32_t page) const {
        return static_cast<std::uint64_t>(page) * options_.page_size;
    }
    std::uint32_t PagesIn(std::uint64_t size) const {
        return static_cast<std::uint32_t>(size / options_.page_size);
    }

    // Whether a change of the page must be taken back after an interruption.
    bool Matters(std::uint32_t page) const {
        return page < base_pages_ && !renewed_.contains(page);
    }

    bool JournalIsThere() const override;
    void PlayBackJournals(File& first) override;
    void StartTransaction() override;
    void WriteEverything() override;
    void TakeBack() override;
    void ForgetTransaction() override;
    void WriteEarly(std::vector<std::uint32_t> pages);
    void WritePages(std::vector<std::uint32_t>& pages);
    void JournalPages(std::span<const std::uint32_t> pages);
    void OpenJournal();
    void UndoRow();
    void ReadFromDisk(std::uint32_t first, std::span<std::byte> out);
    Frame& Load(std::uint32_t page, bool read);
    std::byte* TakeBuffer();
    void EvictUnchanged();

    WrittenFile file_;
    PagedFileOptions options_;

    std::uint64_t view_ = 0;
    std::uint32_t base_pages_ = 0;  // in the file before the transaction
    std::uint32_t page_count_ = 0;  // with those appended
    std::uint64_t reserved_ = 0;    // size that the file has been given in advance
    Frames frames_;
    std::vector<std::uint32_t> finished_;
    std::size_t changed_existing_ = 0;
    std::unordered_set<std::uint32_t> journaled_;
    std::unordered_set<std::uint32_t> renewed_;
    std::unique_ptr<Journal> journal_;

    bool undo_ = false;
    bool half_row_ = false;  // couldn't be taken back: the transaction mustn't be committed
    std::uint64_t mark_ = 0;
    std::uint32_t pages_at_mark_ = 0;
    std::vector<Image> images_;

    std::vector<std::unique_ptr<std::byte[]>> chunks_;
    std::vector<std::byte*> free_buffers_;
    std::vector<std::byte> encoded_;
};

}  // namespace vantry::file

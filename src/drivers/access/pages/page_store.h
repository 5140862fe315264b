#pragma once
// The pages of a database file for reading and writing: transactions and page memory of the file
// layer, and the free pages of the file. Reading through it sees the open transaction's changes.

#include "drivers/access/pages/page_source.h"
#include "files/paged_file.h"

#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace vantry::access {

class UsageMapWriter;

// What gathers numbers in memory and writes them into pages once a transaction.
class CommitListener {
public:
    virtual ~CommitListener() = default;
    virtual void BeforeCommit() = 0;
};

class PageStore : public PageSource {
public:
    // Opens a file of any version; an interrupted change of it is taken back first. `password` is
    // UTF-8. Throws DataError.
    static std::unique_ptr<PageStore> Open(const std::string& path, std::string_view password = {});
    ~PageStore() override;

    const std::string& Path() const { return file_->Path(); }
    PageNumber PageCount() override;
    void Read(PageNumber first, std::span<std::byte> out) override;
    bool TryRead(PageNumber first, std::span<std::byte> out, std::uint64_t& stamp) override;
    std::uint64_t VersionOf(std::uint64_t stamp) const override;

    // At the start of a statement that reads: rows that connections of this process keep back
    // become visible, and changes by others are noticed. Throws what went wrong in the background.
    void Settle();
    void ExpectManyRows() { file_->ExpectManyRows(); }
    std::uint64_t ForeignChanges() const { return file_->ForeignChanges(); }

    // ---- Transactions; see file::PagedFile
    // Throws, naming the reason, for files that can't be written at all.
    void Begin();
    void Commit();
    void Rollback();
    void BeginRow(bool undo);
    void EndRow(bool keep);
    bool InTransaction() const { return file_->InTransaction(); }
    bool InStatement() const { return file_->InStatement(); }
    std::uint64_t TransactionNumber() const { return file_->TransactionNumber(); }
    // Asks for a call before each commit, until Forget().
    void Remember(CommitListener& listener);
    void Forget(CommitListener& listener);

    // ---- Inside a transaction
    std::span<std::byte> Change(PageNumber page);
    ByteSpan Look(PageNumber page);
    std::uint64_t ViewNumber() const { return file_->ViewNumber(); }
    // A page of zeros: a free one of the file, or one behind its end. The file's map of free pages
    // is kept up.
    PageNumber Allocate();
    // Gives a page back. Its bytes stay until it is used again.
    void Free(PageNumber page);
    void Finish(PageNumber page) { file_->Finish(page); }
    void SafePoint();

private:
    friend class UsageMapWriter;

    PageStore(std::unique_ptr<file::PagedFile> file, FileHeader header, std::string name);
    void RequireWritable();
    // A page behind the end, not marked in the map of free pages.
    PageNumber Append();
    void StartTransaction();
    void CoverEnd();
    UsageMapWriter& FreePages();

    std::unique_ptr<file::PagedFile> file_;
    std::vector<CommitListener*> listeners_;
    std::unique_ptr<UsageMapWriter> free_pages_;
    std::unordered_set<PageNumber> freed_;  // in this transaction: it may have to come back
    PageNumber search_from_ = 0;            // no free page before this one
    std::uint64_t seen_version_ = 0;
};

}  // namespace vantry::access

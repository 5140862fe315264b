#pragma once
// One open table: its .dbf with the memo file and the structural index beside it, as one group of
// files, and what its header said when it was read last.

#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/memo/memo_file.h"
#include "drivers/foxpro/table/header.h"
#include "drivers/foxpro/table/text_coder.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vantry::foxpro {

class TableWriter;

// What a connection string says about tables.
struct TableOptions {
    bool show_deleted = false;
    bool exclusive = false;
    std::optional<int> code_page = {};    // instead of that of the header
    std::size_t tag_memory = kTagMemory;  // see TagSet
};

class TableFile {
public:
    // `path` exists as it is spelled. Throws DataError naming it if it is no table or can't be
    // read. `long_names`: of the container, one for each field that isn't hidden; empty: none.
    // `name`: that by which the table is known beside its file's, if there is one.
    TableFile(const std::string& path,
              const TableOptions& options,
              std::span<const std::string> long_names,
              std::string_view name = {});
    ~TableFile();
    TableFile(const TableFile&) = delete;
    TableFile& operator=(const TableFile&) = delete;

    const std::string& Path() const { return path_; }
    const TableOptions& Options() const { return options_; }
    file::FileGroup& Group() { return *group_; }
    static constexpr file::FileGroup::Member kTable = file::FileGroup::kLeader;

    // Whether the file of that name is still this one, and has an index if it had one.
    bool IsStillThere() const;
    // At the start of a statement: what the header says now. Throws when the table is another one.
    void Refresh();
    // The same without ending an open batch.
    void Reread();
    const TableLayout& Layout() const { return layout_; }
    // Records that the header counts and the file has; with those of the open transaction.
    RecordNumber RecordCount() const { return record_count_; }
    // Records that the header counts and the file doesn't have.
    std::uint32_t MissingRecords() const { return missing_records_; }
    const TextCoder& Coder() const { return *coder_; }

    // The bytes of one record; false if there is none of that number.
    bool ReadRecord(RecordNumber number, std::span<std::byte> out);
    // Null if the table has no memo file.
    MemoFile* Memos() { return memos_.get(); }
    // Whether it has memo fields whose file is missing.
    bool MemosAreMissing() const { return memos_missing_; }
    // Notes that memos are wanted; true once, if they are missing.
    void MissMemos() { memos_missed_ = memos_missing_; }
    bool TakeMissedMemos() { return memos_missed_ && !std::exchange(memos_miss_told_, true); }
    // The path of the memo file that is there or should be.
    const std::string& MemoPath() const { return memo_path_; }

    // Member of the group, nothing if there is no index. `IndexTrouble` says why the table can't
    // be changed for its sake.
    std::optional<file::FileGroup::Member> IndexMember() const { return index_; }
    const std::string& IndexTrouble() const { return index_trouble_; }

    // The writer of this table: one for all who change it through this connection.
    TableWriter& Writer(bool null_by_default);
    // Within a transaction: what the writer has gathered can be read.
    void FlushRecords();

private:
    friend class TableWriter;
    void OpenSidecars();
    void OpenMemos();
    void OpenIndex();
    std::vector<std::byte> ReadHeaderBytes();
    void NoteCount(std::uint32_t counted);
    int ChooseCodePage(bool& guess_utf8) const;

    std::string path_;
    TableOptions options_;
    std::unique_ptr<file::FileGroup> group_;
    file::FileStamp stamp_;
    TableLayout layout_;
    RecordNumber record_count_ = 0;
    std::uint32_t missing_records_ = 0;
    std::uint64_t version_ = 0;
    std::unique_ptr<TextCoder> coder_;
    std::string memo_path_;
    std::unique_ptr<MemoFile> memos_;
    bool memos_missing_ = false;
    bool memos_missed_ = false;
    bool memos_miss_told_ = false;
    std::optional<file::FileGroup::Member> index_;
    std::string index_trouble_;
    std::unique_ptr<TableWriter> writer_;  // lives as long as rows of a batch may be in it
};

}  // namespace vantry::foxpro

#pragma once
// Changes records of one table, inside a transaction of its files. New records are gathered and go
// into the file in large pieces; the count in the header comes last, with the commit.

#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/table/record_reader.h"
#include "drivers/foxpro/write/record_encoder.h"

#include <memory>
#include <vector>

namespace vantry::foxpro {

class TableWriter {
public:
    // Throws DataError if the table can't be changed here, and says why.
    TableWriter(TableFile& table, bool null_by_default);
    TableWriter(const TableWriter&) = delete;
    TableWriter& operator=(const TableWriter&) = delete;

    // A new record in two steps. The first throws what can be wrong with the row, and changes
    // nothing; whatever the second throws, the transaction has to be rolled back.
    // `row`: one cell for each field that is shown.
    void Prepare(std::span<const Cell> row);
    void Add();

    // `fields` are numbers of the layout. False: there is no such record, or it is deleted.
    bool Update(RecordNumber record,
                std::span<const std::size_t> fields,
                std::span<const Cell> values);
    bool Delete(RecordNumber record);
    // Takes all records away for good, and all memos.
    void Clear();

    // Makes the records that were added readable within the transaction.
    void FlushRecords();

private:
    void StartTransaction();
    void BeforeCommit();
    std::span<std::byte> NextRecord();
    void WriteHeader();
    void CheckRoom();
    RecordView ViewOf(ByteSpan bytes, RecordNumber number) const {
        return {&table_->Layout(), bytes, number};
    }

    TableFile* table_;
    std::unique_ptr<TagSet> tags_;  // null if there is no index
    RecordEncoder encoder_;
    std::size_t record_length_;
    std::uint64_t transaction_ = 0;
    std::vector<std::uint32_t> next_values_;    // auto-increment, by field
    std::vector<std::uint32_t> stored_values_;  // as the header has them
    std::vector<std::uint32_t> values_after_;   // when the prepared record is added
    RecordNumber count_ = 0;                    // with the records that are gathered
    RecordNumber written_ = 0;                  // records that the file has
    std::vector<std::byte> gathered_;           // records from written_ + 1 on
    std::size_t gathered_records_ = 0;
    std::vector<std::byte> former_;
    std::vector<std::byte> changed_;
    bool touched_ = false;  // something of this transaction is to be committed
};

}  // namespace vantry::foxpro

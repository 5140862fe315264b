// The order of a new record: everything that can refuse it is asked first; then its memos, the
// record itself, the tags, and with the commit the end mark, the numbers to hand out and the count.
// Whatever is interrupted before leaves the former count, behind which nobody looks. A record that
// changes gets new memos, as others may be reading the former ones.

#include "drivers/foxpro/write/table_writer.h"

#include "data/calendar.h"
#include "data/value_text.h"
#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr std::size_t kGatheredBytes = 128U << 10;
constexpr int kYearsOfHeader = 100;

bool IsWritable(const TableLayout& layout) {
    switch (layout.version) {
        case Version::FoxBase:
        case Version::DBase7:
        case Version::DBase7Memo:
        case Version::ClipperSixMemo:
        case Version::FoxBaseMemo:
            return false;
        default:
            return true;
    }
}

bool CountsYearsFrom1900(Version version) {
    return version == Version::DBase4Memo || version == Version::DBase4SqlTable ||
           version == Version::DBase4SqlSystem || version == Version::DBase4SqlMemo;
}

}  // namespace

TableWriter::TableWriter(TableFile& table, bool null_by_default)
    : table_(&table),
      encoder_(table, null_by_default),
      record_length_(table.Layout().record_length),
      former_(record_length_),
      changed_(record_length_) {
    const auto& layout = table.Layout();
    if (!IsWritable(layout)) {
        throw CannotWrite(table.Path(),
                          "tables of its version are only read. Load into a new table");
    }
    if (table.MissingRecords() != 0) {
        throw RecordsMissing(table.Path(), table.RecordCount(), table.MissingRecords());
    }
    if (!table.IndexTrouble().empty()) {
        throw CannotWrite(table.Path(), table.IndexTrouble());
    }
    if (const auto index = table.IndexMember()) {
        tags_ = std::make_unique<TagSet>(table.Group(), *index, layout, table.Options().tag_memory);
        tags_->RequireMaintainable();
        table.Group().ExpectSlowCommits();
    }
    next_values_.resize(layout.fields.size());
    table.Group().SetBeforeCommit([this] { BeforeCommit(); });
}

// Others may have changed the table since the last transaction, which may have been rolled back.
void TableWriter::StartTransaction() {
    auto& group = table_->Group();
    if (transaction_ == group.TransactionNumber()) {
        return;
    }
    transaction_ = group.TransactionNumber();
    table_->Reread();
    if (table_->MissingRecords() != 0) {
        throw RecordsMissing(table_->Path(), table_->RecordCount(), table_->MissingRecords());
    }
    count_ = written_ = table_->RecordCount();
    gathered_.clear();
    gathered_records_ = 0;
    touched_ = false;
    const auto& layout = table_->Layout();
    for (std::size_t k = 0; k < layout.fields.size(); ++k) {
        // From the file: the layout has the numbers of the time when the table was opened.
        if (layout.fields[k].auto_increment) {
            std::array<std::byte, 4> stored{};
            group.Read(TableFile::kTable,
                       kFixedHeaderSize + k * kDescriptorSize + kFieldNextValueOffset,
                       stored);
            next_values_[k] = file::LoadU32(stored, 0);
        }
    }
    stored_values_ = next_values_;
    if (table_->Memos() != nullptr) {
        table_->Memos()->Discard();
    }
}

// Before the row is written, not when the file has grown past what other programs can address.
void TableWriter::CheckRoom() {
    const auto& layout = table_->Layout();
    // Up to the end of the new record, and the end mark behind it.
    if (layout.OffsetOf(count_ + 2) + 1 > kMaxFileSize) {
        throw TableIsFull(table_->Path(), "a DBF table has at most 2 GB");
    }
    if (count_ >= kMaxRecords) {
        throw TableIsFull(table_->Path(), "it has a thousand million records");
    }
}

// Room for one more behind the gathered ones; it counts when it is added.
std::span<std::byte> TableWriter::NextRecord() {
    const std::size_t needed = (gathered_records_ + 1) * record_length_;
    if (gathered_.size() < needed) {
        gathered_.resize(std::max(needed, std::min(2 * needed, kGatheredBytes + record_length_)));
    }
    return std::span(gathered_).subspan(gathered_records_ * record_length_, record_length_);
}

void TableWriter::Prepare(std::span<const Cell> row) {
    StartTransaction();
    CheckRoom();
    // Taken over by Add: a row that is refused uses up no number.
    values_after_ = next_values_;
    encoder_.EncodeRow(row, values_after_, NextRecord());
    if (tags_) {
        tags_->CheckRow(ViewOf(NextRecord(), count_ + 1), nullptr);
    }
}

void TableWriter::Add() {
    encoder_.AppendMemos(NextRecord());
    next_values_ = values_after_;
    if (tags_) {
        tags_->Insert(ViewOf(NextRecord(), count_ + 1));
    }
    ++gathered_records_;
    ++count_;
    touched_ = true;
    if (gathered_records_ * record_length_ >= kGatheredBytes) {
        FlushRecords();
    }
}

void TableWriter::FlushRecords() {
    // What was gathered for a transaction that was rolled back must not get into another.
    if (gathered_records_ != 0 && transaction_ == table_->Group().TransactionNumber()) {
        table_->Group().Write(TableFile::kTable,
                              table_->Layout().OffsetOf(written_ + 1),
                              ByteSpan(gathered_).first(gathered_records_ * record_length_));
        written_ = count_;
        gathered_records_ = 0;
        // The program's own readers see the rows from here on, before the commit.
        table_->record_count_ = count_;
    }
}

// In place, as the record keeps its number and its length.
bool TableWriter::Update(RecordNumber record,
                         std::span<const std::size_t> fields,
                         std::span<const Cell> values) {
    StartTransaction();
    // The record may be one that is only gathered so far.
    FlushRecords();
    if (!table_->ReadRecord(record, former_) ||
        (former_[0] == kDeletedRecord && !table_->Options().show_deleted)) {
        return false;
    }
    changed_ = former_;
    encoder_.ForgetMemos();
    for (std::size_t k = 0; k < fields.size(); ++k) {
        encoder_.Encode(fields[k], values[k], changed_);
    }
    const auto former = ViewOf(former_, record);
    if (tags_) {
        tags_->CheckRow(ViewOf(changed_, record), &former);
    }
    encoder_.AppendMemos(changed_);
    if (tags_) {
        tags_->Update(former, ViewOf(changed_, record));
    }
    table_->Group().Write(TableFile::kTable, table_->Layout().OffsetOf(record), changed_);
    touched_ = true;
    return true;
}

bool TableWriter::Delete(RecordNumber record) {
    StartTransaction();
    FlushRecords();
    if (!table_->ReadRecord(record, former_) || former_[0] == kDeletedRecord) {
        return false;
    }
    // A deleted record keeps its entries, but for tags that ask for DELETED().
    if (tags_) {
        const auto former = ViewOf(former_, record);
        changed_ = former_;
        changed_[0] = kDeletedRecord;
        tags_->CheckRow(ViewOf(changed_, record), &former);
        tags_->Update(former, ViewOf(changed_, record));
    }
    table_->Group().Write(
        TableFile::kTable, table_->Layout().OffsetOf(record), ByteSpan(&kDeletedRecord, 1));
    touched_ = true;
    return true;
}

// The count alone says how many records there are, and the next free block of the memo file where
// the next one goes: what lies behind is cut off when that is committed.
void TableWriter::Clear() {
    StartTransaction();
    gathered_records_ = 0;
    count_ = written_ = 0;
    table_->record_count_ = 0;
    if (table_->Memos() != nullptr) {
        table_->Memos()->Clear();
    }
    if (tags_) {
        tags_->Rebuild([](const auto&) {});
    }
    touched_ = true;
}

// The count is written last of all, and the date with it.
void TableWriter::BeforeCommit() {
    if (!touched_ || transaction_ != table_->Group().TransactionNumber()) {
        return;
    }
    FlushRecords();
    if (table_->Memos() != nullptr) {
        table_->Memos()->Flush();
    }
    if (tags_) {
        tags_->Flush(WalkOver(*table_));
    }
    WriteHeader();
    touched_ = false;
}

void TableWriter::WriteHeader() {
    auto& group = table_->Group();
    const auto& layout = table_->Layout();
    const std::uint64_t end = layout.OffsetOf(count_ + 1);
    group.Write(TableFile::kTable, end, ByteSpan(&kEndOfTable, 1));
    if (group.SizeOf(TableFile::kTable) > end + 1) {
        group.CutAfterCommit(TableFile::kTable, end + 1);
    }
    for (std::size_t k = 0; k < next_values_.size(); ++k) {
        if (next_values_[k] != stored_values_[k]) {
            group.Write(TableFile::kTable,
                        kFixedHeaderSize + k * kDescriptorSize + kFieldNextValueOffset,
                        std::as_bytes(std::span(&next_values_[k], 1)));
        }
    }
    std::array<std::byte, kHeaderLengthOffset - kUpdateDateOffset> stored{};
    const auto today = CalendarOf(Now().day);
    stored[0] = static_cast<std::byte>(
        CountsYearsFrom1900(layout.version) ? today.year - 1900 : today.year % kYearsOfHeader);
    stored[1] = static_cast<std::byte>(today.month);
    stored[2] = static_cast<std::byte>(today.day);
    file::Store(std::span(stored), kRecordCountOffset - kUpdateDateOffset, count_);
    group.Write(TableFile::kTable, kUpdateDateOffset, stored);
}

}  // namespace vantry::foxpro

// Goes over the table with the readers of the engine for what each record holds, but looks at the
// header's bytes itself: what the writer could have got wrong there must not be read by what it
// shares with the writer.

#include "drivers/foxpro/verify/verify.h"

#include "data/data_error.h"
#include "drivers/foxpro/table/record_decoder.h"
#include "drivers/foxpro/table/record_reader.h"
#include "files/file.h"

#include <algorithm>
#include <map>

namespace vantry::foxpro {
namespace {

class Verifier {
public:
    // Deleted records, too: their memos take blocks and their keys stand in the tags.
    explicit Verifier(const std::string& path)
        : table_(path, {.show_deleted = true}, {}), layout_(table_.Layout()) {}

    std::vector<std::string> Run() {
        CheckHeader();
        CheckEnd();
        CheckRecords();
        CheckMemos();
        CheckTags();
        return std::move(findings_);
    }

private:
    void Find(std::string what) { findings_.push_back(std::move(what)); }

    // Only Visual FoxPro's headers have all of it; older ones leave addresses and junk in these
    // places.
    void CheckHeader() {
        if (!layout_.IsVisual()) {
            return;
        }
        std::vector<std::byte> bytes(layout_.header_length);
        table_.Group().Read(TableFile::kTable, 0, bytes);
        const std::size_t fields = layout_.fields.size();
        const std::size_t end = kFixedHeaderSize + fields * kDescriptorSize;
        if (layout_.header_length != end + 1 + kBackLinkSize || bytes[end] != kHeaderTerminator) {
            Find("the header isn't as long as its fields and the back link need");
        }
        bool memos = false;
        for (std::size_t k = 0; k < fields; ++k) {
            const auto descriptor =
                ByteSpan(bytes).subspan(kFixedHeaderSize + k * kDescriptorSize, kDescriptorSize);
            if (file::LoadU32(descriptor, kFieldPositionOffset) != layout_.fields[k].offset) {
                Find("field " + layout_.fields[k].name + " has another place than the header says");
            }
            memos = memos || layout_.fields[k].IsMemo();
        }
        if (memos != ((layout_.flags & kHasMemo) != 0)) {
            Find("the flag for memos doesn't go with the fields");
        }
        if (memos && table_.Memos() == nullptr) {
            Find("the memo file is missing");
        }
        if (layout_.null_flags && *layout_.null_flags + 1 != fields) {
            Find("the field of null flags isn't the last one");
        }
    }

    // One end mark or none, and nothing behind it.
    void CheckEnd() {
        const std::uint64_t end = layout_.OffsetOf(table_.RecordCount() + 1);
        const std::uint64_t size = table_.Group().SizeOf(TableFile::kTable);
        std::byte mark{};
        if (table_.MissingRecords() != 0) {
            Find("the header counts " + std::to_string(table_.MissingRecords()) +
                 " records more than there are");
        } else if (size > end + 1) {
            Find("there are " + std::to_string(size - end - 1) + " bytes behind the end");
        } else if (size == end + 1 &&
                   (table_.Group().Read(TableFile::kTable, end, {&mark, 1}) != 1 ||
                    mark != kEndOfTable)) {
            Find("the end mark is another byte");
        }
    }

    void CheckRecords() {
        std::vector<std::size_t> fields;
        for (std::size_t k = 0; k < layout_.fields.size(); ++k) {
            fields.push_back(k);
        }
        RecordDecoder decoder(table_, fields);
        std::map<std::size_t, std::int64_t> largest;  // of auto-increment fields
        for (RecordReader reader(table_); reader.Next();) {
            const auto record = reader.View();
            if (record.bytes[0] != kLiveRecord && record.bytes[0] != kDeletedRecord) {
                Find("record " + std::to_string(record.number) + " has no deletion mark");
            }
            decoder.Decode(record.bytes, record.number);
            for (std::size_t k = 0; k < fields.size(); ++k) {
                const auto& cell = decoder.Cells()[k];
                if (cell.Kind() == ValueKind::Unreadable) {
                    Find(decoder.FieldError(k).Description());
                } else if (layout_.fields[k].auto_increment && cell.Kind() == ValueKind::Int64) {
                    largest[k] = std::max(largest[k], cell.AsInt64());
                }
                if (layout_.fields[k].IsMemo()) {
                    NoteMemo(record, layout_.fields[k]);
                }
            }
        }
        for (const auto& [field, value] : largest) {
            if (std::int64_t{layout_.fields[field].next_value} <= value) {
                Find("field " + layout_.fields[field].name + " would hand out a number again");
            }
        }
    }

    // A memo's blocks as far as the format tells its length.
    void NoteMemo(const RecordView& record, const Field& field) {
        auto* const memos = table_.Memos();
        if (memos == nullptr || record.IsNull(field)) {
            return;
        }
        try {
            if (const auto block = MemoBlockIn(record.Bytes(field)); block != 0) {
                // In a dBase III file the text has two end marks behind it in place of a head
                // before it.
                const std::size_t head = memos->Format() == MemoFormat::Dbt3 ? 2 : kFptBlockHeader;
                const auto size = memos->Read(block).size() + head;
                // Several records may refer to one memo.
                auto& end = memo_ends_[block];
                end = std::max<std::uint64_t>(
                    end, block + (size + memos->BlockSize() - 1) / memos->BlockSize());
            }
        } catch (const file::BoundsError&) {
            // The field is unreadable, and told as that.
        }
    }

    // In the order of their blocks: each must begin where the one before has ended, or later.
    void CheckMemos() {
        auto* const memos = table_.Memos();
        if (memos == nullptr) {
            return;
        }
        std::uint64_t end = 0;
        for (const auto& [block, memo_end] : memo_ends_) {
            if (block < end) {
                Find("the memo at block " + std::to_string(block) + " lies on another one");
            }
            end = std::max(end, memo_end);
        }
        std::vector<std::byte> stored(4);
        const auto opened = file::File::Open(table_.MemoPath(), file::OpenMode::Read);
        opened.ReadExactly(0, stored);
        // All formats begin with the next free block, FoxPro's alone with its highest byte first.
        const std::uint64_t next = memos->Format() == MemoFormat::Fpt ? file::LoadBigU32(stored, 0)
                                                                      : file::LoadU32(stored, 0);
        if (next < end) {
            Find("the next memo would be written over one that is there");
        }
    }

    void CheckTags() {
        if (!table_.IndexTrouble().empty()) {
            Find(table_.IndexTrouble());
        } else if (const auto index = table_.IndexMember()) {
            TagSet tags(table_.Group(), *index, layout_);
            for (auto& finding : tags.Verify(WalkOver(table_))) {
                Find(std::move(finding));
            }
        }
    }

    TableFile table_;
    const TableLayout& layout_;
    std::map<std::uint32_t, std::uint64_t> memo_ends_;  // block, first block behind
    std::vector<std::string> findings_;
};

}  // namespace

std::vector<std::string> Verify(const std::string& path) {
    try {
        return Verifier(path).Run();
    } catch (const DataError& error) {
        return {error.Description()};
    }
}

}  // namespace vantry::foxpro

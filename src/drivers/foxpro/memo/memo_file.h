#pragma once
// The file of a table's memos: FoxPro's .fpt, and the .dbt of dBase III and IV.

#include "drivers/foxpro/table/table_layout.h"
#include "files/file_group.h"

#include <string>
#include <vector>

namespace vantry::foxpro {

enum class MemoFormat : std::uint8_t { Fpt, Dbt3, Dbt4 };

class MemoFile {
public:
    // Reads the header. Throws DataError naming the file if that can't be one.
    MemoFile(file::FileGroup& group, file::FileGroup::Member member, MemoFormat format);

    MemoFormat Format() const { return format_; }
    std::size_t BlockSize() const { return block_size_; }

    // The content of the memo that begins at `block`: valid until the next call. Throws
    // file::BoundsError if block or length lie outside the file.
    ByteSpan Read(std::uint32_t block);

    // ---- Inside a transaction
    // Adds a memo behind all others and returns its block. `kind` counts in .fpt only. Throws when
    // the file would grow above its limit, or can't hold such bytes.
    std::uint32_t Append(ByteSpan content, std::uint32_t kind);
    // Writes the number of the next free block, if memos were added. Before each commit.
    void Flush();
    // The transaction was rolled back: what was remembered of it is stale.
    void Discard();
    // No memo is referred to any more.
    void Clear();

private:
    bool IsInWindow(std::uint64_t offset, std::size_t length) const;
    ByteSpan Window(std::uint64_t offset, std::size_t length);
    ByteSpan ReadDbt3(std::uint64_t offset);
    std::uint32_t NextFree();
    void Gather(ByteSpan bytes);
    void WriteGathered();

    file::FileGroup* group_;
    file::FileGroup::Member member_;
    MemoFormat format_;
    std::size_t block_size_ = kDefaultMemoBlock;
    // A piece of the file, read ahead: memos lie one behind the other, as their records do.
    std::vector<std::byte> window_;
    std::uint64_t window_offset_ = 0;
    std::uint64_t version_ = 0;
    std::vector<std::byte> content_;
    std::optional<std::uint32_t> next_free_;  // with the memos of the open transaction
    std::uint64_t transaction_ = 0;
    bool added_ = false;
    // Memos that were added and aren't in the file yet: a load has many small ones.
    std::vector<std::byte> gathered_;
    std::uint64_t gathered_offset_ = 0;
    std::vector<std::byte> padding_;
};

// The number of the first block in a pointer field: 0 if there is none. Throws file::BoundsError if
// it is no number.
std::uint32_t MemoBlockIn(ByteSpan field);
// The content of a new memo file.
std::vector<std::byte> NewMemoFile(MemoFormat format, std::string_view table_name);

}  // namespace vantry::foxpro

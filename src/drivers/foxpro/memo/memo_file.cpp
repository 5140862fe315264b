// Memos are only ever added, never overwritten: a record that others read goes on leading to what
// it led to. The number of the next free block is therefore all that is kept in order here, and it
// is written before the records that use the blocks. Lengths are checked against the file before
// anything is made of them.

#include "drivers/foxpro/memo/memo_file.h"

#include "drivers/foxpro/errors.h"
#include "files/file_errors.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace vantry::foxpro {
namespace {

// A header may run a little ahead of its file. One that runs far ahead is damaged, or the file was
// cut: up to the block that it names gigabytes of zeros would be written, and in a nearer one a new
// memo would be shown in the rows whose memos are lost.
constexpr std::uint64_t kMostBlocksBehindTheEnd = 4096;
constexpr std::size_t kWindow = 64U << 10;
constexpr std::size_t kGathered = 256U << 10;

}  // namespace

// Four bytes in Visual FoxPro, ten digits elsewhere; blanks and zeros mean that there is none.
std::uint32_t MemoBlockIn(ByteSpan field) {
    if (field.size() == kMemoPointerBinary) {
        return file::LoadU32(field, 0);
    }
    std::uint64_t number = 0;
    for (const auto byte : field) {
        const auto c = static_cast<char>(byte);
        if (c >= '0' && c <= '9') {
            number = number * 10 + static_cast<std::uint64_t>(c - '0');
        } else if (c != ' ' && c != '\0') {
            throw file::BoundsError();
        }
    }
    if (number > UINT32_MAX) {
        throw file::BoundsError();
    }
    return static_cast<std::uint32_t>(number);
}

MemoFile::MemoFile(file::FileGroup& group, file::FileGroup::Member member, MemoFormat format)
    : group_(&group), member_(member), format_(format) {
    std::array<std::byte, kMemoHeaderSize> header{};
    const std::size_t got = group.Read(member, 0, header);
    if (got < 8) {
        throw DamagedTable(group.PathOf(member), "it is too short for a memo file");
    }
    if (format == MemoFormat::Fpt) {
        block_size_ = file::LoadBigU16(header, kFptBlockSizeOffset);
    } else if (format == MemoFormat::Dbt4) {
        block_size_ = file::LoadU16(header, kDbt4BlockSizeOffset);
    }
    if (block_size_ == 0) {
        block_size_ = kDefaultMemoBlock;
    }
}

bool MemoFile::IsInWindow(std::uint64_t offset, std::size_t length) const {
    return version_ == group_->Version() && offset >= window_offset_ &&
           offset + length <= window_offset_ + window_.size();
}

// Bytes of the file; fewer at its end.
ByteSpan MemoFile::Window(std::uint64_t offset, std::size_t length) {
    WriteGathered();
    if (!IsInWindow(offset, length)) {
        window_.resize(std::max(kWindow, length));
        window_offset_ = offset;
        version_ = group_->Version();
        window_.resize(group_->Read(member_, offset, window_));
        // Reading may have been what noticed a change by others.
        version_ = group_->Version();
    }
    const std::size_t at = offset - window_offset_;
    return ByteSpan(window_).subspan(at, std::min(length, window_.size() - at));
}

// The text ends where the mark stands, and nothing says before how far that is: block by block.
ByteSpan MemoFile::ReadDbt3(std::uint64_t offset) {
    content_.clear();
    for (;;) {
        const auto part = Window(offset, kDbtBlock);
        if (part.empty()) {
            if (content_.empty()) {
                throw file::BoundsError();
            }
            return content_;
        }
        const auto end = std::find(part.begin(), part.end(), kDbt3End);
        content_.insert(content_.end(), part.begin(), end);
        if (end != part.end()) {
            return content_;
        }
        offset += part.size();
    }
}

ByteSpan MemoFile::Read(std::uint32_t block) {
    const std::uint64_t offset = std::uint64_t{block} * block_size_;
    if (offset < (format_ == MemoFormat::Fpt ? kMemoHeaderSize : block_size_)) {
        throw file::BoundsError();
    }
    if (format_ == MemoFormat::Dbt3) {
        return ReadDbt3(offset);
    }
    const auto head = Window(offset, kFptBlockHeader);
    std::uint64_t length = 0;
    if (format_ == MemoFormat::Fpt) {
        length = file::LoadBigU32(head, 4);
    } else {
        length = file::LoadU32(head, 4);
        if (std::memcmp(head.data(), kDbt4Mark.data(), kDbt4Mark.size()) != 0) {
            // A table of version dBase III with the other kind of memos.
            return ReadDbt3(offset);
        }
        if (length < kDbt4BlockHeader) {
            throw file::BoundsError();
        }
        length -= kDbt4BlockHeader;
    }
    // The system is asked for the file's size only where that isn't clear: each memo would cost a
    // call, and most lie in the window.
    if (!IsInWindow(offset + kFptBlockHeader, length) &&
        offset + kFptBlockHeader + length > group_->SizeOf(member_)) {
        throw file::BoundsError();
    }
    const auto content = Window(offset + kFptBlockHeader, length);
    if (content.size() != length) {
        throw file::BoundsError();
    }
    return content;
}

std::uint32_t MemoFile::NextFree() {
    if (!next_free_ || transaction_ != group_->TransactionNumber()) {
        std::array<std::byte, 4> stored{};
        group_->Read(
            member_, format_ == MemoFormat::Fpt ? kFptNextFreeOffset : kDbtNextFreeOffset, stored);
        next_free_ =
            format_ == MemoFormat::Fpt ? file::LoadBigU32(stored, 0) : file::LoadU32(stored, 0);
        const std::size_t first =
            format_ == MemoFormat::Fpt ? (kMemoHeaderSize + block_size_ - 1) / block_size_ : 1;
        // What lies behind the number that the header names belongs to nobody, but a number that
        // is too small would have us write over memos.
        const std::uint64_t used = (group_->SizeOf(member_) + block_size_ - 1) / block_size_;
        if (*next_free_ > used + kMostBlocksBehindTheEnd) {
            const std::uint32_t named = *next_free_;
            next_free_.reset();
            throw CannotWrite(group_->PathOf(member_),
                              "its header names block " + std::to_string(named) +
                                  " as the next free one, far behind its end: the file was cut, or "
                                  "its header is damaged. Use a copy of it from before");
        }
        next_free_ = static_cast<std::uint32_t>(
            std::max<std::uint64_t>({*next_free_, first, *next_free_ < used ? used : 0}));
        transaction_ = group_->TransactionNumber();
        added_ = false;
        gathered_.clear();
    }
    return *next_free_;
}

std::uint32_t MemoFile::Append(ByteSpan content, std::uint32_t kind) {
    const std::uint32_t block = NextFree();
    std::size_t used = content.size();
    std::array<std::byte, kFptBlockHeader> head{};
    std::size_t head_size = kFptBlockHeader;
    if (format_ == MemoFormat::Fpt) {
        file::StoreBigU32(head, 0, kind);
        file::StoreBigU32(head, 4, static_cast<std::uint32_t>(content.size()));
    } else if (format_ == MemoFormat::Dbt4) {
        std::memcpy(head.data(), kDbt4Mark.data(), kDbt4Mark.size());
        file::Store(std::span(head), 4, static_cast<std::uint32_t>(content.size() + head_size));
    } else {
        if (std::find(content.begin(), content.end(), kDbt3End) != content.end()) {
            throw CannotWrite(group_->PathOf(member_),
                              "a text has the character 0x1A in it, which ends memos of dBase III");
        }
        head_size = 0;
        used += 2;
    }
    used += head_size;
    const std::uint64_t blocks = (used + block_size_ - 1) / block_size_;
    const std::uint64_t offset = std::uint64_t{block} * block_size_;
    if (offset + blocks * block_size_ > kMaxFileSize) {
        throw file::SizeLimit(group_->PathOf(member_), kMaxFileSize);
    }
    if (gathered_.empty()) {
        gathered_offset_ = offset;
    }
    Gather(ByteSpan(head).first(head_size));
    Gather(content);
    const std::size_t rest = blocks * block_size_ - head_size - content.size();
    padding_.assign(rest, std::byte{0});
    if (format_ == MemoFormat::Dbt3) {
        padding_[0] = padding_[1] = kDbt3End;
    }
    Gather(padding_);
    next_free_ = static_cast<std::uint32_t>(block + blocks);
    added_ = true;
    return block;
}

// Large memos pass through in pieces: they are in memory once already.
void MemoFile::Gather(ByteSpan bytes) {
    while (!bytes.empty()) {
        const auto part = bytes.first(std::min(bytes.size(), kGathered - gathered_.size()));
        gathered_.insert(gathered_.end(), part.begin(), part.end());
        bytes = bytes.subspan(part.size());
        if (gathered_.size() == kGathered) {
            WriteGathered();
        }
    }
}

void MemoFile::WriteGathered() {
    if (!gathered_.empty() && transaction_ == group_->TransactionNumber()) {
        group_->Write(member_, gathered_offset_, gathered_);
        gathered_offset_ += gathered_.size();
    }
    gathered_.clear();
}

void MemoFile::Discard() {
    next_free_.reset();
    gathered_.clear();
}

void MemoFile::Flush() {
    if (!added_ || transaction_ != group_->TransactionNumber()) {
        return;
    }
    WriteGathered();
    std::array<std::byte, 4> stored{};
    format_ == MemoFormat::Fpt ? file::StoreBigU32(stored, 0, *next_free_)
                               : file::Store(std::span(stored), 0, *next_free_);
    group_->Write(member_, 0, stored);
    added_ = false;
}

// The number of the next block alone makes the file empty; its end is cut off when that is
// committed.
void MemoFile::Clear() {
    const std::size_t first =
        format_ == MemoFormat::Fpt ? (kMemoHeaderSize + block_size_ - 1) / block_size_ : 1;
    next_free_ = static_cast<std::uint32_t>(first);
    transaction_ = group_->TransactionNumber();
    gathered_.clear();
    added_ = true;
    Flush();
    group_->CutAfterCommit(member_, first * block_size_);
}

// A table with memo fields and no memo file is one that FoxPro refuses, so it is made even when
// empty.
std::vector<std::byte> NewMemoFile(MemoFormat format, std::string_view table_name) {
    std::vector<std::byte> bytes(kMemoHeaderSize);
    if (format == MemoFormat::Fpt) {
        file::StoreBigU32(bytes, kFptNextFreeOffset, kMemoHeaderSize / kDefaultFptBlock);
        file::StoreBigU16(bytes, kFptBlockSizeOffset, kDefaultFptBlock);
        return bytes;
    }
    file::Store(std::span(bytes), kDbtNextFreeOffset, std::uint32_t{1});
    if (format == MemoFormat::Dbt4) {
        std::memcpy(
            bytes.data() + 8, table_name.data(), std::min<std::size_t>(8, table_name.size()));
        file::Store(std::span(bytes), kDbt4BlockSizeOffset, static_cast<std::uint16_t>(kDbtBlock));
    } else {
        bytes[16] = std::byte{3};
    }
    return bytes;
}

}  // namespace vantry::foxpro

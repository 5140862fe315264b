// Reading: from memory what the open transaction changed, the rest from the file. Another thread
// may read for the connection's, but only where nothing has to be decided for that.

#include "files/paged_file.h"

#include <cstring>

namespace vantry::file {

PagedFile::PagedFile(File file, PagedFileOptions options)
    : FileTransactions(options.batch_age, options.batch_age),
      file_(std::move(file)),
      options_(std::move(options)),
      encoded_(options_.page_size) {
    Attach(file_);
    RecoverIf(JournalIsThere());
    NoteStamps(false);
    Register();
}

PagedFile::~PagedFile() {
    Close();
}

bool PagedFile::JournalIsThere() const {
    return IsThere(Journal::PathFor(Path()));
}

void PagedFile::PlayBackJournals(File& first) {
    PlayBack(first, options_.page_size);
}

std::uint32_t PagedFile::PageCount() {
    const std::lock_guard lock(mutex_);
    return state_ == State::Idle ? PagesIn(file_.file.Size()) : page_count_;
}

void PagedFile::ReadFromDisk(std::uint32_t first, std::span<std::byte> out) {
    file_.file.ReadExactly(OffsetOf(first), out);
    if (options_.decode) {
        for (std::size_t at = 0; at < out.size(); at += options_.page_size) {
            options_.decode(first++, out.subspan(at, options_.page_size));
        }
    }
}

std::uint64_t PagedFile::Read(std::uint32_t first, std::span<std::byte> out) {
    const std::lock_guard lock(mutex_);
    if (state_ == State::Idle) {
        StartReading();
        try {
            ReadFromDisk(first, out);
        } catch (...) {
            StopReading();
            throw;
        }
        StopReading();
        return Version();
    }
    // Runs of pages that aren't in memory come from the file, the others from memory.
    const auto count = static_cast<std::uint32_t>(out.size() / options_.page_size);
    for (std::uint32_t at = 0; at < count;) {
        const auto frame = frames_.find(first + at);
        if (frame != frames_.end()) {
            std::memcpy(out.data() + std::size_t{at} * options_.page_size,
                        frame->second.bytes,
                        options_.page_size);
            ++at;
            continue;
        }
        std::uint32_t end = at + 1;
        while (end < count && !frames_.contains(first + end)) {
            ++end;
        }
        ReadFromDisk(first + at,
                     out.subspan(std::size_t{at} * options_.page_size,
                                 std::size_t{end - at} * options_.page_size));
        at = end;
    }
    return Version();
}

bool PagedFile::TryRead(std::uint32_t first, std::span<std::byte> out, std::uint64_t& version) {
    return TryReading(
        [&] {
            ReadFromDisk(first, out);
            return true;
        },
        version);
}

}  // namespace vantry::file

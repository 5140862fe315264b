// Transactions over pages: against a model with hardly any memory, among connections, at limits.

#include "files/paged_file.h"

#include "files/error_of.h"
#include "files/file_lock.h"
#include "support/fault_plans.h"
#include "support/no_threads.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

namespace vantry::file {
namespace {

using test::ErrorOf;
using test::Has;

constexpr std::uint32_t kPage = 4096;

// As an encoding of the pages: all but the first.
std::function<void(std::uint32_t, std::span<std::byte>)> ShiftedBy(unsigned by) {
    return [by](std::uint32_t page, std::span<std::byte> bytes) {
        for (std::byte& byte : bytes) {
            const unsigned shift = page == 0 ? 0 : by;
            byte = std::byte((std::to_integer<unsigned>(byte) + shift) & 0xFF);
        }
    };
}

class PagedFileTest : public testing::Test {
protected:
    PagedFileTest() : path_(folder_.Write("pages", std::string(4 * kPage, 'a'))) {}

    std::unique_ptr<PagedFile> Open(PagedFileOptions options = {}) {
        return std::make_unique<PagedFile>(File::Open(path_, OpenMode::ReadWriteIfAllowed),
                                           std::move(options));
    }
    static void Fill(std::span<std::byte> page, char letter) {
        std::memset(page.data(), letter, page.size());
    }
    static std::string ReadAll(PagedFile& file) {
        std::string out(std::size_t{file.PageCount()} * kPage, '\0');
        file.Read(0, std::as_writable_bytes(std::span(out)));
        return out;
    }
    static std::string Letters(const std::string& content) {
        std::string letters;
        for (std::size_t page = 0; page < content.size(); page += kPage) {
            letters += content[page];
        }
        return letters;
    }
    std::string OnDisk() const { return Letters(folder_.Read("pages")); }
    bool HasJournal() const { return std::filesystem::exists(path_ + "-journal"); }

    test::TempDir folder_;
    std::string path_;
};

// Random transactions and rows, some taken back, with memory for a few pages only: every page is
// written early, read again, and taken back from the journal.
TEST_F(PagedFileTest, RandomTransactionsMatchTheModel) {
    test::NoSync no_sync;
    const test::InstalledPlan installed(no_sync);
    for (const bool encoded : {false, true}) {
        folder_.Write("pages", std::string(4 * kPage, 'a'));
        PagedFileOptions options;
        options.cache_pages = 3;
        options.batch_age = std::chrono::milliseconds(2);
        if (encoded) {
            options.encode = ShiftedBy(1);
            options.decode = ShiftedBy(255);
        }
        auto file = Open(options);
        std::string model = ReadAll(*file);
        std::mt19937 random(99);
        for (int step = 0; step < 600; ++step) {
            const bool row = random() % 2 == 0;
            const bool keep = random() % 4 != 0;
            std::string changed = model;
            row ? file->BeginRow(true) : file->Begin();
            for (auto changes = random() % 12; changes > 0; --changes) {
                const auto letter = static_cast<char>('a' + random() % 26);
                std::uint32_t page = 0;
                if (random() % 4 == 0 && changed.size() < 64 * kPage) {
                    page = file->Append();
                    changed.resize(changed.size() + kPage);
                } else {
                    page = static_cast<std::uint32_t>(random() % (changed.size() / kPage));
                }
                Fill(file->Change(page), letter);
                std::fill_n(changed.begin() + page * kPage, kPage, letter);
                if (random() % 3 == 0) {
                    file->Finish(page);
                }
                if (random() % 2 == 0) {
                    file->SafePoint();
                }
            }
            ASSERT_TRUE(ReadAll(*file) == changed) << step;
            if (row) {
                file->EndRow(keep);
            } else {
                keep ? file->Commit() : file->Rollback();
            }
            model = keep ? changed : model;
            ASSERT_TRUE(ReadAll(*file) == model) << step << (row ? " row" : " statement") << keep;
            if (random() % 50 == 0) {
                file.reset();
                ASSERT_FALSE(HasJournal());
                file = Open(options);
                ASSERT_TRUE(ReadAll(*file) == model) << step;
            }
        }
    }
}

// Rows of a burst share a transaction; it ends by age, by another connection's statement, by
// closing.
TEST_F(PagedFileTest, BatchedRowsBecomeVisibleInTime) {
    PagedFileOptions options;
    options.batch_age = std::chrono::milliseconds(50);
    auto writer = Open(options);
    const auto add_rows = [&](int count, char letter) {
        for (int row = 0; row < count; ++row) {
            writer->BeginRow(false);
            Fill(writer->Change(2), letter);
            writer->EndRow(true);
        }
    };
    add_rows(1, 'b');
    EXPECT_EQ("aaba", OnDisk());  // the first ones at once
    add_rows(10, 'c');
    EXPECT_EQ("aaca", OnDisk()) << "rows of a burst";
    add_rows(1, 'd');
    EXPECT_EQ("aaca", OnDisk());
    const auto reader = Open();
    reader->Settle();
    EXPECT_EQ("aada", Letters(ReadAll(*reader)));
    add_rows(1, 'e');
    for (int wait = 0; wait < 200 && OnDisk() != "aaea"; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ("aaea", OnDisk());
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    add_rows(1, 'f');
    EXPECT_EQ("aafa", OnDisk()) << "one by itself again";
    add_rows(8, 'g');
    writer.reset();
    EXPECT_EQ("aaga", OnDisk());
    EXPECT_FALSE(HasJournal());
}

TEST_F(PagedFileTest, RowsAreCommittedOneByOneWhereNoThreadIsToBeHad) {
    const auto rows = [this] {
        const auto writer = Open();
        for (char letter = 'b'; letter < 'l'; ++letter) {
            writer->BeginRow(false);
            Fill(writer->Change(2), letter);
            writer->EndRow(true);
            if (OnDisk() != std::string("aa") + letter + "a") {
                return false;
            }
        }
        return true;
    };
    EXPECT_TRUE(test::HoldsWithoutThreads(folder_.Path(), rows));
}

TEST_F(PagedFileTest, AReadForAnotherThreadThatFailsLeavesNoLock) {
    const auto reader = Open();
    const auto read = [&] {
        std::vector<std::byte> page(kPage);
        std::uint64_t version = 0;
        return reader->TryRead(1, page, version);
    };
    for (int wait = 0; wait < 100 && !read(); ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        reader->Settle();  // the file is too young to be told from a changed one
    }
    ASSERT_TRUE(read());
    {
        test::VerdictBy plan([](const Call& call) -> Verdict {
            return call.operation == Operation::Read ? throw std::bad_alloc() : Verdict{};
        });
        const test::InstalledPlan installed(plan);
        EXPECT_FALSE(read());
    }
    EXPECT_TRUE(
        TryLock(File::Open(path_, OpenMode::ReadWrite), LockByte::Content, LockKind::Exclusive));
}

TEST_F(PagedFileTest, FullDiskIsTheErrorOfTheRowThatNeedsThePage) {
    auto file = Open();
    for (int row = 0; row < 6; ++row) {
        file->BeginRow(true);
        Fill(file->Change(file->Append()), 'r');
        file->EndRow(true);
    }
    {
        // Space can't be had any more, but what has been set aside can be written.
        test::VerdictBy plan([](const Call& call) {
            return Verdict{.error = call.operation == Operation::Reserve ? ENOSPC : 0};
        });
        const test::InstalledPlan installed(plan);
        std::string error;
        for (int row = 0; row < 600 && error.empty(); ++row) {
            file->BeginRow(true);
            error = ErrorOf([&] { Fill(file->Change(file->Append()), 's'); });
            file->EndRow(error.empty());
        }
        EXPECT_TRUE(Has(error, "disk is full"));
        EXPECT_EQ("", ErrorOf([&] { file->Settle(); }));
    }
    const std::string content = OnDisk();
    EXPECT_EQ("aaaarrrrrr", content.substr(0, 10));
    EXPECT_FALSE(Has(content, std::string_view("\0", 1)));
}

TEST_F(PagedFileTest, LimitsAndStrangersAreErrors) {
    PagedFileOptions options;
    options.max_size = 5 * kPage;
    const auto file = Open(options);
    file->Begin();
    file->Append();
    EXPECT_TRUE(Has(ErrorOf([&] { file->Append(); }), "largest size"));
    file->Rollback();
    EXPECT_EQ("aaaa", OnDisk());
    // The name stands for another file before anything of the transaction is written.
    folder_.Write("other", std::string(4 * kPage, 'o'));
    std::filesystem::rename(folder_ / "other", path_);
    EXPECT_TRUE(Has(ErrorOf([&] { file->Begin(); }), "replaced"));
    EXPECT_EQ("oooo", OnDisk());
}

// A transaction larger than the memory, given up half-way by a failing disk.
TEST_F(PagedFileTest, LargeTransactionComesBackFromTheJournal) {
    folder_.Write("pages", std::string(200 * kPage, 'a'));
    PagedFileOptions options;
    options.cache_pages = 8;
    const auto file = Open(options);
    file->Begin();
    for (std::uint32_t page = 0; page < 200; ++page) {
        Fill(file->Change(page), 'x');
        file->SafePoint();
    }
    EXPECT_NE(std::string(200, 'a'), OnDisk()) << "the test needs pages written early";
    // Nobody reads half of it.
    SetLockTimeout(std::chrono::milliseconds(30));
    const auto reader_error = ErrorOf([&] {
        PagedFile reader(File::Open(path_, OpenMode::Read), {});
        ReadAll(reader);
    });
    SetLockTimeout(std::chrono::milliseconds(5000));
    EXPECT_TRUE(Has(reader_error, "in use"));
    {
        int commits = 0;
        test::VerdictBy plan([&](const Call& call) {
            const bool commit = call.operation == Operation::Sync && !test::IsJournal(call.path);
            return Verdict{.error = commit && commits++ == 0 ? EIO : 0};
        });
        const test::InstalledPlan installed(plan);
        EXPECT_NE("", ErrorOf([&] { file->Commit(); }));
    }
    EXPECT_EQ(std::string(200, 'a'), OnDisk());
    EXPECT_FALSE(HasJournal());
}

}  // namespace
}  // namespace vantry::file

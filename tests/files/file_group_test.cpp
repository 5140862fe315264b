// Transactions over several files of odd sizes: against a model, and what a kill, a power failure
// or a full disk in the middle of one leaves.

#include "files/file_group.h"

#include "files/error_of.h"
#include "support/crash_states.h"
#include "support/temp_dir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <random>

namespace vantry::file {
namespace {

using test::ErrorOf;
using test::Has;
using test::Planted;

constexpr std::array<const char*, 3> kNames = {"t.dbf", "t.fpt", "t.cdx"};
using Contents = std::array<std::string, 3>;

class FileGroupTest : public testing::Test {
protected:
    FileGroupTest() {
        Contents start;
        std::size_t size = 5000;
        for (std::size_t k = 0; k < kNames.size(); ++k) {
            start[k].assign(size, static_cast<char>('a' + k));
            folder_.Write(kNames[k], start[k]);
            size = k == 0 ? 0 : 12'288;
        }
    }

    std::unique_ptr<FileGroup> Open(FileGroupOptions options = {}) {
        std::vector<std::string> others{Path(1), Path(2)};
        auto group = std::make_unique<FileGroup>(File::Open(Path(0), OpenMode::ReadWriteIfAllowed),
                                                 ByteRange{1U << 30, 100},
                                                 others,
                                                 options);
        for (const auto& path : others) {
            group->Add(File::Open(path, OpenMode::ReadWriteIfAllowed), {});
        }
        return group;
    }
    std::string Path(std::size_t k) const { return (folder_ / kNames[k]).string(); }

    static Contents ReadAll(FileGroup& group) {
        Contents contents;
        for (std::size_t k = 0; k < contents.size(); ++k) {
            contents[k].resize(group.SizeOf(k));
            EXPECT_EQ(group.Read(k, 0, std::as_writable_bytes(std::span(contents[k]))),
                      contents[k].size());
        }
        return contents;
    }
    Contents OnDisk() const {
        Contents contents;
        for (std::size_t k = 0; k < contents.size(); ++k) {
            contents[k] = folder_.Read(kNames[k]);
        }
        return contents;
    }
    // In bytes: what the files have, and what their contents need.
    std::uint64_t RoomOnDisk() const {
        std::uint64_t room = 0;
        for (const auto* name : kNames) {
            struct stat status {};
            EXPECT_EQ(::stat((folder_ / name).c_str(), &status), 0);
            room += static_cast<std::uint64_t>(status.st_blocks) * 512;
        }
        return room;
    }
    static std::uint64_t PagesOf(const Contents& contents) {
        std::uint64_t room = 0;
        for (const auto& content : contents) {
            room += (content.size() + 4095) / 4096 * 4096;
        }
        return room;
    }
    // A few random writes, most of them at the end, into the group and into the model.
    static void Change(FileGroup& group, Contents& model, std::mt19937& random, int count) {
        for (; count > 0; --count) {
            const std::size_t k = random() % model.size();
            const std::size_t at = random() % 2 == 0
                                       ? model[k].size()
                                       : random() % (model[k].size() + 1 + random() % 5000);
            const std::string bytes(1 + random() % (random() % 4 == 0 ? 20'000 : 300),
                                    static_cast<char>('A' + random() % 26));
            group.Write(k, at, std::as_bytes(std::span(bytes)));
            if (model[k].size() < at + bytes.size()) {
                model[k].resize(at + bytes.size());
            }
            model[k].replace(at, bytes.size(), bytes);
        }
    }

    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

TEST_F(FileGroupTest, RandomTransactionsMatchTheModel) {
    test::NoSync no_sync;
    const test::InstalledPlan installed(no_sync);
    FileGroupOptions options;
    options.cache_bytes = 8192;
    options.batch_age = std::chrono::milliseconds(2);
    auto group = Open(options);
    Contents model = ReadAll(*group);
    std::mt19937 random(7);
    for (int step = 0; step < 400; ++step) {
        Contents changed = model;
        const auto kind = random() % 4;
        if (kind == 0) {
            group->BeginRow();
            Change(*group, changed, random, 2);
            group->EndRow(true);
        } else {
            group->Begin();
            Change(*group, changed, random, static_cast<int>(random() % 6));
            ASSERT_TRUE(ReadAll(*group) == changed) << step;
            kind == 1 ? group->Rollback() : group->Commit();
            ASSERT_LE(RoomOnDisk(), PagesOf(kind == 1 ? model : changed)) << step;
        }
        model = kind == 1 ? model : changed;
        ASSERT_TRUE(ReadAll(*group) == model) << step;
        if (step % 20 == 0) {
            group = Open(options);  // one that finds the other's batch
            group->Settle();
            ASSERT_TRUE(ReadAll(*group) == model) << step;
        }
    }
    group->Begin();
    const std::uint64_t half = model[1].size() / 2;
    group->CutAfterCommit(1, half);
    group->Commit();
    model[1].resize(half);
    EXPECT_TRUE(OnDisk() == model);
}

// Every state that a kill or a power failure can leave is one that a transaction began or ended
// with. With a fault planted in the file layer some aren't.
TEST_F(FileGroupTest, AnInterruptedTransactionIsThereWholeOrNotAtAll) {
    using test::Interruption;
    // Bytes behind the end that was committed belong to nobody.
    const auto begins_with = [](const auto& now, const auto& was) { return now.starts_with(was); };
    const auto count_bad = [&](Planted planted, Interruption by) {
        std::vector<Contents> states{OnDisk()};
        const auto start = test::ReadFolder(folder_.Path());
        test::RecordedRun run(folder_.Path(), planted, [&](const test::Report& done) {
            FileGroupOptions options;
            options.cache_bytes = 8192;
            auto group = Open(options);
            std::mt19937 random(11);
            for (int step = 0; step < 6; ++step) {
                states.push_back(states.back());
                group->Begin();
                Change(*group, states.back(), random, 5);
                group->Commit();
                done();
            }
        });
        int bad = 0;
        for (int round = 0; round < (by == Interruption::Kill ? 1 : 4); ++round) {
            bad += run.CountBad(by, 1, [&](std::size_t done) {
                const auto error = ErrorOf([this] { Open(); });
                const auto now = OnDisk();
                bool whole = false;
                for (auto at = done; at < std::min(done + 2, states.size()); ++at) {
                    whole = whole || std::ranges::equal(now, states[at], begins_with);
                }
                return error.empty() && whole;
            });
        }
        test::WriteFolder(folder_.Path(), start);
        return bad;
    };
    EXPECT_EQ(count_bad(Planted::Nothing, Interruption::Kill), 0);
    EXPECT_EQ(count_bad(Planted::Nothing, Interruption::PowerFailure), 0);
    EXPECT_GT(count_bad(Planted::JournalNotSynced, Interruption::PowerFailure), 0);
}

TEST_F(FileGroupTest, EachFailingOperationLeavesEverythingAsItWas) {
    Contents before;
    Contents after;
    const auto prepare = [&] { before = after = OnDisk(); };
    const auto work = [&] {
        auto group = Open();
        group->Begin();
        std::mt19937 random(3);
        try {
            Change(*group, after, random, 8);
        } catch (...) {
            group->Rollback();
            throw;
        }
        group->Commit();
    };
    test::FailEachOperation(prepare, work, [&](int nth, const std::string& error) {
        Open();
        EXPECT_TRUE(OnDisk() == (error.empty() ? after : before)) << nth << error;
    });
}

// File systems give what there is before they say that it isn't enough.
TEST_F(FileGroupTest, WhatAFullDiskHadLeftGoesBackToIt) {
    test::VerdictBy full([](const Call& call) {
        if (call.operation != Operation::SetAside) {
            return Verdict{};
        }
        const int file = ::open(std::string(call.path).c_str(), O_RDWR);
        EXPECT_EQ(::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, 1 << 20), 0);
        ::close(file);
        return Verdict{.error = ENOSPC};
    });
    const Contents before = OnDisk();
    auto group = Open();
    {
        const test::InstalledPlan installed(full);
        group->Begin();
        const std::array<std::byte, 9> bytes{};
        EXPECT_TRUE(Has(ErrorOf([&] { group->Write(0, 5000, bytes); }), "full"));
        group->Rollback();
    }
    EXPECT_LE(RoomOnDisk(), PagesOf(before));
}

TEST_F(FileGroupTest, KeepsOutWhoeverLocksTheSameBytes) {
    SetLockTimeout(std::chrono::milliseconds(50));
    const auto group = Open();
    const File other = File::Open(Path(0), OpenMode::ReadWrite);
    ASSERT_TRUE(TryLock(other, ByteRange{(1U << 30) + 7, 1}, LockKind::Exclusive));
    EXPECT_TRUE(Has(ErrorOf([&] { group->Begin(); }), "in use"));
    Unlock(other, ByteRange{(1U << 30) + 7, 1});
    group->Begin();
    EXPECT_FALSE(TryLock(other, ByteRange{(1U << 30) + 7, 1}, LockKind::Exclusive));
    group->Rollback();
    EXPECT_TRUE(TryLock(other, ByteRange{(1U << 30) + 7, 1}, LockKind::Exclusive));
    SetLockTimeout(std::chrono::milliseconds(5000));
}

}  // namespace
}  // namespace vantry::file

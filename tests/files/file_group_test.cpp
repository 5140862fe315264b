// Transactions over several files of odd sizes, against a model. What a kill, a power failure or
// a failing disk leaves of them is seen on the tables of drivers/foxpro, whose files they are.

#include "files/file_group.h"

#include "files/error_of.h"
#include "support/fault_plans.h"
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

// Another connection was killed behind its commit, when the leader's journal alone was gone.
TEST_F(FileGroupTest, AJournalThatACommitLeftIsInNobodysWay) {
    auto group = Open({.cache_bytes = 1});
    std::string left;
    for (const char* const bytes : {"first", "again"}) {
        if (!left.empty()) {
            folder_.Write("t.cdx-journal", left);
        }
        group->Begin();
        group->Write(2, 100, std::as_bytes(std::span(bytes, 5)));
        left = folder_.Read("t.cdx-journal");
        group->Commit();
        EXPECT_EQ(OnDisk()[2].substr(100, 5), bytes);
        EXPECT_FALSE(IsThere(Path(2) + "-journal"));
    }
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

}  // namespace
}  // namespace vantry::file

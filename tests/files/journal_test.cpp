// A journal is played back into the database that it belongs to, and into no other: by who wrote it
// and by what the database holds. And what a killed writer had added goes again.

#include "files/journal.h"

#include "files/error_of.h"
#include "files/file_group.h"
#include "files/paged_file.h"
#include "support/child_process.h"
#include "support/fault_plans.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <tuple>

namespace vantry::file {
namespace {

using test::ErrorOf;
using test::Has;

constexpr std::uint32_t kPage = 4096;
constexpr std::uint32_t kPages = 12;
constexpr uid_t kStranger = 54321;

class JournalTest : public testing::Test {
protected:
    std::unique_ptr<PagedFile> Open() const {
        PagedFileOptions options;
        options.cache_pages = 2;
        return std::make_unique<PagedFile>(File::Open(path_, OpenMode::ReadWrite),
                                           std::move(options));
    }
    static void Fill(std::span<std::byte> page, char letter) {
        std::memset(page.data(), letter, page.size());
    }

    // Runs `work` on the opened file in a process that is killed behind it.
    void Die(const std::function<void(PagedFile&)>& work) const {
        const auto ended = test::RunChild([&](const test::Report&) {
            const auto file = Open();
            work(*file);
            ::kill(::getpid(), SIGKILL);
        });
        ASSERT_TRUE(ended.killed);
    }
    // A statement that has written pages 1 to 8, some of them twice, and is killed before its end.
    void LeaveHalfAStatement() {
        folder_.Write("pages", std::string(std::size_t{kPages} * kPage, 'a'));
        Die([](PagedFile& file) {
            file.Begin();
            for (const char letter : {'x', 'y'}) {
                for (std::uint32_t page = 1; page <= 8; ++page) {
                    Fill(file.Change(page), letter);
                    file.SafePoint();
                }
            }
        });
        const auto now = folder_.Read("pages");
        ASSERT_NE(now.find('y'), now.npos) << "the test needs pages written early";
    }

    test::TempDir folder_;
    const std::string path_ = folder_ / "pages";
    const std::string journal_ = path_ + "-journal";
};

TEST_F(JournalTest, ItIsPlayedBackOnlyIntoItsOwnDatabase) {
    struct Case {
        const char* error;  // empty: it is played back
        std::function<void()> forge;
    };
    const auto change = [this](std::uint64_t at) {
        File::Open(path_, OpenMode::ReadWrite).Write(at, std::as_bytes(std::span("#", 1)));
    };
    std::vector<Case> cases = {
        {"", [] {}},
        {"", [&] { std::filesystem::permissions(journal_, std::filesystem::perms(0600)); }},
        {"can change the journal",
         [&] { std::filesystem::permissions(journal_, std::filesystem::perms(0666)); }},
        {"can change the journal",
         [&] { std::filesystem::permissions(journal_, std::filesystem::perms(0664)); }},
        {"symbolic link",
         [&] {
             std::filesystem::rename(journal_, folder_ / "elsewhere");
             std::filesystem::create_symlink(folder_ / "elsewhere", journal_);
         }},
        // A page that was written early; its eighth sector; a page that was written twice; one that
        // has been journalled and not written again; the first page, which has no image.
        {"doesn't belong", [&] { change(std::uint64_t{1} * kPage + 5); }},
        {"doesn't belong", [&] { change(std::uint64_t{2} * kPage + kPage - 1); }},
        {"doesn't belong", [&] { change(std::uint64_t{8} * kPage + 3000); }},
        {"doesn't belong", [&] { change(7); }},
        {"doesn't belong",
         [&] { std::filesystem::resize_file(path_, (kPages - 1) * std::uint64_t{kPage}); }},
        {"earlier version",
         [&] {
             File::Open(journal_, OpenMode::ReadWrite).Write(6, std::as_bytes(std::span("1", 1)));
         }},
        {"another kind of file", [&] { folder_.Write("pages-journal", "a letter to somebody"); }},
    };
    if (::geteuid() == 0) {
        cases.push_back(
            {"may not write", [&] { ASSERT_EQ(0, ::chown(journal_.c_str(), kStranger, 0)); }});
        // Whose database it is may have written the journal, whoever opens it.
        cases.push_back({"", [&] {
                             ASSERT_EQ(0, ::chown(journal_.c_str(), kStranger, kStranger));
                             ASSERT_EQ(0, ::chown(path_.c_str(), kStranger, kStranger));
                         }});
    }
    for (std::size_t number = 0; number < cases.size(); ++number) {
        LeaveHalfAStatement();
        cases[number].forge();
        const auto before = folder_.Read("pages");
        const auto error = ErrorOf([&] { Open(); });
        if (*cases[number].error == '\0') {
            EXPECT_EQ(error, "") << number;
            EXPECT_TRUE(folder_.Read("pages") == std::string(std::size_t{kPages} * kPage, 'a'));
            EXPECT_FALSE(IsThere(journal_));
        } else {
            EXPECT_TRUE(Has(error, cases[number].error)) << number;
            EXPECT_TRUE(folder_.Read("pages") == before) << number;
            std::filesystem::remove(journal_);
        }
        std::filesystem::remove(path_);
    }
}

TEST_F(JournalTest, NobodyWhoMayNotWriteTheDatabaseMayWriteItsJournal) {
    folder_.Write("pages", std::string(std::size_t{kPages} * kPage, 'a'));
    const mode_t umask = ::umask(0);
    for (const mode_t mode : {0600U, 0640U, 0644U, 0660U, 0666U}) {
        std::filesystem::permissions(path_, std::filesystem::perms(mode));
        const auto file = Open();
        file->Begin();
        file->Append();
        EXPECT_EQ(mode, test::ModeOf(journal_));
        file->Rollback();
    }
    ::umask(umask);
}

// Nothing refers to what a killed load has added; it would stay for ever, belonging to nobody. What
// another program has put behind it since stays.
TEST_F(JournalTest, WhatAKilledLoadAddedIsCutOffAgain) {
    for (const bool used_since : {false, true}) {
        folder_.Write("pages", std::string(std::size_t{kPages} * kPage, 'a'));
        Die([](PagedFile& file) {
            file.Begin();
            for (int page = 0; page < 300; ++page) {
                const auto added = file.Append();
                Fill(file.Change(added), 'n');
                file.Finish(added);
                file.SafePoint();
            }
        });
        const auto grown = std::filesystem::file_size(path_);
        ASSERT_GT(grown, 300 * kPage);
        if (used_since) {
            folder_.Write("pages", folder_.Read("pages") + std::string(kPage, 'o'));
        }
        Open();
        EXPECT_EQ(std::filesystem::file_size(path_),
                  used_since ? grown + kPage : std::uint64_t{kPages} * kPage);
        EXPECT_FALSE(IsThere(journal_));
    }
}

// On a full disk nothing stays that keeps the next change out, and no error gives advice that would
// cost the file.
TEST_F(JournalTest, AJournalThatCouldntBeMadeIsNotThere) {
    folder_.Write("pages", std::string(std::size_t{kPages} * kPage, 'a'));
    const auto file = Open();
    test::FullDisk disk("-journal", 1, 1);
    for (const char* words : {"disk is full", ""}) {
        const test::InstalledPlan installed(disk);
        file->Begin();
        const auto error = ErrorOf([&] { file->Append(); });
        EXPECT_TRUE(Has(error, words));
        EXPECT_EQ(error.find("elete"), error.npos) << error;
        EXPECT_EQ(IsThere(journal_), error.empty());
        file->Rollback();
    }
    file->Begin();
    folder_.Write("pages-journal", "somebody's");
    const auto error = ErrorOf([&] { file->Append(); });
    EXPECT_TRUE(Has(error, "has appeared beside it"));
    file->Rollback();
    EXPECT_EQ(folder_.Read("pages-journal"), "somebody's");
}

// A file that is deleted, moved, replaced or cut while it is written: the error says so, nothing of
// ours gets into what is there now, and no journal stays that would keep it from being opened.
TEST_F(JournalTest, AFileThatIsntOursAnyMoreIsLeftAlone) {
    const std::tuple<const char*, std::function<void()>> cases[] = {
        {"deleted or moved away", [&] { std::filesystem::remove(path_); }},
        {"deleted or moved away", [&] { std::filesystem::rename(path_, folder_ / "elsewhere"); }},
        {"replaced by another",
         [&] {
             folder_.Write("other", std::string(std::size_t{kPages} * kPage, 'o'));
             std::filesystem::rename(folder_ / "other", path_);
         }},
        {"shorter", [&] { std::filesystem::resize_file(path_, kPage); }},
        {"shorter", [&] { std::filesystem::resize_file(path_, 0); }},
        {"longer", [&] { std::filesystem::resize_file(path_, std::uint64_t{900} * kPage); }},
    };
    const auto add_rows = [](PagedFile& file, int count) {
        for (int row = 0; row < count; ++row) {
            file.BeginRow(true);
            Fill(file.Change(1), 'x');
            Fill(file.Change(file.Append()), 'x');
            file.EndRow(true);
        }
    };
    // One that can't be looked at isn't lost.
    struct BadDisk : FaultPlan {
        Verdict Before(const Call& call) override {
            return {.error = call.operation == Operation::Open ? EIO : 0};
        }
    } bad_disk;
    {
        folder_.Write("pages", std::string(std::size_t{kPages} * kPage, 'a'));
        const auto file = Open();
        file->ExpectManyRows();
        add_rows(*file, 3);
        file->BeginRow(true);
        file->EndRow(false);
        const test::InstalledPlan installed(bad_disk);
        try {
            file->Settle();
            ADD_FAILURE();
        } catch (const DataError& error) {
            EXPECT_TRUE(Has(error.Description(), "could not be examined"));
            EXPECT_FALSE(error.TargetLost());
        }
    }
    std::filesystem::remove(path_);
    for (const auto& [words, attack] : cases) {
        // In the middle of a batch; behind its commit, where a longer file is others' right.
        for (const bool open_batch : {true, false}) {
            if (!open_batch && words == std::string_view("longer")) {
                continue;
            }
            folder_.Write("pages", std::string(std::size_t{kPages} * kPage, 'a'));
            auto file = Open();
            file->ExpectManyRows();
            add_rows(*file, 3);
            if (!open_batch) {
                file->BeginRow(true);
                file->EndRow(false);
                file->Begin();
                file->Commit();
            }
            attack();
            const auto now = IsThere(path_) ? folder_.Read("pages") : "";
            try {
                file->Settle();
                ADD_FAILURE() << words << open_batch;
            } catch (const DataError& error) {
                EXPECT_TRUE(Has(error.Description(), words));
                EXPECT_TRUE(Has(error.Description(), path_));
                EXPECT_TRUE(error.TargetLost());
                EXPECT_EQ(error.LostRows(), open_batch ? 3 : 0);
            }
            file.reset();
            EXPECT_TRUE((IsThere(path_) ? folder_.Read("pages") : "") == now) << words;
            EXPECT_FALSE(IsThere(journal_)) << words << open_batch;
            std::filesystem::remove(path_);
        }
    }
}

TEST_F(JournalTest, OfAGroupTooEachFileMustStillBeOurs) {
    const std::string other = folder_ / "memos";
    for (const bool leader : {true, false}) {
        for (const bool cut : {true, false}) {
            folder_.Write("pages", std::string(6000, 'a'));
            folder_.Write("memos", std::string(6000, 'm'));
            const std::vector<std::string> others{other};
            auto group = std::make_unique<FileGroup>(
                File::Open(path_, OpenMode::ReadWrite), ByteRange{}, others, FileGroupOptions{});
            const auto memos = group->Add(File::Open(other, OpenMode::ReadWrite), {});
            group->ExpectManyRows();
            group->BeginRow();
            const std::string bytes(5000, 'x');
            for (const auto member : {FileGroup::kLeader, memos}) {
                group->Write(member, 3000, std::as_bytes(std::span(bytes)));
            }
            group->EndRow(true);
            const auto& attacked = leader ? path_ : other;
            cut ? std::filesystem::resize_file(attacked, 100)
                : static_cast<void>(std::filesystem::remove(attacked));
            const auto error = ErrorOf([&] { group->Settle(); });
            EXPECT_TRUE(Has(error, cut ? "shorter" : "deleted"));
            EXPECT_TRUE(Has(error, attacked));
            group.reset();
            EXPECT_TRUE((IsThere(other) ? folder_.Read("memos") : "") ==
                        (leader ? std::string(6000, 'm')
                         : cut  ? std::string(100, 'm')
                                : ""));
            EXPECT_FALSE(IsThere(journal_));
            EXPECT_FALSE(IsThere(other + "-journal"));
        }
    }
}

}  // namespace
}  // namespace vantry::file

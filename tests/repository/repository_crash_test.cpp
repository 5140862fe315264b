// What a repository is after its program was killed, and after somebody else has found it so: every
// session whose save had ended is whole, and the next save and load go on.

#include "data/value_text.h"
#include "drivers/access/verify/verify.h"
#include "repository/repository.h"
#include "repository/saved_session.h"
#include "support/child_process.h"
#include "support/fault_plans.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <functional>

namespace vantry::test {
namespace {

namespace fs = std::filesystem;

constexpr int kTables = 2;
constexpr int kColumns = 3;

// Names tell the session they belong to, so that a row in the wrong one shows.
void SetSession(int number) {
    const std::string mark = std::to_string(number);
    SourceType = "ACCESS";
    TargetType = "MySQL";
    SourceConnStr = "source " + mark;
    TargetConnStr = "target " + mark;
    TableRec table;
    table.Name = "table " + mark;
    table.WhereCond = std::string(300, 'w');
    SrcTables.assign(kTables, table);
    SrcTables[1].TabID = 1;
    DstTables = SrcTables;
    ColMapRec column;
    column.SCName = "s" + mark;
    column.SSelected = 1;
    ColMaps.assign(kTables * kColumns, column);
    for (i16 k = 0; k < kTables * kColumns; ++k) {
        ColMaps[static_cast<std::size_t>(k)].TabID = static_cast<i16>(k / kColumns);
        ColMaps[static_cast<std::size_t>(k)].Pos = k;
    }
}

i32 SaveNumbered(int number) {
    SetSession(number);
    SessionSave save;
    save.SesName = "session " + std::to_string(number);
    save.LogName = "/nowhere/" + std::to_string(number) + ".log";
    SetDaily(save, {0, 0});
    return SaveSession(save);
}

// What is wrong with the repository; sessions 1 to `whole` must be whole, and one more may
// be there in part.
std::string WrongWith(const std::string& folder, int whole) {
    try {
        for (int number = 1; number <= whole; ++number) {
            const auto session = LoadSession(number);
            if (!session || session->SessionName != "session " + std::to_string(number)) {
                return "session " + std::to_string(number) + " is gone";
            }
            const std::string mark = std::to_string(number);
            if (SrcTables.size() != kTables || ColMaps.size() != kTables * kColumns ||
                SrcTables[1].Name != "table " + mark || ColMaps.back().SCName != "s" + mark) {
                return "session " + mark + " isn't whole";
            }
        }
        const auto sessions = ListSessions();
        if (sessions.size() > static_cast<std::size_t>(whole) + 1) {
            return "sessions that nobody saved";
        }
        const i32 next = SaveNumbered(static_cast<int>(sessions.size()) + 1);
        if (!LoadSession(next) || ColMaps.size() != kTables * kColumns) {
            return "the next save isn't whole";
        }
        DeleteSession(next);
        const auto report = access::Verify(RepositoryFile(folder));
        return report.Text();
    } catch (const std::exception& error) {
        return error.what();
    }
}

// Whether the work was killed.
bool RunKilled(const std::function<void()>& work) {
    return RunChild([&](const Report&) { work(); }).killed;
}

class RepositoryCrash : public testing::Test {
protected:
    RepositoryCrash() { InitSharedState(folder_.Path().string()); }

    static constexpr int kSaved = 3;
    void MakeRepository() {
        NoSync plan;
        const InstalledPlan installed(plan);
        for (const auto& entry : fs::directory_iterator(folder_.Path())) {
            fs::remove_all(entry);
        }
        CreateRepository(folder_.Path().string(), Now());
        for (int number = 1; number <= kSaved; ++number) {
            SaveNumbered(number);
        }
        files_ = ReadFolder(folder_.Path());
    }
    // Kills a save, or a deletion of the session after it, at its operation `point`; false when it
    // ended before.
    bool KillWriter(int point) {
        WriteFolder(folder_.Path(), files_);
        return RunKilled([&] {
            KillAt plan(point, 512, Planted::Nothing);
            const InstalledPlan installed(plan);
            SaveNumbered(kSaved + 1);
        });
    }
    bool HasJournal() const {
        const fs::directory_iterator entries(folder_.Path());
        return std::any_of(begin(entries), end(entries), [](const auto& entry) {
            return IsJournal(entry.path().string());
        });
    }

    const TempDir folder_{MemoryFolder(), "vantry"};
    DiskRecord::Files files_;
};

// Of a program that died in the middle of a change the file alone is half the truth.
TEST_F(RepositoryCrash, WhatAKilledProgramLeftIsInNoCopyAndSpoilsNoOtherRepository) {
    MakeRepository();
    const std::string folder = folder_.Path().string();
    const TempDir copies(MemoryFolder(), "vantry");
    BackupRepository(folder, copies / "good");
    int cases = 0;
    for (int point = 0; KillWriter(point); point += 9) {
        if (!HasJournal()) {
            continue;
        }
        const auto killed = ReadFolder(folder_.Path());
        const auto backup = copies / ("killed" + std::to_string(point));
        BackupRepository(folder, backup);
        InitSharedState(backup.string());
        EXPECT_EQ(WrongWith(backup.string(), kSaved), "") << "backup, killed at " << point;
        InitSharedState(folder);
        for (const bool restored : {true, false}) {
            WriteFolder(folder_.Path(), killed);
            if (restored) {
                RestoreRepository(folder, copies / "good/VYRepo.mdb", Now());
            } else {
                CreateRepository(folder, Now());
            }
            EXPECT_EQ(WrongWith(folder, restored ? kSaved : 0), "") << "killed at " << point;
            ++cases;
        }
    }
    EXPECT_GT(cases, 10);
}

TEST_F(RepositoryCrash, CopiesAreSoundWhileAnotherProgramSaves) {
    MakeRepository();
    const std::string folder = folder_.Path().string();
    const TempDir copies(MemoryFolder(), "vantry");
    BackupRepository(folder, copies / "good");
    const auto save_on = [&](const Report&) {
        for (int number = kSaved + 1;; ++number) {
            try {
                SaveNumbered(number);
            } catch (const DataError&) {
                // Was cut off by a restore.
            }
        }
    };
    RunChild(save_on, [&](pid_t other) {
        for (int k = 0; k < 500; ++k) {
            const auto backup = copies / std::to_string(k);
            BackupRepository(folder, backup);
            const auto report = access::Verify(backup / "VYRepo.mdb");
            EXPECT_TRUE(report.IsSound()) << k << ": " << report.Text();
            if (k % 20 == 0) {
                RestoreRepository(folder, copies / "good/VYRepo.mdb", Now());
            }
        }
        ::kill(other, SIGKILL);
    });
    ListSessions();  // what the kill left is rolled back
    const auto report = access::Verify(RepositoryFile(folder));
    EXPECT_TRUE(report.IsSound()) << report.Text();
}

}  // namespace
}  // namespace vantry::test

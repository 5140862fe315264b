#pragma once
// A program folder with a repository and saved sessions in it, and the pages around them.

#include "core/session_state.h"
#include "data/value_text.h"
#include "files/file_lock.h"
#include "repository/pages/register.h"
#include "repository/repository.h"
#include "shell/background_work.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "wizard/wizard_flow.h"

#include <QElapsedTimer>
#include <QTableWidget>
#include <QTimer>

#include <gtest/gtest.h>

#include <filesystem>

namespace vantry::test {

class ManagerTest : public ::testing::Test {
protected:
    ManagerTest() {
        InitSharedState(Folder());
        RegisterShellPages();
        RegisterWizardPages();
        RegisterRepositoryPages();
        CreateRepository(Folder(), Now());
        SourceType = "ACCESS";
        TargetType = "TEXT";
        SrcTables.assign(1, {});
        SrcTables[0].Name = "orders";
        DstTables = SrcTables;
        ColMaps.clear();
    }
    ~ManagerTest() override { ClearPages(); }

    std::string Folder() const { return folder_.Path().string(); }
    std::string In(const std::string& name) const { return (folder_ / name).string(); }

    i32 Save(const std::string& name, const std::string& log = "") {
        SessionSave save;
        save.SesName = name;
        save.LogName = log;
        SetDaily(save, {0, (6 * 60 + 30) * 60 * kNanosPerSecond});
        return SaveSession(save);
    }
    static std::string Query(const std::string& statement) {
        return RowsOf(RepoConnStr, statement);
    }
    static void Execute(const std::string& statement) { RunStatement(RepoConnStr, statement); }

    // The grid as the user reads it: a line a row, cells apart by "|".
    static std::string Grid() {
        const auto& grid = Control<QTableWidget>("Form15", "SesDBGrid");
        std::string text;
        for (int row = 0; row < grid.rowCount(); ++row) {
            for (int column = 0; column < grid.columnCount(); ++column) {
                text += (column == 0 ? "" : "|") + FromQt(grid.item(row, column)->text());
            }
            text += "\n";
        }
        return text;
    }
    static void Select(int row) {
        Control<QTableWidget>("Form15", "SesDBGrid").setCurrentCell(row, 0);
    }
    // A stand-in for a program of that name, which writes down what the command prints.
    void MakeProgram(const std::string& name, const std::string& command) const {
        folder_.Write(name, "#!/bin/sh\n" + command + " >said.part\nmv said.part said\n");
        std::filesystem::permissions(folder_ / name, std::filesystem::perms::owner_all);
    }
    // What it wrote; empty if it doesn't start.
    std::string SaidByProgram() const {
        Until([&] { return std::filesystem::exists(folder_ / "said"); });
        return folder_.Read("said");
    }
    // The repository as another program has it open, until the object goes.
    class Held {
    public:
        Held(const std::string& folder, file::LockByte byte, file::LockKind kind)
            : file_(file::File::OpenIfThere(RepositoryFile(folder).string(),
                                            file::OpenMode::ReadWrite)) {
            file::SetLockTimeout(std::chrono::milliseconds(20));
            file::Lock(*file_, byte, kind);
        }
        ~Held() { file::SetLockTimeout(timeout_); }

    private:
        std::chrono::milliseconds timeout_ = file::LockTimeout();
        decltype(file::File::OpenIfThere("", file::OpenMode::ReadWrite)) file_;
    };
    // Runs inside the next modal page.
    static void WhenModal(std::function<void()> work) {
        QTimer::singleShot(
            0, [work = std::move(work)] { IsWaitingForWork() ? WhenModal(work) : work(); });
    }
    // Lets the page's clocks run until it is so; false after the time.
    static bool Until(const std::function<bool()>& is_so, int milliseconds = 10'000) {
        QElapsedTimer timer;
        timer.start();
        while (!is_so()) {
            if (timer.elapsed() > milliseconds) {
                return false;
            }
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        }
        return true;
    }

    TempDir folder_{MemoryFolder(), "vantry"};
    ScriptedDialogs dialogs_;
};

}  // namespace vantry::test

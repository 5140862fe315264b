#pragma once
// The text pages over a folder of their own, with the pages around them by name only.

#include "core/session_state.h"
#include "shell/small_windows.h"
#include "support/page_driver.h"
#include "support/temp_dir.h"
#include "text/pages/register.h"
#include "wizard/wizard_flow.h"

#include <QCheckBox>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QTableView>

namespace vantry {

class TextPagesTest : public ::testing::Test {
protected:
    TextPagesTest() {
        InitSharedState(folder_.Path().string());
        RegisterShellPages();
        RegisterWizardPages();
        RegisterTextPages();
        RegisterNamedPages(
            {"Form1", "Form2", "Form4", "Form6", "Form8", "Form10", "MySQLSrc", "MSSQLSrc"});
        SourceType = "TEXT";
        TargetType = "ACCESS";
        SourceConnStr = "former";
        SrcTables.assign(3, {});
    }
    ~TextPagesTest() override { ClearPages(); }

    std::string Folder() const { return folder_.Path().string(); }
    static void SetOption(const char* page, const char* option) {
        Control<QAbstractButton>(page, option).setChecked(true);
    }
    static std::string Preview(const char* page) {
        return FromQt(Control<QPlainTextEdit>(page, "TextPreview").toPlainText());
    }
    // The heading row and the first `rows` rows below it.
    static std::string Grid(const char* page, int rows) {
        const auto* const model = Control<QTableView>(page, "ColGrid").model();
        std::string text;
        for (int column = 0; column < model->columnCount(); ++column) {
            text += "[" + FromQt(model->headerData(column, Qt::Horizontal).toString()) + "]";
        }
        for (int row = 0; row < rows; ++row) {
            text += "\n";
            for (int column = 0; column < model->columnCount(); ++column) {
                text += "[" + FromQt(model->index(row, column).data().toString()) + "]";
            }
        }
        return text;
    }

    test::TempDir folder_;
    ScriptedDialogs dialogs_;
};

}  // namespace vantry

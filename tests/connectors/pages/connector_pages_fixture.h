#pragma once
// What the tests of the connector pages share: the pages with named ones around them, and short
// words for what is looked at.

#include "connectors/pages/register.h"
#include "core/session_state.h"
#include "shell/background_work.h"
#include "shell/small_windows.h"
#include "support/has.h"
#include "support/page_driver.h"
#include "support/private_odbc.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "wizard/wizard_flow.h"

#include <QApplication>
#include <QColor>
#include <QListWidget>
#include <QTimer>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace vantry::test {

class ConnectorPagesTest : public ::testing::Test {
protected:
    ConnectorPagesTest() {
        Registry();
        InitSharedState(folder_.Path().string());
        RegisterShellPages();
        RegisterWizardPages();
        RegisterConnectorPages();
        RegisterNamedPages({"Form4", "Form11", "Form11Poll", "Form12c"});
        OdbcDrivers = {""};
        OdbcDsns = {{}};
        SourceType = TargetType = "ACCESS";
        SourceViaOdbc = kFalse;
        SourceConnStr = TargetConnStr = "of the last session";
        SrcTables.clear();
    }
    ~ConnectorPagesTest() override {
        ClearPages();
        AwaitAllWork();
    }

    // The drivers and data sources of this process, empty until a test registers some.
    static PrivateOdbc& Registry() { return PrivateOdbc::OfProcess(); }
    // What the page connects by.
    static std::string& ConnStr(std::string_view page) {
        const bool target = page.ends_with("Dest") || page == "Form8" || page == "Form9";
        return target ? TargetConnStr : SourceConnStr;
    }
    // Empty if one box was shown that begins and ends so, has the words and not the secret.
    std::string NoBox(std::string_view begin,
                      std::string_view words,
                      std::string_view end,
                      std::string_view secret) {
        const std::string box = dialogs_.TakeBoxes();
        const bool good = box.starts_with(begin) && box.find(words) != box.npos &&
                          box.ends_with(end) && box.find(secret) == box.npos;
        return good ? "" : "no box with " + std::string(words) + " but: " + box;
    }
    // Entries of a list or a combo box, parted by commas.
    static std::string Entries(const char* page, const char* name) {
        auto& items = Control<QWidget>(page, name);
        const auto* const combo = dynamic_cast<QComboBox*>(&items);
        const auto* const model =
            combo != nullptr ? combo->model() : dynamic_cast<QListWidget&>(items).model();
        std::string text;
        for (int row = 0; row < model->rowCount(); ++row) {
            text += (row == 0 ? "" : ",") + FromQt(model->index(row, 0).data().toString());
        }
        return text;
    }
    // "text #rrggbb"; the text alone where it has the colour of all texts.
    static std::string Status(const char* page, const char* name) {
        const auto& label = Control<QLabel>(page, name);
        const QColor color = label.palette().color(QPalette::WindowText);
        const bool usual = color == QApplication::palette().color(QPalette::WindowText);
        return FromQt(label.text()) + (usual ? "" : " " + FromQt(color.name()));
    }
    static void Select(const char* page, const char* list, std::initializer_list<int> rows) {
        for (const int row : rows) {
            Control<QListWidget>(page, list).item(row)->setSelected(true);
        }
    }
    // The names of those controls that take input.
    static std::string Enabled(const char* page, std::initializer_list<const char*> names) {
        std::string enabled;
        for (const char* name : names) {
            enabled += Control<QWidget>(page, name).isEnabled() ? std::string(name) + " " : "";
        }
        return enabled;
    }
    // "Owner|Name" of SrcTables, parted by commas.
    static std::string Tables() {
        std::string text;
        for (const auto& table : SrcTables) {
            text += (text.empty() ? "" : ",") + table.Owner + "|" + table.Name;
        }
        return text;
    }
    // Presses Esc as soon as the page waits for an answer.
    static void GiveUpSoon() {
        QTimer::singleShot(50, qApp, [] {
            if (!IsWaitingForWork()) {
                GiveUpSoon();
                return;
            }
            SendKey(TheMainWindow(), Qt::Key_Escape);
        });
    }

    std::string MakeDatabase(const std::string& name,
                             std::initializer_list<const char*> tables = {}) const {
        const std::string connect = NewAccessDatabase(folder_ / name);
        for (const char* table : tables) {
            RunStatement(connect, std::string("create table [") + table + "] ([id] Long)");
        }
        return (folder_ / name).string();
    }

    TempDir folder_;
    ScriptedDialogs dialogs_;
};

}  // namespace vantry::test

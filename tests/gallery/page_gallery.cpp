// Draws every page into a picture, filled as a user would have filled it: for whoever looks whether
// something is cut off, overlaps or stands crooked.
// Usage: page_gallery SAMPLES_FOLDER OUT_FOLDER SUFFIX [dark]; QT_SCALE_FACTOR sets the scale.

#include "core/session_state.h"
#include "data/value_text.h"
#include "mapping/column_discovery.h"
#include "programs/all_pages.h"
#include "repository/pages/create_repository.h"
#include "repository/pages/ses_edit.h"
#include "repository/pages/show_log.h"
#include "repository/repository.h"
#include "repository/saved_session.h"
#include "shell/main_window.h"
#include "shell/page_look.h"
#include "shell/page_set.h"
#include "shell/product_picture.h"
#include "shell/qt_text.h"
#include "support/dark_palette.h"
#include "support/page_driver.h"
#include "support/session_steps.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QListWidget>
#include <QMdiArea>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QStyleFactory>
#include <QTableWidget>
#include <QTimer>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace vantry {
namespace {

// Nobody is there to answer a box: it is printed, and the picture shows what the page did next.
struct PrintedDialogs : ScriptedDialogs {
    BoxAnswer Show(const Box& box) override {
        std::printf("a box said: %s\n", box.text.c_str());
        return ScriptedDialogs::Show(box);
    }
};

class Gallery {
public:
    Gallery(std::filesystem::path samples, std::filesystem::path out, std::string suffix)
        : samples_(std::move(samples)), out_(std::move(out)), suffix_(std::move(suffix)) {}

    void Draw() {
        MakeSession();
        for (const char* name : {"NavForm", "Form1", "frmWait"}) {
            Show(name);
        }
        for (const char* name : {"Form2", "Form8"}) {
            ShowPage(name);
            Type(name, "Mdbfilename", file_);
            Press(name, "LOADBUTT");
            Save(TheMainWindow(), std::string("MDIForm1-") + name);
            Show(name);
        }
        HidePage("NavForm");
        Save(TheMainWindow(), "MDIForm1-nopage");
        DrawServerPages();
        DrawTextPages();
        DrawMappingPages();
        Show("Form13");
        DrawRunPage();
        DrawSavedSessions();
        ShowAlone({"frmSplash", "frmAbout"});
        Save(TheMainWindow(), "MDIForm1");
    }

private:
    // The sample files, and an Access database with the same tables in it.
    void MakeSession() {
        folder_ = (out_ / ("data-" + suffix_)).string();
        std::filesystem::remove_all(folder_);
        std::filesystem::create_directories(folder_);
        for (const char* name : {"customers.csv", "orders.csv"}) {
            std::filesystem::copy_file(samples_ / name, std::filesystem::path(folder_) / name);
        }
        InitSharedState(folder_);
        file_ = JoinPath(folder_, "shop.mdb");
        std::vector<std::string> statements;
        for (const char* table : {"customers", "invoices", "orders", "order items", "products"}) {
            statements.push_back(
                std::string("create table [") + table +
                "] ([id] Long, [name] Text(50), [price] Currency, [since] DateTime)");
        }
        SourceType = TargetType = "ACCESS";
        SourceConnStr = TargetConnStr = test::NewAccessDatabase(file_, statements);
        SrcTables.clear();
        for (const char* table : {"customers", "orders", "products"}) {
            SrcTables.emplace_back().Name = table;
        }
        RegisterAllPages();
        CreateNewRepository(folder_);
    }

    // No server is asked: the lists hold what one might have said.
    void DrawServerPages() {
        std::istringstream names(
            "MySQLSrc MySQLDest MSSQLSrc MSSQLDest Form6 Form9 Form10 Form3 ODBCSrc");
        for (std::string word; names >> word;) {
            const char* const name = word.c_str();
            Page* const page = LoadPage(name);
            for (auto* const list : page->findChildren<QListWidget*>()) {
                list->addItems({"customers", "invoices", "order items", "orders", "products"});
                list->item(3)->setSelected(true);
            }
            for (auto* const label : page->findChildren<QLabel*>()) {
                if (label->text().isEmpty()) {
                    label->setText("Connected Successfully");
                }
            }
            Show(name);
        }
    }

    void DrawTextPages() {
        dialogs_.choices = {folder_};
        Show("Form11", [] {
            Press("Form11", "Command1");
            Control<QListWidget>("Form11", "FilesList").setCurrentRow(0);
        });
        dialogs_.choices = {JoinPath(folder_, "customers.csv")};
        Show("Form11Poll", [] { Press("Form11Poll", "Command1"); });
        Show("Form12c", [this] { Type("Form12c", "FName", folder_); });
    }

    void DrawMappingPages() {
        Show("Form4");
        ShowPage("Form4");
        Control<QTableWidget>("Form4", "FlexGrid1").setCurrentCell(1, 2);
        Save(*FindPage("Form4")->parentWidget(), "Form4-list");
        HidePage("Form4");
        const auto open_columns = [] {
            for (const auto& [label, text] : {std::pair("TabIDLabel", "0"),
                                              {"SourceTabName", "customers"},
                                              {"DestTabName", "customers"}}) {
                LoadPage("Form5")->findChild<QLabel*>(label)->setText(text);
            }
        };
        open_columns();
        DrawModal("Form5", "Form5", [] {});
        // A table that is still to be made, one column skipped, one size being changed.
        SrcTables[0].TableExists = kFalse;
        open_columns();
        DrawModal("Form5", "Form5-editing", [] {
            auto& grid = Control<QTableWidget>("Form5", "ColGrid1");
            auto& list = Control<QComboBox>("Form5", "SColList");
            grid.setCurrentCell(2, 1);
            list.setCurrentIndex(0);
            Q_EMIT list.activated(0);
            grid.setCurrentCell(1, 7);
        });
        LoadPage("MapErrForm")
            ->findChild<QPlainTextEdit*>("t1")
            ->setPlainText(
                "TABLE NAME :customers\n\nInvalid Datatype Mapping.\nSrc Col Name :name\n"
                "Dest Col Name:born\nSource Datatype:Text\nDest. Datatype:DateTime\n");
        DrawModal("MapErrForm", "MapErrForm", [] {});
    }

    void DrawSavedSessions() {
        for (const char* name : {"Customers every night", "Orders", "Stock of the shops"}) {
            SessionSave save;
            save.SesName = name;
            save.LogName = "/home/anna/vantry/log/" + save.SesName + ".log";
            SetMonthly(save, {0, *NanosOf(6, 30, 0)}, 15);
            SaveSession(save);
        }
        Show("Form15");
        auto* const edit = dynamic_cast<SesEdit*>(LoadPage("SesEdit"));
        Connection repository;
        repository.Open(RepoConnStr);
        edit->Begin(*FindSession(repository, 1));
        ShowPage("SesEdit");
        Control<QAbstractButton>("SesEdit", "TimeOpt_1").setChecked(true);
        Save(*edit, "SesEdit");
        UnloadPage("SesEdit");
        const std::string log = JoinPath(folder_, "a.log");
        {
            std::ofstream out(log);
            out << "Started loading at :11/15/2026 7:03:08 PM\r\n";
            for (int i = 1; i < 200; ++i) {
                out << "About to Insert Rows from table" << i << " to table" << i << "\r\n"
                    << i * 7 << " Rows Loaded Time Elapsed :0 Hrs 0 Min " << i % 7 << " Sec\r\n";
            }
        }
        auto* const viewer = dynamic_cast<ShowLog*>(LoadPage("ShowLog"));
        viewer->setWindowTitle("Session Log for Session ID:1 Name :Orders");
        viewer->Read(log);
        ShowPage("ShowLog");
        Save(*viewer, "ShowLog");
        UnloadPage("ShowLog");
        ShowAlone({"BackupRepo", "RestoreRepo", "CheckSch"});
    }

    void DrawModal(const char* name,
                   const std::string& picture,
                   const std::function<void()>& work) {
        QTimer::singleShot(200, [&] {
            work();
            Save(*FindPage(name), picture);
            UnloadPage(name);
        });
        ShowPageModal(name);
    }

    void DrawRunPage() {
        Show("Form14", [] {
            Control<QPlainTextEdit>("Form14", "LogTxt")
                .setPlainText(
                    "Started loading at :11/15/2026 7:03:08 PM\n\nAbout To Create Table "
                    "customers\n\ncustomers Table Created Successfully\n\nAbout to Insert Rows "
                    "from customers to customers");
            Control<QLabel>("Form14", "Label2").setText("4711 of 10000 Rows Loaded");
            auto& bar = Control<QProgressBar>("Form14", "RowPro");
            bar.setMaximum(10000);
            bar.setValue(4711);
        });
    }

    // Windows of their own.
    void ShowAlone(std::initializer_list<const char*> names) {
        for (const char* name : names) {
            ShowPage(name);
            Save(*FindPage(name), name);
            UnloadPage(name);
        }
    }
    // With what `fill` does to it.
    void Show(
        const char* name, const std::function<void()>& fill = [] {}) {
        ShowPage(name);
        fill();
        auto* const window = FindPage(name)->parentWidget();
        Save(*window, name);
        const auto* const area = TheMainWindow().Area()->viewport();
        if (!area->rect().contains(window->geometry())) {
            Save(TheMainWindow(), std::string("MDIForm1-") + name);  // what of it is seen
        }
        HidePage(name);
    }

    void Save(QWidget& widget, const std::string& name) {
        for (int round = 0; round < 5; ++round) {
            QCoreApplication::processEvents();
        }
        const auto file = out_ / (name + "-" + suffix_ + ".png");
        if (!widget.grab().save(ToQt(file.string()))) {
            std::printf("can't write %s\n", file.c_str());
        }
    }

    PrintedDialogs dialogs_;
    std::filesystem::path samples_;
    std::filesystem::path out_;
    std::string suffix_;
    std::string folder_;
    std::string file_;
};

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) try {
    if (argc < 4) {
        std::fputs("usage: page_gallery SAMPLES_FOLDER OUT_FOLDER SUFFIX [dark]\n", stderr);
        return 64;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setApplicationVersion("2.0");
    QApplication::setWindowIcon(vantry::ProductIcon());
    if (argc > 4) {
        QApplication::setPalette(vantry::DarkPalette());
    }
    vantry::MakeSelectionsReadable();
    std::filesystem::create_directories(argv[2]);
    vantry::Gallery(argv[1], argv[2], argv[3]).Draw();
    vantry::UnloadAllPages();
    vantry::CloseMainWindow();
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "page_gallery: %s\n", error.what());
    return 1;
}

// Help buttons and menu entries open the help at its start, which lists the pages of all windows;
// F1 opens the page about the window in front. Easy to get wrong: which window that is. A key
// reaches the focused control first, and the page is found from there; a message box or a file
// chooser belongs to the page beneath it.
#include "shell/help.h"

#include "core/folders.h"
#include "data/paths.h"
#include "shell/dialogs.h"
#include "shell/page.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QKeyEvent>

#include <utility>

namespace vantry {
namespace {

constexpr std::string_view kStart = "index.html";

constexpr std::pair<std::string_view, std::string_view> kHelpPages[] = {
    {"NavForm", "navigator.html"},
    {"Form1", "kinds.html"},
    {"Form2", "access-source.html"},
    {"Form8", "access-target.html"},
    {"Form6", "oracle-source.html"},
    {"Form9", "oracle-target.html"},
    {"Form10", "foxpro-source.html"},
    {"Form3", "foxpro-target.html"},
    {"MySQLSrc", "mysql-source.html"},
    {"MySQLDest", "mysql-target.html"},
    {"MSSQLSrc", "sqlserver-source.html"},
    {"MSSQLDest", "sqlserver-target.html"},
    {"ODBCSrc", "odbc-source.html"},
    {"Form11", "text-source.html"},
    {"Form11Poll", "text-polling.html"},
    {"Form12c", "text-target.html"},
    {"Form4", "tables.html"},
    {"Form5", "columns.html"},
    {"MapErrForm", "mapping-errors.html"},
    {"Form13", "save.html"},
    {"Form14", "run.html"},
    {"Form15", "sessions.html"},
    {"SesEdit", "edit-session.html"},
    {"ShowLog", "log.html"},
    {"BackupRepo", "backup.html"},
    {"RestoreRepo", "restore.html"},
    {"CheckSch", "scheduler.html"},
    {"frmAbout", "about.html"},
    {"frmWait", "window.html"},
    {"frmSplash", "window.html"},
};

}  // namespace

std::string_view HelpPageOf(std::string_view page) {
    for (const auto& [name, file] : kHelpPages) {
        if (name == page) {
            return file;
        }
    }
    return {};
}

void OpenHelpPage(std::string_view file) {
    const std::string path = JoinPath(ProgramFolder(), "help/" + std::string(file));
    if (!QFileInfo::exists(ToQt(path)) || !CurrentDialogs().Open(path)) {
        TellStop("The help can't be shown: there is no \"" + path +
                 "\", or no program that shows web pages is installed.");
    }
}

void OpenHelp() {
    const std::string folder = ProgramFolder();
    // Installations that bring a compiled help show that one, whatever else is there.
    const std::string compiled = JoinPath(folder, "VY3Help.chm");
    if (QFileInfo::exists(ToQt(compiled)) && CurrentDialogs().Open(compiled)) {
        return;
    }
    const std::string start = JoinPath(folder, "help/" + std::string(kStart));
    if (!QFileInfo::exists(ToQt(start)) || !CurrentDialogs().Open(start)) {
        TellStop(
            "The help can't be shown: there is neither \"VY3Help.chm\" nor the folder \"help\" "
            "in " +
            folder + ", or no program that shows it is installed.");
    }
}

void OpenTour() {
    OpenHelpPage("tour.html");
}

void OpenWebPage() {
    OpenHelpPage("web.html");
}

HelpKey::HelpKey(std::string_view otherwise, QObject* parent)
    : QObject(parent), otherwise_(otherwise) {
    QCoreApplication::instance()->installEventFilter(this);
}

bool HelpKey::eventFilter(QObject* watched, QEvent* event) {
    const auto* const control = qobject_cast<QWidget*>(watched);
    if (event->type() != QEvent::KeyPress || control == nullptr ||
        static_cast<QKeyEvent*>(event)->key() != Qt::Key_F1) {
        return false;
    }
    // Boxes without a page above them are about the page in front.
    const Page* page = ActivePage();
    for (const QWidget* widget = control; widget != nullptr; widget = widget->parentWidget()) {
        if (const auto* const found = qobject_cast<const Page*>(widget)) {
            page = found;
            break;
        }
    }
    const std::string name = page == nullptr ? std::string() : FromQt(page->objectName());
    if (name == "frmSplash") {
        return false;  // any key closes it
    }
    const auto file = HelpPageOf(name);
    OpenHelpPage(file.empty() ? std::string_view(otherwise_) : file);
    return true;
}

}  // namespace vantry

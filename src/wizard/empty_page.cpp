// Every page that isn't built yet has its place here: a row with its caption, its words and how its
// buttons leave it, so that the whole graph can be walked today. A page that is built takes its row
// out and registers itself under the same name.
// Easy to get wrong: the ways of leaving differ from page to page for no reason that shows. A page
// that hides keeps what its controls hold, and Back returns to it as it was left; users rely on
// which ones do.
#include "wizard/empty_page.h"

#include "core/kinds.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/plate_button.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>

namespace vantry {
namespace {

using Role = EmptyPageRecord::Role;
using Leaving = EmptyPageRecord::Leaving;

constexpr const char* kCancelCapital = "Are you sure you want to Cancel this Session?";
constexpr const char* kCancelSmall = "Are you sure you want to cancel this Session?";

// Sources first, then targets, then the windows beside the wizard; columns as in EmptyPageRecord.
constexpr EmptyPageRecord kPages[] = {
    {"Form6",
     "Vantry: Source Oracle",
     "An Oracle source",
     Role::Source,
     Leaving::Hide,
     Leaving::Hide,
     "Cancel",
     "Are you sure to Cancel this Session?",
     true},
    {"Form10",
     "Vantry: Choose Foxpro Source",
     "A FoxPro source",
     Role::Source,
     Leaving::Hide,
     Leaving::Hide,
     "Cancel",
     kCancelSmall,
     true},
    {"MySQLSrc",
     "MySQL Source",
     "A MySQL source",
     Role::Source,
     Leaving::Unload,
     Leaving::Hide,
     "Cancel",
     kCancelCapital,
     true},
    {"MSSQLSrc",
     "Microsoft SQL Server Source",
     "A SQL Server source",
     Role::Source,
     Leaving::Unload,
     Leaving::Hide,
     "Cancel",
     kCancelCapital,
     true},
    {"ODBCSrc",
     "Select ODBC Source",
     "A source with an ODBC driver",
     Role::Source,
     Leaving::NoAction,
     Leaving::Hide,
     "Cancel",
     kCancelSmall,
     false},
    {"Form9",
     "Vantry: Choose Oracle Destination",
     "An Oracle target",
     Role::Target,
     Leaving::Hide,
     Leaving::Hide,
     "Cancel",
     kCancelSmall,
     true},
    {"Form3",
     "Vantry: Choose Foxpro / DBF Destination",
     "A FoxPro target",
     Role::Target,
     Leaving::Hide,
     Leaving::Hide,
     "Confirm Cancel",
     "Are you sure to cancel this session?",
     true},
    {"MySQLDest",
     "MySQL Destination",
     "A MySQL target",
     Role::Target,
     Leaving::Hide,
     Leaving::Stay,
     "Cancel Session",
     "Are you sure you want to cancel this session",
     true},
    {"MSSQLDest",
     "Microsoft SQL Server Destination",
     "A SQL Server target",
     Role::Target,
     Leaving::Hide,
     Leaving::Hide,
     "Cancel",
     kCancelCapital,
     true},
    {"Form15",
     "Vantry: Saved Sessions",
     "The list of saved sessions",
     Role::Beside,
     Leaving::Unload,
     Leaving::NoAction,
     nullptr,
     nullptr,
     false},
    {"BackupRepo",
     "Backup Repository",
     "A backup of the repository",
     Role::Beside,
     Leaving::Unload,
     Leaving::NoAction,
     nullptr,
     nullptr,
     false},
    {"RestoreRepo",
     "Restore Repository",
     "Restoring the repository",
     Role::Beside,
     Leaving::Unload,
     Leaving::NoAction,
     nullptr,
     nullptr,
     false},
    {"CheckSch",
     "Scheduler Status",
     "The state of the scheduler",
     Role::Beside,
     Leaving::Unload,
     Leaving::NoAction,
     nullptr,
     nullptr,
     false},
};

}  // namespace

EmptyPage::EmptyPage(const EmptyPageRecord& record) : Page(record.name), record_(record) {
    setWindowTitle(record.caption);
    auto* const rows = new QVBoxLayout(this);
    rows->setContentsMargins(16, 12, 16, 12);
    auto* const heading = new QLabel(QString(record.what));
    heading->setProperty("look", "heading");
    auto* const note = new QLabel("This version has no page for it yet.");
    note->setProperty("look", "hint");
    auto* const line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    auto* const buttons = new QHBoxLayout;
    const auto add = [this, buttons](const char* name, const char* text, auto action) {
        auto* const button = new PlateButton;
        button->setObjectName(name);
        button->setText(text);
        connect(button, &PlateButton::Click, this, action);
        buttons->addWidget(button);
    };
    add("HLP", "&Help", [] { OpenHelp(); });
    buttons->addStretch();
    if (record.role == Role::Beside) {
        add("Close", "&Close", [this] { Back(); });
    } else {
        add("BCK", "< &Back", [this] { Back(); });
        add("NXT", "&Next >", [this] { Next(); });
        add("CNCL", "&Cancel", [this] { AskToCancel(record_.cancel_title, record_.cancel_text); });
    }
    rows->addWidget(heading);
    rows->addWidget(note);
    rows->addStretch();
    rows->addWidget(line);
    rows->addLayout(buttons);
    resize(560, 300);
}

bool EmptyPage::QueryUnload() {
    return !record_.asks_on_close || AskToClose();
}

void EmptyPage::Leave(Leaving how) {
    // Stay: MySQLDest is left visible beneath the next page. NoAction never comes here from Next.
    if (how == Leaving::Hide) {
        HidePage(record_.name);
    } else if (how == Leaving::Unload) {
        UnloadPage(record_.name);
    }
}

void EmptyPage::Next() {
    const std::string target = TargetType;
    Leave(record_.next);
    if (record_.role == Role::Target) {
        // Or the run would write into the target of an earlier session.
        TargetConnStr.clear();
        ShowPage("Form4");
        return;
    }
    // What an earlier session read must not be taken for this one's source.
    SourceConnStr.clear();
    SrcTables.clear();
    if (std::string_view(record_.name) == "ODBCSrc") {
        SourceViaOdbc = kTrue;
    }
    // From SQL Server to SQL Server no page follows. That goes by this page, not by SourceType.
    const SourceKind& own = KindOf(target).source;
    if (own.page != record_.name || own.leads_to_own_kind) {
        ShowPage(TargetPageOf(target));
    }
}

void EmptyPage::Back() {
    if (record_.back == Leaving::NoAction) {
        return;
    }
    Leave(record_.back);
    if (record_.role == Role::Source) {
        ShowPage("Form1");
    } else if (record_.role == Role::Target) {
        BackToSourcePage();
    } else if (std::string_view(record_.name) == "Form15") {
        ShowPage("NavForm");
    }
}

void RegisterEmptyPages() {
    for (const auto& record : kPages) {
        RegisterPage(record.name, [&record] { return std::make_unique<EmptyPage>(record); });
    }
}

}  // namespace vantry

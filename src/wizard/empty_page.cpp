#include "wizard/empty_page.h"

#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/plate_button.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace vantry {
namespace {

constexpr EmptyPageRecord kPages[] = {
    {"Form15", "Vantry: Saved Sessions", "The list of saved sessions", true},
    {"BackupRepo", "Backup Repository", "A backup of the repository", false},
    {"RestoreRepo", "Restore Repository", "Restoring the repository", false},
    {"CheckSch", "Scheduler Status", "The state of the scheduler", false},
};

}  // namespace

EmptyPage::EmptyPage(const EmptyPageRecord& record) : Page(record.name) {
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
    add("Close", "&Close", [record] {
        UnloadPage(record.name);
        if (record.to_navigator) {
            ShowPage("NavForm");
        }
    });
    rows->addWidget(heading);
    rows->addWidget(note);
    rows->addStretch();
    rows->addWidget(line);
    rows->addLayout(buttons);
    resize(560, 300);
}

void RegisterEmptyPages() {
    for (const auto& record : kPages) {
        RegisterPage(record.name, [&record] { return std::make_unique<EmptyPage>(record); });
    }
}

}  // namespace vantry

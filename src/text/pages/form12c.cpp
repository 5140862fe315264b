// The page for text files as a target: format, delimiter, qualifier, folder and extension, taken
// into the session on Next. The folder is checked when its field is left, and not before the click
// that left it has been worked off: checked at once, a wrong folder would swallow the click, also
// one on Cancel. Leaving by Enter doesn't leave the field, so Next checks it itself.

#include "text/pages/form12c.h"

#include "ui_Form12c.h"

#include "core/kinds.h"
#include "core/route.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

#include <QApplication>
#include <QFileInfo>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QTimer>

#include <array>

namespace vantry {
namespace {

constexpr int kOther = 3;
constexpr int kWaitForMouseMs = 20;

// Losing the focus to a menu or to another program isn't leaving.
bool IsLeaving(const QEvent& event) {
    if (event.type() != QEvent::FocusOut) {
        return false;
    }
    const auto reason = static_cast<const QFocusEvent&>(event).reason();
    return reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason &&
           reason != Qt::MenuBarFocusReason;
}

bool IsTypedCharacter(const QEvent& event) {
    if (event.type() != QEvent::KeyPress) {
        return false;
    }
    const auto& key = static_cast<const QKeyEvent&>(event);
    return !key.text().isEmpty() && key.text().front().isPrint() &&
           (key.modifiers() & (Qt::ControlModifier | Qt::AltModifier)) == Qt::NoModifier;
}

}  // namespace

Form12c::Form12c() : Page("Form12c"), ui_(std::make_unique<Ui::Form12c>()) {
    ui_->setupUi(this);
    ui_->FileFormatOpt->setId(ui_->FileFormatOpt_0, 0);
    ui_->FileFormatOpt->setId(ui_->FileFormatOpt_1, 1);
    int option = 0;
    for (auto* const button : {ui_->Option1_0, ui_->Option1_1, ui_->Option1_2, ui_->Option1_3}) {
        ui_->Option1->setId(button, option++);
    }
    ui_->TQ->addItems({"\"", "'"});
    ui_->TQ->setCurrentIndex(0);
    // It would turn a typed sign into an entry of the list.
    ui_->TQ->setCompleter(nullptr);
    ui_->DefExt->setCompleter(nullptr);
    ConnectControls();
}

Form12c::~Form12c() = default;

void Form12c::ConnectControls() {
    connect(ui_->FileFormatOpt, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked) {
            FormatChosen(id);
        }
    });
    connect(ui_->Option1, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked) {
            DelimiterChosen(id);
        }
    });
    connect(ui_->OthFormat, &QLineEdit::textChanged, this, &Form12c::OtherTyped);
    connect(ui_->Command1, &PlateButton::Click, this, &Form12c::ChooseFolder);
    connect(ui_->NXTBUTT, &PlateButton::Click, this, &Form12c::Next);
    connect(ui_->BCKBUTT, &PlateButton::Click, this, &Form12c::Back);
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, [] {
        AskToCancel("Cancel", "Are you sure you want to cancel this session?");
    });
    TakesPath(*ui_->FName, "Text folders", PathUse::InSession);
    connect(ui_->FName, &QLineEdit::textChanged, this, &Form12c::FolderChanged);
    connect(ui_->DefExt, &QComboBox::currentTextChanged, this, [] { RefreshStatus(); });
    ui_->FName->installEventFilter(this);
    ui_->OthFormat->installEventFilter(this);
}

bool Form12c::QueryUnload() {
    return AskToClose();
}

bool Form12c::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui_->FName && IsLeaving(*event)) {
        folder_left_ = true;
        CheckLeftFolderSoon();
    }
    // The delimiter is one character long.
    if (watched == ui_->OthFormat && IsTypedCharacter(*event) &&
        !ui_->OthFormat->text().isEmpty()) {
        return true;
    }
    return Page::eventFilter(watched, event);
}

// Not while a mouse button is down or a box is open: the click that took the focus away comes
// first, or it would be lost, and a wrong folder would bar the way to Cancel.
void Form12c::CheckLeftFolderSoon() {
    QTimer::singleShot(0, this, [this] {
        if (QApplication::mouseButtons() != Qt::NoButton ||
            QApplication::activeModalWidget() != nullptr) {
            QTimer::singleShot(kWaitForMouseMs, this, [this] { CheckLeftFolderSoon(); });
        } else {
            CheckLeftFolder();
        }
    });
}

// An empty field isn't complained about here: the user may be on the way to the folder chooser.
bool Form12c::CheckLeftFolder() {
    const QString folder = ui_->FName->text();
    if (!std::exchange(folder_left_, false) || !PageIsVisible("Form12c") || folder.isEmpty() ||
        QFileInfo(folder).isDir()) {
        return true;
    }
    TellStop("Directory does not exist", "Stop");
    ui_->FName->setFocus();
    return false;
}

// A file of fixed width has neither delimiter nor qualifier: their controls are greyed out.
void Form12c::FormatChosen(int option) {
    const bool delimited = option == 0;
    format_letter_ = delimited ? 'D' : 'F';
    for (QWidget* const control : std::initializer_list<QWidget*>{ui_->Frame2,
                                                                  ui_->Option1_0,
                                                                  ui_->Option1_1,
                                                                  ui_->Option1_2,
                                                                  ui_->Option1_3,
                                                                  ui_->OthFormat,
                                                                  ui_->TQ,
                                                                  ui_->Label4,
                                                                  ui_->Label6}) {
        control->setEnabled(delimited);
    }
}

void Form12c::DelimiterChosen(int option) {
    static constexpr const char* kDelimiters[] = {",", "\t", ";"};
    delimiter_ = option == kOther ? FromQt(ui_->OthFormat->text()) : kDelimiters[option];
    ui_->OthFormat->setEnabled(option == kOther);
    if (option == kOther) {
        ui_->OthFormat->setFocus();
    }
}

// A double quote could not be told from the qualifier.
void Form12c::OtherTyped() {
    const QString text = ui_->OthFormat->text();
    if (text == "\"") {
        TellStop("Invalid Delimiting Character", "Stop");
        const QSignalBlocker quiet(ui_->OthFormat);
        ui_->OthFormat->clear();
        return;
    }
    delimiter_ = FromQt(text);
}

std::string Form12c::SideInWords() const {
    const std::string folder = FromQt(ui_->FName->text());
    return folder.empty()
               ? folder
               : FromQt(ui_->DefExt->currentText()) + " files in the folder " + LastPartOf(folder);
}

// Told while the folder is being chosen, as a run would find it out table by table.
void Form12c::FolderChanged() {
    SetNotice(ReadOnlyInWords(FromQt(ui_->FName->text())), NoticeKind::Warning);
}

void Form12c::ChooseFolder() {
    const auto folder = CurrentDialogs().ChooseFolder(
        "Select Folder Where CSV/Delimited Text Files should be created",
        FromQt(ui_->FName->text()));
    if (folder && !folder->empty()) {
        ui_->FName->setText(ToQt(*folder));
    }
}

void Form12c::Next() {
    // Enter in the field leaves the page without leaving the field first.
    folder_left_ = folder_left_ || focusWidget() == ui_->FName;
    if (!CheckLeftFolder()) {
        return;
    }
    if (ui_->FName->text().isEmpty()) {
        TellStop("Please enter the Folder Name", "Stop");
        ui_->FName->setFocus();
        return;
    }
    const bool delimited = format_letter_ == 'D';
    if (delimited && ui_->Option1->checkedId() == kOther && ui_->OthFormat->text().isEmpty()) {
        TellStop("Please enter Delimiting Characater", "Stop");
        ui_->OthFormat->setFocus();
        return;
    }
    // Nothing of the session changes above: a refused page leaves what an earlier pass has set.
    TextDestFormat = delimited ? "DELIMITED" : "FIXED";
    // Written back into the field, so that going Back shows what is in force.
    QString extension = ui_->DefExt->currentText();
    if (extension.isEmpty()) {
        extension = ".txt";
    } else if (!extension.startsWith('.')) {
        extension.prepend('.');
    }
    ui_->DefExt->setEditText(extension);
    TextDestQual = FromQt(ui_->TQ->currentText());
    TextDestExt = FromQt(extension);
    TextDestDelim = delimiter_;
    TextDestDir = FromQt(ui_->FName->text());
    TextDestHeader = ToI16(ui_->ColNames->isChecked());
    RememberPaths();
    HidePage("Form12c");
    ShowPage("Form4");
}

void Form12c::Back() {
    // With some sources nothing is shown behind it: their rows say that Back leads nowhere from
    // here.
    UnloadPage("Form12c");
    if (const auto& source = ThisSource(); source.back_from_text_target) {
        ShowPage(source.page);
    }
}

}  // namespace vantry

// The page for text files as a source: a folder, its files with ticks, and the format of the
// selected one. Formats are kept for each file until Next writes the sections of Schema.ini and the
// connection string, and hands the ticked files on as tables. Easy to get wrong: filling the list
// must not raise the signals of a selection (each would read a file), and a folder that was typed
// but not yet left counts when Next is pressed.

#include "text/pages/form11.h"

#include "ui_Form11.h"

#include "core/route.h"
#include "data/data_error.h"
#include "data/error_text.h"
#include "data/letter_case.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/name_list.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"
#include "text/pages/path_field.h"
#include "text_format/file_names.h"
#include "wizard/wizard_flow.h"

#include <QAbstractItemView>
#include <QSignalBlocker>
#include <QStyledItemDelegate>
#include <QTimer>

#include <utility>

namespace vantry {
namespace {

// "*.csv" as file systems that ignore letter case match it; "*.*" is every file.
bool Matches(const std::string& name, const std::string& pattern) {
    return pattern == "*.*" || LowerCased(name).ends_with(LowerCased(pattern.substr(1)));
}

std::vector<std::string> FilesOf(const std::string& folder, const std::string& pattern) {
    std::vector<std::string> files;
    try {
        files = text::FilesOf(folder);
    } catch (const DataError&) {
        return {};  // a folder that isn't there has no files
    }
    std::erase_if(files, [&](const std::string& name) { return !Matches(name, pattern); });
    return files;
}

// Styles draw the outline of a tick box as a shade of the window. In a list on a dark desktop that
// is the list's own colour, and an empty box couldn't be seen.
class TickPainter : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
        QStyledItemDelegate::initStyleOption(option, index);
        if (option->palette.color(QPalette::Base).lightness() < 128) {
            option->palette.setColor(QPalette::Window, option->palette.color(QPalette::Text));
        }
    }
};

}  // namespace

Form11::Form11() : Page("Form11"), ui_(std::make_unique<Ui::Form11>()) {
    ui_->setupUi(this);
    const auto store = [this](auto TableRec::*field) {
        return [this, field](const auto& value) {
            if (TableRec* const file = Selected()) {
                file->*field = value;
                // From now on the section that stands in "Schema.ini" is replaced by the page's.
                formats_.at(static_cast<std::size_t>(file->TabID)).chosen = true;
                TellFormat();
            }
        };
    };
    format_ = new FormatControls(
        *this,
        "F",
        {store(&TableRec::SFormat), store(&TableRec::TextQ), store(&TableRec::SFirstColLine)});
    connect(ui_->Command1, &PlateButton::Click, this, &Form11::ChooseFolder);
    TakesPath(*ui_->FolderName, "Text folders");
    folder_ = new PathField(*ui_->FolderName, [this] {
        RefreshList();
        return !files_.empty();
    });
    connect(ui_->FileExtCombo, &QComboBox::currentIndexChanged, this, &Form11::RefreshList);
    ui_->FileExtCombo->installEventFilter(this);
    ui_->FileExtCombo->view()->installEventFilter(this);
    connect(ui_->FilesList, &QListWidget::itemSelectionChanged, this, &Form11::SelectFile);
    connect(ui_->FilesList, &QListWidget::itemChanged, this, [] { RefreshStatus(); });
    ui_->FilesList->setItemDelegate(new TickPainter(ui_->FilesList));
    // A file that is ticked by the keyboard is the one to be looked at, too.
    connect(ui_->FilesList, &QListWidget::itemChanged, this, [this](QListWidgetItem* item) {
        ui_->FilesList->setCurrentItem(item);
    });
    connect(ui_->SelAll, &PlateButton::Click, this, [this] { Tick(true); });
    connect(ui_->SelNone, &PlateButton::Click, this, [this] { Tick(false); });
    connect(ui_->NXTBUTT, &PlateButton::Click, this, &Form11::Next);
    connect(ui_->BCKBUTT, &PlateButton::Click, this, [] {
        UnloadPage("Form11");
        ShowPage("Form1");
    });
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, [] {
        AskToCancel("Cancel", "Are you sure you want to cancel this Session?");
    });
}

Form11::~Form11() = default;

void Form11::OnLoad() {
    format_->Open();
    // The signal would list the files of a folder that nobody has chosen yet.
    const QSignalBlocker quiet(ui_->FileExtCombo);
    ui_->FileExtCombo->setCurrentIndex(0);
}

bool Form11::QueryUnload() {
    return AskToClose();
}

// Arrows in the closed list of extensions pass over those that the folder has no files of: these
// are told when the list is left on one.
bool Form11::eventFilter(QObject* watched, QEvent* event) {
    if (watched == ui_->FileExtCombo) {
        const auto type = event->type();
        const bool enter = type == QEvent::KeyPress && IsEnterKey(*event);
        if ((type == QEvent::KeyPress && !enter) || type == QEvent::Wheel) {
            passing_ = true;
        } else if (enter || type == QEvent::FocusOut) {
            passing_ = false;
            if (std::exchange(untold_, false)) {
                QTimer::singleShot(0, this, &Form11::TellNoFiles);
            }
        }
    } else if (event->type() == QEvent::Show) {
        passing_ = false;  // the list is open: what is chosen in it is meant
    }
    return Page::eventFilter(watched, event);
}

void Form11::TellNoFiles() {
    untold_ = false;
    Tell("No Files Found in the selected directory matching extention:" +
         JoinPath(Folder(), FromQt(ui_->FileExtCombo->currentText())));
}

std::string Form11::Folder() const {
    return FromQt(ui_->FolderName->text());
}

void Form11::ChooseFolder() {
    const auto folder = CurrentDialogs().ChooseFolder(
        "Select Folder Where CSV/Delimited Text Files are located", Folder());
    if (folder && !folder->empty()) {
        ui_->FolderName->setText(ToQt(*folder));
        folder_->Take();
    }
}

void Form11::RefreshList() {
    const std::string pattern = FromQt(ui_->FileExtCombo->currentText());
    {
        const QSignalBlocker quiet(ui_->FilesList);
        ui_->FilesList->clear();
        format_->Clear();
        files_.clear();
        for (const auto& name : FilesOf(Folder(), pattern)) {
            TableRec& file = files_.emplace_back();
            // Here the row of the list; Next numbers the ticked ones anew.
            file.TabID = static_cast<i16>(files_.size() - 1);
            file.Name = name;
            file.SFormat = ",";
            file.TextQ = "\"";
            file.SFirstColLine = 1;
            auto* const entry = new QListWidgetItem(ToQt(name), ui_->FilesList);
            entry->setCheckState(Qt::Unchecked);
        }
        ReadOwnFormats();
    }
    RefreshStatus();
    if (files_.empty() && !Folder().empty()) {
        SayNoneFound(*ui_->FilesList, "There are no such files in the folder.");
    }
    // A box at each arrow key would make the list of extensions unusable.
    untold_ = files_.empty() && passing_;
    if (!files_.empty()) {
        // Looked at at once: nothing can go on before a file was.
        ui_->FilesList->setCurrentRow(0);
    } else if (!passing_) {
        TellNoFiles();
    }
}

void Form11::ReadOwnFormats() {
    std::vector<std::string> names;
    for (const auto& file : files_) {
        names.push_back(file.Name);
    }
    formats_.clear();
    for (auto& own : OwnFormats(Folder(), names)) {
        const int row = static_cast<int>(formats_.size());
        if (!own.empty()) {
            ui_->FilesList->item(row)->setToolTip(
                ToolTipOf(ToQt("Schema.ini describes this file: " + own)));
        }
        formats_.push_back({std::move(own), false});
    }
}

// Which of the two describes the selected file, where the page can't show what "Schema.ini" says.
void Form11::TellFormat() {
    const TableRec* const file = Selected();
    const auto* const format =
        file == nullptr ? nullptr : &formats_.at(static_cast<std::size_t>(file->TabID));
    if (format == nullptr || format->own.empty()) {
        SetNotice(Notice());
    } else if (format->chosen) {
        SetNotice("The format chosen here takes the place of what Schema.ini says of " +
                      file->Name + " (" + format->own + ").",
                  NoticeKind::Warning);
    } else {
        SetNotice(file->Name + " is read as Schema.ini describes it (" + format->own +
                  "), unless a format is chosen here.");
    }
}

// Rows of the list and elements of files_ go together, one for one.
TableRec* Form11::Selected() {
    const auto entries = ui_->FilesList->selectedItems();
    if (entries.isEmpty()) {
        return nullptr;
    }
    return &files_.at(static_cast<std::size_t>(ui_->FilesList->row(entries.front())));
}

void Form11::SelectFile() {
    if (const TableRec* const file = Selected()) {
        format_->Load(*file);
        const auto& format = formats_.at(static_cast<std::size_t>(file->TabID));
        format_->Preview(JoinPath(Folder(), file->Name), format.own.empty() || format.chosen);
    }
    TellFormat();
}

// Those that the filter shows: nobody means names that can't be seen.
void Form11::Tick(bool all) {
    const QSignalBlocker quiet(ui_->FilesList);
    for (int row = 0; row < ui_->FilesList->count(); ++row) {
        if (!ui_->FilesList->isRowHidden(row)) {
            ui_->FilesList->item(row)->setCheckState(all ? Qt::Checked : Qt::Unchecked);
        }
    }
    ui_->FilesList->viewport()->update();
    RefreshStatus();
}

std::string Form11::SideInWords() const {
    return files_.empty() ? std::string()
                          : "the folder " + LastPartOf(Folder()) + ", " +
                                CountInWords(TickedFiles().size(), "file", "files");
}

// Numbered anew: the run takes TabID for the place among the tables of the session.
std::vector<TableRec> Form11::TickedFiles() const {
    std::vector<TableRec> ticked;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (ui_->FilesList->item(static_cast<int>(i))->checkState() == Qt::Checked) {
            ticked.push_back(files_[i]);
            ticked.back().TabID = static_cast<i16>(ticked.size() - 1);
            ticked.back().FolderName = Folder();
        }
    }
    return ticked;
}

// Without those that "Schema.ini" describes by hand and nobody has chosen another format for.
std::vector<TableRec> Form11::FilesToDescribe() const {
    std::vector<TableRec> files;
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (ui_->FilesList->item(static_cast<int>(i))->checkState() == Qt::Checked &&
            (formats_[i].own.empty() || formats_[i].chosen)) {
            files.push_back(files_[i]);
        }
    }
    return files;
}

void Form11::Next() {
    folder_->TakeTyped();
    if (!format_->PreviewValid()) {
        TellStop("Invalid File", "Stop");
        return;
    }
    auto ticked = TickedFiles();
    if (ticked.empty()) {
        Tell("Please Select atleast one file for transfer");
        return;
    }
    try {
        if (Folder().empty()) {
            throw DataError(kErrUnspecified, "No folder is chosen.");
        }
        // Before anything of the session changes: when it can't be written, the page stays as it
        // was.
        WriteSchemaIni(Folder(), FilesToDescribe(), format_->Qualifier(), kTextSourceScanRows);
    } catch (const std::exception& error) {
        Tell(std::string("Error while preparing Text Source. Please Contact Vantry Support\n") +
             ErrorText(error));
        return;
    }
    SourceConnStr = TextSourceConnectionString(Folder());
    SrcTables = std::move(ticked);
    RememberPaths();
    SourceQueryMode = 0;
    // Hidden, not unloaded: Back must find the ticks and formats as they are.
    HidePage("Form11");
    if (const auto target = TargetPageOf(TargetType); !target.empty()) {
        ShowPage(target);
    }
}

}  // namespace vantry

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
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "text/pages/path_field.h"
#include "text_format/file_names.h"
#include "wizard/wizard_flow.h"

#include <QSignalBlocker>
#include <QStyledItemDelegate>

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
            }
        };
    };
    format_ = new FormatControls(
        *this,
        "F",
        {store(&TableRec::SFormat), store(&TableRec::TextQ), store(&TableRec::SFirstColLine)});
    connect(ui_->Command1, &PlateButton::Click, this, &Form11::ChooseFolder);
    folder_ = new PathField(*ui_->FolderName, [this] { RefreshList(); });
    connect(ui_->FileExtCombo, &QComboBox::currentIndexChanged, this, &Form11::RefreshList);
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
    const QSignalBlocker quiet(ui_->FileExtCombo);
    ui_->FileExtCombo->setCurrentIndex(0);
}

bool Form11::QueryUnload() {
    return AskToClose();
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
            file.TabID = static_cast<i16>(files_.size() - 1);
            file.Name = name;
            file.SFormat = ",";
            file.TextQ = "\"";
            file.SFirstColLine = 1;
            auto* const entry = new QListWidgetItem(ToQt(name), ui_->FilesList);
            entry->setCheckState(Qt::Unchecked);
        }
    }
    if (files_.empty()) {
        Tell("No Files Found in the selected directory matching extention:" +
             JoinPath(Folder(), pattern));
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
        format_->Preview(JoinPath(Folder(), file->Name));
    }
}

void Form11::Tick(bool all) {
    const QSignalBlocker quiet(ui_->FilesList);
    for (int row = 0; row < ui_->FilesList->count(); ++row) {
        ui_->FilesList->item(row)->setCheckState(all ? Qt::Checked : Qt::Unchecked);
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
        WriteSchemaIni(Folder(), ticked, format_->Qualifier(), kTextSourceScanRows);
    } catch (const std::exception& error) {
        Tell(std::string("Error while preparing Text Source. Please Contact Vantry Support\n") +
             ErrorText(error));
        return;
    }
    SourceConnStr = TextSourceConnectionString(Folder());
    SrcTables = std::move(ticked);
    SourceQueryMode = 0;
    // Hidden, not unloaded: Back must find the ticks and formats as they are.
    HidePage("Form11");
    if (const auto target = TargetPageOf(TargetType); !target.empty()) {
        ShowPage(target);
    }
}

}  // namespace vantry

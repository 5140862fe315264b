// The Access source page: a file or data source, how to connect, and a list of its tables. Load
// puts the connection string together and fills the list; what is selected there becomes SrcTables
// on Next.
// Easy to get wrong: when it loads. A change of option loads again only if a list stands there, and
// a failure is shown and the list emptied, so that the list never shows another file's tables.
#include "connectors/pages/form2.h"

#include "ui_Form2.h"

#include "check/pages/preview_window.h"
#include "connectors/pages/access_page.h"
#include "connectors/pages/connector_page.h"
#include "core/route.h"
#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/name_list.h"
#include "shell/page_set.h"
#include "wizard/wizard_flow.h"

namespace vantry {

Form2::Form2() : Page("Form2"), ui_(std::make_unique<Ui::Form2>()) {
    ui_->setupUi(this);
    OfferPreview(*ui_->mdbtables, NamedTable);
    ConnectOptions();
    connect(&TakesPath(*ui_->Mdbfilename, kAccessPaths), &PathEntry::Picked, this, [this] {
        TakeFile(FromQt(ui_->Mdbfilename->text()));
    });
    connect(&TakesPath(*ui_->SysDBFileName, "Access system databases"),
            &PathEntry::Picked,
            this,
            &Form2::Load);
    WatchAccessFields(*ui_, [this](auto& field) { WatchField(field); });
    connect(ui_->mdbtables, &QListWidget::itemSelectionChanged, this, [] { RefreshStatus(); });
    connect(ui_->brow, &PlateButton::Click, this, &Form2::Browse);
    connect(ui_->SysDBBrow, &PlateButton::Click, this, &Form2::BrowseSystemDatabase);
    connect(ui_->LOADBUTT, &PlateButton::Click, this, &Form2::Load);
    ConnectsByEnter(*ui_->LOADBUTT);
    ChooseAceWhenTyped(*ui_, [this] { ui_->Option4->setChecked(true); });
    connect(ui_->NXT, &PlateButton::Click, this, &Form2::Next);
    connect(ui_->BCK, &PlateButton::Click, this, [] {
        HidePage("Form2");
        ShowPage("Form1");
    });
    connect(ui_->HLP, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCL, &PlateButton::Click, this, [] {
        // Each page asks in words of its own, which users' instructions quote.
        AskToCancel("Confirm Cancel", "Are you sure to cancel this Session?");
    });
}

Form2::~Form2() = default;

void Form2::OnLoad() {
    FillAccessLists(*ui_);
}

bool Form2::QueryUnload() {
    return AskToClose();
}

// No option disables the data source list again, and Option4 has no handler. That unevenness is
// what users' instructions and habits go by.
void Form2::ConnectOptions() {
    connect(ui_->Option1, &QRadioButton::clicked, this, [this] {
        ui_->ACCOdbcDrv->setEnabled(false);
        ReloadIfListed();
    });
    connect(ui_->Option2, &QRadioButton::clicked, this, [this] {
        ui_->ACCOdbcDrv->setEnabled(true);
        ReloadIfListed();
    });
    connect(ui_->Option3, &QRadioButton::clicked, this, [this] {
        ui_->AccDSNList->setEnabled(true);
        ReloadIfListed();
    });
    connect(ui_->ACCOdbcDrv, &QComboBox::activated, this, [this] { ReloadIfListed(); });
    connect(ui_->AccDSNList, &QComboBox::activated, this, [this] { ReloadIfListed(); });
}

void Form2::ReloadIfListed() {
    if (ui_->mdbtables->count() > 0) {
        Load();
    }
}

void Form2::Browse() {
    const auto file = CurrentDialogs().ChooseFileToOpen(
        {"Open", kAccessFiles, FromQt(ui_->Mdbfilename->text()), ""});
    if (!file) {
        return;
    }
    ui_->Mdbfilename->setText(ToQt(*file));
    TakeFile(*file);
}

void Form2::TakeFile(const std::string& file) {
    const std::string extension = FileExtOf(file);
    if (extension == "accdb") {
        ui_->Option4->click();
    } else if (extension == "mdb") {
        // Set and not clicked: a click would load a first time, and Load follows below.
        ui_->Option1->setChecked(true);
        ui_->ACCOdbcDrv->setEnabled(false);
    }
    Load();
}

void Form2::BrowseSystemDatabase() {
    const auto file = CurrentDialogs().ChooseFileToOpen(
        {"Open",
         "MS Access System Database (*.mdw)|*.mdw|All Files (*.*)|*.*",
         FromQt(ui_->SysDBFileName->text()),
         ""});
    if (file) {
        ui_->SysDBFileName->setText(ToQt(*file));
        Load();
    }
}

void Form2::Load() {
    if (ui_->Mdbfilename->text().isEmpty() && !ui_->Option3->isChecked()) {
        TellStop("Please enter the MDB File or click button to browse");
        ui_->mdbtables->clear();
        NotConnected();
        return;
    }
    // A new one each time: the former still holds the other file's list, and its connection.
    SourceCatalog = std::make_unique<Catalog>();
    // Without an option the former string stays, as an earlier page or session left it.
    if (const auto method = ChosenAccessMethod(*ui_)) {
        SourceConnStr = AccessConnectionString(*method, AccessLoginOf(*ui_));
    }
    ListTables();
}

// A failure is shown, and the next step tried: a database that can't be attached leaves an empty
// list, and is reported once more by the count.
void Form2::ListTables() {
    WaitNotice wait;
    Connected();
    const auto tell = [&](const DataError& error) {
        // The notice goes first, or the box would stand over a page that seems to work on.
        wait.Close();
        NotConnected();
        TellStop(error.Description(), "Error");
    };
    try {
        SourceCatalog->SetActiveConnection(SourceConnStr);
    } catch (const DataError& error) {
        tell(error);
    }
    ui_->mdbtables->clear();
    try {
        auto& tables = SourceCatalog->Tables();
        if (tables.Count() == 0) {
            SayNoneFound(*ui_->mdbtables, "There are no tables.");
            wait.Close();
            CurrentDialogs().Show({"No Tables found in the selected Database",
                                   "Not Found",
                                   BoxIcon::Information,
                                   BoxButtons::Ok,
                                   {}});
            return;
        }
        QStringList names;
        for (std::int32_t i = 0; i < tables.Count(); ++i) {
            const auto& table = tables[i];
            // Links and system tables stay out: a link's rows are in another file.
            if (table.Type == "TABLE" || table.Type == "VIEW") {
                names << ToQt(table.Name);
            }
        }
        ui_->mdbtables->addItems(names);
        if (names.isEmpty()) {
            SayNoneFound(*ui_->mdbtables, "There are no tables.");
        }
    } catch (const DataError& error) {
        tell(error);
    }
}

i16 Form2::ChkSQLSyntax(const std::string& query) {
    try {
        Connection connection;
        connection.Open(SourceConnStr, "", "");
        // Opened and not read: the source parses it, and that is the question.
        Recordset rows;
        rows.Open(query, connection);
        rows.Close();
        return kTrue;
    } catch (const DataError& error) {
        TellStop(NumberText(error.Number()) + "\r" + error.Description() + "\r" + error.Source(),
                 "Query Error");
        return kFalse;
    }
}

std::string Form2::SideInWords() const {
    const std::string place = Page::SideInWords();
    const auto selected = static_cast<std::size_t>(ui_->mdbtables->selectedItems().size());
    return place.empty() ? place : place + ", " + CountInWords(selected, "table", "tables");
}

void Form2::Next() {
    std::vector<TableRec> chosen;
    for (int row = 0; row < ui_->mdbtables->count(); ++row) {
        const auto* const entry = ui_->mdbtables->item(row);
        if (entry->isSelected()) {
            chosen.emplace_back().Name = FromQt(entry->text());
        }
    }
    if (chosen.empty()) {
        TellStop("Please select atleast one table", "Stop");
        return;
    }
    SrcTables = std::move(chosen);
    SourceQueryMode = 0;
    HidePage("Form2");
    ShowPage(TargetPageOf(TargetType));
}

}  // namespace vantry

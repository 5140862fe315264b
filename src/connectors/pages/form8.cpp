// The Access target page: the same fields as the source page, without tables. A connection is tried
// at once, and its result stands as text in a label; Next goes by that text alone.
// Easy to get wrong: "Connected Succesfully" is both what the user reads and what Next compares,
// misspelling included.
#include "connectors/pages/form8.h"

#include "ui_Form8.h"

#include "connectors/pages/access_page.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "wizard/wizard_flow.h"

namespace vantry {
namespace {

// The chooser's own list of types is for those of .mdb alone.
constexpr const char* kNewFileHint = "name.mdb, or name.accdb for Access 2007 and later";

constexpr const char* kConnected = "Connected Succesfully";

}  // namespace

Form8::Form8() : Page("Form8"), ui_(std::make_unique<Ui::Form8>()) {
    ui_->setupUi(this);
    ConnectOptions();
    connect(&TakesPath(*ui_->Mdbfilename, kAccessPaths), &PathEntry::Picked, this, [this] {
        ChooseAceFor(FromQt(ui_->Mdbfilename->text()));
        Load();
    });
    connect(&TakesPath(*ui_->SysDBFileName, "Access system databases"),
            &PathEntry::Picked,
            this,
            &Form8::Load);
    WatchAccessFields(*ui_, [this](auto& field) { WatchField(field); });
    connect(ui_->brow, &PlateButton::Click, this, &Form8::Browse);
    connect(ui_->SysDBBrow, &PlateButton::Click, this, &Form8::BrowseSystemDatabase);
    connect(ui_->NewMdbButton, &PlateButton::Click, this, &Form8::CreateDatabase);
    connect(ui_->LOADBUTT, &PlateButton::Click, this, &Form8::Load);
    ConnectsByEnter(*ui_->LOADBUTT);
    ChooseAceWhenTyped(*ui_, [this] { ChooseAceFor(FromQt(ui_->Mdbfilename->text())); });
    connect(ui_->NXT, &PlateButton::Click, this, &Form8::Next);
    connect(ui_->BCK, &PlateButton::Click, this, [] {
        HidePage("Form8");
        BackToSourcePage();
    });
    connect(ui_->HLP, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCL, &PlateButton::Click, this, [] {
        AskToCancel("Cancel", "Are you sure you want to cancel this Session?");
    });
}

Form8::~Form8() = default;

void Form8::OnLoad() {
    FillAccessLists(*ui_);
}

void Form8::OnActivate() {
    ForceSize(*this, 8250, 6540);
    Page::OnActivate();
}

bool Form8::QueryUnload() {
    return AskToClose();
}

void Form8::ConnectOptions() {
    connect(ui_->Option1, &QRadioButton::clicked, this, [this] {
        SetEnabled(false, false, true);
        ReloadIfTried();
    });
    connect(ui_->Option2, &QRadioButton::clicked, this, [this] {
        SetEnabled(true, false, true);
        ReloadIfTried();
    });
    connect(ui_->Option3, &QRadioButton::clicked, this, [this] {
        // A data source has all it needs, so it is tried at once; there is no file to create.
        SetEnabled(false, true, false);
        Load();
    });
    connect(ui_->Option4, &QRadioButton::clicked, this, [this] {
        SetEnabled(false, false, true);
        ReloadIfTried();
    });
    connect(ui_->ACCOdbcDrv, &QComboBox::activated, this, [this] { ReloadIfTried(); });
    connect(ui_->AccDSNList, &QComboBox::activated, this, [this] { Load(); });
}

void Form8::SetEnabled(bool drivers, bool dsns, bool create) {
    ui_->ACCOdbcDrv->setEnabled(drivers);
    ui_->AccDSNList->setEnabled(dsns);
    ui_->NewMdbButton->setEnabled(create);
}

void Form8::ReloadIfTried() {
    if (PageConnected != kFalse) {
        Load();
    }
}

void Form8::Browse() {
    const auto file = CurrentDialogs().ChooseFileToOpen(
        {"Select MS Access Database", kAccessFiles, FromQt(ui_->Mdbfilename->text()), ""});
    if (file) {
        ui_->Mdbfilename->setText(ToQt(*file));
        Load();
    }
}

void Form8::BrowseSystemDatabase() {
    const auto file = CurrentDialogs().ChooseFileToOpen(
        {"Select MS Access System Database",
         "MS Access System Database(*.mdw)|*.mdw|All Files (*.*)|*.*",
         FromQt(ui_->SysDBFileName->text()),
         ""});
    if (file) {
        ui_->SysDBFileName->setText(ToQt(*file));
        Load();
    }
}

// A new file has no password whatever the method, and its ending says what it is.
void Form8::CreateDatabase() {
    const auto file = CurrentDialogs().ChooseFileToSave({"Create New MS Access Database",
                                                         "MS Access Database (*.mdb)|*.mdb",
                                                         FromQt(ui_->Mdbfilename->text()),
                                                         "mdb",
                                                         kNewFileHint});
    if (!file) {
        return;
    }
    ui_->Mdbfilename->setText(ToQt(*file));
    try {
        Catalog().Create(NewAccessFileString(*file));
    } catch (const DataError& error) {
        Tell(error.Description());
        return;
    }
    ChooseAceFor(*file);
    Load();
}

// An .accdb isn't for the provider of .mdb files, whichever option stands there.
void Form8::ChooseAceFor(const std::string& file) {
    if (FileExtOf(file) == "accdb") {
        ui_->Option4->setChecked(true);
        SetEnabled(false, false, true);
    }
}

void Form8::Load() {
    if (ui_->Mdbfilename->text().isEmpty() && !ui_->Option3->isChecked()) {
        TellStop(
            "Please enter the MDB File or click button to browse. If you want to connect via ODBC "
            "DSN, Please choose DSN Option");
        ShowStatus("Connection Failed", 255, 0, 0);
        NotConnected();
        return;
    }
    // Also when the try fails: from now on each change of option tries again.
    PageConnected = kTrue;
    if (const auto method = ChosenAccessMethod(*ui_)) {
        TargetConnStr = AccessConnectionString(*method, AccessLoginOf(*ui_));
    }
    try {
        // Closed again: each table of a run opens its own.
        Connection connection;
        connection.Open(TargetConnStr, "", "");
        connection.Close();
    } catch (const DataError& error) {
        TellStop(NumberText(error.Number()) + ":" + error.Description(), "Error");
        ShowStatus("Connection Failed", 255, 0, 0);
        NotConnected();
        return;
    }
    ShowStatus(kConnected, 20, 200, 20);
    Connected();
}

void Form8::ShowStatus(const char* text, int red, int green, int blue) {
    ui_->ACCStatus->setText(text);
    QPalette colors = ui_->ACCStatus->palette();
    colors.setColor(QPalette::WindowText, QColor(red, green, blue));
    ui_->ACCStatus->setPalette(colors);
}

// The label is what counts: a connection that was made stays good after the fields were changed by
// hand, until the next try. TargetConnStr is still the one that was tried.
void Form8::Next() {
    if (ui_->ACCStatus->text() != kConnected) {
        Tell("Connection Failed");
        return;
    }
    HidePage("Form8");
    ShowPage("Form4");
}

}  // namespace vantry

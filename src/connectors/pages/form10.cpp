// Two forms of source, each with its Load, over three ways to connect. Any path goes: what is wrong
// with it is for the driver to say.
// Easy to get wrong: the status. Choosing the other form empties the list but leaves the status, so
// that the next change of method loads at once.
#include "connectors/pages/form10.h"

#include "ui_Form10.h"

#include "check/pages/preview_window.h"
#include "connectors/pages/connector_page.h"
#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {
namespace {

const QColor kFoxProGreen(50, 200, 40);

}  // namespace

Form10::Form10() : FoxProPage("Form10"), ui_(std::make_unique<Ui::Form10>()) {
    ui_->setupUi(this);
    OfferPreview(*ui_->List1, NamedTable);
    UseControls(ControlsOf(*ui_), "Select VFP Database");
    ui_->VFPFilename->setToolTip(kSemicolonByMethod);
    ConnectMethods();
    connect(ui_->DirLoadbutt, &PlateButton::Click, this, [this] { Load(FoxProForm::Folder); });
    connect(ui_->DBCLoadbutt, &PlateButton::Click, this, [this] { Load(FoxProForm::Container); });
    ConnectsByEnter(*ui_->DirLoadbutt);
    ConnectsByEnter(*ui_->DBCLoadbutt);
    ConnectButtons(
        {ui_->NXTBUTT, ui_->BCKBUTT, ui_->HLPBUTT, ui_->CNCLBUTT},
        [this] { Next(); },
        [] {
            HidePage("Form10");
            ShowPage("Form1");
        },
        "Cancel",
        "Are you sure you want to cancel this Session?");
}

Form10::~Form10() = default;

void Form10::OnLoad() {
    ListDriversOf("FOXPRO", *ui_->VFPODBCDrvList);
    ListDsnsOf("FOXPRO", *ui_->VFPDSNList);
    SelectFirst(*ui_->VFPODBCDrvList);
    SelectFirst(*ui_->VFPDSNList);
    ui_->VFPDSNList->setEnabled(false);
    ui_->DBCLoadbutt->setEnabled(false);
}

void Form10::ConnectMethods() {
    const auto on = [this](QRadioButton* option, bool drivers, bool dsns) {
        connect(option, &QRadioButton::clicked, this, [=, this] {
            ui_->VFPODBCDrvList->setEnabled(drivers);
            ui_->VFPDSNList->setEnabled(dsns);
            MethodChanged();
        });
    };
    on(ui_->Option1, true, false);
    on(ui_->Option2, false, false);
    on(ui_->Option3, false, true);
    connect(ui_->VFPODBCDrvList, &QComboBox::activated, this, [this] { MethodChanged(); });
    connect(ui_->VFPDSNList, &QComboBox::activated, this, [this] { MethodChanged(); });
}

void Form10::FormChanged() {
    const bool container = Form() == FoxProForm::Container;
    ui_->DBCLoadbutt->setEnabled(container);
    ui_->DirLoadbutt->setEnabled(!container);
    ui_->List1->clear();
}

FoxProMethod Form10::Method() const {
    return ui_->Option1->isChecked()   ? FoxProMethod::OdbcDriver
           : ui_->Option2->isChecked() ? FoxProMethod::OleDb
                                       : FoxProMethod::Dsn;
}

void Form10::MethodChanged() {
    ui_->List1->clear();
    // Any status means that Load was tried with this page's fields before, with whatever result.
    if (!ui_->Label6->text().isEmpty()) {
        Load(Form());
    }
}

void Form10::Load(FoxProForm form) {
    const std::string dsn = FromQt(ui_->VFPDSNList->currentText());
    if (Method() == FoxProMethod::Dsn) {
        if (dsn.empty()) {
            Tell("No DSN is specified please select a Proper DSN");
            return;
        }
        if (form == FoxProForm::Folder) {
            // Before the path is read below: the folder that it fills in is part of the source.
            ShowFolderOf(dsn);
        }
    }
    const FoxProSource source{Path(form), FromQt(ui_->VFPODBCDrvList->currentText()), dsn};
    SourceConnStr = FoxProSourceString(form, Method(), source);
    FoxSrcMode = FoxProMode(form);
    FoxSrcPrefix = FoxProPrefix(form, source.path);
    LoadFoxTables();
}

// A run reads each table by the folder that stands on the page. The user needn't copy it there from
// the data source; what was typed counts.
void Form10::ShowFolderOf(const std::string& dsn) {
    if (const QString text = ui_->FoxDir->text(); text.isEmpty() || text == folder_of_dsn_) {
        folder_of_dsn_ = ToQt(FoxProPathOfDsn(dsn));
        ui_->FoxDir->setText(folder_of_dsn_);
    }
}

void Form10::LoadFoxTables() {
    WaitNotice wait;
    ui_->List1->clear();
    try {
        // Views, too: whatever the catalogue has can be read.
        std::vector<std::string> names;
        for (const auto& table : ReadCatalogInBackground(SourceConnStr)) {
            names.push_back(table.Name);
        }
        if (names.empty()) {
            wait.Close();
            CurrentDialogs().Show({"No tables found in the selected source",
                                   "Not Found",
                                   BoxIcon::Information,
                                   BoxButtons::Ok,
                                   {}});
            return;
        }
        ShowNames(*ui_->List1, names);
        ShowStatus(*ui_->Label6, "Connect Success", kFoxProGreen);
        Connected();
    } catch (const DataError& error) {
        wait.Close();
        NotConnected();
        ShowStatus(*ui_->Label6, "Connection Error", kStatusRed);
        TellStop(error.Description(), "Stop");
    }
}

void Form10::Next() {
    const auto chosen = ChosenEntries(*ui_->List1);
    if (chosen.empty()) {
        TellStop("Please Select Atleast one table", "Stop");
        return;
    }
    SrcTables.assign(chosen.size(), {});
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        SrcTables[i].Name = chosen[i];
    }
    HidePage("Form10");
    ShowPage(TargetPageOf(TargetType));
}

}  // namespace vantry

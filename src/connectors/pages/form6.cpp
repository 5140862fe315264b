#include "connectors/pages/form6.h"

#include "ui_Form6.h"

#include "check/pages/preview_window.h"
#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {

Form6::Form6() : OraclePage("Form6"), ui_(std::make_unique<Ui::Form6>()) {
    ui_->setupUi(this);
    OfferPreview(*ui_->orclTables, OwnedTable);
    ui_->OraOwn->setVisible(false);
    UseControls(ControlsOf(*ui_, ui_->OraDSN));
    // A data source's name counts as it is typed, letter by letter.
    connect(ui_->OraDSN, &QComboBox::editTextChanged, this, [this] { Reconnect(); });
    connect(ui_->AllChk, &QCheckBox::clicked, this, [this] { Reconnect(); });
    connect(ui_->ViewChk, &QCheckBox::clicked, this, [this] { Reconnect(); });
    ConnectButtons(
        {ui_->NXT, ui_->BCK, ui_->HLP, ui_->CNCL},
        [this] { Next(); },
        [] {
            HidePage("Form6");
            ShowPage("Form1");
        },
        "Cancel",
        "Are you sure to Cancel this Session?");
}

Form6::~Form6() = default;

bool Form6::ReconnectsByMethod() const {
    // Before anything was listed a change of method asks nothing: the login may not be complete
    // yet.
    return ui_->orclTables->count() > 0;
}

void Form6::Connect() {
    if (!HasLogin()) {
        return;
    }
    WaitNotice wait;
    SourceConnStr = LoginString();
    const NameQuery query{
        .connection = SourceConnStr,
        .statement = OracleTables(ui_->ViewChk->isChecked(), ui_->AllChk->isChecked(), User()),
        // Of each row the owner and the name, which become OWNER.NAME.
        .fields = {0, 1},
        .cursor_type = adOpenForwardOnly,
        .lock_type = adLockReadOnly,
        .by_string = true};
    try {
        const auto names = ReadInBackground(query);
        std::vector<std::string> owners;
        owners.reserve(names.size());
        for (const auto& name : names) {
            owners.push_back(SplitOwner(name).owner);
        }
        ShowNames(*ui_->OraOwn, owners);
        ShowSorted(*ui_->orclTables, names);
        Connected();
    } catch (const DataError& error) {
        wait.Close();
        TellNotConnected(error.Description());
    }
}

void Form6::Next() {
    const auto chosen = ChosenEntries(*ui_->orclTables);
    if (chosen.empty()) {
        TellStop("Please select atleast one table", "Stop");
        return;
    }
    TakeOwnedTables(chosen);
    SourceQueryMode = 0;
    // Target tables have no owner: two of one name would be one table there.
    if (HaveSameName(chosen)) {
        TellStop("Duplicate Tables Selected. Please De-Select duplicate tables and then Continue.",
                 "Stop");
        return;
    }
    HidePage("Form6");
    ShowPage(TargetPageOf(TargetType));
}

}  // namespace vantry

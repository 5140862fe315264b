#include "connectors/pages/form9.h"

#include "ui_Form9.h"

#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "wizard/wizard_flow.h"

namespace vantry {
namespace {

// Next compares it, as on the other target pages: corrected in one place, it would bar the way.
constexpr const char* kConnected = "Succesfully connected to Oracle";
const QColor kOracleGreen(0, 150, 0);

}  // namespace

Form9::Form9() : OraclePage("Form9"), ui_(std::make_unique<Ui::Form9>()) {
    ui_->setupUi(this);
    UseControls(ControlsOf(*ui_, ui_->OrclDSN));
    ConnectButtons(
        {ui_->NXTBUTT, ui_->BCKBUTT, ui_->HLPBUTT, ui_->CNCLBUTT},
        [this] { Next(); },
        [] {
            HidePage("Form9");
            BackToSourcePage();
        },
        "Cancel",
        "Are you sure you want to cancel this Session?");
}

Form9::~Form9() = default;

bool Form9::ReconnectsByMethod() const {
    // Set by the first Connect that had a login, and by a failed one as well: from then on each
    // change of method tries at once.
    return PageConnected != kFalse;
}

void Form9::Connect() {
    if (!HasLogin()) {
        return;
    }
    PageConnected = kTrue;
    // Set before the try, and kept when it fails: Next goes by the label, which says so then.
    TargetConnStr = LoginString();
    try {
        const BusyPointer busy(*this);
        // That it opens proves login and rights; what it lists isn't asked for here.
        ReadInBackground({.connection = TargetConnStr,
                          .statement = kOracleAllTables,
                          .cursor_type = adOpenForwardOnly,
                          .lock_type = adLockReadOnly,
                          .by_string = true,
                          .reads_rows = false});
    } catch (const DataError& error) {
        TellNotConnected(error.Description());
        ShowStatus(*ui_->ValidTxt, "Couldn't Connect to Oracle Destination", kStatusRed);
        return;
    }
    OracleDstUser = User();
    ShowStatus(*ui_->ValidTxt, kConnected, kOracleGreen);
    Connected();
}

// The label is what counts; TargetConnStr is still the string that was tried.
void Form9::Next() {
    if (ui_->ValidTxt->text() != kConnected) {
        TellStop("Please connect to Oracle Destination", "Stop");
        return;
    }
    HidePage("Form9");
    ShowPage("Form4");
}

}  // namespace vantry

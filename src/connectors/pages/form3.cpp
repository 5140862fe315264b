#include "connectors/pages/form3.h"

#include "ui_Form3.h"

#include "core/session_state.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"
#include "wizard/wizard_flow.h"

namespace vantry {

Form3::Form3() : FoxProPage("Form3"), ui_(std::make_unique<Ui::Form3>()) {
    ui_->setupUi(this);
    UseControls(ControlsOf(*ui_), "Select Visual Foxpro Database");
    ConnectButtons(
        {ui_->NXTBUTT, ui_->BCKBUTT, ui_->HLPBUTT, ui_->CNCLBUTT},
        [this] { Next(); },
        [] {
            HidePage("Form3");
            BackToSourcePage();
        },
        "Confirm Cancel",
        "Are you sure to cancel this session?");
}

Form3::~Form3() = default;

bool Form3::IsVFPDestOK(const std::string& connection) {
    try {
        const BusyPointer busy(*this);
        // Without a statement it only opens and closes: that the driver finds the folder is the
        // question.
        ReadInBackground({.connection = connection});
        return true;
    } catch (const DataError& error) {
        TellStop(error.Description() + " " + error.Source(), "Stop");
        return false;
    }
}

// Folder and container must be there: neither is made here.
void Form3::Next() {
    const FoxProForm form = Form();
    const std::string path = Path(form);
    if (path.empty()) {
        TellStop(
            "Either choose Directory where the files should be created or Enter VFP database "
            "filename",
            "Stop");
        return;
    }
    TargetConnStr = FoxProTargetString(form, path);
    if (!IsVFPDestOK(TargetConnStr)) {
        return;
    }
    FoxDestMode = FoxProMode(form);
    FoxDestPrefix = FoxProPrefix(form, path);
    Connected();
    HidePage("Form3");
    ShowPage("Form4");
}

}  // namespace vantry

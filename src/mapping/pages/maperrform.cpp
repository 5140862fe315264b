#include "mapping/pages/maperrform.h"

#include "ui_MapErrForm.h"

#include "shell/page_set.h"
#include "shell/plate_button.h"
#include "shell/qt_text.h"

namespace vantry {

i16 MapErrIgnored = kFalse;

// Ignore sets the one mark that the caller looks at; both buttons close.
MapErrForm::MapErrForm() : Page("MapErrForm"), ui_(std::make_unique<Ui::MapErrForm>()) {
    ui_->setupUi(this);
    connect(ui_->OKButt, &PlateButton::Click, this, [] { UnloadPage("MapErrForm"); });
    SetEscapeButton(ui_->OKButt);
    connect(ui_->IgnoreButt, &PlateButton::Click, this, [] {
        MapErrIgnored = kTrue;
        UnloadPage("MapErrForm");
    });
}

MapErrForm::~MapErrForm() = default;

void MapErrForm::SetErrors(const std::string& text) {
    ui_->t1->setPlainText(ToQt(text));
}

bool AskToIgnoreMapErrors(const std::string& errors) {
    MapErrIgnored = kFalse;
    LoadPage("MapErrForm");
    if (auto* const page = FindPageAs<MapErrForm>("MapErrForm")) {
        page->SetErrors(errors);
    }
    ShowPageModal("MapErrForm");
    return MapErrIgnored != kFalse;
}

}  // namespace vantry

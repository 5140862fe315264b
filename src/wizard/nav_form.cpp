#include "wizard/nav_form.h"

#include "ui_NavForm.h"

#include "shell/help.h"
#include "shell/main_window.h"
#include "shell/page_set.h"

namespace vantry {

NavForm::NavForm() : Page("NavForm"), ui_(std::make_unique<Ui::NavForm>()) {
    ui_->setupUi(this);
    ui_->NavChoice->setId(ui_->NavChoice_0, 0);
    ui_->NavChoice->setId(ui_->NavChoice_1, 1);
    ui_->NavChoice->setId(ui_->NavChoice_2, 2);
    connect(ui_->NXTBUTT, &PlateButton::Click, this, &NavForm::Next);
    connect(ui_->HLPBUTT, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCLBUTT, &PlateButton::Click, this, [] { EndProgram(); });
}

NavForm::~NavForm() = default;

void NavForm::Next() {
    switch (ui_->NavChoice->checkedId()) {
        case 0:
            HidePage("NavForm");
            ShowPage("Form1");
            break;
        case 1:
            HidePage("NavForm");
            ShowPage("Form15");
            break;
        // The navigator stays: nothing of a session has begun.
        case 2:
            OpenTour();
            break;
        default:
            break;
    }
}

}  // namespace vantry

#include "wizard/form1.h"

#include "ui_Form1.h"

#include "connectors/odbc_enumeration.h"
#include "core/kinds.h"
#include "core/session_state.h"
#include "core/settings.h"
#include "data/data_error.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

namespace vantry {
namespace {

// The options have the numbers of the kinds' rows; kinds that are no target have no option there.
std::string ChosenKind(const QButtonGroup& options) {
    const int index = options.checkedId();
    return index < 0 ? std::string()
                     : std::string(AllKinds()[static_cast<std::size_t>(index)].name);
}

}  // namespace

Form1::Form1() : Page("Form1"), ui_(std::make_unique<Ui::Form1>()) {
    ui_->setupUi(this);
    QRadioButton* const sources[] = {ui_->SOpt_0,
                                     ui_->SOpt_1,
                                     ui_->SOpt_2,
                                     ui_->SOpt_3,
                                     ui_->SOpt_4,
                                     ui_->SOpt_5,
                                     ui_->SOpt_6,
                                     ui_->SOpt_7};
    for (int i = 0; i < 8; ++i) {
        ui_->SOpt->setId(sources[i], i);
    }
    const std::pair<QRadioButton*, int> targets[] = {{ui_->DOpt_0, 0},
                                                     {ui_->DOpt_1, 1},
                                                     {ui_->DOpt_2, 2},
                                                     {ui_->DOpt_3, 3},
                                                     {ui_->DOpt_4, 4},
                                                     {ui_->DOpt_6, 6}};
    for (const auto& [button, index] : targets) {
        ui_->DOpt->setId(button, index);
    }
    // Data sources of every kind can be had through the kind's own page; a source of another kind
    // is for who has asked for it in Vantry.ini.
    ui_->SOpt_5->setVisible(CurrentSettings.ShowOdbcSource);
    ui_->cboDSNList->setVisible(false);
    connect(ui_->NXT, &PlateButton::Click, this, &Form1::Next);
    connect(ui_->BCK, &PlateButton::Click, this, &Form1::Back);
    connect(ui_->HLP, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(ui_->CNCL, &PlateButton::Click, this, [] {
        AskToCancel("Confirm Cancel", "Are you sure to cancel this session?");
    });
}

Form1::~Form1() = default;

void Form1::OnLoad() {
    try {
        EnumerateOdbcDrivers();
        EnumerateOdbcDsns();
    } catch (const DataError&) {
        // A machine without a driver manager has the built-in drivers, and the pages say so.
    }
    for (const auto& driver : OdbcDrivers) {
        ui_->cboDSNList->addItem(ToQt(driver));
    }
}

void Form1::Next() {
    SourceType = ChosenKind(*ui_->SOpt);
    TargetType = ChosenKind(*ui_->DOpt);
    if (SourceType.empty()) {
        Tell("Please select the Data Source");
        return;
    }
    if (TargetType.empty()) {
        Tell("Please select the Destination Database");
        return;
    }
    // The one variable that is reset here. All others keep what the former session left, until
    // their page writes them.
    SourceViaOdbc = kFalse;
    // Hidden, not unloaded: it stays through the whole session, so that Back finds its options as
    // they were.
    HidePage("Form1");
    ShowPage(SourcePageOf(SourceType));
}

void Form1::Back() {
    UnloadPage("Form1");
    ShowPage("NavForm");
}

bool Form1::QueryUnload() {
    return AskToClose();
}

}  // namespace vantry

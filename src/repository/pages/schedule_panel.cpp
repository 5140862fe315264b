// The schedule's controls, which two pages show in the same form. The panel checks what must be
// chosen and puts the five columns together; which statement they go into is the page's. Easy to
// get wrong: an interval's hours and a day of the month share a column, told apart by the kind
// alone, so nothing of a hidden control may be written.
#include "repository/pages/schedule_panel.h"

#include "ui_SchedulePanel.h"

#include "data/value_text.h"
#include "shell/dialogs.h"

namespace vantry {
namespace {

// By the index of the option.
enum Kind { kDaily, kWeekly, kMonthly, kOnce, kEvery };

// Days of the repository are counted from here.
const QDate kDayZero(1899, 12, 30);

DateTime TimeOf(const QTime& time) {
    return {0, static_cast<std::int64_t>(time.msecsSinceStartOfDay()) * 1'000'000};
}

// Monday first, as in the week mask, which the scheduler reads by position.
std::array<QCheckBox*, 7> WeekDays(const Ui::SchedulePanel& ui) {
    return {ui.WeekDay_0,
            ui.WeekDay_1,
            ui.WeekDay_2,
            ui.WeekDay_3,
            ui.WeekDay_4,
            ui.WeekDay_5,
            ui.WeekDay_6};
}

}  // namespace

SchedulePanel::SchedulePanel(QWidget* parent)
    : QWidget(parent), ui_(std::make_unique<Ui::SchedulePanel>()) {
    ui_->setupUi(this);
    QRadioButton* const kinds[] = {
        ui_->TimeOpt_0, ui_->TimeOpt_1, ui_->TimeOpt_2, ui_->TimeOpt_3, ui_->TimeOpt_4};
    for (int i = 0; i < 5; ++i) {
        ui_->TimeOpt->setId(kinds[i], i);
    }
    ui_->Evy->setId(ui_->Evy_0, 0);
    ui_->Evy->setId(ui_->Evy_1, 1);
    for (auto* const list : {ui_->SesDay, ui_->Hrs, ui_->Mins}) {
        // Nothing is chosen for the user: a session that runs on a day that wasn't picked is worse
        // than a question.
        list->setCurrentIndex(-1);
    }
    connect(ui_->TimeOpt, &QButtonGroup::idToggled, this, [this](int id, bool on) {
        if (on) {
            ShowKind(id);
        }
    });
    connect(ui_->Evy, &QButtonGroup::idToggled, this, [this](int id, bool on) {
        if (on) {
            ChooseInterval(id);
        }
    });
    ShowKind(kDaily);
    ChooseInterval(0);
}

SchedulePanel::~SchedulePanel() = default;

void SchedulePanel::SetTime(const DateTime& time, const DateTime& date) {
    ui_->SesTime->setTime(
        QTime::fromMSecsSinceStartOfDay(static_cast<int>(time.nanos / 1'000'000)));
    ui_->SesDate->setDate(kDayZero.addDays(date.day));
}

void SchedulePanel::ShowKind(int kind) {
    // Each kind shows its own controls; the others are hidden, not only greyed, or the page would
    // be full of them.
    const bool at_time = kind != kEvery;
    ui_->SesTime->setVisible(at_time);
    ui_->Label6->setVisible(at_time);
    for (auto* const day : WeekDays(*ui_)) {
        day->setVisible(kind == kWeekly);
    }
    ui_->LabelChoice->setVisible(kind == kMonthly || kind == kOnce);
    ui_->LabelChoice->setText(kind == kOnce ? "On" : "Every");
    ui_->SesDay->setVisible(kind == kMonthly);
    ui_->EveDay->setVisible(kind == kMonthly);
    ui_->SesDate->setVisible(kind == kOnce);
    for (QWidget* const control : std::initializer_list<QWidget*>{
             ui_->Evy_0, ui_->Evy_1, ui_->Hrs, ui_->HrLabel, ui_->Mins, ui_->MinLabel}) {
        control->setVisible(kind == kEvery);
    }
}

void SchedulePanel::ChooseInterval(int unit) {
    ui_->Hrs->setEnabled(unit == 0);
    ui_->Mins->setEnabled(unit == 1);
}

std::string SchedulePanel::WeekMask() const {
    std::string mask;
    for (const auto* const day : WeekDays(*ui_)) {
        mask += day->isChecked() ? '1' : '0';
    }
    return mask;
}

bool SchedulePanel::Fill(SessionSave& save, const DateTime& mark) const {
    const DateTime time = TimeOf(ui_->SesTime->time());
    switch (ui_->TimeOpt->checkedId()) {
        case kDaily:
            SetDaily(save, time);
            return true;
        case kWeekly:
            if (WeekMask() == "0000000") {
                TellStop("Please Select atleast one WeekDay", "Stop");
                return false;
            }
            SetWeekly(save, time, WeekMask());
            return true;
        case kMonthly:
            if (ui_->SesDay->currentIndex() < 0) {
                TellStop("Please Select a Day", "Stop");
                return false;
            }
            SetMonthly(save, time, ui_->SesDay->currentText().toInt());
            return true;
        case kOnce:
            SetOnce(
                save, {static_cast<std::int32_t>(kDayZero.daysTo(ui_->SesDate->date())), 0}, time);
            return true;
        default:
            return FillInterval(save, mark);
    }
}

bool SchedulePanel::FillInterval(SessionSave& save, const DateTime& mark) const {
    if (ui_->Evy->checkedId() == 0) {
        if (ui_->Hrs->currentIndex() < 0) {
            Tell("Please Enter Hours Interval");
            return false;
        }
        // The minute of the hour at which it is due, two digits; there is no control for it.
        SetHourly(save, ui_->Hrs->currentText().toInt(), FormatDateTime(mark, "nn"));
        return true;
    }
    if (ui_->Mins->currentIndex() < 0) {
        Tell("Please Enter Minutes Interval");
        return false;
    }
    SetMinutely(save, ui_->Mins->currentText().toInt());
    return true;
}

}  // namespace vantry

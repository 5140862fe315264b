// The schedule's controls, which two pages show in the same form. The panel checks what must be
// chosen and puts the five columns together; which statement they go into is the page's. Easy to
// get wrong: an interval's hours and a day of the month share a column, told apart by the kind
// alone, so nothing of a hidden control may be written.
#include "repository/pages/schedule_panel.h"

#include "ui_SchedulePanel.h"

#include "data/value_text.h"
#include "shell/dialogs.h"

#include <QLocale>

#include <algorithm>
#include <array>

namespace vantry {
namespace {

// By the index of the option.
enum Kind { kDaily, kWeekly, kMonthly, kOnce, kEvery };

// Days of the repository are counted from here.
const QDate kDayZero(1899, 12, 30);

// With the seconds, which the short form leaves out: what is stored is what is seen.
QString TimeFormatWithSeconds() {
    QString format = QLocale().timeFormat(QLocale::ShortFormat);
    if (!format.contains('s')) {
        format.replace("mm", "mm:ss");
    }
    return format;
}

QTime ToTime(std::int64_t nanos) {
    return QTime::fromMSecsSinceStartOfDay(static_cast<int>(nanos / kNanosPerSecond) * 1000);
}

// By what the user reads there; a number that the list doesn't have leaves it empty.
void Choose(QComboBox& list, const std::optional<int>& number) {
    list.setCurrentIndex(number ? list.findText(QString::number(*number)) : -1);
}

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
        connect(list, &QComboBox::currentIndexChanged, this, &SchedulePanel::Changed);
    }
    for (auto* const day : WeekDays(*ui_)) {
        connect(day, &QCheckBox::toggled, this, &SchedulePanel::Changed);
    }
    ui_->SesTime->setDisplayFormat(TimeFormatWithSeconds());
    connect(ui_->TimeOpt, &QButtonGroup::idToggled, this, [this](int id, bool on) {
        if (on) {
            ShowKind(id);
            Q_EMIT Changed();
        }
    });
    connect(ui_->Evy, &QButtonGroup::idToggled, this, [this](int id, bool on) {
        if (on) {
            ChooseInterval(id);
            Q_EMIT Changed();
        }
    });
    ShowKind(kDaily);
    ChooseInterval(0);
}

SchedulePanel::~SchedulePanel() = default;

void SchedulePanel::SetTime(const DateTime& time, const DateTime& date) {
    ui_->SesTime->setTime(ToTime(time.nanos));
    ui_->SesDate->setDate(kDayZero.addDays(date.day));
}

bool SchedulePanel::SetSchedule(const ScheduleRec& schedule) {
    constexpr std::string_view kLetters = "DWMOHN";
    if (schedule.SesFreq.size() != 1 || kLetters.find(schedule.SesFreq) == kLetters.npos) {
        return false;
    }
    const auto letter = kLetters.find(schedule.SesFreq);
    // The last two letters, hours and minutes, are one option with two units.
    const int kind = std::min(static_cast<int>(letter), static_cast<int>(kEvery));
    ui_->TimeOpt->button(kind)->setChecked(true);
    if (schedule.SesRunTime) {
        ui_->SesTime->setTime(ToTime(*schedule.SesRunTime));
    }
    if (schedule.SesRunDate) {
        ui_->SesDate->setDate(kDayZero.addDays(*schedule.SesRunDate));
    }
    const auto days = WeekDays(*ui_);
    for (std::size_t i = 0; kind == kWeekly && i < days.size(); ++i) {
        // A mask may be shorter than the week.
        days[i]->setChecked(i < schedule.SesWeekDay.size() && schedule.SesWeekDay[i] == '1');
    }
    if (kind == kMonthly) {
        Choose(*ui_->SesDay, schedule.SesRunDay);
    } else if (kind == kEvery) {
        const bool hours = schedule.SesFreq == "H";
        (hours ? ui_->Evy_0 : ui_->Evy_1)->setChecked(true);
        Choose(hours ? *ui_->Hrs : *ui_->Mins, schedule.SesRunDay);
    }
    return true;
}

QString SchedulePanel::Fault() const {
    switch (ui_->TimeOpt->checkedId()) {
        case kWeekly:
            return WeekMask() == "0000000" ? "No day of the week is ticked." : "";
        case kMonthly:
            return ui_->SesDay->currentIndex() < 0 ? "No day of the month is chosen." : "";
        default:
            return {};
    }
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

// Of an edited session a week without a day is stored, and a month without a day makes a statement
// that the database refuses: the page's note says so beforehand (Fault).
bool SchedulePanel::Fill(SessionSave& save, const DateTime& mark, ScheduleOf whose) const {
    const bool checked = whose == ScheduleOf::NewSession;
    const DateTime time = TimeOf(ui_->SesTime->time());
    switch (ui_->TimeOpt->checkedId()) {
        case kDaily:
            SetDaily(save, time);
            return true;
        case kWeekly:
            if (checked && WeekMask() == "0000000") {
                TellStop("Please Select atleast one WeekDay", "Stop");
                return false;
            }
            SetWeekly(save, time, WeekMask());
            return true;
        case kMonthly:
            if (!checked) {
                // As a text: an empty one is what makes the statement fail.
                SetMonthlyUnquoted(save, time, ui_->SesDay->currentText().toStdString());
                return true;
            }
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
            return FillInterval(save, mark, whose);
    }
}

bool SchedulePanel::FillInterval(SessionSave& save, const DateTime& mark, ScheduleOf whose) const {
    const bool hours = ui_->Evy->checkedId() == 0;
    QComboBox& list = hours ? *ui_->Hrs : *ui_->Mins;
    if (list.currentIndex() < 0) {
        if (whose == ScheduleOf::NewSession) {
            Tell(hours ? "Please Enter Hours Interval" : "Please Enter Minutes Interval");
        } else {
            Tell(hours ? "Please Select Hours" : "Please Select Mins");
            list.setFocus();
        }
        return false;
    }
    if (hours) {
        // The minute of the hour at which it is due, two digits; there is no control for it.
        SetHourly(save, list.currentText().toInt(), FormatDateTime(mark, "nn"));
    } else {
        SetMinutely(save, list.currentText().toInt());
    }
    return true;
}

}  // namespace vantry

#pragma once
// The controls of a schedule, the same on every page that edits one: which kind, and what goes with
// that kind. What isn't asked for is hidden.

#include "repository/session_statements.h"

#include <QWidget>

#include <memory>

namespace Ui {
class SchedulePanel;
}

namespace vantry {

class SchedulePanel : public QWidget {
    Q_OBJECT
public:
    explicit SchedulePanel(QWidget* parent = nullptr);
    ~SchedulePanel() override;

    // What the pickers show: the time of the one, the date of the other.
    void SetTime(const DateTime& time, const DateTime& date);

    // The five schedule values; an hourly schedule takes the minute of `mark`. False: something is
    // missing; the box that says so was shown.
    bool Fill(SessionSave& save, const DateTime& mark) const;

private:
    // By the index of the option in TimeOpt: 0 daily, 1 weekly, 2 monthly, 3 once, 4 at intervals.
    void ShowKind(int kind);
    // 0 hours, 1 minutes: the list of the other is disabled.
    void ChooseInterval(int unit);
    // Seven of "0" and "1", Monday first.
    std::string WeekMask() const;
    bool FillInterval(SessionSave& save, const DateTime& mark) const;

    std::unique_ptr<Ui::SchedulePanel> ui_;
};

}  // namespace vantry

#pragma once
// The controls of a schedule, the same on every page that edits one: which kind, and what goes with
// that kind. What isn't asked for is hidden.

#include "repository/schedule.h"
#include "repository/session_statements.h"

#include <QWidget>

#include <memory>

namespace Ui {
class SchedulePanel;
}

namespace vantry {

// Whose schedule is stored. A new session's is checked; an edited one goes into its statement as it
// is, but for a missing interval, and the database refuses what makes no statement.
enum class ScheduleOf { NewSession, EditedSession };

class SchedulePanel : public QWidget {
    Q_OBJECT
public:
    explicit SchedulePanel(QWidget* parent = nullptr);
    ~SchedulePanel() override;

    // What the pickers show: the time of the one, the date of the other. Parts of a second, which
    // nobody would see, are left out.
    void SetTime(const DateTime& time, const DateTime& date);
    // What a saved session has. False: SesFreq is none of the six letters, and nothing has changed.
    bool SetSchedule(const ScheduleRec& schedule);

    // The five schedule values; an hourly schedule takes the minute of `mark`. False: something is
    // missing; the box that says so was shown.
    bool Fill(SessionSave& save, const DateTime& mark, ScheduleOf whose) const;
    // Why the session would never run as things are chosen; empty when it would.
    QString Fault() const;

Q_SIGNALS:
    void Changed();

private:
    // By the index of the option in TimeOpt: 0 daily, 1 weekly, 2 monthly, 3 once, 4 at intervals.
    void ShowKind(int kind);
    // 0 hours, 1 minutes: the list of the other is disabled.
    void ChooseInterval(int unit);
    // Seven of "0" and "1", Monday first.
    std::string WeekMask() const;
    bool FillInterval(SessionSave& save, const DateTime& mark, ScheduleOf whose) const;

    std::unique_ptr<Ui::SchedulePanel> ui_;
};

}  // namespace vantry

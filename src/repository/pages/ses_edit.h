#pragma once
// SesEdit: name, log file and schedule of a saved session. What it copies can't be changed: that is
// saved as a new session.

#include "repository/saved_session.h"
#include "shell/page.h"

#include <functional>
#include <memory>

namespace Ui {
class SesEdit;
}

namespace vantry {

class SesEdit : public Page {
    Q_OBJECT
public:
    SesEdit();
    ~SesEdit() override;

    // Shows the session as it is stored. False: its schedule is of no kind that there is.
    // `is_current` is asked before a save; false, and told, when another repository has taken the
    // place of the one that the session is from: its number may be another session's there.
    bool Begin(
        const SavedSession& session, std::function<bool()> is_current = [] { return true; });
    bool QueryUnload() override;

Q_SIGNALS:
    void Saved();

private:
    void Save();
    void Browse();
    void Cancel();
    void TellFault();

    std::unique_ptr<Ui::SesEdit> ui_;
    i32 session_id_ = 0;
    std::function<bool()> is_current_;
};

}  // namespace vantry

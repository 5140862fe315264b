#pragma once
// Form14: the run page, the wizard's last. It starts the run, shows its log, counter and bar, and
// cancels it; the log's box is all that remains of a run in the wizard. The run works inside Start,
// on this thread, and lets events in now and then.

#include "engine/pages/log_view.h"
#include "engine/pages/page_rejects.h"
#include "engine/pages/run_display.h"
#include "shell/page.h"

#include <memory>

class QAction;

namespace Ui {
class Form14;
}

namespace vantry {

class Form14 : public Page {
    Q_OBJECT
public:
    Form14();
    ~Form14() override;

    // Says what goes where. Nothing starts by itself.
    void OnLoad() override;
    bool QueryUnload() override;

private:
    void Start();
    void Cancel();
    void StopStatement();
    // Beside the log, whose words are fixed: what became of the tables, with links to their errors.
    std::string ShortOf(const std::string& table) const;
    void TellOutcome(bool ended_early);
    // What the verification of the run has found, where it was asked for.
    void AddVerification(Notice& notice) const;
    // Where the list of rows that weren't loaded is.
    void AddRejects(Notice& notice);
    void OpenRejects();
    void OfferVerification();
    void OfferRejects();

    std::unique_ptr<Ui::Form14> ui_;
    std::unique_ptr<RunDisplay> display_;
    LogView* log_view_;
    QAction* verify_;
    QAction* open_rejects_;
    PageRejects rejects_;
    bool running_ = false;          // Start is on the stack
    bool leave_after_run_ = false;  // the window was closed in the middle
};

// Form14.
void RegisterRunPages();

}  // namespace vantry

#pragma once
// Form13: names the session, chooses its log file and schedule, saves it, and says what comes next.

#include "shell/page.h"

#include <memory>

namespace Ui {
class Form13;
}

namespace vantry {

class Form13 : public Page {
    Q_OBJECT
public:
    Form13();
    ~Form13() override;

    void OnLoad() override;
    // Number, name and log by the repository that is there now; what the user has typed stays.
    void ProposeAnew();
    bool QueryUnload() override;

private:
    // Failures are shown; the page stays, as a session can be run without being saved.
    void ShowNextId();
    void Browse();
    // Saves unless "run it now only" is chosen, then opens the run page or ends the wizard.
    void Next();
    void OfferRepository();
    // False when something is missing or the save failed; the box that says so was shown.
    bool Save();

    std::unique_ptr<Ui::Form13> ui_;
    QString proposed_name_;
    QString proposed_log_;
};

}  // namespace vantry

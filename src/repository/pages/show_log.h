#pragma once
// ShowLog: the log of a saved session, to be read while it is being written.

#include "shell/page.h"

#include <memory>

namespace Ui {
class ShowLog;
}

namespace vantry {

class ShowLog : public Page {
    Q_OBJECT
public:
    ShowLog();
    ~ShowLog() override;

    // False when it can't be read; the box that says so was shown.
    bool Read(const std::string& path);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void TellPlace();

    std::unique_ptr<Ui::ShowLog> ui_;
};

}  // namespace vantry

#pragma once
// frmSplash: the product's name for a moment, then the navigator. A click has the same effect; a
// key only closes it.

#include "shell/page.h"

#include <QTimer>

#include <memory>

namespace Ui {
class frmSplash;
}

namespace vantry {

class Splash : public Page {
    Q_OBJECT
public:
    Splash();
    ~Splash() override;
    void OnLoad() override;

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void GoOn();

    std::unique_ptr<Ui::frmSplash> ui_;
    QTimer Timer1;
};

}  // namespace vantry

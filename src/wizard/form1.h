#pragma once
// Form1: the kinds of source and target of a new session.

#include "shell/page.h"

#include <memory>

namespace Ui {
class Form1;
}

namespace vantry {

class Form1 : public Page {
    Q_OBJECT
public:
    Form1();
    ~Form1() override;

    void OnLoad() override;  // reads the machine's ODBC drivers and data sources
    bool QueryUnload() override;

private:
    void Next();
    void Back();

    std::unique_ptr<Ui::Form1> ui_;
};

}  // namespace vantry

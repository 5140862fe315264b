#pragma once
// The statements of a run, to read and to copy.

#include "check/pages/look_window.h"

namespace vantry {

class StatementsWindow : public LookWindow {
    Q_OBJECT
public:
    StatementsWindow(const QString& title, const QString& statements, QWidget* parent);
};

}  // namespace vantry

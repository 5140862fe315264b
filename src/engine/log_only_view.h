#pragma once
// A view that shows the log of a run and nothing else: no bar, no counter, no window whose events
// wait. Whoever derives from it says where the words go.

#include "engine/run_view.h"

namespace vantry {

class LogOnlyView : public RunView {
public:
    void CaretToEnd() override {}
    void Repaint() override {}
    void SetRowCounter(std::int64_t, double) override {}
    void ClearRowCounter() override {}
    void SetBarMin(std::int64_t) override {}
    void SetBarMax(std::int64_t) override {}
    void SetBarValue(std::int64_t) override {}
    void DoEvents() override {}
};

}  // namespace vantry

#pragma once
// A run's log as a text, for programs that look at nothing else of the run.

#include "engine/run_view.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::bench {

class LogView : public RunView {
public:
    void SetLogText(std::string_view text) override { log = text; }
    void AppendLogText(std::string_view text) override { log += text; }
    void CaretToEnd() override {}
    void Repaint() override {}
    void SetRowCounter(std::int64_t, double) override {}
    void ClearRowCounter() override {}
    void SetBarMin(std::int64_t) override {}
    void SetBarMax(std::int64_t) override {}
    void SetBarValue(std::int64_t) override {}
    void DoEvents() override {}
    void ShowMessage(std::string_view text) override { log += text; }
    std::string log;
};

}  // namespace vantry::bench

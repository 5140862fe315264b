#pragma once
// A run's log as a text, for programs that look at nothing else of the run.

#include "engine/log_only_view.h"

#include <string>
#include <string_view>

namespace vantry::bench {

class LogView : public LogOnlyView {
public:
    void SetLogText(std::string_view text) override { log = text; }
    void AppendLogText(std::string_view text) override { log += text; }
    void ShowMessage(std::string_view text) override { log += text; }
    std::string log;
};

}  // namespace vantry::bench

#pragma once
// Shows a run on standard output: the log as it grows, without a bar.

#include "data/message_text.h"
#include "engine/run_view.h"

#include <cstdio>
#include <string>

namespace vantry {

class ConsoleView : public RunView {
public:
    void SetLogText(std::string_view text) override { Print(text); }
    void AppendLogText(std::string_view text) override { Print(text); }
    void CaretToEnd() override {}
    void Repaint() override { std::fflush(stdout); }
    void SetRowCounter(std::int64_t, double) override {}
    void ClearRowCounter() override {}
    void SetBarMin(std::int64_t) override {}
    void SetBarMax(std::int64_t) override {}
    void SetBarValue(std::int64_t) override {}
    void DoEvents() override {}
    void ShowMessage(std::string_view text) override { Print(text); }

private:
    // The log ends its lines as a text box wants them; a terminal wants less. Names of tables and
    // words of servers must not steer it.
    static void Print(std::string_view text) {
        for (const char c : WithoutControls(text)) {
            if (c != '\r') {
                std::fputc(c, stdout);
            }
        }
    }
};

}  // namespace vantry

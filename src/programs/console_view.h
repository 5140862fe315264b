#pragma once
// Shows a run on standard output: the log as it grows, without a bar.

#include "data/message_text.h"
#include "engine/log_only_view.h"

#include <cstdio>
#include <string_view>

namespace vantry {

class ConsoleView : public LogOnlyView {
public:
    void SetLogText(std::string_view text) override { Print(text); }
    void AppendLogText(std::string_view text) override { Print(text); }
    void Repaint() override { std::fflush(stdout); }
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

#pragma once
// The one line of a run on a terminal, renewed in place, and gone at its end. It stands on standard
// output, and only where that is a terminal. Messages go to standard error; who prints one calls
// Clear() first, or it would stand within the line.

#include "engine/log_only_view.h"
#include "engine/run_progress.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace vantry {

class TerminalLine : public LogOnlyView {
public:
    ~TerminalLine() override { Clear(); }
    static bool HasTerminal() { return ::isatty(STDOUT_FILENO) == 1; }

    void SetLogText(std::string_view) override {}
    void AppendLogText(std::string_view) override {}
    void Repaint() override { Renew(); }
    void SetRowCounter(std::int64_t loaded, double total) override {
        loaded_ = loaded;
        total_ = total;
    }
    void DoEvents() override { Renew(); }
    void ShowMessage(std::string_view) override {}

    void Clear() {
        if (shown_) {
            std::fputs("\r\x1b[K", stdout);
            std::fflush(stdout);
            shown_ = false;
        }
    }

private:
    void Renew() {
        const auto now = RunProgress::Clock::now();
        if (now < next_) {
            return;
        }
        constexpr std::chrono::milliseconds kBetween{200};
        next_ = now + kBetween;
        progress_.TakeFromReport(loaded_, total_);
        progress_.Tick(now);
        std::printf("\r%s\x1b[K", progress_.Text().c_str());
        std::fflush(stdout);
        shown_ = true;
    }

    RunProgress progress_{RunProgress::Clock::now()};
    RunProgress::Clock::time_point next_;
    std::int64_t loaded_ = 0;
    double total_ = 0;
    bool shown_ = false;
};

}  // namespace vantry

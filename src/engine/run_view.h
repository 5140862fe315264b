#pragma once
// What a run needs of the place that shows it: the run page, the runner, a test. All calls come on
// the thread of the run. Label and bar change at every row: an implementation keeps them cheap and
// repaints by its own clock.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantry {

class RunView {
public:
    virtual ~RunView() = default;

    // LogTxt. SetLogText replaces the text, AppendLogText adds to its end.
    virtual void SetLogText(std::string_view text) = 0;
    virtual void AppendLogText(std::string_view text) = 0;
    virtual void CaretToEnd() = 0;
    virtual void Repaint() = 0;

    // Label2: "`loaded` of `total` Rows Loaded". The numbers travel as numbers so that no text is
    // made per row.
    virtual void SetRowCounter(std::int64_t loaded, double total) = 0;
    virtual void ClearRowCounter() = 0;

    // RowPro.
    virtual void SetBarMin(std::int64_t minimum) = 0;
    virtual void SetBarMax(std::int64_t maximum) = 0;
    virtual void SetBarValue(std::int64_t value) = 0;

    // What the run waits for, empty when that is over. Only where there is room beside the log.
    virtual void ShowWaiting(std::string_view /*what*/) {}

    // Does `work`, which takes its time, touches nothing of the view and lets no events in, and
    // returns when it is done. A view that is a window keeps it alive meanwhile.
    virtual void WaitFor(const std::function<void()>& work) { work(); }

    // Lets waiting events in; a cancel arrives here.
    virtual void DoEvents() = 0;

    // A box with `text` and an OK button, for the one failure that isn't only logged.
    virtual void ShowMessage(std::string_view text) = 0;
};

// The view of the run that is going; set before RunSession and RunSessionToText.
extern RunView* CurrentRunView;

}  // namespace vantry

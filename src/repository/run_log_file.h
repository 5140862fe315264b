#pragma once
// The log file of a run, written while the run goes: the lines of the run page, in a file that its
// owner alone can read. The first line of a run replaces the file's text; where one run of the
// program takes several loads (a polled folder), each further one is added.

#include "engine/run_view.h"
#include "files/unique_fd.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// A file of texts that grows at its end, never through a symbolic link.
class LogFile {
public:
    // Makes it and the last folder of its path if they aren't there. Throws DataError.
    static LogFile Open(const std::string& path);
    // The log of a session: a user may have named a document by mistake, of which a run would leave
    // nothing. Throws DataError for a file that holds anything but such a log.
    static LogFile OpenForSession(const std::string& path);
    // Whether OpenForSession would take the file, or make it.
    static bool IsSessionLogOrNew(const std::string& path);
    LogFile() = default;  // nowhere: what is written is lost

    bool IsEmpty() const;
    void Clear();
    // False when it can't be written, a full disk say.
    bool Append(std::string_view text);

private:
    explicit LogFile(file::UniqueFd descriptor) : descriptor_(std::move(descriptor)) {}
    file::UniqueFd descriptor_;
};

// Whether `path` is a plain file that holds the log of a session, or nothing at all.
bool HoldsSessionLog(const std::string& path);

class RunLogView : public RunView {
public:
    // `display` shows the run besides, or is null. `cancel_requested` is asked at the run's
    // hand-overs.
    RunLogView(LogFile log, RunView* display, std::function<bool()> cancel_requested)
        : log_(std::move(log)), display_(display), cancel_requested_(std::move(cancel_requested)) {}

    // A cancel waits so long for the load that is going to come to its own end.
    void SetCancelGrace(std::chrono::milliseconds grace) { cancel_grace_ = grace; }
    // Told behind the first line of the log.
    void AddWarning(std::string text) { warnings_.push_back(std::move(text)); }
    // The log goes on without the one that shows it.
    void LoseDisplay() { display_ = nullptr; }
    // A text could not be written into the log file.
    bool LogFailed() const { return log_failed_; }

    void SetLogText(std::string_view text) override;
    void AppendLogText(std::string_view text) override;
    void CaretToEnd() override;
    void Repaint() override;
    void SetRowCounter(std::int64_t loaded, double total) override;
    void ClearRowCounter() override;
    void SetBarMin(std::int64_t minimum) override;
    void SetBarMax(std::int64_t maximum) override;
    void SetBarValue(std::int64_t value) override;
    void WaitFor(const std::function<void()>& work) override;
    void DoEvents() override;
    void ShowMessage(std::string_view text) override;

private:
    void Write(std::string_view text);
    void PassCancelOn();

    LogFile log_;
    RunView* display_;
    std::function<bool()> cancel_requested_;
    std::chrono::milliseconds cancel_grace_{0};
    std::chrono::steady_clock::time_point cancelled_at_{};
    std::vector<std::string> warnings_;
    bool begun_ = false;
    std::string start_;  // the log's first words, as long as they aren't in the file
    bool log_failed_ = false;
};

}  // namespace vantry

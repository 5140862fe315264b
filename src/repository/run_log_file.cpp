// The log file is opened once and written line by line without a buffer: a run that is killed
// leaves every line up to then, and the log viewer can be opened while it goes. RunLogView stands
// where the run page's text box would, and passes everything on to the window that shows the run,
// if there is one.
// Easy to get wrong: the file's name comes from the user. It may be a pipe, a link, or a
// letter; nothing of the kind is opened or emptied.
#include "repository/run_log_file.h"

#include "core/session_state.h"
#include "engine/run_log.h"
#include "files/file_errors.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace vantry {

namespace {

// By its first words, which every run writes. An empty file, and one whose first line a full disk
// has cut off, are logs, too.
bool BeginsAsSessionLog(int descriptor) {
    char bytes[64];
    const auto length = std::max<ssize_t>(::read(descriptor, bytes, sizeof bytes), 0);
    const std::string_view begin(bytes, static_cast<std::size_t>(length));
    for (const std::string& line : {log_line::Started(), log_line::TextStarted()}) {
        const std::string_view words = std::string_view(line).substr(0, line.find(" at ") + 4);
        if (begin.starts_with(words) || words.starts_with(begin)) {
            return true;
        }
    }
    return false;
}

file::UniqueFd OpenForLook(const std::string& path) {
    return file::UniqueFd(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
}

// Whether a run may write there, as far as the content tells.
bool MayTakeLog(const std::string& path) {
    const auto descriptor = OpenForLook(path);
    if (!descriptor) {
        return errno != EACCES;  // what else is wrong shows when it is opened for writing
    }
    return BeginsAsSessionLog(descriptor.Get());
}

}  // namespace

bool HoldsSessionLog(const std::string& path) {
    const auto descriptor = OpenForLook(path);
    struct stat state {};
    return descriptor && ::fstat(descriptor.Get(), &state) == 0 && S_ISREG(state.st_mode) &&
           BeginsAsSessionLog(descriptor.Get());
}

LogFile LogFile::Open(const std::string& path) {
    const auto folder = std::filesystem::path(path).parent_path();
    if (!folder.empty()) {
        ::mkdir(folder.c_str(), S_IRWXU);  // most often it is there
    }
    // O_NONBLOCK: a pipe of the name must not hold the run up.
    file::UniqueFd descriptor(
        ::open(path.c_str(),
               O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
               S_IRUSR | S_IWUSR));
    struct stat state {};
    if (!descriptor || ::fstat(descriptor.Get(), &state) != 0) {
        throw file::SystemError(path, "opened for writing the log", errno);
    }
    if (!S_ISREG(state.st_mode)) {
        throw file::SystemError(path, "opened for writing the log", EINVAL);
    }
    if ((state.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        // Error texts of data sources may hold names and hosts. Fails on another user's file, which
        // is then as private as its owner wants it.
        static_cast<void>(::fchmod(descriptor.Get(), S_IRUSR | S_IWUSR));
    }
    return LogFile(std::move(descriptor));
}

bool LogFile::IsSessionLogOrNew(const std::string& path) {
    return MayTakeLog(path);
}

LogFile LogFile::OpenForSession(const std::string& path) {
    if (!MayTakeLog(path)) {
        throw DataError(kErrUnspecified,
                        "The log file '" + path +
                            "' holds something else than the log of a session: it is left as it "
                            "is. Give the session another log file.");
    }
    return Open(path);
}

bool LogFile::IsEmpty() const {
    struct stat state {};
    return !descriptor_ || ::fstat(descriptor_.Get(), &state) != 0 || state.st_size == 0;
}

void LogFile::Clear() {
    if (descriptor_) {
        static_cast<void>(!::ftruncate(descriptor_.Get(), 0));  // failed: the old text stays ahead
    }
}

bool LogFile::Append(std::string_view text) {
    while (descriptor_ && !text.empty()) {
        const auto written = ::write(descriptor_.Get(), text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

void RunLogView::SetLogText(std::string_view text) {
    // A polled folder runs the session once a file, and each run begins with a fresh text: here it
    // goes behind the former ones.
    if (begun_) {
        AppendLog("");
        AppendLog(text);
        return;
    }
    begun_ = true;
    start_ = text;
    Write({});
    if (display_ != nullptr) {
        display_->SetLogText(text);
    }
    for (const auto& warning : warnings_) {
        AppendLog(warning);
    }
}

// Without its first words a file is no log to the next run, which would leave it as it is and not
// start: nothing is written before they are, on a full disk say.
void RunLogView::Write(std::string_view text) {
    if (!start_.empty()) {
        log_.Clear();
        if (!log_.Append(start_)) {
            log_failed_ = true;
            return;
        }
        start_.clear();
    }
    log_failed_ |= !log_.Append(text);
}

void RunLogView::AppendLogText(std::string_view text) {
    Write(text);
    if (display_ != nullptr) {
        display_->AppendLogText(text);
    }
}

void RunLogView::CaretToEnd() {
    if (display_ != nullptr) {
        display_->CaretToEnd();
    }
}

void RunLogView::Repaint() {
    if (display_ != nullptr) {
        display_->Repaint();
    }
    PassCancelOn();
}

void RunLogView::SetRowCounter(std::int64_t loaded, double total) {
    if (display_ != nullptr) {
        display_->SetRowCounter(loaded, total);
    }
}

void RunLogView::ClearRowCounter() {
    if (display_ != nullptr) {
        display_->ClearRowCounter();
    }
}

void RunLogView::SetBarMin(std::int64_t minimum) {
    if (display_ != nullptr) {
        display_->SetBarMin(minimum);
    }
}

void RunLogView::SetBarMax(std::int64_t maximum) {
    if (display_ != nullptr) {
        display_->SetBarMax(maximum);
    }
}

void RunLogView::SetBarValue(std::int64_t value) {
    if (display_ != nullptr) {
        display_->SetBarValue(value);
    }
}

void RunLogView::WaitFor(const std::function<void()>& work) {
    if (display_ != nullptr) {
        display_->WaitFor(work);
    } else {
        work();
    }
}

void RunLogView::DoEvents() {
    if (display_ != nullptr) {
        display_->DoEvents();
    }
    PassCancelOn();
}

// Where the run page would show a box, the runner must not wait for a click: the text is logged.
void RunLogView::ShowMessage(std::string_view text) {
    AppendLog(text);
}

void RunLogView::PassCancelOn() {
    // The run looks at these two variables only: SessionCancelled ends it, TableCancelled the table
    // that is being loaded.
    if (!cancel_requested_()) {
        return;
    }
    const auto now = std::chrono::steady_clock::now();
    if (cancelled_at_ == std::chrono::steady_clock::time_point()) {
        cancelled_at_ = now;
    }
    // Within the grace nothing is set, and a short load comes to its own end.
    if (now - cancelled_at_ >= cancel_grace_) {
        SessionCancelled = kTrue;
        TableCancelled = kTrue;
    }
}

}  // namespace vantry

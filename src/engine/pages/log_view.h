#pragma once
// What the box of a run's log can do besides showing it: lines that tell of failures are marked,
// one can go from one to the next, copy and save. The text itself stays as the run wrote it.

#include <QAction>
#include <QObject>
#include <QPlainTextEdit>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

class LogView : public QObject {
    Q_OBJECT
public:
    // The box outlives it. `choose_file` asks for a file to save to; without one that isn't
    // offered.
    explicit LogView(QPlainTextEdit& log,
                     std::function<std::optional<std::string>()> choose_file = nullptr);

    // In its context menu, too.
    void AddAction(QAction* action) { more_.push_back(action); }

    // At the end of a run: marks what failed, and with `failed` the last line, too.
    void MarkEnd(bool failed);
    void Clear();
    // The first failure at or behind a line, in the middle of the box; the line itself without one.
    void ShowFailureFrom(std::int64_t line);
    // From the caret on, and from the top again. False: there is none.
    bool NextError();

Q_SIGNALS:
    void SaveFailed(const QString& why);

private:
    void ShowMenu(QPoint at);
    void GoTo(int line);
    void Save();

    QPlainTextEdit& log_;
    std::function<std::optional<std::string>()> choose_file_;
    std::vector<int> failures_;  // lines
    std::vector<QAction*> more_;
};

}  // namespace vantry

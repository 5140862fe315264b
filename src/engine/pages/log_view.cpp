#include "engine/pages/log_view.h"

#include "engine/run_log.h"
#include "shell/qt_text.h"

#include <QMenu>
#include <QSaveFile>
#include <QScrollBar>
#include <QShortcut>
#include <QTextBlock>

#include <algorithm>

namespace vantry {
namespace {

// Behind the text, which keeps its colour: in both themes the contrast stays above 7 : 1.
QColor FailureBack(const QPalette& palette) {
    return palette.color(QPalette::Base).lightness() < 128 ? QColor(0x5a, 0x2c, 0x10)
                                                           : QColor(0xff, 0xe0, 0xc8);
}

}  // namespace

LogView::LogView(QPlainTextEdit& log, std::function<std::optional<std::string>()> choose_file)
    : QObject(&log), log_(log), choose_file_(std::move(choose_file)) {
    log.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&log, &QWidget::customContextMenuRequested, this, &LogView::ShowMenu);
    auto* const next = new QShortcut(Qt::Key_F3, &log);
    next->setContext(Qt::WidgetShortcut);
    connect(next, &QShortcut::activated, this, [this] { NextError(); });
}

void LogView::Clear() {
    failures_.clear();
    log_.setExtraSelections({});
}

void LogView::MarkEnd(bool failed) {
    Clear();
    QList<QTextEdit::ExtraSelection> marks;
    const auto mark = [&](const QTextBlock& block) {
        QTextEdit::ExtraSelection selection;
        selection.cursor = QTextCursor(block);
        selection.format.setBackground(FailureBack(log_.palette()));
        selection.format.setProperty(QTextFormat::FullWidthSelection, true);
        marks.push_back(selection);
    };
    for (QTextBlock block = log_.document()->begin(); block.isValid(); block = block.next()) {
        if (log_line::TellsOfFailure(FromQt(block.text()))) {
            failures_.push_back(block.blockNumber());
            mark(block);
        }
    }
    if (failed) {
        mark(log_.document()->lastBlock());
    }
    log_.setExtraSelections(marks);
}

void LogView::GoTo(int line) {
    log_.setTextCursor(QTextCursor(log_.document()->findBlockByNumber(line)));
    log_.centerCursor();
    log_.horizontalScrollBar()->setValue(log_.horizontalScrollBar()->minimum());
    log_.setFocus();
}

void LogView::ShowFailureFrom(std::int64_t line) {
    const auto found = std::lower_bound(failures_.begin(), failures_.end(), line);
    GoTo(found == failures_.end() ? static_cast<int>(line) : *found);
}

bool LogView::NextError() {
    if (failures_.empty()) {
        return false;
    }
    const auto found = std::upper_bound(
        failures_.begin(), failures_.end(), log_.textCursor().block().blockNumber());
    GoTo(found == failures_.end() ? failures_.front() : *found);
    return true;
}

void LogView::ShowMenu(QPoint at) {
    QMenu menu(&log_);
    menu.setObjectName("LogMenu");
    auto* const copy = menu.addAction("&Copy", &log_, &QPlainTextEdit::copy);
    copy->setEnabled(log_.textCursor().hasSelection());
    menu.addAction("Select &All", &log_, &QPlainTextEdit::selectAll);
    if (choose_file_) {
        menu.addAction("&Save As...", this, &LogView::Save);
    }
    menu.addSeparator();
    menu.addAction("&Next Error (F3)", this, [this] { NextError(); })
        ->setEnabled(!failures_.empty());
    if (!more_.empty()) {
        menu.addSeparator();
    }
    for (auto* const action : more_) {
        menu.addAction(action);
    }
    menu.exec(log_.mapToGlobal(at));
}

void LogView::Save() {
    const auto path = choose_file_();
    if (!path || path->empty()) {
        return;
    }
    QSaveFile file(ToQt(*path));
    const QByteArray text = log_.toPlainText().toUtf8() + '\n';
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit()) {
        Q_EMIT SaveFailed("The log can't be saved as " + ToQt(*path) + ": " + file.errorString());
    }
}

}  // namespace vantry

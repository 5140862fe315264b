// What is held is a run of whole lines, [begin_, end_) of the file. Its own (hidden) scroll bar
// moves within them, so wheel and keys work as in any text box; at either end of the piece another
// one is read, with the same line on top. The bar of the file counts in bytes. Easy to get wrong:
// the two bars move each other. Each move by code sets moving_, and only what the user does leads
// anywhere.
#include "repository/pages/log_text.h"

#include "shell/qt_text.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>
#include <limits>

namespace vantry {
namespace {

constexpr std::size_t kHeld = 256 * 1024;
constexpr std::size_t kMostHeld = 4 * kHeld;  // as a followed log grows
constexpr int kBetweenLooks = 400;            // milliseconds

// Scroll bars count in ints.
std::uint64_t UnitOf(std::uint64_t size) {
    return size / static_cast<std::uint64_t>(std::numeric_limits<int>::max() / 2) + 1;
}

}  // namespace

LogText::LogText(QWidget* parent)
    : QPlainTextEdit(parent), file_bar_(new QScrollBar(Qt::Vertical, this)) {
    setReadOnly(true);
    // An undo step for each appended piece would hold all that was ever shown.
    setUndoRedoEnabled(false);
    setLineWrapMode(QPlainTextEdit::NoWrap);
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    file_bar_->setObjectName("FileBar");
    file_bar_->hide();
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &LogText::OwnBarMoved);
    connect(file_bar_, &QScrollBar::valueChanged, this, &LogText::FileBarMoved);
    connect(&timer_, &QTimer::timeout, this, &LogText::Follow);
}

void LogText::OpenLog(const std::string& path) {
    reader_.emplace(path);
    ShowStart();
    timer_.start(kBetweenLooks);
}

bool LogText::HoldsAll() const {
    return reader_ && end_ >= reader_->Size() &&
           // By lines and not by bytes: the first line of a file may stand behind a byte order
           // mark.
           reader_->LineStart(begin_) == reader_->LineStart(0);
}

bool LogText::AtBottom() const {
    return verticalScrollBar()->value() >= verticalScrollBar()->maximum();
}

bool LogText::FollowsEnd() const {
    return reader_ && end_ >= reader_->Size() && AtBottom();
}

std::uint64_t LogText::Top() const {
    const auto block = static_cast<std::size_t>(std::max(0, firstVisibleBlock().blockNumber()));
    return block < starts_.size() ? starts_[block] : end_;
}

void LogText::AddLines(const LogReader::Piece& piece, QString& text) {
    for (const auto& line : piece.lines) {
        starts_.push_back(line.begin);
        text += ToQt(line.text);
        text += '\n';
        last_ended_ = line.ended;
    }
    end_ = piece.end;
}

void LogText::Hold(std::uint64_t begin, std::size_t bytes) {
    QString text;
    begin_ = begin;
    starts_.clear();
    last_ended_ = true;
    AddLines(reader_->Read(begin, bytes), text);
    if (end_ < reader_->Size()) {
        text.chop(1);  // another line follows in the file
    }
    setPlainText(text);
    ArrangeBars();
}

void LogText::ShowAt(std::uint64_t offset) {
    const QScopedValueRollback guard(moving_, true);
    const std::uint64_t top = reader_->LineStart(offset);
    // As much above as below, so that a turn of the wheel finds lines either way; less of it where
    // lines are so short that their number is the limit.
    for (std::uint64_t above = kHeld / 2;; above /= 4) {
        Hold(top > above ? reader_->LineStart(top - above) : 0, kHeld);
        if (end_ > top || end_ >= reader_->Size() || above == 0) {
            break;
        }
    }
    const auto line = std::lower_bound(starts_.begin(), starts_.end(), top);
    verticalScrollBar()->setValue(static_cast<int>(line - starts_.begin()));
    ArrangeBars();
    Q_EMIT Moved();
}

void LogText::ShowEnd() {
    const QScopedValueRollback guard(moving_, true);
    const std::uint64_t size = reader_->Size();
    for (std::uint64_t held = kHeld;; held /= 4) {
        Hold(size > held ? reader_->LineStart(size - held) : 0, held + 2 * LogReader::kBlock);
        if (end_ >= size || held < LogReader::kBlock) {
            break;  // else lines so short that their number is the limit
        }
    }
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    ArrangeBars();
    Q_EMIT Moved();
}

void LogText::Follow() {
    if (!reader_) {
        return;
    }
    // Asked before Look, which changes the size.
    const bool had_end = end_ >= reader_->Size();
    const bool follows = FollowsEnd();
    LogReader::News news = LogReader::News::None;
    try {
        news = reader_->Look();
    } catch (const std::exception&) {
        return;  // out of reach for the moment: what was read stays
    }
    if (news == LogReader::News::Anew) {
        // Another file's bytes: no place of the former one means anything in it.
        follows ? ShowEnd() : ShowStart();
    } else if (news == LogReader::News::Grown) {
        // A log that is followed for days would fill the text box; past this the end is read anew,
        // alone.
        const bool too_long = HeldBytes() > kMostHeld || starts_.size() > LogReader::kMostLines * 4;
        if (had_end && !too_long) {
            AppendNew();
        }
        if (follows) {
            const QScopedValueRollback guard(moving_, true);
            if (end_ < reader_->Size()) {
                ShowEnd();
            }
            verticalScrollBar()->setValue(verticalScrollBar()->maximum());
        }
        ArrangeBars();
        Q_EMIT Moved();
    }
}

// Behind what is held; a last line that wasn't ended yet is read again with its rest. A selection
// stays.
void LogText::AppendNew() {
    const QScopedValueRollback guard(moving_, true);
    QTextCursor end(document());
    end.movePosition(QTextCursor::End);
    std::uint64_t from = end_;
    if (!last_ended_) {
        from = starts_.back();
        // AddLines puts it in again, with its rest.
        starts_.pop_back();
        const QTextBlock line = document()->findBlockByNumber(static_cast<int>(starts_.size()));
        end.setPosition(line.position(), QTextCursor::KeepAnchor);
    }
    const int place = verticalScrollBar()->value();
    QString text;
    AddLines(reader_->Read(from, kMostHeld), text);
    end.insertText(text);
    verticalScrollBar()->setValue(place);
}

void LogText::OwnBarMoved(int value) {
    if (moving_ || !reader_) {
        return;
    }
    const bool at_end = value >= verticalScrollBar()->maximum();
    if ((at_end && end_ < reader_->Size()) || (value == 0 && begin_ > reader_->LineStart(0))) {
        // The piece's last lines fill the box already when its bar is at its end.
        ShowAt(Top());
    }
    ArrangeBars();
    Q_EMIT Moved();
}

void LogText::FileBarMoved() {
    if (moving_ || !reader_) {
        return;
    }
    if (file_bar_->value() >= file_bar_->maximum()) {
        ShowEnd();
    } else {
        // The bar's end alone stands for the last line: by division its value falls short of the
        // size.
        ShowAt(static_cast<std::uint64_t>(file_bar_->value()) * UnitOf(reader_->Size()));
    }
}

void LogText::ArrangeBars() {
    const QScopedValueRollback guard(moving_, true);
    const bool whole = HoldsAll();
    setVerticalScrollBarPolicy(whole ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    file_bar_->setVisible(!whole);
    const int width = file_bar_->sizeHint().width();
    // Room for the bar, which is no part of what the text box lays out.
    setViewportMargins(0, 0, whole ? 0 : width, 0);
    if (whole) {
        return;
    }
    const QRect inside = contentsRect();
    file_bar_->setGeometry(
        inside.right() + 1 - width, inside.top(), width, viewport()->geometry().height());
    const std::uint64_t unit = UnitOf(reader_->Size());
    const std::uint64_t top = Top();
    const int rows = std::max(1, viewport()->height() / std::max(1, fontMetrics().lineSpacing()));
    const std::uint64_t lines = std::max<std::size_t>(1, starts_.size());
    const auto page =
        static_cast<int>(HeldBytes() / lines * static_cast<std::uint64_t>(rows) / unit);
    file_bar_->setRange(0, static_cast<int>(reader_->Size() / unit));
    file_bar_->setPageStep(std::max(1, page));
    file_bar_->setSingleStep(std::max(1, page / rows));
    file_bar_->setValue(FollowsEnd() ? file_bar_->maximum() : static_cast<int>(top / unit));
}

void LogText::keyPressEvent(QKeyEvent* event) {
    // A text that can't be edited has no cursor to move: the keys move what is seen.
    auto* const bar = verticalScrollBar();
    switch (event->key()) {
        case Qt::Key_Home:
            ShowStart();
            break;
        case Qt::Key_End:
            ShowEnd();
            break;
        case Qt::Key_Up:
            bar->triggerAction(QScrollBar::SliderSingleStepSub);
            break;
        case Qt::Key_Down:
            bar->triggerAction(QScrollBar::SliderSingleStepAdd);
            break;
        case Qt::Key_PageUp:
            bar->triggerAction(QScrollBar::SliderPageStepSub);
            break;
        case Qt::Key_PageDown:
            bar->triggerAction(QScrollBar::SliderPageStepAdd);
            break;
        default:
            QPlainTextEdit::keyPressEvent(event);
            return;
    }
    event->accept();
}

void LogText::resizeEvent(QResizeEvent* event) {
    QPlainTextEdit::resizeEvent(event);
    if (reader_) {
        ArrangeBars();
    }
}

}  // namespace vantry

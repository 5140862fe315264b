#pragma once
// The text box of the log viewer. A log may be far longer than a text control can hold: it holds a
// piece around what is seen, and a scroll bar of the whole file stands where its own would. A log
// that fits is held whole. New lines of a log that is being written come in at its end.

#include "repository/log_reader.h"

#include <QPlainTextEdit>
#include <QTimer>

#include <optional>

class QScrollBar;

namespace vantry {

class LogText : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit LogText(QWidget* parent = nullptr);

    // Throws DataError when it can't be read. The first lines are seen then.
    void OpenLog(const std::string& path);
    // Where the last line is in sight, it stays so while the log grows.
    bool FollowsEnd() const;
    std::uint64_t LogSize() const { return reader_ ? reader_->Size() : 0; }
    std::uint64_t HeldBytes() const { return end_ - begin_; }

    void ShowStart() { ShowAt(0); }
    void ShowEnd();
    // The line that holds this byte of the file becomes the top one.
    void ShowAt(std::uint64_t offset);
    // Takes in what has been written since.
    void Follow();

Q_SIGNALS:
    // The place or the size is another one.
    void Moved();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    bool HoldsAll() const;
    bool AtBottom() const;
    void Hold(std::uint64_t begin, std::size_t bytes);
    void AppendNew();
    void AddLines(const LogReader::Piece& piece, QString& text);
    void OwnBarMoved(int value);
    void FileBarMoved();
    void ArrangeBars();
    std::uint64_t Top() const;  // where the top line begins

    std::optional<LogReader> reader_;
    QScrollBar* file_bar_;
    QTimer timer_;
    std::uint64_t begin_ = 0;
    std::uint64_t end_ = 0;
    std::vector<std::uint64_t> starts_;  // of the held lines, by block
    bool last_ended_ = true;             // the last held line
    bool moving_ = false;                // by this class and not by the user
};

}  // namespace vantry

#pragma once
// What the frame says beside the pages: the session's source and target, what a page has to add,
// and which pages are open where none is seen. Their own texts are what users' instructions quote,
// so whatever helps besides stands here.

#include <QLabel>
#include <QWidget>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

class QMdiArea;

namespace vantry {

enum class NoticeKind { Information, Warning };

// A part of a notice; one with an action is a link.
struct NoticePart {
    std::string text;
    std::function<void()> action = nullptr;
};

struct Notice {
    std::vector<NoticePart> parts;
    NoticeKind kind = NoticeKind::Information;

    bool Empty() const { return parts.empty(); }
    std::string Text() const;
};

// A colour for a text that warns, readable on the palette's window or base.
QColor WarningColor(const QPalette& palette);
// The same for links: the toolkit's own blue can't be read on a dark window.
QColor LinkColor(const QPalette& palette);

// The row in the status bar: a notice, and behind it the route. What has no room of either ends in
// an ellipsis; that of a notice is a link to the whole of it.
class StatusLine : public QWidget {
    Q_OBJECT
public:
    explicit StatusLine(QWidget* parent = nullptr);

    void Show(const std::string& route, const Notice& notice);
    // As wide as this where a layout asks, or by its labels for 0. Beside the menus it gets what it
    // asks for, from the right edge.
    void AskForWidth(int width);
    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

protected:
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void Draw();
    void Follow(std::size_t part);
    void ShowRest();

    QLabel* notice_label_;
    QLabel* route_label_;
    QString route_;
    Notice notice_;
    int asked_width_ = 0;
};

// In the middle of the area while no page is seen there: which are open, and a way back to the last
// of them. Some buttons lead to no page, and it must stay so.
class OpenPagesNote : public QLabel {
    Q_OBJECT
public:
    explicit OpenPagesNote(QMdiArea& area);
    void Refresh();

private:
    QMdiArea& area_;
    std::string last_;  // the page that the link shows
};

// What was found when the program started and no page has to say: shown in the status bar as long
// as the first page is in front, and gone for good behind it.
void TellAtStart(const std::vector<std::string>& sentences);

// Brings both up to date once control is back in the event loop; what pages and the set of pages
// call after each change.
void RefreshStatus();

}  // namespace vantry

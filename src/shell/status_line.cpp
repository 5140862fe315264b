// The row is drawn from the state of the session and from the active page each time that something
// changed; nothing is kept that could grow stale. Easy to get wrong: names come from files and
// servers, so what stands in a label that knows links is escaped; a page may be gone before the
// refresh that it asked for; and the toolkit cuts markup without a sign, so a notice that is wider
// than its room is shortened here, and its last link opens the rest.
#include "shell/status_line.h"

#include "core/route.h"
#include "core/session_state.h"
#include "shell/background_work.h"
#include "shell/main_window.h"
#include "shell/page_set.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QScreen>
#include <QTimer>
#include <QWidgetAction>

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

constexpr int kMargin = 6;
constexpr int kMostNamesOfPages = 6;
constexpr int kWidestRest = 60;  // average characters

constexpr const char* kRest = "rest";

QString LinkTo(const QString& target, const QString& text, const QColor& color) {
    return "<a style=\"color:" + color.name() + "\" href=\"" + target + "\">" +
           text.toHtmlEscaped() + "</a>";
}

// The first `length` characters as markup; links by the number of their part.
QString MarkedUp(const Notice& notice, qsizetype length, const QColor& link) {
    QString text;
    for (std::size_t i = 0; i < notice.parts.size() && length > 0; ++i) {
        const QString part = ToQt(notice.parts[i].text).left(length);
        length -= part.size();
        text +=
            notice.parts[i].action ? LinkTo(QString::number(i), part, link) : part.toHtmlEscaped();
    }
    return text;
}

bool ShowsRoute(const Page& page) {
    return SideOfPage(FromQt(page.objectName())) != Side::None || FindPage("Form4") != nullptr;
}

// A page says what its own side would be now; of the other side only what has been passed counts,
// as the variables hold what earlier sessions left.
std::string RouteBeside(const Page& page) {
    if (!ShowsRoute(page)) {
        return {};
    }
    const Side side = SideOfPage(FromQt(page.objectName()));
    const std::string source = side == Side::Source ? page.SideInWords() : SourceInWords();
    std::string target;
    if (side == Side::Target) {
        target = page.SideInWords();
    } else if (side == Side::None) {
        target = TargetInWords();
    }
    return RouteInWords(source, target);
}

Notice& AtStart() {
    static Notice notice;
    return notice;
}

QString TitleOf(const std::string& name) {
    const Page* const page = FindPage(name);
    return page == nullptr ? ToQt(name) : page->windowTitle();
}

}  // namespace

std::string Notice::Text() const {
    std::string text;
    for (const auto& part : parts) {
        text += part.text;
    }
    return text;
}

// The palette has no role for warnings; each of the two can be read on its half of the desktops.
QColor WarningColor(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? QColor(255, 190, 100)
                                                             : QColor(140, 60, 0);
}

QColor LinkColor(const QPalette& palette) {
    return palette.color(QPalette::Window).lightness() < 128 ? QColor(140, 180, 255)
                                                             : QColor(10, 70, 190);
}

StatusLine::StatusLine(QWidget* parent)
    : QWidget(parent), notice_label_(new QLabel), route_label_(new QLabel) {
    auto* const row = new QHBoxLayout(this);
    row->setContentsMargins(kMargin, 0, kMargin, 0);
    row->setSpacing(3 * kMargin);
    row->addWidget(notice_label_, 1);
    row->addWidget(route_label_);
    notice_label_->setObjectName("StatusNotice");
    // Beside the menus it would be the colour of a button's text.
    notice_label_->setForegroundRole(QPalette::WindowText);
    notice_label_->setAccessibleName("Notice");
    notice_label_->setTextFormat(Qt::RichText);
    notice_label_->setTextInteractionFlags(Qt::LinksAccessibleByMouse |
                                           Qt::LinksAccessibleByKeyboard);
    // Neither label widens the window: what doesn't fit is in the tool tip.
    notice_label_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    route_label_->setObjectName("StatusRoute");
    route_label_->setAccessibleName("Source and target");
    route_label_->setTextFormat(Qt::PlainText);
    connect(notice_label_, &QLabel::linkActivated, this, [this](const QString& link) {
        if (link == kRest) {
            ShowRest();
        } else {
            Follow(static_cast<std::size_t>(link.toULongLong()));
        }
    });
}

void StatusLine::Follow(std::size_t part) {
    if (part < notice_.parts.size() && notice_.parts[part].action) {
        // A copy: the action may change the notice.
        const auto action = notice_.parts[part].action;
        action();
    }
}

// The whole notice, and its links as entries: where there is little room they may all be in what
// was cut off.
void StatusLine::ShowRest() {
    auto* const menu = new QMenu(this);
    menu->setObjectName("StatusRest");
    menu->setAttribute(Qt::WA_DeleteOnClose);
    auto* const whole = new QLabel(ToQt(notice_.Text()).trimmed(), menu);
    whole->setTextFormat(Qt::PlainText);
    whole->setWordWrap(true);
    whole->setMargin(kMargin);
    const int width = std::min(fontMetrics().averageCharWidth() * kWidestRest,
                               screen()->availableSize().width() - 4 * kMargin);
    whole->setFixedSize(width, whole->heightForWidth(width));
    auto* const entry = new QWidgetAction(menu);
    entry->setDefaultWidget(whole);
    // What screen readers say of the entry.
    entry->setText(whole->text());
    menu->addAction(entry);
    menu->addSeparator();
    for (std::size_t i = 0; i < notice_.parts.size(); ++i) {
        if (!notice_.parts[i].action) {
            continue;
        }
        const std::string text = notice_.parts[i].text;
        connect(menu->addAction(ToQt(text).replace("&", "&&")),
                &QAction::triggered,
                this,
                [this, i, text] {
                    // The page may have another notice by now, or be gone.
                    if (i < notice_.parts.size() && notice_.parts[i].text == text) {
                        Follow(i);
                    }
                });
    }
    const QSize size = menu->sizeHint();
    const int above = mapToGlobal(QPoint(0, 0)).y() - size.height();
    const int below = mapToGlobal(QPoint(0, height())).y();
    const int left = mapToGlobal(notice_label_->geometry().topRight()).x() - size.width();
    menu->popup(QPoint(std::max(left, screen()->availableGeometry().left()),
                       above < screen()->availableGeometry().top() ? below : above));
    // For Enter; the text itself is nothing to choose.
    constexpr int kFirstLink = 2;
    menu->setActiveAction(menu->actions().value(kFirstLink));
}

void StatusLine::Show(const std::string& route, const Notice& notice) {
    route_ = ToQt(route);
    notice_ = notice;
    Draw();
}

void StatusLine::AskForWidth(int width) {
    asked_width_ = width;
    updateGeometry();
}

QSize StatusLine::minimumSizeHint() const {
    return {0, fontMetrics().height() + kMargin};
}

QSize StatusLine::sizeHint() const {
    return {asked_width_ > 0 ? asked_width_ : QWidget::sizeHint().width(),
            minimumSizeHint().height()};
}

void StatusLine::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        Draw();
    }
}

void StatusLine::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    Draw();
}

void StatusLine::Draw() {
    QPalette colors = palette();
    if (notice_.kind == NoticeKind::Warning) {
        colors.setColor(QPalette::WindowText, WarningColor(colors));
    }
    notice_label_->setPalette(colors);
    // The sign beside the colour: not everybody tells colours apart.
    const QString sign = notice_.kind == NoticeKind::Warning && !notice_.Empty() ? "\u26a0 " : "";
    const QString whole = ToQt(notice_.Text());
    const QColor link = LinkColor(palette());
    notice_label_->setText(sign + MarkedUp(notice_, whole.size(), link));
    notice_label_->setToolTip(notice_.Empty() ? QString() : ToolTipOf(whole));
    // A screen reader says the name, and would say nothing of the text beside a fixed one.
    notice_label_->setAccessibleName(notice_.Empty() ? QString("Notice") : whole);
    // The notice comes first: it is about what the user is doing now.
    const int needed = notice_.Empty() ? 0 : notice_label_->sizeHint().width();
    // A third at least: a long notice must not push the route out altogether.
    const int left = std::max(width() - needed - 5 * kMargin, width() / 3);
    route_label_->setText(fontMetrics().elidedText(route_, Qt::ElideMiddle, left));
    route_label_->setToolTip(route_.isEmpty() ? QString() : ToolTipOf(route_));
    const int room = width() - route_label_->sizeHint().width() - 5 * kMargin;
    if (needed > room) {
        const QFontMetrics metrics = notice_label_->fontMetrics();
        const QString start =
            metrics.elidedText(whole, Qt::ElideRight, room - metrics.horizontalAdvance(sign) - 2);
        // Without the ellipsis, which is a link of its own.
        notice_label_->setText(sign + MarkedUp(notice_, start.size() - 1, link) +
                               LinkTo(kRest, QChar(0x2026), link));
    }
}

OpenPagesNote::OpenPagesNote(QMdiArea& area) : QLabel(area.viewport()), area_(area) {
    setObjectName("OpenPagesNote");
    setTextFormat(Qt::RichText);
    setWordWrap(true);
    setAlignment(Qt::AlignCenter);
    setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    // The area's background is the style's, of any lightness; the note brings its own.
    setAutoFillBackground(true);
    setFrameShape(QFrame::StyledPanel);
    setMargin(4 * kMargin);
    connect(this, &QLabel::linkActivated, this, [this] {
        if (FindPage(last_) != nullptr) {
            ShowPage(last_);
        }
    });
    hide();
}

void OpenPagesNote::Refresh() {
    // A box is answered first, an answer waited for. The page that does so may only be about to
    // come, or to go again.
    if (QApplication::activeModalWidget() != nullptr || IsWaitingForWork()) {
        return;
    }
    QStringList titles;
    for (const auto& name : LoadedPages()) {
        const Page* const page = FindPage(name);
        if (PageIsVisible(name) && page->WherePlaced() != Page::Place::Window) {
            hide();
            return;
        }
        // The navigator belongs to no session: there is nothing in it to go back to.
        if (page != nullptr && page->WherePlaced() == Page::Place::Frame && name != "NavForm") {
            titles << TitleOf(name).toHtmlEscaped();
            last_ = name;
        }
    }
    if (titles.isEmpty()) {
        hide();
        return;
    }
    const QString last = titles.last();
    if (titles.size() > kMostNamesOfPages) {
        titles = titles.mid(titles.size() - kMostNamesOfPages);
    }
    setText(
        "<p>No page follows here, but the session is open, with what was chosen on these "
        "pages:</p><p>" +
        titles.join("<br>") + "</p><p><a style=\"color:" + LinkColor(palette()).name() +
        "\" href=\"last\">Go back to \"" + last + "\"</a></p>");
    const int width = std::min(area_.viewport()->width(), fontMetrics().averageCharWidth() * 70);
    resize(width, heightForWidth(width));
    move((area_.viewport()->width() - width) / 2,
         std::max(0, (area_.viewport()->height() - height()) / 3));
    show();
    setFocusPolicy(Qt::StrongFocus);
    setFocus();
}

void TellAtStart(const std::vector<std::string>& sentences) {
    AtStart() = {};
    if (sentences.size() > 1) {
        // The first fills the line; all are in the tool tip.
        AtStart().parts.push_back({std::to_string(sentences.size()) + " faults:"});
    }
    for (const auto& sentence : sentences) {
        AtStart().parts.push_back({(AtStart().Empty() ? "" : " ") + sentence});
    }
    AtStart().kind = NoticeKind::Warning;
    RefreshStatus();
}

void RefreshStatus() {
    static bool waiting = false;
    // Many changes of one handler make one refresh, and it sees the last state.
    if (std::exchange(waiting, true)) {
        return;
    }
    QTimer::singleShot(0, [] {
        waiting = false;
        MainWindow* const frame = FindMainWindow();
        if (frame == nullptr) {
            return;
        }
        const Page* const page = ActivePage();
        if (page != nullptr && page->WherePlaced() == Page::Place::Frame &&
            page->objectName() != "NavForm") {
            AtStart() = {};
        }
        frame->Status().Show(
            page == nullptr ? std::string() : RouteBeside(*page),
            page == nullptr || page->CurrentNotice().Empty() ? AtStart() : page->CurrentNotice());
        frame->Note().Refresh();
    });
}

}  // namespace vantry

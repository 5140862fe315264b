// What is put in takes the road of a typed text (select all, insert): pages take over some fields
// only when they were typed into and left.
// Easy to get wrong: an address is put right while it is being typed, so what is only the beginning
// of one must stay as it is.
#include "shell/path_entry.h"

#include "shell/qt_text.h"
#include "shell/tool_tip.h"
#include "shell/window_memory.h"

#include <QAction>
#include <QDir>
#include <QDropEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPainter>
#include <QPolygonF>
#include <QTimer>
#include <QUrl>

namespace vantry {
namespace {

constexpr int kMostLettersShown = 80;

// A triangle in the colour of the field's text; the styles' own arrow is black on any desktop.
QIcon DownIcon(const QWidget& field) {
    constexpr int kSide = 16;
    const qreal ratio = field.devicePixelRatioF();
    QPixmap picture(QSize(kSide, kSide) * ratio);
    picture.setDevicePixelRatio(ratio);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(field.palette().color(QPalette::Text));
    painter.drawPolygon(QPolygonF({{4, 6}, {12, 6}, {8, 11}}));
    return picture;
}

QString FirstLocalFile(const QMimeData& data) {
    const auto urls = data.urls();
    return !urls.isEmpty() && urls.first().isLocalFile() ? urls.first().toLocalFile() : QString();
}

}  // namespace

PathEntry::PathEntry(QLineEdit& field, std::string kind, PathUse use)
    : QObject(&field),
      field_(field),
      kind_(std::move(kind)),
      use_(use),
      recent_(field.addAction(DownIcon(field), QLineEdit::TrailingPosition)) {
    recent_->setText("Used lately");
    recent_->setToolTip("Used lately (Alt+Down)");
    connect(recent_, &QAction::triggered, this, &PathEntry::OfferRecent);
    ShowSign();
    field.setAcceptDrops(true);
    field.installEventFilter(this);
    connect(&field, &QLineEdit::textChanged, this, &PathEntry::Straighten);
    connect(&field, &QLineEdit::editingFinished, this, [this] {
        if (field_.text() == "~") {
            Replace(QDir::homePath());
        }
    });
}

void PathEntry::Remember() {
    const QString path = field_.text();
    // A path that can't be used here would be offered again and again.
    if (field_.isEnabled() && !path.isEmpty() && Objection().empty()) {
        KeepRecentPath(kind_, FromQt(path));
        ShowSign();
    }
}

void PathEntry::Forget() {
    ForgetRecentPath(kind_, FromQt(field_.text()));
    ShowSign();
}

std::string PathEntry::Objection() const {
    const QString path = field_.text();
    const bool semicolon = use_ == PathUse::InConnectionString && path.contains(';');
    if (!field_.isEnabled() || (!semicolon && !path.contains('"'))) {
        return {};
    }
    return std::string(semicolon ? "A semicolon" : "A double quote") +
           " can't be part of a path here: " + FromQt(path) +
           ". Rename the file or folder, or reach it by a link without it.";
}

bool PathEntry::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::DragEnter:
        case QEvent::DragMove:
        case QEvent::Drop: {
            auto& drag = static_cast<QDropEvent&>(*event);
            const QString path = FirstLocalFile(*drag.mimeData());
            if (path.isEmpty()) {
                break;  // the field's own: a text
            }
            drag.acceptProposedAction();
            if (event->type() == QEvent::Drop) {
                field_.setFocus();
                Pick(path);
            }
            return true;
        }
        case QEvent::KeyPress: {
            const auto& key = static_cast<const QKeyEvent&>(*event);
            const bool opens = key.key() == Qt::Key_F4 ||
                               (key.key() == Qt::Key_Down && key.modifiers() == Qt::AltModifier);
            if (opens && recent_->isVisible()) {
                OfferRecent();
                return true;
            }
            break;
        }
        case QEvent::PaletteChange:
            recent_->setIcon(DownIcon(field_));
            break;
        case QEvent::Show:
            ShowSign();  // a field of the same kind may have been used meanwhile
            break;
        default:
            break;
    }
    return QObject::eventFilter(watched, event);
}

void PathEntry::Straighten() {
    // What is pasted often has blanks around it.
    const QString text = field_.text().trimmed();
    QString path;
    if (text.startsWith("file://", Qt::CaseInsensitive)) {
        path = QUrl(text).toLocalFile();
    } else if (text.startsWith("~/")) {
        path = QDir::homePath() + text.mid(1);
    }
    if (!path.isEmpty()) {
        Replace(path);
    }
}

void PathEntry::Replace(const QString& path) {
    field_.selectAll();
    field_.insert(path);
}

// Not from within the menu or the drop: what a page does then may let events in, by which the menu
// is gone before it has returned, or show a box while another program waits for its drop.
void PathEntry::Pick(const QString& path) {
    QTimer::singleShot(0, this, [this, path] {
        Replace(path);
        Q_EMIT field_.editingFinished();
        Q_EMIT Picked();
    });
}

void PathEntry::ShowSign() {
    recent_->setVisible(!RecentPaths(kind_).empty());
}

void PathEntry::OfferRecent() {
    auto* const menu = new QMenu(&field_);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setToolTipsVisible(true);
    const auto letters = menu->fontMetrics();
    for (const auto& recent : RecentPaths(kind_)) {
        const QString path = ToQt(recent);
        const QString shown = letters.elidedText(
            path, Qt::ElideMiddle, kMostLettersShown * letters.averageCharWidth());
        auto* const entry = menu->addAction(QString(shown).replace('&', "&&"));
        entry->setToolTip(ToolTipOf(path));
        entry->setData(path);
        connect(entry, &QAction::triggered, this, [this, path] { Pick(path); });
    }
    menu->popup(field_.mapToGlobal(QPoint(0, field_.height())));
    // So that Enter takes the latest one at once.
    menu->setActiveAction(menu->actions().value(0));
}

}  // namespace vantry

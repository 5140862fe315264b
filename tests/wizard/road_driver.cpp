#include "wizard/road_driver.h"

#include "shell/page_set.h"
#include "shell/qt_text.h"

#include <QAbstractItemView>
#include <QAbstractScrollArea>
#include <QApplication>
#include <QFileDialog>
#include <QHeaderView>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProcess>
#include <QScreen>
#include <QStyle>
#include <QStyleOptionViewItem>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vantry {
namespace {

constexpr int kTickMillis = 40;
constexpr int kTicksPerSecond = 1000 / kTickMillis;
constexpr int kSettleTicks = 3;  // painted, and the window manager has had its say

// xdotool speaks to the server; the events come back through this program's own loop.
void XDo(const QStringList& arguments) {
    QProcess::execute("xdotool", arguments);
}

void ClickAt(const QWidget& widget, QPoint place) {
    const QPoint global = widget.mapToGlobal(place);
    XDo({"mousemove", QString::number(global.x()), QString::number(global.y())});
    XDo({"click", "1"});
}

QWidget* FindControl(const std::string& page, const std::string& control) {
    auto* const loaded = FindPage(page);
    return loaded == nullptr ? nullptr : loaded->findChild<QWidget*>(ToQt(control));
}

QModelIndex EntryNamed(const std::string& page, const std::string& list, const std::string& text) {
    auto* const view = dynamic_cast<QAbstractItemView*>(FindControl(page, list));
    if (view == nullptr) {
        return {};
    }
    const auto* const model = view->model();
    for (int row = 0; row < model->rowCount(); ++row) {
        if (FromQt(model->index(row, 0).data().toString()) == text) {
            return model->index(row, 0);
        }
    }
    return {};
}

}  // namespace

RoadDriver::RoadDriver(std::string pictures) : pictures_(std::move(pictures)) {
    connect(&timer_, &QTimer::timeout, this, &RoadDriver::Tick);
}

void RoadDriver::Add(std::string what, std::function<bool()> ready, std::function<void()> act) {
    steps_.push_back({std::move(what), std::move(ready), std::move(act)});
}

void RoadDriver::AddOn(const std::string& page,
                       const std::string& control,
                       std::string what,
                       std::function<bool()> ready,
                       std::function<void(QWidget&)> act) {
    Add(
        std::move(what) + " of " + page + "." + control,
        [=, ready = std::move(ready)] {
            const QWidget* const modal = QApplication::activeModalWidget();
            const auto* const widget = FindControl(page, control);
            return PageIsVisible(page) && (modal == nullptr || modal == FindPage(page)) &&
                   widget != nullptr && widget->isVisible() && widget->isEnabled() && ready();
        },
        [=, this, act = std::move(act)] {
            if (std::exchange(pictured_, page) != page) {
                Shoot(page);
            }
            act(*FindControl(page, control));
        });
}

void RoadDriver::Page(const std::string& name) {
    Add(
        "the page " + name,
        [name] {
            const QWidget* const modal = QApplication::activeModalWidget();
            return PageIsVisible(name) && (modal == nullptr || modal == FindPage(name));
        },
        [this, name] {
            pictured_ = name;
            Shoot(name);
        });
}

void RoadDriver::Shot(const std::string& name) {
    Add(
        "a picture of " + name, [] { return true; }, [this, name] { Shoot(name); });
}

void RoadDriver::Click(const std::string& page, const std::string& control) {
    AddOn(
        page,
        control,
        "a click on the control",
        [] { return true; },
        [](const QWidget& widget) {
            // Options and boxes are wider than what reacts; their left end always does.
            ClickAt(widget, QPoint(std::min(widget.width() / 2, 30), widget.height() / 2));
        });
}

void RoadDriver::ClickCell(const std::string& page, const std::string& table, int row, int column) {
    AddOn(
        page,
        table,
        "a click on a cell",
        [] { return true; },
        [=](QWidget& widget) {
            auto& view = dynamic_cast<QAbstractItemView&>(widget);
            const auto index = view.model()->index(row, column);
            view.scrollTo(index);
            ClickAt(*view.viewport(), view.visualRect(index).center());
        });
}

void RoadDriver::ClickEntry(const std::string& page,
                            const std::string& list,
                            const std::string& text,
                            bool tick) {
    AddOn(
        page,
        list,
        "a click on the entry " + text,
        [=] { return EntryNamed(page, list, text).isValid(); },
        [=](const QWidget& widget) {
            const auto& view = dynamic_cast<const QAbstractItemView&>(widget);
            const QRect cell = view.visualRect(EntryNamed(page, list, text));
            const int half = view.style()->pixelMetric(QStyle::PM_IndicatorWidth) / 2 + 3;
            ClickAt(*view.viewport(),
                    tick ? QPoint(cell.left() + half, cell.center().y()) : cell.center());
        });
}

void RoadDriver::Type(const std::string& page, const std::string& line, const std::string& text) {
    Click(page, line);
    Retype(text);
}

void RoadDriver::Retype(const std::string& text) {
    Keys("ctrl+a");
    TypeText(text);
}

void RoadDriver::Keys(const std::string& keys) {
    Add(
        "the keys " + keys,
        [] { return QApplication::activeWindow() != nullptr; },
        [keys] {
            XDo({"key", ToQt(keys)});
        });
}

void RoadDriver::Keys(const std::string& page, const std::string& keys) {
    Page(page);
    Keys(keys);
}

void RoadDriver::TypeText(const std::string& text) {
    Add(
        "typing " + text,
        [] { return QApplication::activeWindow() != nullptr; },
        [text] {
            XDo({"type", "--delay", "2", "--", ToQt(text)});
        });
}

void RoadDriver::Box(const std::string& text, const std::string& key) {
    Add(
        "a box that says " + text,
        [text] {
            const auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            // A key before the window manager has given it the focus goes to the window below.
            return box != nullptr && box->isActiveWindow() && box->text().startsWith(ToQt(text));
        },
        [key] {
            XDo({"key", ToQt(key)});
        });
}

void RoadDriver::Choose(const std::string& path) {
    Add(
        "a file chooser",
        [] {
            const auto* const chooser =
                qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            return chooser != nullptr && chooser->isActiveWindow();
        },
        [path] {
            XDo({"key", "ctrl+a"});
            XDo({"type", "--delay", "2", "--", ToQt(path)});
            XDo({"key", "Return"});
        });
    Until("the chooser has gone",
          [] { return qobject_cast<QFileDialog*>(QApplication::activeModalWidget()) == nullptr; });
}

void RoadDriver::Until(const std::string& what, std::function<bool()> holds, int seconds) {
    Add(what, std::move(holds), [] {});
    steps_.back().seconds = seconds;
}

void RoadDriver::Do(const std::string& what, std::function<void()> action) {
    Add(
        what, [] { return true; }, std::move(action));
}

void RoadDriver::Start() {
    timer_.start(kTickMillis);
}

void RoadDriver::Tick() {
    if (busy_) {
        return;
    }
    if (steps_.empty()) {
        std::_Exit(0);
    }
    Step& step = steps_.front();
    if (!step.ready()) {
        settled_ = 0;
        if (++waited_ > step.seconds * kTicksPerSecond) {
            Fail("waited in vain for " + step.what);
        }
        return;
    }
    if (++settled_ < kSettleTicks) {
        return;
    }
    const Step now = std::move(step);
    steps_.pop_front();
    waited_ = 0;
    settled_ = 0;
    busy_ = true;
    now.act();
    busy_ = false;
}

void RoadDriver::Fail(const std::string& why) {
    std::printf("The road ended: %s\n", why.c_str());
    for (const auto& page : LoadedPages()) {
        std::printf("  loaded: %s%s\n", page.c_str(), PageIsVisible(page) ? " (visible)" : "");
    }
    if (const auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
        std::printf("  a box says: %s\n", box->text().toUtf8().constData());
    }
    Shoot("failed");
    std::fflush(stdout);
    std::_Exit(1);
}

void RoadDriver::Shoot(const std::string& name) {
    char number[16];
    std::snprintf(number, sizeof(number), "%02d-", ++pictures_taken_);
    const QPixmap screen = QApplication::primaryScreen()->grabWindow(0);
    screen.save(ToQt(pictures_ + "/" + number + name + ".png"));
}

}  // namespace vantry

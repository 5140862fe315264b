#include "wizard/road_driver.h"

#include "shell/page_set.h"
#include "shell/qt_text.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QFileDialog>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProcess>
#include <QRadioButton>
#include <QScreen>
#include <QStyle>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace vantry {
namespace {

constexpr int kTickMillis = 25;
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

bool IsUsable(const std::string& page, const std::string& control) {
    const auto* const widget = FindControl(page, control);
    return PageIsVisible(page) && widget != nullptr && widget->isVisible() && widget->isEnabled();
}

// As the page shows it at this moment; empty where neither the control nor a label of it has one.
QString LetterOf(const std::string& page, const std::string& control) {
    const auto* const widget = FindControl(page, control);
    if (const auto* const button = qobject_cast<const QAbstractButton*>(widget)) {
        return QKeySequence::mnemonic(button->text()).toString().toLower();
    }
    QString letter;
    if (auto* const loaded = FindPage(page)) {
        for (const auto* const label : loaded->findChildren<QLabel*>()) {
            if (widget != nullptr && label->buddy() == widget && letter.isEmpty()) {
                letter = QKeySequence::mnemonic(label->text()).toString().toLower();
            }
        }
    }
    return letter;
}

bool HasFocus(const std::string& page, const std::string& control) {
    const auto* const widget = FindControl(page, control);
    return widget != nullptr && widget->hasFocus();
}

// True when the control has the focus; else sends a Tab every few looks, as the last one has to
// arrive before the next.
std::function<bool()> TabsTo(const std::string& page, const std::string& control) {
    return [=, looks = std::make_shared<int>(0)] {
        constexpr int kLooks = 8;
        if (HasFocus(page, control)) {
            return true;
        }
        if (++*looks % kLooks == 0) {
            XDo({"key", "Tab"});
        }
        return false;
    };
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
    std::filesystem::create_directories(pictures_);
    connect(&timer_, &QTimer::timeout, this, &RoadDriver::Tick);
}

void RoadDriver::Add(std::string what, std::function<bool()> ready, std::function<void()> act) {
    steps_.push_back({std::move(what), std::move(ready), std::move(act)});
}

void RoadDriver::Page(const std::string& name) {
    Add(
        "the page " + name,
        [name] {
            const QWidget* const modal = QApplication::activeModalWidget();
            return PageIsVisible(name) && (modal == nullptr || modal == FindPage(name));
        },
        [this, name] { Shoot(name); });
}

void RoadDriver::Shot(const std::string& name) {
    Add(
        "a picture of " + name, [] { return true; }, [this, name] { Shoot(name); });
}

void RoadDriver::Click(const std::string& page, const std::string& control) {
    Add(
        "a click on " + page + "." + control,
        [=] { return IsUsable(page, control); },
        [=] {
            const auto* const widget = FindControl(page, control);
            // Options and boxes are wider than what reacts; their left end always does.
            ClickAt(*widget, QPoint(std::min(widget->width() / 2, 30), widget->height() / 2));
        });
    // A tooltip that appears under the pointer takes a click for itself; a user clicks again.
    Add(
        "the choice of " + page + "." + control,
        [=, looks = 0]() mutable {
            constexpr int kPatience = 60;
            auto* const option = qobject_cast<QRadioButton*>(FindControl(page, control));
            const bool is_chosen = option == nullptr || !option->isVisible() || option->isChecked();
            if (!is_chosen && ++looks % kPatience == 0 && IsUsable(page, control)) {
                ClickAt(*option, QPoint(std::min(option->width() / 2, 30), option->height() / 2));
            }
            return is_chosen;
        },
        [] {});
}

void RoadDriver::ClickItem(const std::string& what,
                           const std::string& page,
                           const std::string& view,
                           const std::function<QModelIndex()>& find,
                           bool on_its_tick) {
    Add(
        what + " of " + page + "." + view,
        [=] { return IsUsable(page, view) && find().isValid(); },
        [=] {
            auto& items = *dynamic_cast<QAbstractItemView*>(FindControl(page, view));
            items.scrollTo(find());
            const QRect cell = items.visualRect(find());
            const int half = items.style()->pixelMetric(QStyle::PM_IndicatorWidth) / 2 + 3;
            ClickAt(*items.viewport(),
                    on_its_tick ? QPoint(cell.left() + half, cell.center().y()) : cell.center());
        });
}

void RoadDriver::ClickCell(const std::string& page, const std::string& table, int row, int column) {
    const auto find = [=] {
        const auto& items = *dynamic_cast<QAbstractItemView*>(FindControl(page, table));
        return items.model()->index(row, column);
    };
    ClickItem("a click on a cell", page, table, find, false);
}

void RoadDriver::ClickEntry(const std::string& page,
                            const std::string& list,
                            const std::string& text) {
    ClickItem(
        "a click on the entry " + text,
        page,
        list,
        [=] { return EntryNamed(page, list, text); },
        false);
}

void RoadDriver::TickEntry(const std::string& page,
                           const std::string& list,
                           const std::string& text) {
    ClickItem(
        "a tick at " + text, page, list, [=] { return EntryNamed(page, list, text); }, true);
}

void RoadDriver::AddLetter(const std::string& page, const std::string& control) {
    Add(
        "the letter of " + page + "." + control,
        [=] { return IsUsable(page, control) && QApplication::activeWindow() != nullptr; },
        [=] {
            if (const QString letter = LetterOf(page, control); !letter.isEmpty()) {
                XDo({"key", letter});
            }
        });
}

void RoadDriver::Press(const std::string& page, const std::string& control) {
    if (hand_ == Hand::Mouse) {
        Click(page, control);
        return;
    }
    AddLetter(page, control);
    // Behind its letter a button has gone, perhaps with its page.
    const auto was_pressed = [=] {
        return FindControl(page, control) == nullptr || !LetterOf(page, control).isEmpty();
    };
    Add(
        "a key on " + page + "." + control,
        [=, tabs = TabsTo(page, control)] { return was_pressed() || tabs(); },
        [=] {
            if (!was_pressed()) {
                XDo({"key", "space"});
            }
        });
}

void RoadDriver::Enter(const std::string& page, const std::string& control) {
    if (hand_ == Hand::Mouse) {
        Click(page, control);
        return;
    }
    AddLetter(page, control);
    Add(
        "the focus on " + page + "." + control,
        [=, tabs = TabsTo(page, control)] {
            return LetterOf(page, control).isEmpty() ? tabs() : HasFocus(page, control);
        },
        [] {});
}

void RoadDriver::Fill(const std::string& page, const std::string& line, const std::string& text) {
    Enter(page, line);
    Keys("ctrl+a");
    TypeText(text);
}

void RoadDriver::Pick(const std::string& page, const std::string& list, const std::string& text) {
    if (hand_ == Hand::Mouse) {
        ClickEntry(page, list, text);
        return;
    }
    Until("the entry " + text + " of " + page + "." + list,
          [=] { return IsUsable(page, list) && EntryNamed(page, list, text).isValid(); });
    Enter(page, list);
    TypeText(text);  // a list goes to the entry that begins so
}

void RoadDriver::Keys(const std::string& keys) {
    Add(
        "the keys " + keys,
        [] { return QApplication::activeWindow() != nullptr; },
        [keys] {
            XDo({"key", ToQt(keys)});
        });
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

// A list of loaded pages, each with the window that holds it: a window within the frame, a dialog,
// or one of its own. A name is all that a page knows of another one.
// Easy to get wrong: life and focus. A handler of a page may unload that page, or show another one
// that unloads it; so everything here looks the page up again by name after each call into a page,
// and an unloaded page is deleted by the event loop only. And the toolkit gives the focus to
// whatever comes next when a page is hidden, or to nothing when a window within the frame goes:
// both are put right by hand (Vanish, ActivateUncovered).
#include "shell/page_set.h"

#include "shell/main_window.h"
#include "shell/page_body.h"
#include "shell/page_look.h"
#include "shell/qt_text.h"
#include "shell/status_line.h"

#include <QApplication>
#include <QEventLoop>
#include <QLayout>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QScreen>
#include <QScrollBar>
#include <QTimer>

#include <map>
#include <stdexcept>

namespace vantry {
namespace {

struct LoadedPage {
    std::string name;
    QPointer<Page> page;
    QPointer<QMdiSubWindow> window;  // of pages in the frame, once they were shown there
    QPointer<QWidget> focus;         // what had it when the page was hidden
    QSize needed;                    // inside, of a page in the frame
    QSize fitted;                    // of its window, as Fit gave it
    bool modal = false;
    std::function<void()> on_hidden;  // ends the wait of ShowPageModal
};

// In functions: made at the first use, whatever the order in which the program's files are
// initialised.
std::map<std::string, PageMaker, std::less<>>& Makers() {
    static std::map<std::string, PageMaker, std::less<>> makers;
    return makers;
}

std::vector<LoadedPage>& Pages() {
    static std::vector<LoadedPage> pages;
    return pages;
}

// A name and not a pointer: the page that was active may be gone.
std::string& ActiveName() {
    static std::string name;
    return name;
}

// What pages in the frame share.
struct PageShape {
    QSize size{860, 640};  // inside: the widest and the highest of those that were designed
    bool by_the_user = false;
    bool maximized = false;
};

PageShape& Shape() {
    static PageShape shape;
    return shape;
}

LoadedPage* Find(std::string_view name) {
    for (auto& loaded : Pages()) {
        if (loaded.name == name) {
            return &loaded;
        }
    }
    return nullptr;
}

void YieldLetters(const Page* page) {
    if (MainWindow* const frame = FindMainWindow()) {
        frame->YieldLetters(page);
    }
}

// Tells a page that it has become the active one, once for each change: MakeVisible and the frame's
// own signal both come here for one showing.
void Activate(const std::string& name) {
    if (ActiveName() == name) {
        return;
    }
    ActiveName() = name;
    if (Page* const page = FindPage(name)) {
        page->OnActivate();
    }
    YieldLetters(FindPage(name));
    RefreshStatus();
}

// The larger of what the page asks for and what it was designed for.
QSize FirstSize(const Page& page) {
    const QSize asked = page.sizeHint().expandedTo(page.minimumSizeHint());
    // A widget without a size of its own has the toolkit's default one, which says nothing.
    return RoomFor(page,
                   page.testAttribute(Qt::WA_Resized) ? asked.expandedTo(page.size()) : asked);
}

// A page that needs more than that scrolls what it can.
void LimitTo(Page& page, QSize room) {
    if (RoomFor(page, room) != room) {
        LetBodyScroll(page);
    }
}

// What a window of its own can have inside, with room left for the window manager's frame.
QSize RoomOnScreen(const QWidget& widget) {
    constexpr QSize kWindowFrame(12, 36);
    return widget.screen()->availableGeometry().size() - kWindowFrame;
}

void PutIntoFrame(LoadedPage& loaded) {
    auto& frame = TheMainWindow();
    auto* const window = new QMdiSubWindow;
    // Asked before it has the size of a window.
    const QSize size = FirstSize(*loaded.page);
    window->setWidget(loaded.page);
    window->setObjectName(loaded.page->objectName() + "Window");
    // A hidden page keeps its window, and with it the place to which the user moved it.
    window->setAttribute(Qt::WA_DeleteOnClose, false);
    const Qt::WindowFlags title = Qt::SubWindow | Qt::CustomizeWindowHint | Qt::WindowTitleHint;
    const bool goes_by_itself = loaded.page->WherePlaced() == Page::Place::Notice;
    frame.Area()->addSubWindow(window,
                               goes_by_itself
                                   ? title
                                   : title | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint |
                                         Qt::WindowMaximizeButtonHint);
    loaded.needed = size;
    QObject::connect(frame.Area(),
                     &QMdiArea::subWindowActivated,
                     window,
                     [window, name = loaded.name](QMdiSubWindow* active) {
                         if (active == window && PageIsVisible(name)) {
                             Activate(name);
                         }
                     });
    loaded.window = window;
}

// Looks what the user has made of a window since it was fitted; before it is left.
void LearnShape(const LoadedPage& loaded) {
    if (loaded.window == nullptr || loaded.window->isHidden() ||
        loaded.page->WherePlaced() != Page::Place::Frame) {
        return;
    }
    Shape().maximized = loaded.window->isMaximized();
    if (!Shape().maximized && loaded.fitted.isValid() && loaded.window->size() != loaded.fitted) {
        Shape().size = loaded.page->size();
        Shape().by_the_user = true;
    }
}

void Fit(LoadedPage& loaded) {
    QMdiSubWindow& window = *loaded.window;
    // Sizes are those of the page; the border comes on top.
    const QSize border = window.size() - window.contentsRect().size();
    auto& area = *TheMainWindow().Area();
    QSize room = area.maximumViewportSize() - border;
    LimitTo(*loaded.page, room);
    // What is still too high is scrolled by the frame; a bar for the height must not bring one for
    // the width along.
    if (RoomFor(*loaded.page, room).height() > room.height()) {
        room.rwidth() -= area.verticalScrollBar()->sizeHint().width();
    }
    if (loaded.page->WherePlaced() != Page::Place::Frame) {
        window.resize(RoomFor(*loaded.page, loaded.needed.boundedTo(room)) + border);
        return;
    }
    if (window.isMaximized()) {
        return;
    }
    // Pages only ever make the common size larger: one that shrank it would make the others jump.
    if (!Shape().by_the_user) {
        Shape().size = Shape().size.expandedTo(loaded.needed);
    }
    loaded.fitted = RoomFor(*loaded.page, Shape().size.boundedTo(room)) + border;
    window.resize(loaded.fitted);
}

void MakeVisible(const std::string& name) {
    LoadedPage& loaded = *Find(name);
    if (loaded.modal || loaded.page->WherePlaced() == Page::Place::Window) {
        const QSize room = RoomOnScreen(*loaded.page);
        const QSize size = FirstSize(*loaded.page).boundedTo(room);
        LimitTo(*loaded.page, room);
        loaded.page->resize(RoomFor(*loaded.page, size));
        loaded.page->show();
        loaded.page->raise();
        loaded.page->activateWindow();
    } else {
        auto& frame = TheMainWindow();
        if (!frame.isVisible()) {
            frame.ShowAtItsPlace();
        }
        if (loaded.window == nullptr) {
            PutIntoFrame(loaded);
        }
        // Copies: `loaded` may be moved in the list by pages that a show handler loads.
        const QPointer<Page> page = loaded.page;
        const QPointer<QMdiSubWindow> window = loaded.window;
        const bool maximized = Shape().maximized && page->WherePlaced() == Page::Place::Frame;
        // What the user has made of the page in front is known before the next one is fitted to it.
        for (const auto& other : Pages()) {
            LearnShape(other);
        }
        // It was hidden as a maximised one, and the user has made another page small since.
        if (!maximized && window->isMaximized() && window->isHidden()) {
            window->showNormal();
        }
        Fit(loaded);
        page->show();
        if (maximized) {
            window->showMaximized();
        } else {
            window->show();
        }
        frame.Area()->setActiveSubWindow(window);
        if (LoadedPage* const shown = Find(name); shown != nullptr && shown->focus != nullptr) {
            shown->focus->setFocus();
        }
    }
    Activate(name);
}

// A page that covered others in the frame went: the topmost of them takes the keys, unless another
// page comes first. The toolkit would leave them without a receiver.
void ActivateUncovered() {
    QTimer::singleShot(0, qApp, [] {
        const MainWindow* const frame = FindMainWindow();
        if (frame == nullptr) {
            return;
        }
        const auto* const active = frame->Area()->activeSubWindow();
        if (active != nullptr && active->isVisible()) {
            return;
        }
        const auto windows = frame->Area()->subWindowList(QMdiArea::StackingOrder);
        for (auto window = windows.rbegin(); window != windows.rend(); ++window) {
            if ((*window)->isVisible()) {
                frame->Area()->setActiveSubWindow(*window);
                return;
            }
        }
    });
}

// Without a window there is no way to end the program: a key press on the splash closes it and
// opens nothing.
void QuitWithoutWindows() {
    QTimer::singleShot(0, qApp, [] {
        const MainWindow* const frame = FindMainWindow();
        if (Pages().empty() && (frame == nullptr || !frame->isVisible())) {
            QCoreApplication::quit();
        }
    });
}

void Vanish(LoadedPage& loaded) {
    if (ActiveName() == loaded.name) {
        ActiveName().clear();
        YieldLetters(nullptr);
    }
    if (loaded.window != nullptr) {
        LearnShape(loaded);
        // Hiding gives the focus to whatever comes next in the page.
        loaded.focus = loaded.page == nullptr ? nullptr : loaded.page->focusWidget();
        loaded.window->hide();
        ActivateUncovered();
    }
    if (loaded.page != nullptr) {
        loaded.page->hide();
    }
    if (loaded.on_hidden) {
        std::exchange(loaded.on_hidden, nullptr)();
    }
    RefreshStatus();
}

}  // namespace

void RegisterPage(std::string name, PageMaker maker) {
    Makers()[std::move(name)] = std::move(maker);
}

Page* LoadPage(std::string_view name) {
    if (LoadedPage* const loaded = Find(name)) {
        return loaded->page;
    }
    const auto maker = Makers().find(name);
    if (maker == Makers().end()) {
        throw std::out_of_range("There is no page " + std::string(name));
    }
    auto page = maker->second();
    const QPointer<Page> watched = page.get();
    // In the list before OnLoad: what the handler calls may ask for the page by name, or unload it.
    auto& loaded = Pages().emplace_back();
    loaded.name = name;
    loaded.page = page.release();
    ApplyLook(*watched);
    TabToChosenOptions(*watched);
    watched->OnLoad();
    return FindPage(name) == watched ? watched.data() : nullptr;
}

void ShowPage(std::string_view name) {
    const std::string key(name);
    if (LoadPage(key) != nullptr) {
        MakeVisible(key);
    }
}

void ShowPageModal(std::string_view name) {
    const std::string key(name);
    Page* const page = LoadPage(key);
    if (page == nullptr) {
        return;
    }
    QEventLoop loop;
    LoadedPage& loaded = *Find(key);
    // Once: a second showing of the same page finds it prepared.
    if (!loaded.modal) {
        page->setParent(FindMainWindow(), Qt::Dialog);
        page->setWindowModality(Qt::ApplicationModal);
        loaded.modal = true;
    }
    loaded.on_hidden = [&loop] { loop.quit(); };
    MakeVisible(key);
    // A page that hid itself while it was shown has ended the wait already: a loop begun now would
    // never end.
    if (const auto* const still = Find(key); still != nullptr && still->on_hidden) {
        loop.exec();
    }
    // A window manager gives the keys back to the window that a box came from. Where that one goes
    // together with its box, nobody would have them.
    QWidget* const below = QApplication::activeModalWidget();
    if (auto* const next = below != nullptr ? below : static_cast<QWidget*>(FindMainWindow());
        next != nullptr && next->isVisible()) {
        next->activateWindow();
    }
}

void HidePage(std::string_view name) {
    if (LoadedPage* const loaded = Find(name)) {
        Vanish(*loaded);
    }
}

void UnloadPage(std::string_view name) {
    auto& pages = Pages();
    const auto found = std::find_if(
        pages.begin(), pages.end(), [&](const LoadedPage& loaded) { return loaded.name == name; });
    if (found == pages.end()) {
        return;
    }
    // Out of the list first: hiding the window runs handlers, and they must find the page gone.
    LoadedPage gone = std::move(*found);
    pages.erase(found);
    Vanish(gone);
    if (gone.window != nullptr) {
        gone.window->deleteLater();  // and the page in it
    } else if (gone.page != nullptr) {
        gone.page->deleteLater();
    }
    QuitWithoutWindows();
}

void FitPages() {
    for (auto& loaded : Pages()) {
        if (loaded.window != nullptr && loaded.page != nullptr) {
            LearnShape(loaded);
            Fit(loaded);
        }
    }
}

QSize RoomFor(const Page& page, QSize asked) {
    QSize room = asked.expandedTo(page.minimumSizeHint()).expandedTo(page.minimumSize());
    if (page.layout() != nullptr && page.layout()->hasHeightForWidth()) {
        room.setHeight(
            std::max(room.height(), page.layout()->totalMinimumHeightForWidth(room.width())));
    }
    return room;
}

Page* FindPage(std::string_view name) {
    const LoadedPage* const loaded = Find(name);
    return loaded == nullptr ? nullptr : loaded->page.data();
}

Page* ActivePage() {
    return FindPage(ActiveName());
}

std::vector<std::string> RegisteredPages() {
    std::vector<std::string> names;
    for (const auto& [name, maker] : Makers()) {
        names.push_back(name);
    }
    return names;
}

bool PageIsVisible(std::string_view name) {
    const LoadedPage* const loaded = Find(name);
    return loaded != nullptr && loaded->page != nullptr && !loaded->page->isHidden() &&
           (loaded->window == nullptr || !loaded->window->isHidden()) &&
           (loaded->window != nullptr || loaded->page->isVisible());
}

std::vector<std::string> LoadedPages() {
    std::vector<std::string> names;
    for (const auto& loaded : Pages()) {
        names.push_back(loaded.name);
    }
    return names;
}

void UnloadAllPages() {
    // From the last: a page that unloads others in its own end leaves no iterator behind.
    while (!Pages().empty()) {
        UnloadPage(std::string(Pages().back().name));
    }
    Shape() = {};
}

WaitNotice::WaitNotice() : focus_(QApplication::focusWidget()) {
    ShowPage("frmWait");
    // The slow work that follows lets no event in: painted now or never.
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    if (Page* const page = FindPage("frmWait")) {
        page->repaint();
    }
}

void WaitNotice::Close() {
    if (std::exchange(open_, false)) {
        UnloadPage("frmWait");
        if (focus_ != nullptr && focus_->isVisible()) {
            focus_->setFocus();  // and its page is the active one again
        }
    }
}

}  // namespace vantry

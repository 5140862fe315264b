#pragma once
// The pages that are loaded, in the order in which they were. Pages refer to each other by name
// only, so that each stands alone; the room that builds a page registers it once (RegisterPage).

#include "shell/page.h"

#include <QPointer>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

using PageMaker = std::function<std::unique_ptr<Page>()>;

// A second maker for the same name takes the place of the first.
void RegisterPage(std::string name, PageMaker maker);

// Loads the page if it isn't and returns it; null if it unloaded itself while it was loaded. A name
// that isn't registered is std::out_of_range.
Page* LoadPage(std::string_view name);
// Loads it if need be, makes it visible and gives it the focus.
void ShowPage(std::string_view name);
// The same, and returns when the page has been hidden or unloaded; until then no other window takes
// input.
void ShowPageModal(std::string_view name);
// Both do nothing to a page that isn't loaded. An unloaded page is out of the list at once; the
// object lives on until control is back in the event loop, as its own handlers may be under way.
void HidePage(std::string_view name);
void UnloadPage(std::string_view name);

// All pages in the frame have one size, and are maximised together: the designed one or what a page
// needs at most, as far as there is room, or what the user has made of one of them. After the frame
// has changed its size.
void FitPages();

// `asked`, or more where the page's contents need it; lines that wrap need more height at less
// width.
QSize RoomFor(const Page& page, QSize asked);

Page* FindPage(std::string_view name);
// All names that there are makers for.
std::vector<std::string> RegisteredPages();
// The one that takes the keys; null when there is none.
Page* ActivePage();
bool PageIsVisible(std::string_view name);
std::vector<std::string> LoadedPages();
// Unloads all; for the end of the program and of a test.
void UnloadAllPages();

// The loaded page of that class; null when it isn't loaded.
template <class T>
T* FindPageAs(std::string_view name) {
    return dynamic_cast<T*>(FindPage(name));
}

// "Loading Tables Information", painted at once; goes with the object or by Close, and the focus
// goes back to where it was.
class WaitNotice {
public:
    WaitNotice();
    ~WaitNotice() { Close(); }
    WaitNotice(const WaitNotice&) = delete;
    WaitNotice& operator=(const WaitNotice&) = delete;
    void Close();

private:
    bool open_ = true;
    QPointer<QWidget> focus_;  // what had it before
};

}  // namespace vantry

// Pages are found by name (those of a kind stand in its row of core/kinds), so that a room's pages
// know neither each other's classes nor who follows them. Easy to get wrong: the list of session
// pages. It is asked only for loaded pages, hidden ones too, and its gaps are part of how the menus
// answer (see SessionPagesOpen).
#include "wizard/wizard_flow.h"

#include "core/kinds.h"
#include "data/ascii.h"
#include "shell/dialogs.h"
#include "shell/page_set.h"

#include <QMdiSubWindow>

#include <algorithm>
#include <array>

namespace vantry {
namespace {

// In lower case, as they are compared. Some of these names ("form4a", "form13a") belong to no page:
// such a one is never loaded, and so never found.
constexpr std::array<std::string_view, 22> kSessionPages = {
    "form1",   "form2",  "form3",   "form4",  "form4a",    "form4b",  "form4c", "form5",
    "form5a",  "form5b", "form5c",  "form6",  "form8",     "form9",   "form10", "form11",
    "form12c", "form13", "form13a", "form14", "mysqldest", "mysqlsrc"};
// Not counted by SessionPagesOpen, so that with only these loaded a new session may begin; unloaded
// with the others all the same.
constexpr std::array<std::string_view, 4> kCancelledToo = {
    "form11poll", "mssqlsrc", "mssqldest", "odbcsrc"};

template <std::size_t N>
bool Holds(const std::array<std::string_view, N>& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

i16 SessionPagesOpen() {
    const auto pages = LoadedPages();
    return ToI16(std::any_of(pages.begin(), pages.end(), [](const std::string& page) {
        return Holds(kSessionPages, LowerAscii(page));
    }));
}

void CancelSession() {
    const auto pages = LoadedPages();
    // Last loaded first: a page never outlives the one that it was opened from.
    for (auto page = pages.rbegin(); page != pages.rend(); ++page) {
        const std::string name = LowerAscii(*page);
        if (Holds(kSessionPages, name) || Holds(kCancelledToo, name)) {
            UnloadPage(*page);
        }
    }
    ShowPage("NavForm");
}

void BackToSourcePage() {
    const auto page =
        // The ODBC page may have set a more exact kind than "ODBC": SourceType alone wouldn't lead
        // back to it.
        SourceViaOdbc != kFalse ? std::string_view("ODBCSrc") : SourcePageOf(SourceType);
    // No kind chosen, or one that has no page: the user stays where the menus are.
    if (!page.empty()) {
        ShowPage(page);
    }
}

std::string_view SourcePageOf(std::string_view source_type) {
    return KindOf(source_type).source.page;
}

std::string_view TargetPageOf(std::string_view target_type) {
    return KindOf(target_type).target.page;
}

std::string FileExtOf(std::string_view name) {
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos ? std::string() : std::string(name.substr(dot + 1));
}

void AskToCancel(const char* title, const char* text) {
    if (AskYesNo(text, title)) {
        CancelSession();
    }
}

bool AskToClose() {
    if (!AskYesNo("Are you sure you want to close this session", "Cancel Session")) {
        return false;
    }
    CancelSession();
    return true;
}

void CreateNewSession() {
    // A second session would share all variables with the first.
    if (SessionPagesOpen() != kFalse) {
        Tell("Session is going on");
        return;
    }
    ShowPage("Form1");
}

void ShowNavigator() {
    if (SessionPagesOpen() == kFalse) {
        ShowPage("NavForm");
    }
}

void ForceSize(Page& page, int width_twips, int height_twips) {
    // Sizes of pages are kept in twips, 1440 to the inch; a pixel of the layout is a 96th of one.
    constexpr int kTwipsPerPixel = 15;
    QSize asked(width_twips / kTwipsPerPixel, height_twips / kTwipsPerPixel);
    QWidget* const window = page.parentWidget() != nullptr ? page.parentWidget() : &page;
    if (const auto* const area = window->parentWidget()) {
        asked = asked.boundedTo(area->size());
    }
    // A maximized one has all the room there is, though its widgets may ask for more.
    if (!window->isMaximized()) {
        const QSize frame = window->size() - page.size();
        // At least: pages have one size, which is larger where there is room for it.
        window->resize((RoomFor(page, asked - frame) + frame).expandedTo(window->size()));
    }
}

}  // namespace vantry

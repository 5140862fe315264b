#pragma once
// The graph of the wizard's pages and what all of them share. To hide a page keeps its controls'
// values, to unload it loses them; which of the two a page does is part of the graph.

#include "core/session_state.h"
#include "shell/page.h"

#include <string>
#include <string_view>

namespace vantry {

// True when a page of a session is loaded, hidden ones included. "form11poll", "mssqlsrc",
// "mssqldest" and "odbcsrc" don't count, and that stays so: CancelSession knows them.
i16 SessionPagesOpen();

// Unloads all pages of the session and shows the navigator. The session's variables keep their
// values.
void CancelSession();

// By SourceViaOdbc and SourceType.
void BackToSourcePage();

// The source page of a kind; empty for a kind without one.
std::string_view SourcePageOf(std::string_view source_type);
// The target page of a kind; empty for a kind without one.
std::string_view TargetPageOf(std::string_view target_type);

// The text behind the last "." of a file name; empty without one.
std::string FileExtOf(std::string_view name);

// The question of a Cancel button: Yes cancels the session.
void AskToCancel(const char* title, const char* text);
// The question of most pages' close box: Yes cancels the session, which unloads the page; the
// answer is for Page::QueryUnload.
bool AskToClose();

// What the main window's menu does.
void CreateNewSession();
void ShowNavigator();

// Makes the page at least that large, in twips (1/15 pixel at 96 dpi).
void ForceSize(Page& page, int width_twips, int height_twips);

// NavForm and Form1.
void RegisterWizardPages();

}  // namespace vantry

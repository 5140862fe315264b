#pragma once
// The place of a page that isn't built yet: its caption, what it says, and its arrows in the graph.
// A source page of this kind connects to nothing and lists no tables.

#include "shell/page.h"

namespace vantry {

struct EmptyPageRecord {
    const char* name;
    const char* caption;
    const char* what;  // what would be set up here
    enum class Role { Source, Target, Beside } role;
    enum class Leaving { Hide, Unload, Stay, NoAction };
    Leaving back;
    Leaving next;
    const char* cancel_title;  // null: no Cancel button
    const char* cancel_text;
    bool asks_on_close;
};

class EmptyPage : public Page {
    Q_OBJECT
public:
    explicit EmptyPage(const EmptyPageRecord& record);
    bool QueryUnload() override;

private:
    void Next();
    void Back();
    void Leave(EmptyPageRecord::Leaving how);

    EmptyPageRecord record_;
};

// Makers for all pages that aren't built yet.
void RegisterEmptyPages();

}  // namespace vantry

#pragma once
// The place of a window beside the wizard's road that isn't built yet: its caption, what it will
// be for, and a button that closes it.

#include "shell/page.h"

namespace vantry {

struct EmptyPageRecord {
    const char* name;
    const char* caption;
    const char* what;   // what would be done here
    bool to_navigator;  // closing it shows the navigator, from which it was opened
};

class EmptyPage : public Page {
    Q_OBJECT
public:
    explicit EmptyPage(const EmptyPageRecord& record);
};

// Makers for all pages that aren't built yet.
void RegisterEmptyPages();

}  // namespace vantry

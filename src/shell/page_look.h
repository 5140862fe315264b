#pragma once
// What all pages look like: one scale of fonts and colours, taken from the desktop's own, so that a
// dark theme or larger fonts need nothing of a page. A label says by its dynamic property "look"
// what it is: "heading", "hint" (a sentence that explains) or "caption" (names a group).

class QWidget;

namespace vantry {

// Once for the program: desktops have colours of a selected text that hardly differ.
void MakeSelectionsReadable();

void ApplyLook(QWidget& page);

// Tab comes to the chosen option of a group, not to its first: a blank there would choose another.
// The arrow keys go on from the chosen one.
void TabToChosenOptions(QWidget& page);

}  // namespace vantry

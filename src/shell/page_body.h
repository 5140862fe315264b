#pragma once
// What of a page scrolls where its window has less room than it needs, as on a small screen with
// large letters: all but the row of buttons at its bottom, which stays in sight.

class QAbstractScrollArea;
class QWidget;

namespace vantry {

// Once it may scroll it stays so: with more room there is nothing to scroll, and the page looks as
// before. Does nothing to a page that already does, or that doesn't end with a row of buttons.
void LetBodyScroll(QWidget& page);

// Scrolls the body that the control is in, if it is in one, until it is seen.
void ScrollBodyTo(const QWidget& control);
// The same for what an area holds, with so many points of what stands around the control.
void ScrollTo(const QAbstractScrollArea& area, const QWidget& control, int around);

}  // namespace vantry

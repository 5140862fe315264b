#pragma once
// Tool tips of names and values. They come from files and servers, and a tip takes whatever looks
// like markup for markup: it wouldn't show the name, and would read a picture that the name asks
// for, waiting for ever where that is a pipe.

#include <QString>

namespace vantry {

// A tool tip that shows this text as it stands.
QString ToolTipOf(const QString& text);

}  // namespace vantry

#pragma once
// The product's sign: two tables and the arrow between them, in the colours of the theme.

#include <QIcon>
#include <QPalette>
#include <QPixmap>

namespace vantry {

// `size` in pixels of the layout, `scale` those of the screen to one of them.
QPixmap ProductPicture(const QPalette& palette, QSize size, double scale);
QIcon ProductIcon();

}  // namespace vantry

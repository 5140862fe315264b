#include "shell/product_picture.h"

#include <QPainter>

namespace vantry {

QPixmap ProductPicture(const QPalette& palette, QSize size, double scale) {
    // Drawn and not loaded: any scale, and the colour of the theme, light or dark.
    QPixmap picture(size * scale);
    picture.setDevicePixelRatio(scale);
    picture.fill(Qt::transparent);
    QPainter paint(&picture);
    paint.setRenderHint(QPainter::Antialiasing);
    const QColor line = palette.color(QPalette::Highlight);
    const QRectF left(4, 8, size.height() * 0.8, size.height() - 16);
    const QRectF right(size.width() - left.width() - 4, 8, left.width(), left.height());
    paint.setPen(QPen(line, 2));
    for (const auto& table : {left, right}) {
        paint.drawRoundedRect(table, 4, 4);
        const double row = table.height() / 4;
        paint.fillRect(QRectF(table.left(), table.top(), table.width(), row), line);
        for (int i = 2; i < 4; ++i) {
            paint.drawLine(QPointF(table.left(), table.top() + row * i),
                           QPointF(table.right(), table.top() + row * i));
        }
    }
    const double y = size.height() / 2.0;
    const QPointF from(left.right() + 12, y);
    const QPointF to(right.left() - 12, y);
    paint.setPen(QPen(line, 3, Qt::SolidLine, Qt::RoundCap));
    paint.drawLine(from, to);
    paint.drawLine(to, to + QPointF(-10, -8));
    paint.drawLine(to, to + QPointF(-10, 8));
    return picture;
}

QIcon ProductIcon() {
    QPixmap picture(64, 64);
    picture.fill(Qt::transparent);
    QPainter paint(&picture);
    paint.setRenderHint(QPainter::Antialiasing);
    // An icon stands on other programs' backgrounds, so it has colours of its own.
    const QColor blue(0x2a, 0x82, 0xc4);
    paint.setPen(QPen(blue, 5));
    paint.setBrush(Qt::white);
    paint.drawRoundedRect(QRectF(6, 8, 52, 48), 7, 7);
    paint.fillRect(QRectF(6, 8, 52, 14), blue);
    paint.drawLine(QPointF(6, 39), QPointF(58, 39));
    paint.drawLine(QPointF(32, 22), QPointF(32, 56));
    return QIcon(picture);
}

}  // namespace vantry

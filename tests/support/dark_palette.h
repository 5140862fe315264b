#pragma once
// The colours of a dark desktop.

#include <QBrush>
#include <QColor>
#include <QPalette>

namespace vantry {

inline QPalette DarkPalette() {
    const auto color = [](QRgb rgb) { return QBrush(QColor(rgb)); };
    const QBrush text = color(0xdfe1e5);
    const QBrush button = color(0x393b40);
    const QBrush base = color(0x1e1f22);
    const QBrush window = color(0x2b2d30);
    QPalette dark(text, button, color(0x4e5157), base, button, text, text, base, window);
    dark.setBrush(QPalette::AlternateBase, window);
    dark.setBrush(QPalette::ToolTipBase, window);
    dark.setBrush(QPalette::ToolTipText, text);
    dark.setBrush(QPalette::PlaceholderText, color(0x868a91));
    dark.setBrush(QPalette::Highlight, color(0x3574f0));
    dark.setBrush(QPalette::HighlightedText, color(0xffffff));
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
        dark.setColor(QPalette::Disabled, role, QColor(0x6f737a));
    }
    return dark;
}

}  // namespace vantry

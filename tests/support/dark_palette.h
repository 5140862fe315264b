#pragma once
// The colours of a dark desktop.

#include <QPalette>

#include <utility>

namespace vantry {

inline QPalette DarkPalette() {
    QPalette dark;
    const std::pair<QPalette::ColorRole, QRgb> colors[] = {{QPalette::Window, 0x2b2d30},
                                                           {QPalette::WindowText, 0xdfe1e5},
                                                           {QPalette::Base, 0x1e1f22},
                                                           {QPalette::AlternateBase, 0x2b2d30},
                                                           {QPalette::Text, 0xdfe1e5},
                                                           {QPalette::Button, 0x393b40},
                                                           {QPalette::ButtonText, 0xdfe1e5},
                                                           {QPalette::ToolTipBase, 0x2b2d30},
                                                           {QPalette::ToolTipText, 0xdfe1e5},
                                                           {QPalette::PlaceholderText, 0x868a91},
                                                           {QPalette::Highlight, 0x3574f0},
                                                           {QPalette::HighlightedText, 0xffffff},
                                                           {QPalette::Light, 0x4e5157},
                                                           {QPalette::Mid, 0x393b40},
                                                           {QPalette::Dark, 0x1e1f22}};
    for (const auto& [role, color] : colors) {
        dark.setColor(role, QColor(color));
    }
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText}) {
        dark.setColor(QPalette::Disabled, role, QColor(0x6f737a));
    }
    return dark;
}

}  // namespace vantry

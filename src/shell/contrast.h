#pragma once
// Whether a colour can be told from the one behind it, as the accessibility guidelines of the web
// measure it: 1 for the same colour, 21 for black on white; a text needs 4.5, a mark 3.

#include <QColor>
#include <QPalette>

#include <algorithm>
#include <cmath>

namespace vantry {

inline double Luminance(const QColor& color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

inline double ContrastOf(const QColor& one, const QColor& other) {
    const double a = Luminance(one) + 0.05;
    const double b = Luminance(other) + 0.05;
    return a > b ? a / b : b / a;
}

// The same colour, or as much lighter or darker as it takes to have that contrast.
inline QColor ToldFrom(QColor color, const QColor& behind, double contrast) {
    constexpr int kStep = 12;
    const bool lighter = Luminance(behind) < 0.18;
    for (int i = 0; i < 22 && ContrastOf(color, behind) < contrast; ++i) {
        const int step = lighter ? kStep : -kStep;
        const auto moved = [step](int part) { return std::min(255, std::max(0, part + step)); };
        color.setRgb(moved(color.red()), moved(color.green()), moved(color.blue()));
    }
    return color;
}

// The toolkit's hints in empty fields are half transparent, which is too faint to be read by all.
inline QPalette WithReadableHints(QPalette colors) {
    constexpr double kReadable = 4.5;
    colors.setColor(QPalette::PlaceholderText,
                    ToldFrom(QColor(128, 128, 128), colors.color(QPalette::Base), kReadable));
    return colors;
}

}  // namespace vantry

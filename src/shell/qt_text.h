#pragma once
// Between the session's texts, which are UTF-8, and the widgets'.

#include <QString>

#include <string>
#include <string_view>

namespace vantry {

inline QString ToQt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

inline std::string FromQt(const QString& text) {
    return text.toStdString();
}

}  // namespace vantry

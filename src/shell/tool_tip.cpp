#include "shell/tool_tip.h"

#include <QTextDocument>

namespace vantry {

QString ToolTipOf(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

}  // namespace vantry

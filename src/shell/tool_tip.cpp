#include "shell/tool_tip.h"

#include <QTextDocument>

namespace vantry {

QString ToolTipOf(const QString& text) {
    // Only what would be taken for markup is converted: the toolkit doesn't wrap plain tips, and
    // wraps the others.
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text) : text;
}

}  // namespace vantry

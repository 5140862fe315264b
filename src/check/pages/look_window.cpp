#include "check/pages/look_window.h"

#include <QScreen>
#include <QVBoxLayout>

namespace vantry {

LookWindow::LookWindow(const char* name, const QString& title, QWidget* parent)
    : QDialog(parent), rows_(new QVBoxLayout(this)) {
    setObjectName(QString::fromLatin1(name));
    setWindowTitle(title);
    setWindowModality(Qt::WindowModal);
    // By the font, for desktops at 200 %, and never larger than the screen.
    const QSize asked(fontMetrics().averageCharWidth() * 170, fontMetrics().height() * 30);
    resize(asked.boundedTo(screen()->availableSize() * 0.9));
}

}  // namespace vantry

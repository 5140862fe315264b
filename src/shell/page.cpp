#include "shell/page.h"

#include "shell/main_window.h"
#include "shell/page_set.h"

#include <QCloseEvent>

namespace vantry {

Page::Page(const char* name, Place place) : place_(place) {
    setObjectName(QString::fromLatin1(name));
}

void Page::OnActivate() {
    CenterPage(*this);
}

void Page::closeEvent(QCloseEvent* event) {
    const std::string name = objectName().toStdString();
    if (FindPage(name) != this) {
        event->accept();  // unloaded already
        return;
    }
    if (!QueryUnload()) {
        event->ignore();
        return;
    }
    UnloadPage(name);
    event->accept();
}

}  // namespace vantry

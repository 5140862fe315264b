#include "shell/page_look.h"

#include <QLabel>
#include <QVariant>

namespace vantry {
namespace {

void Enlarge(QLabel& label, double factor, QFont::Weight weight) {
    QFont font = label.font();
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    }
    font.setWeight(weight);
    label.setFont(font);
}

}  // namespace

void ApplyLook(QWidget& page) {
    for (auto* const label : page.findChildren<QLabel*>()) {
        const QString look = label->property("look").toString();
        if (look == "heading") {
            Enlarge(*label, 1.25, QFont::DemiBold);
        } else if (look == "caption") {
            Enlarge(*label, 1.0, QFont::DemiBold);
        } else if (look == "hint") {
            label->setWordWrap(true);
        }
    }
}

}  // namespace vantry

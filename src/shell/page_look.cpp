#include "shell/page_look.h"

#include "shell/name_list.h"
#include "shell/plate_button.h"

#include <QLabel>
#include <QListWidget>
#include <QRadioButton>
#include <QVariant>

namespace vantry {
namespace {

void Enlarge(QLabel& label, double factor, QFont::Weight weight) {
    QFont font = label.font();
    // A font that the theme gives in pixels has no points: it only becomes bolder.
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * factor);
    }
    font.setWeight(weight);
    label.setFont(font);
}

void TakeTab(QRadioButton& option, bool takes) {
    // The click still gives the focus.
    const int others = option.focusPolicy() & ~Qt::TabFocus;
    option.setFocusPolicy(static_cast<Qt::FocusPolicy>(takes ? others | Qt::TabFocus : others));
}

bool AreOneGroup(const QRadioButton& one, const QRadioButton& other) {
    return one.group() == other.group() &&
           (one.group() != nullptr || one.parentWidget() == other.parentWidget());
}

}  // namespace

void ApplyLook(QWidget& page) {
    for (auto* const button : page.findChildren<PlateButton*>()) {
        if (button->Caption() == "Help" && button->toolTip().isEmpty()) {
            button->setToolTip("The contents of the help. F1 opens the page about this window.");
        }
    }
    for (auto* const list : page.findChildren<QListWidget*>()) {
        if (!list->property("whenEmpty").isNull()) {
            new NameList(*list, page);
        }
    }
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

void TabToChosenOptions(QWidget& page) {
    const auto options = page.findChildren<QRadioButton*>();
    const auto give_tab_to = [options](const QRadioButton& chosen) {
        for (auto* const option : options) {
            if (AreOneGroup(*option, chosen)) {
                TakeTab(*option, option == &chosen);
            }
        }
    };
    for (auto* const option : options) {
        QObject::connect(option, &QRadioButton::toggled, option, [=](bool on) {
            if (on) {
                give_tab_to(*option);
            }
        });
        if (option->isChecked()) {
            give_tab_to(*option);
        }
    }
}

}  // namespace vantry

// One walk over a page when it is loaded gives it what the .ui files can't say: readable headings,
// a visible focus, lists with a filter. All of it goes by the desktop's own palette and font, so
// that a page fits light and dark, 100 % and 200 %. Easy to get wrong: colours are derived from the
// palette of this moment, and a style may draw with another role than the one that was set.
#include "shell/page_look.h"

#include "shell/contrast.h"
#include "shell/name_list.h"
#include "shell/plate_button.h"

#include <QAbstractScrollArea>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
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

// Tab goes to the chosen option of a group only, as in a dialog; the arrows go on from there.
void TakeTab(QRadioButton& option, bool takes) {
    // The click still gives the focus.
    const int others = option.focusPolicy() & ~Qt::TabFocus;
    option.setFocusPolicy(static_cast<Qt::FocusPolicy>(takes ? others | Qt::TabFocus : others));
}

bool AreOneGroup(const QRadioButton& one, const QRadioButton& other) {
    return one.group() == other.group() &&
           (one.group() != nullptr || one.parentWidget() == other.parentWidget());
}

// Styles draw no focus around a text or a table, and one around the current row only where there is
// a row.
class FocusMark : public QWidget {
public:
    explicit FocusMark(QAbstractScrollArea& area) : QWidget(&area) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        area.installEventFilter(this);
        hide();
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        const auto type = event->type();
        if (type == QEvent::FocusIn || type == QEvent::FocusOut) {
            setVisible(type == QEvent::FocusIn);
            raise();
        } else if (type == QEvent::Resize) {
            resize(static_cast<QWidget*>(watched)->size());
        }
        return QWidget::eventFilter(watched, event);
    }

protected:
    // Only the rim: what is below the rest needn't be painted again with it.
    void resizeEvent(QResizeEvent*) override {
        setMask(QRegion(rect()) - QRegion(rect().adjusted(kRim, kRim, -kRim, -kRim)));
    }
    void paintEvent(QPaintEvent*) override {
        constexpr double kMarkContrast = 3;
        QPainter(this).fillRect(rect(),
                                ToldFrom(palette().color(QPalette::Highlight),
                                         palette().color(QPalette::Window),
                                         kMarkContrast));
    }

private:
    static constexpr int kRim = 2;
};

// The list of a combo box shows by itself what is chosen.
bool IsOfComboBox(const QWidget& control) {
    for (const QWidget* above = control.parentWidget(); above != nullptr;
         above = above->parentWidget()) {
        if (qobject_cast<const QComboBox*>(above) != nullptr) {
            return true;
        }
    }
    return false;
}

// Styles draw the outline of a tick or an option as a shade of the window, and on a dark desktop an
// empty one couldn't be seen.
void OutlineMark(QAbstractButton& mark) {
    QPalette colors = mark.palette();
    if (colors.color(QPalette::Window).lightness() < 128) {
        for (const auto group : {QPalette::Active, QPalette::Inactive}) {
            colors.setColor(group, QPalette::Window, colors.color(group, QPalette::WindowText));
        }
        mark.setPalette(colors);
    }
}

}  // namespace

void MakeSelectionsReadable() {
    constexpr double kReadable = 5.5;  // thin strokes don't reach their full colour
    QPalette colors = QApplication::palette();
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        // Both, so that they stay a pair whatever the desktop changes later.
        const QColor text = colors.color(group, QPalette::HighlightedText);
        colors.setColor(group, QPalette::HighlightedText, text);
        colors.setColor(group,
                        QPalette::Highlight,
                        ToldFrom(colors.color(group, QPalette::Highlight), text, kReadable));
    }
    QApplication::setPalette(colors);
}

void ApplyLook(QWidget& page) {
    for (auto* const button : page.findChildren<PlateButton*>()) {
        // A page that has said more about its button keeps that.
        if (button->Caption() == "Help" && button->toolTip().isEmpty()) {
            button->setToolTip("The contents of the help. F1 opens the page about this window.");
        }
    }
    for (auto* const area : page.findChildren<QAbstractScrollArea*>()) {
        if (!IsOfComboBox(*area)) {
            new FocusMark(*area);
        }
    }
    for (auto* const mark : page.findChildren<QAbstractButton*>()) {
        if (qobject_cast<QRadioButton*>(mark) != nullptr ||
            qobject_cast<QCheckBox*>(mark) != nullptr) {
            OutlineMark(*mark);
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

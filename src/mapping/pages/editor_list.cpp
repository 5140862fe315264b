#include "mapping/pages/editor_list.h"

#include "shell/qt_text.h"

#include <QLineEdit>
#include <QListView>
#include <QScrollBar>

namespace vantry {

void PrepareEditorList(QComboBox& list) {
    auto* const view = new QListView(&list);
    // A table may have hundreds of columns, and the list is opened at each row.
    view->setUniformItemSizes(true);
    view->setTextElideMode(Qt::ElideMiddle);
    list.setView(view);
    if (list.isEditable()) {
        // It would turn a typed name into one of the list that only begins with it.
        list.setCompleter(nullptr);
        // A typed name that is one of the list, in any letter case, would be chosen from it when
        // the field is left, and bring that entry's types along.
        QObject::disconnect(list.lineEdit(), &QLineEdit::editingFinished, &list, nullptr);
    }
}

void FillEditorList(QComboBox& list, const std::vector<std::string>& items) {
    const QString typed = list.currentText();
    QStringList texts;
    texts.reserve(static_cast<qsizetype>(items.size()));
    for (const auto& item : items) {
        texts << ToQt(item);
    }
    list.clear();
    list.addItems(texts);
    if (list.isEditable()) {
        list.setCurrentIndex(-1);
        list.setEditText(typed);
    }
    FitListWidth(list);
}

// The list may be wider than its column: names are cut off otherwise.
void FitListWidth(QComboBox& list) {
    const auto metrics = list.fontMetrics();
    int width = 0;
    for (int k = 0; k < list.count(); ++k) {
        width = std::max(width, metrics.horizontalAdvance(list.itemText(k)));
    }
    const int most = metrics.averageCharWidth() * 60;
    list.view()->setMinimumWidth(std::min(width, most) +
                                 list.view()->verticalScrollBar()->sizeHint().width() + 16);
}

}  // namespace vantry

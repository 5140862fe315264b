// What the toolkit's lists do by themselves is undone here: they complete what is typed, choose the
// first entry that they get, and insert what was typed. A choice must be one that the user made,
// because it connects.
// What a source is asked runs on another thread; only names come back to the window's.
#include "connectors/pages/connector_page.h"

#include "core/session_state.h"
#include "data/letter_case.h"
#include "shell/background_work.h"
#include "shell/dialogs.h"
#include "shell/help.h"
#include "shell/name_list.h"
#include "shell/qt_text.h"
#include "wizard/wizard_flow.h"

#include <QComboBox>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>

namespace vantry {
namespace {

bool HoldsWord(const std::string& driver, const char* word) {
    return UpperCased(driver).find(word) != std::string::npos;
}

QStringList ToQtList(const std::vector<std::string>& names) {
    QStringList texts;
    texts.reserve(static_cast<qsizetype>(names.size()));
    for (const auto& name : names) {
        texts << ToQt(name);
    }
    return texts;
}

}  // namespace

void ShowStatus(QLabel& label, const char* text, const QColor& color) {
    label.setText(text);
    QPalette colors;
    if (color.isValid()) {
        colors.setColor(QPalette::WindowText, color);
    }
    label.setPalette(colors);
}

BusyPointer::BusyPointer(QWidget& page) : page_(&page) {
    page.setCursor(Qt::BusyCursor);
}

// A page that was unloaded during the wait is gone: the pointer to it is null then.
BusyPointer::~BusyPointer() {
    if (page_ != nullptr) {
        page_->unsetCursor();
    }
}

void ListDriversOf(const char* word, QComboBox& drivers) {
    for (const auto& driver : OdbcDrivers) {
        if (HoldsWord(driver, word)) {
            drivers.addItem(ToQt(driver));
        }
    }
    // The toolkit chose the first entry when it came; what is proposed is the page's decision.
    drivers.setCurrentIndex(-1);
}

void ListDsnsOf(const char* word, QComboBox& dsns) {
    for (const auto& dsn : OdbcDsns) {
        if (HoldsWord(dsn.DsnDriver, word)) {
            dsns.addItem(ToQt(dsn.DsnName));
        }
    }
    dsns.setCurrentIndex(-1);
}

void SelectFirst(QComboBox& list) {
    list.setCurrentIndex(list.count() > 0 ? 0 : -1);
}

void PrepareNameCombo(QComboBox& combo) {
    combo.setInsertPolicy(QComboBox::NoInsert);
    // The toolkit completes a typed name, and takes one that is in the list for a choice from it.
    combo.setCompleter(nullptr);
    QObject::disconnect(combo.lineEdit(), &QLineEdit::editingFinished, &combo, nullptr);
    auto* const view = new QListView(&combo);
    view->setUniformItemSizes(true);  // thousands of names open at once
    combo.setView(view);
}

void AddNames(QComboBox& combo, const std::vector<std::string>& names) {
    const QString typed = combo.currentText();
    const int chosen = combo.currentIndex();
    combo.addItems(ToQtList(names));
    // The toolkit chooses the first entry that it gets.
    combo.setCurrentIndex(chosen);
    combo.setEditText(typed);
}

void ClearNames(QComboBox& combo) {
    combo.clear();
    combo.clearEditText();
}

void ShowSorted(QListWidget& list, std::vector<std::string> names) {
    SortNames(names);
    ShowNames(list, names);
}

void ShowNames(QListWidget& list, const std::vector<std::string>& names) {
    list.clear();
    list.addItems(ToQtList(names));
    if (names.empty()) {
        SayNoneFound(list, "There are no tables.");
    }
}

// Row by row: the toolkit gives selected entries in the order in which they were clicked, and
// tables are loaded in this one.
std::vector<std::string> ChosenEntries(const QListWidget& list) {
    std::vector<std::string> entries;
    for (int row = 0; row < list.count(); ++row) {
        if (list.item(row)->isSelected()) {
            entries.push_back(FromQt(list.item(row)->text()));
        }
    }
    return entries;
}

TableRec NamedTable(const std::string& entry) {
    TableRec table;
    table.Name = entry;
    return table;
}

TableRec OwnedTable(const std::string& entry) {
    TableRec table;
    auto [owner, name] = SplitOwner(entry);
    table.Owner = std::move(owner);
    table.Name = std::move(name);
    return table;
}

void TakeOwnedTables(const std::vector<std::string>& entries) {
    SrcTables.clear();
    for (const auto& entry : entries) {
        SrcTables.push_back(OwnedTable(entry));
    }
}

std::vector<std::string> ReadInBackground(const NameQuery& query) {
    // The query is copied into the work: one that was given up runs on when the page may be gone.
    return InBackground<std::vector<std::string>>(
        [query](const GivenUp& given_up) { return ReadNames(query, given_up); });
}

std::vector<Tables::Item> ReadCatalogInBackground(const std::string& connection) {
    return InBackground<std::vector<Tables::Item>>(
        [connection](const GivenUp&) { return ReadCatalog(connection); });
}

void TellLines(const std::vector<std::string>& lines, const char* title) {
    std::string text;
    for (const auto& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    TellStop(text, title);
}

bool ConnectorPage::QueryUnload() {
    return AskToClose();
}

void ConnectorPage::ConnectButtons(const Buttons& buttons,
                                   std::function<void()> next,
                                   std::function<void()> back,
                                   const char* cancel_title,
                                   const char* cancel_text) {
    connect(buttons.next, &PlateButton::Click, this, std::move(next));
    connect(buttons.back, &PlateButton::Click, this, std::move(back));
    connect(buttons.help, &PlateButton::Click, this, [] { OpenHelp(); });
    connect(
        buttons.cancel, &PlateButton::Click, this, [=] { AskToCancel(cancel_title, cancel_text); });
}

}  // namespace vantry

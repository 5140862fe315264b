#pragma once
// What the pages of all kinds of database have in common: the four buttons, lists of drivers and
// data sources, names that a server lists, a status in a colour.

#include "connectors/listing.h"
#include "core/session_state.h"
#include "shell/page.h"
#include "shell/plate_button.h"

#include <QColor>
#include <QPointer>

#include <functional>
#include <string>
#include <vector>

class QComboBox;
class QLabel;
class QListWidget;

namespace vantry {

// Of status labels.
inline const QColor kStatusGreen(20, 200, 20);
inline const QColor kStatusRed(255, 0, 0);

// Tool tips of fields whose text goes into a connection string, which a semicolon would divide. The
// two families of strings wrap such a value in different ways.
inline constexpr const char* kSemicolonInBraces =
    "With a semicolon in it, or blanks at its ends: in braces, {a;b}";
inline constexpr const char* kSemicolonInQuotes =
    "With a semicolon in it: in double quotes, \"a;b\"";
inline constexpr const char* kSemicolonByMethod =
    "With a semicolon in it: in double quotes, \"a;b\", for an OLE DB provider; in braces, {a;b}, "
    "for an ODBC driver or a data source";

// In the colour given; without one in that of all texts, which is black on a light desktop.
void ShowStatus(QLabel& label, const char* text, const QColor& color = {});

// Shows that the page is at work (arrow and hourglass) as long as it lives.
class BusyPointer {
public:
    explicit BusyPointer(QWidget& page);
    ~BusyPointer();
    BusyPointer(const BusyPointer&) = delete;
    BusyPointer& operator=(const BusyPointer&) = delete;

private:
    QPointer<QWidget> page_;
};

// The names of OdbcDrivers, or of the data sources of OdbcDsns, whose driver's name holds the word
// in any letter case. What is selected is up to the page.
void ListDriversOf(const char* word, QComboBox& drivers);
void ListDsnsOf(const char* word, QComboBox& dsns);
void SelectFirst(QComboBox& list);

// A combo box into which a name may be typed: typing alone chooses nothing.
void PrepareNameCombo(QComboBox& combo);
// Behind those that are there; the text that stands in the box stays.
void AddNames(QComboBox& combo, const std::vector<std::string>& names);
void ClearNames(QComboBox& combo);
// In alphabetical order.
void ShowSorted(QListWidget& list, std::vector<std::string> names);
void ShowNames(QListWidget& list, const std::vector<std::string>& names);
// The selected entries, in the order of the list.
std::vector<std::string> ChosenEntries(const QListWidget& list);
// The table of an entry of a list: NAME, or OWNER.NAME.
TableRec NamedTable(const std::string& entry);
TableRec OwnedTable(const std::string& entry);
// SrcTables from entries OWNER.NAME.
void TakeOwnedTables(const std::vector<std::string>& entries);

// Names as ReadNames gives them, read in the background: Esc gives up, which is a DataError.
std::vector<std::string> ReadInBackground(const NameQuery& query);
std::vector<Tables::Item> ReadCatalogInBackground(const std::string& connection);

// A box of these lines with a stop sign.
void TellLines(const std::vector<std::string>& lines, const char* title);

// A page that asks before it is closed, with the buttons of all connector pages.
class ConnectorPage : public Page {
    Q_OBJECT
public:
    using Page::Page;
    bool QueryUnload() override;

protected:
    struct Buttons {
        PlateButton* next;
        PlateButton* back;
        PlateButton* help;
        PlateButton* cancel;
    };
    // What Cancel asks is the page's own.
    void ConnectButtons(const Buttons& buttons,
                        std::function<void()> next,
                        std::function<void()> back,
                        const char* cancel_title,
                        const char* cancel_text);
};

}  // namespace vantry

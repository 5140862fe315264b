// The delimiter, the qualifier, the heading and the preview of a text source, shared by the pages
// for files and for polled folders. Each change is stored with the chosen file and shown at once.
// Easy to get wrong: setting a control from a file's values raises the same signals as a user's
// click, which would store them back and ask for a delimiter that is just being set; while
// `loading_` they are ignored. The qualifier's box may be typed into, so its list index says
// nothing.

#include "text/pages/format_controls.h"

#include "data/error_text.h"
#include "shell/dialogs.h"
#include "shell/qt_text.h"
#include "text/pages/preview_model.h"
#include "text/preview.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QHeaderView>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTableView>

#include <algorithm>

namespace vantry {
namespace {

constexpr int kOther = 3;
constexpr std::string_view kDelimiters[] = {",", "\t", ";"};
constexpr std::string_view kQualifiers[] = {"\"", "'", ""};

// Longer lines would only slow the text box down.
constexpr qsizetype kLongestShownLine = 5000;
constexpr int kFittedColumns = 30;
constexpr int kWidestFitted = 240;
constexpr int kRowMargin = 6;

int IndexOf(const std::string_view (&list)[3], const std::string& text) {
    const auto* const found = std::find(std::begin(list), std::end(list), text);
    return found == std::end(list) ? -1 : static_cast<int>(found - list);
}

}  // namespace

FormatControls::FormatControls(QWidget& page, std::string heading, Stores stores)
    : QObject(&page),
      Option1(page.findChild<QButtonGroup*>("Option1")),
      OthChr(page.findChild<QLineEdit*>("OthChr")),
      TQ(page.findChild<QComboBox*>("TQ")),
      ChkNames(page.findChild<QCheckBox*>("ChkNames")),
      TextPreview(page.findChild<QPlainTextEdit*>("TextPreview")),
      ColGrid(page.findChild<QTableView*>("ColGrid")),
      grid_(new PreviewModel(this)),
      heading_(std::move(heading)),
      stores_(std::move(stores)) {
    for (int i = 0; i <= kOther; ++i) {
        Option1->setId(page.findChild<QAbstractButton*>("Option1_" + QString::number(i)), i);
    }
    TQ->setCompleter(nullptr);  // it would turn a typed character into an entry of the list
    ColGrid->setModel(grid_);
    ColGrid->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    ColGrid->verticalHeader()->setDefaultSectionSize(ColGrid->fontMetrics().height() + kRowMargin);
    TextPreview->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    connect(Option1, &QButtonGroup::idToggled, this, [this](int id, bool checked) {
        if (checked) {
            DelimiterChosen(id);
        }
    });
    connect(OthChr, &QLineEdit::textChanged, this, &FormatControls::OtherTyped);
    connect(TQ, &QComboBox::editTextChanged, this, &FormatControls::QualifierChanged);
    connect(ChkNames, &QCheckBox::toggled, this, &FormatControls::NamesChanged);
}

void FormatControls::Open() {
    loading_ = true;
    // Misspelt as it has always been; Qualifier looks an entry's text up in this list.
    TQ->addItems({"Double Qoutes \"", "Single Quote '", "<none>"});
    TQ->setCurrentIndex(0);
    loading_ = false;
    TextDelim = ",";
    TextQual = "\"";
}

void FormatControls::Load(const TableRec& format) {
    loading_ = true;
    const int qualifier = IndexOf(kQualifiers, format.TextQ);
    if (qualifier >= 0) {
        TQ->setCurrentIndex(qualifier);
        TQ->setEditText(TQ->itemText(qualifier));  // the entry may be the current one already
    } else {
        TQ->setEditText(ToQt(format.TextQ));
    }
    const int option = IndexOf(kDelimiters, format.SFormat);
    if (option < 0) {
        OthChr->setText(ToQt(format.SFormat));
    }
    Option1->button(option < 0 ? kOther : option)->setChecked(true);
    ChkNames->setChecked(format.SFirstColLine == 1);
    // From here on the user is asked again: a stored format may lack its delimiter.
    loading_ = false;
    OthChr->setEnabled(option < 0);
    TakeQualifier();
    TakeDelimiter();
}

// An empty other delimiter is asked for at once, not only on Next: without one there is no preview.
bool FormatControls::TakeDelimiter() {
    const int option = Option1->checkedId();
    const bool other = option == kOther;
    TextDelim = other ? FromQt(OthChr->text()) : std::string(kDelimiters[std::max(option, 0)]);
    OthChr->setEnabled(other);
    if (other && TextDelim.empty()) {
        TellStop("Please enter Delimiting Char", "Stop");
        OthChr->setFocus();
        return false;
    }
    return true;
}

void FormatControls::TakeQualifier() {
    // A text that is no entry is itself the qualifier.
    const auto choice = Qualifier();
    TextQual = choice.list_index < 0 ? choice.typed : std::string(kQualifiers[choice.list_index]);
}

void FormatControls::DelimiterChosen(int) {
    if (loading_ || !TakeDelimiter()) {
        return;
    }
    stores_.delimiter(TextDelim);
    PreviewAgain();
}

void FormatControls::OtherTyped() {
    if (loading_ || Option1->checkedId() != kOther) {
        return;
    }
    TextDelim = FromQt(OthChr->text());
    stores_.delimiter(TextDelim);
    PreviewAgain();
}

void FormatControls::QualifierChanged() {
    if (loading_) {
        return;
    }
    TakeQualifier();
    stores_.qualifier(TextQual);
    PreviewAgain();
}

void FormatControls::NamesChanged() {
    if (loading_) {
        return;
    }
    stores_.names_in_first_line(NamesInFirstLine());
    PreviewAgain();
}

QualifierChoice FormatControls::Qualifier() const {
    const QString text = TQ->currentText();
    return {TQ->findText(text, Qt::MatchFixedString | Qt::MatchCaseSensitive), FromQt(text)};
}

i16 FormatControls::NamesInFirstLine() const {
    return ChkNames->isChecked() ? 1 : 0;
}

void FormatControls::Clear() {
    path_.clear();
    TextPreview->clear();
    grid_->Show({});
}

void FormatControls::PreviewAgain() {
    if (!TextPreview->document()->isEmpty()) {
        // A copy: Preview() clears path_ before it reads its argument.
        // What the user changes here is meant.
        Preview(std::string(path_));
    }
}

void FormatControls::Preview(const std::string& path, bool counts) {
    Clear();
    path_ = path;
    // Next asks for it: a file that failed once may be mended and looked at again.
    preview_valid_ = true;
    try {
        auto lines = ReadPreview(path);
        QString text;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            text += (i == 0 ? "" : "\n") + Displayable(lines[i].text, kLongestShownLine);
        }
        TextPreview->setPlainText(text);
        PreviewTable table(std::move(lines),
                           {TextDelim, TextQual, NamesInFirstLine() != 0, heading_});
        const bool valid = table.Valid();
        grid_->Show(std::move(table));
        FitColumns();
        // Where "Schema.ini" describes the file by hand, this page's format needn't fit it.
        if (!valid && counts) {
            preview_valid_ = false;
            Tell("Invalid Text ");
        }
    } catch (const std::exception& error) {
        preview_valid_ = false;
        Tell(std::string("Error :") + ErrorText(error));
    }
}

// A file may have hundreds of columns; measuring each would be felt at every keystroke.
void FormatControls::FitColumns() {
    for (int column = 0; column < std::min(grid_->columnCount(), kFittedColumns); ++column) {
        ColGrid->resizeColumnToContents(column);
        ColGrid->setColumnWidth(column, std::min(ColGrid->columnWidth(column), kWidestFitted));
    }
}

}  // namespace vantry

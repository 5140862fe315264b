#pragma once
// How a text file falls into columns: the controls Option1, OthChr, TQ and ChkNames with the
// preview in TextPreview and ColGrid, as the pages of the text sources have them. The delimiter and
// the qualifier that are chosen stand in TextDelim and TextQual.

#include "core/session_state.h"
#include "text/text_source.h"

#include <QObject>

#include <functional>
#include <string>

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QTableView;

namespace vantry {

class PreviewModel;

class FormatControls : public QObject {
    Q_OBJECT
public:
    // Where the page keeps what the user changes; loading a format calls none of them.
    struct Stores {
        std::function<void(const std::string&)> delimiter;
        std::function<void(const std::string&)> qualifier;
        std::function<void(i16)> names_in_first_line;
    };
    // `page` holds the controls; `heading` is followed by a column's number where the file has no
    // names.
    FormatControls(QWidget& page, std::string heading, Stores stores);

    // As the page opens: a comma, a double quote.
    void Open();
    // Shows a file's SFormat, TextQ and SFirstColLine.
    void Load(const TableRec& format);
    // Shows the file and how it is split. Shows a box if the file can't be read, or split; where
    // the file isn't read by these controls, how it splits doesn't count.
    void Preview(const std::string& path, bool counts = true);
    void Clear();

    // The state of the last preview; false before the first.
    bool PreviewValid() const { return preview_valid_; }
    QualifierChoice Qualifier() const;
    i16 NamesInFirstLine() const;

private:
    void DelimiterChosen(int option);
    void OtherTyped();
    void QualifierChanged();
    void NamesChanged();
    // False: "other" is chosen, and there is none.
    bool TakeDelimiter();
    void TakeQualifier();
    void PreviewAgain();
    void FitColumns();

    QButtonGroup* Option1;
    QLineEdit* OthChr;
    QComboBox* TQ;
    QCheckBox* ChkNames;
    QPlainTextEdit* TextPreview;
    QTableView* ColGrid;
    PreviewModel* grid_;

    std::string heading_;
    Stores stores_;
    std::string path_;
    bool preview_valid_ = false;
    bool loading_ = false;
};

}  // namespace vantry

// The grid of a preview shows a file that nobody has judged yet: it may be binary, or one line of a
// megabyte. So cells are cut, control characters shown as such, and only what is in view is ever
// converted.

#include "text/pages/preview_model.h"

#include "data/utf.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

namespace vantry {
namespace {

constexpr qsizetype kLongestCell = 500;

}  // namespace

QString Displayable(std::string_view text, qsizetype longest) {
    const auto prefix = PrefixOfUtf16Units(text, static_cast<std::size_t>(longest));
    QString shown = ToQt(prefix);
    for (auto& character : shown) {
        // They would move the text, or end it.
        if (character.category() == QChar::Other_Control && character != u'\t') {
            character = QChar::ReplacementCharacter;
        }
    }
    if (prefix.size() < text.size()) {
        shown += u'\x2026';
    }
    return shown;
}

void PreviewModel::Show(PreviewTable table) {
    beginResetModel();
    table_ = std::move(table);
    endResetModel();
}

int PreviewModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() || table_.Columns() == 0 ? 0 : static_cast<int>(table_.Rows());
}

int PreviewModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(table_.Columns());
}

QVariant PreviewModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole)) {
        return {};
    }
    const QString text = Displayable(table_.Cell(static_cast<std::size_t>(index.row()),
                                                 static_cast<std::size_t>(index.column())),
                                     kLongestCell);
    return role == Qt::ToolTipRole ? ToolTipOf(text) : text;
}

QVariant PreviewModel::headerData(int section, Qt::Orientation orientation, int role) const {
    const auto column = static_cast<std::size_t>(section);
    if (orientation != Qt::Horizontal || section < 0 || column >= table_.Columns()) {
        return {};
    }
    if (role == Qt::DisplayRole) {
        return Displayable(table_.Heading(column), kLongestCell);
    }
    return role == Qt::ToolTipRole
               ? QVariant(ToolTipOf(Displayable(table_.Name(column), kLongestCell)))
               : QVariant();
}

}  // namespace vantry

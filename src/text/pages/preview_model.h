#pragma once
// The grid of a preview. Cells are made when they are looked at: a line may have 100,000 fields.

#include "text/preview.h"

#include <QAbstractTableModel>

namespace vantry {

// As it can be shown: what is neither text nor blank has a sign of its own, and no more than
// `longest` characters.
QString Displayable(std::string_view text, qsizetype longest);

class PreviewModel : public QAbstractTableModel {
    Q_OBJECT
public:
    using QAbstractTableModel::QAbstractTableModel;

    void Show(PreviewTable table);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    // The heading row; the column's bare name as its tooltip.
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    PreviewTable table_;
};

}  // namespace vantry

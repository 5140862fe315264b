#pragma once
// Form5: the column map of one table pair. Which source column feeds which target column, the types
// and sizes of a target that is still to be created, a row filter, and what becomes of a target
// that exists. All edits go straight into the session; the only way out is Close, which checks
// them.

#include "core/session_state.h"
#include "mapping/map_match.h"
#include "shell/page.h"

#include <QTableWidgetItem>

#include <memory>
#include <vector>

namespace Ui {
class Form5;
}

namespace vantry {

class Form5 : public Page {
    Q_OBJECT
public:
    Form5();
    ~Form5() override;

    // Before the page is shown: the table's TabID and the names for its head.
    void SetTable(const QString& tab_id, const QString& source, const QString& target);

    void OnActivate() override;
    // The close box is no way round Close.
    bool QueryUnload() override { return Close(); }

    // Judges the table's rows; shows errors and asks.
    void ChkColMapping(i16& ok);
    // Tries the row filter out and stores it.
    void ChkWhereCond(i16& ok);

private:
    double TabId() const;
    std::size_t TableIndex() const;
    // The rows of ColMaps, and the two lists of columns to pick from.
    void FillColGrid(double tab_id);
    void FillRow(int row, const ColMapRec& map);
    void FillColLists(double tab_id);
    void ShowMarks();
    void ShowMatchMenu(QPoint at);
    void Match(MatchBy by);
    void ShowTableOptions();
    void FillTypeCombo();
    void ChooseOption(int option);

    ColMapRec& MapRow(int row);
    bool TakesEditor(int row, int column);
    void EnterCell(int row, int column);
    // False when a number was refused, which the user has been told; LeaveSize, LeaveDecimals too.
    bool LeaveCell(int row, int column);
    void PressEnter(QWidget* editor);
    void Scroll();
    void Escape(QWidget* editor);
    void KeepRow(int row);
    void RestoreRow();

    // Picking from a list, showing a side of a row from its record, and what leaving a cell or
    // Enter takes over. The record is always written first.
    void PickSource(int item);
    void PickTarget(int item);
    void ShowSource(int row);
    void ShowTarget(int row);
    void LeaveSource(int row);
    void CommitTargetName(int row);
    void CommitTargetType(int row);
    bool LeaveSize(int row);
    bool LeaveDecimals(int row);
    // By Enter and by scrolling: no box, what is no number becomes a usual one.
    void CommitNumberLoosely();
    bool Close();

    // A row as it was when a cell of it was entered, for Escape.
    struct FormerRow {
        int row = -1;
        ColMapRec map;
        std::vector<std::unique_ptr<QTableWidgetItem>> cells;
    };
    FormerRow former_;

    std::unique_ptr<Ui::Form5> ui_;
    std::vector<std::size_t> RowToMap;  // grid row to index in ColMaps
    i16 TargetExists = kFalse;
    bool tell_order_ = false;  // all names match, but not by their positions
};

}  // namespace vantry

#pragma once
// Form4: one row for each source table with its target table. Derives the target names, reads the
// columns of both sides and makes the first column map when it loads; here the user changes target
// names, opens a table's columns (Form5) and goes on to the session page.

#include "core/session_state.h"
#include "shell/page.h"

#include <memory>
#include <string>
#include <vector>

namespace Ui {
class Form4;
}

namespace vantry {

class ButtonColumn;
class Form4Menu;

class Form4 : public Page {
    Q_OBJECT
public:
    Form4();
    ~Form4() override;

    void OnLoad() override;
    void OnActivate() override;
    bool QueryUnload() override;

    // Judges the map of all tables, and asks when there are errors.
    void ChkAllTabColMapping(i16& ok);

private:
    void SetupTableGrid();
    void FillSourceTables();
    void FillMapButtons();
    void ShowTargetTables();
    void ShowTargetNames();
    void ShowMarks();
    void TellMarks();
    // Reads both sides and finds the targets that exist. False after a failure of the source, which
    // the user has been told; a failure of the target leads to its page by itself.
    void LoadColumns(i16& ok);
    bool LoadAllTargetColumns();
    // After a failure of the source; the page is gone afterwards.
    void BackToSource();

    void EnterCell(int row, int column);
    void LeaveCell(int row, int column);
    // Both are false when the table couldn't be read, which the user has been told.
    bool CommitName(int row);
    bool ReloadTable(i16 tab_id);
    void OpenColumns(int row);
    // Next goes on only with a map that is fine or that the user accepts.
    void Next();
    void Back();

    std::unique_ptr<Ui::Form4> ui_;
    Form4Menu* menu_ = nullptr;       // the grid's
    std::vector<std::string> marks_;  // a text a row, empty where nothing is odd
    std::string losses_;
    std::vector<std::string> target_names_;  // what DestTabList offers
    i16 ColumnsLoaded = kFalse;
    i16 CellEntered = kFalse;  // the next cell left was entered by the user
};

}  // namespace vantry

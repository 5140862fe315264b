// Rows of the grid are places in SrcTables and DstTables. Several can be selected; a table that
// isn't there has nothing that could be emptied or dropped, so the options leave it alone. Easy to
// get wrong: a right click may fall on a row that isn't selected, and means that row.

#include "mapping/pages/form4_menu.h"

#include "check/check_text.h"
#include "check/pages/check_window.h"
#include "check/pages/preview_window.h"
#include "check/pages/statements_window.h"
#include "check/type_check.h"
#include "core/kinds.h"
#include "core/route.h"
#include "core/session_state.h"
#include "data/data_error.h"
#include "data/letter_case.h"
#include "engine/run_statements.h"
#include "mapping/pages/busy_cursor.h"
#include "mapping/pages/editor_grid.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

#include <QMenu>

#include <algorithm>
#include <set>

namespace vantry {
namespace {

struct Option {
    const char* text;
    const char* option;
};
constexpr Option kOptions[] = {
    {"&Append to the Selected", "APPEND"},
    {"&Empty the Selected First", "DELETE"},
    {"&Drop and Make the Selected Anew", "DROP"},
};

bool Exists(std::size_t table) {
    return SrcTables[table].TableExists != kFalse;
}

std::string NameOf(std::size_t table) {
    return table < DstTables.size() ? LastPartOf(DstTables[table].Name) : SrcTables[table].Name;
}

std::ptrdiff_t Losses(const ColumnCheck& column) {
    return std::count_if(column.types.begin(), column.types.end(), [](const Finding& finding) {
        return finding.verdict.grade == Grade::Changed;
    });
}

// A table's losses as lines of a tool tip.
std::string LossesOf(std::size_t table, const MappedColumns& columns) {
    if (IsFilledAsItIs(table) || ThisTarget().loader == Loader::Files) {
        return {};
    }
    const auto check = CheckTypes(table, columns);
    std::string text;
    for (const auto* const column : ChangingColumns(check)) {
        for (const auto& finding : column->types) {
            // What is refused is told by the run; a null says less than another loss.
            const auto reason = finding.verdict.reason;
            const bool silent = finding.verdict.grade == Grade::Changed ||
                                reason == Reason::NoType || reason == Reason::NameLimit;
            if (!silent || (reason == Reason::Null && Losses(*column) > 1)) {
                continue;
            }
            text += (text.empty() ? "" : "\n") + std::string(GradeMark(finding.verdict.grade)) +
                    " " + column->source + ", " + column->source_type + " into " +
                    column->target_type + ": " + FindingText(finding);
            break;
        }
    }
    return text;
}

}  // namespace

std::string TargetStateInWords(std::size_t table) {
    if (ThisTarget().loader == Loader::Files) {
        return "a text file";
    }
    if (!Exists(table)) {
        return "new";
    }
    std::set<std::string> sources;
    std::set<std::string> targets;
    for (const auto& column : SrcCols) {
        if (column.TabID == SrcTables[table].TabID) {
            sources.insert(UpperCased(column.ColName));
        }
    }
    for (const auto& column : DstCols) {
        if (column.TabID == SrcTables[table].TabID) {
            targets.insert(UpperCased(column.ColName));
        }
    }
    std::vector<std::string> differ;
    std::set_symmetric_difference(
        sources.begin(), sources.end(), targets.begin(), targets.end(), std::back_inserter(differ));
    return differ.empty()
               ? "exists"
               : "exists; " + CountInWords(differ.size(), "column differs", "columns differ");
}

Form4Menu::Form4Menu(EditorGrid& grid, std::function<bool()> ready, std::function<void()> changed)
    : QObject(&grid), grid_(grid), ready_(std::move(ready)), changed_(std::move(changed)) {
    grid_.setSelectionMode(QAbstractItemView::ExtendedSelection);
    grid_.setContextMenuPolicy(Qt::CustomContextMenu);
    connect(&grid_, &QWidget::customContextMenuRequested, this, &Form4Menu::Show);
}

std::string Form4Menu::MarkLosses(int column) {
    std::size_t marked = 0;
    const auto columns = MappedColumnsByTable();
    for (int row = 0; row < grid_.rowCount(); ++row) {
        auto* const cell = grid_.item(row, column);
        const auto table = static_cast<std::size_t>(row);
        if (cell == nullptr || table >= SrcTables.size()) {
            continue;
        }
        const auto own = columns.find(SrcTables[table].TabID);
        const auto losses = own == columns.end() ? std::string() : LossesOf(table, own->second);
        marked += losses.empty() ? 0 : 1;
        cell->setToolTip(losses.empty() ? QString() : ToolTipOf(ToQt(losses)));
        cell->setData(Qt::AccessibleDescriptionRole,
                      losses.empty() ? QVariant() : QVariant(ToQt(losses)));
    }
    return marked == 0 ? std::string()
                       : CountInWords(marked, "new table has", "new tables have") +
                             " types that change values: the mouse on \"Columns\" says which.";
}

std::vector<std::size_t> Form4Menu::ChosenTables() const {
    std::set<std::size_t> rows;
    for (const auto& index : grid_.selectionModel()->selectedIndexes()) {
        rows.insert(static_cast<std::size_t>(index.row()));
    }
    if (rows.empty() && grid_.currentRow() >= 0) {
        rows.insert(static_cast<std::size_t>(grid_.currentRow()));
    }
    std::erase_if(rows, [](std::size_t row) { return row >= SrcTables.size(); });
    return {rows.begin(), rows.end()};
}

void Form4Menu::Show(QPoint at) {
    const auto tables = ChosenTables();
    if (tables.empty() || !ready_()) {
        return;
    }
    const bool one = tables.size() == 1;
    const auto existing =
        static_cast<std::size_t>(std::count_if(tables.begin(), tables.end(), Exists));
    QMenu menu(&grid_);
    menu.setObjectName("TablesMenu");
    auto* const heading =
        menu.addAction(ToQt(one ? NameOf(tables[0]) + ": " + TargetStateInWords(tables[0])
                                : CountInWords(tables.size(), "table", "tables") + ", " +
                                      std::to_string(existing) + " of them there already"));
    heading->setEnabled(false);
    menu.addSeparator();
    menu.addAction("&Check Data...", this, [&] { Check(tables); });
    menu.addAction("Check Data of A&ll Tables...", this, [this] {
        std::vector<std::size_t> all(SrcTables.size());
        for (std::size_t k = 0; k < all.size(); ++k) {
            all[k] = k;
        }
        Check(std::move(all));
    });
    auto* const preview =
        menu.addAction("&Preview Rows", this, [&] { ShowPreview(SrcTables[tables[0]], grid_); });
    preview->setEnabled(one);
    menu.addAction("Show &Statements", this, [&] { ShowStatements(tables); });
    menu.addSeparator();
    for (const auto& option : kOptions) {
        auto* const action =
            menu.addAction(option.text, this, [&] { SetOption(tables, option.option); });
        action->setCheckable(true);
        action->setEnabled(existing > 0);
        action->setChecked(
            existing > 0 && std::all_of(tables.begin(), tables.end(), [&](std::size_t table) {
                return !Exists(table) || SrcTables[table].LoadOption == option.option;
            }));
    }
    menu.exec(grid_.viewport()->mapToGlobal(at));
}

void Form4Menu::Check(std::vector<std::size_t> tables) {
    CheckWindow(std::move(tables), grid_.window()).exec();
}

void Form4Menu::ShowStatements(const std::vector<std::size_t>& tables) {
    std::string text;
    {
        const BusyCursor busy;
        for (const auto table : tables) {
            const auto i = static_cast<i16>(table);
            RowWay way = RowWay::Unknown;
            try {
                way = RowWayOf(i);
            } catch (const DataError&) {
                // The source doesn't answer: both ways are shown.
            }
            text += (text.empty() ? "" : "\n") + StatementsText(StatementsOf(i, way));
        }
    }
    StatementsWindow("Statements of the run", ToQt(text), grid_.window()).exec();
}

// Both sides are saved, and the run reads the source's.
void Form4Menu::SetOption(const std::vector<std::size_t>& tables, const char* option) {
    for (const auto table : tables) {
        if (Exists(table) && table < DstTables.size()) {
            SrcTables[table].LoadOption = DstTables[table].LoadOption = option;
        }
    }
    changed_();
}

}  // namespace vantry

#pragma once
// The context menu of the grid of tables: look at rows, statements and losses before the run, and
// choose for several tables at once what happens to those that exist.

#include <QObject>
#include <QPoint>

#include <functional>
#include <string>
#include <vector>

namespace vantry {

class EditorGrid;

// "exists", "new", "exists; 2 columns differ": the state of a table's target.
std::string TargetStateInWords(std::size_t table);

class Form4Menu : public QObject {
    Q_OBJECT
public:
    // `ready`: the columns of all tables are there. `changed` is called after an option was set.
    Form4Menu(EditorGrid& grid, std::function<bool()> ready, std::function<void()> changed);

    // Marks the tables whose created types change values, in the tool tip of `column` and in the
    // sentence that comes back; empty when there is none.
    std::string MarkLosses(int column);

private:
    void Show(QPoint at);
    std::vector<std::size_t> ChosenTables() const;
    void Check(std::vector<std::size_t> tables);
    void ShowStatements(const std::vector<std::size_t>& tables);
    void SetOption(const std::vector<std::size_t>& tables, const char* option);

    EditorGrid& grid_;
    std::function<bool()> ready_;
    std::function<void()> changed_;
};

}  // namespace vantry

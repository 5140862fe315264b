#pragma once
// "Check data...": what each column of one table, or of all, loses on its way. The rows are read on
// a thread of their own while the window counts them; it closes when that thread has ended.

#include "check/data_check.h"
#include "check/pages/look_window.h"

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

class QDialogButtonBox;
class QLabel;
class QProgressBar;
class QTimer;
class QTreeWidget;
class QTreeWidgetItem;

namespace vantry {

class CheckWindow : public LookWindow {
    Q_OBJECT
public:
    // `tables` are places in SrcTables; the session stays as it is while the window is open.
    CheckWindow(std::vector<std::size_t> tables, QWidget* parent);
    ~CheckWindow() override;

    void reject() override;

private:
    void Work();
    void Look();
    void Add(const TableCheck& check);
    void AddColumn(const TableCheck& check, const ColumnCheck& column, QTreeWidgetItem& table);
    void Finish();
    void CopyAll() const;

    std::vector<std::size_t> tables_;
    QLabel* state_;
    QProgressBar* bar_;
    QTreeWidget* tree_;
    QDialogButtonBox* buttons_;
    QTimer* clock_;
    std::string text_;
    std::size_t shown_ = 0;
    Grade worst_ = Grade::Kept;
    bool close_at_end_ = false;

    // Shared with the thread.
    std::mutex lock_;
    std::vector<TableCheck> done_;
    std::atomic<std::int64_t> rows_ = 0;
    std::atomic<bool> cancelled_ = false;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

}  // namespace vantry

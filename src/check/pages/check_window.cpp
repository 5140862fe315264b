// A tree: tables, under each its columns, under a column what becomes of its values. What is kept
// is there, too, folded in, since "nothing is lost" is an answer. The thread hands whole tables
// over; the window looks for them by a clock. Easy to get wrong: the thread reads the session, so
// the window may go only when it has ended.

#include "check/pages/check_window.h"

#include "check/check_text.h"
#include "core/session_state.h"
#include "shell/qt_text.h"
#include "shell/tool_tip.h"

#include <QClipboard>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <chrono>

namespace vantry {
namespace {

constexpr std::chrono::milliseconds kBetweenLooks{50};

enum Place { kName, kTypes, kGrade, kWhat };

QIcon IconOf(const QWidget& widget, Grade grade) {
    const auto picture = grade == Grade::Kept      ? QStyle::SP_DialogApplyButton
                         : grade == Grade::Changed ? QStyle::SP_MessageBoxWarning
                                                   : QStyle::SP_MessageBoxCritical;
    return widget.style()->standardIcon(picture);
}

// The mark and the word: neither colour nor picture alone says it.
QString GradeText(Grade grade) {
    static const QString marks[] = {"=", QChar(0x2248), QChar(0x2715)};
    return marks[static_cast<int>(grade)] + " " + ToQt(GradeWord(grade));
}

void SetGrade(QTreeWidgetItem& item, const QWidget& widget, Grade grade) {
    item.setText(kGrade, GradeText(grade));
    item.setIcon(kGrade, IconOf(widget, grade));
}

void SetTips(QTreeWidgetItem& item) {
    for (int k = kName; k <= kWhat; ++k) {
        if (!item.text(k).isEmpty()) {
            item.setToolTip(k, ToolTipOf(item.text(k)));
        }
    }
}

}  // namespace

CheckWindow::CheckWindow(std::vector<std::size_t> tables, QWidget* parent)
    : LookWindow("CheckWindow", "Check data", parent),
      tables_(std::move(tables)),
      state_(new QLabel("Reading...", this)),
      bar_(new QProgressBar(this)),
      tree_(new QTreeWidget(this)),
      buttons_(new QDialogButtonBox(QDialogButtonBox::Cancel, this)),
      clock_(new QTimer(this)) {
    state_->setObjectName("CheckState");
    state_->setWordWrap(true);
    tree_->setObjectName("CheckTree");
    tree_->setAccessibleName("Columns and what becomes of their values");
    tree_->setHeaderLabels({"Table and column", "Types", "Grade", "What becomes of the values"});
    tree_->setUniformRowHeights(true);
    // What becomes of the values is read whole, by scrolling where the window is small.
    tree_->header()->setStretchLastSection(false);
    const int letter = fontMetrics().averageCharWidth();
    tree_->setColumnWidth(kName, letter * 26);
    tree_->setColumnWidth(kTypes, letter * 28);
    tree_->setColumnWidth(kGrade, letter * 20);
    // By tables: how many rows there are isn't known before they are read.
    bar_->setRange(0, static_cast<int>(tables_.size()));
    bar_->setAccessibleName("Tables that were checked");
    Rows()->addWidget(state_);
    Rows()->addWidget(bar_);
    Rows()->addWidget(tree_);
    Rows()->addWidget(buttons_);
    connect(buttons_, &QDialogButtonBox::rejected, this, &CheckWindow::reject);
    connect(clock_, &QTimer::timeout, this, &CheckWindow::Look);
    // Last: what the thread writes into must be there.
    thread_ = std::thread(&CheckWindow::Work, this);
    clock_->start(kBetweenLooks);
}

CheckWindow::~CheckWindow() {
    cancelled_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

// On the other thread.
void CheckWindow::Work() {
    const CheckView view{[this] { return cancelled_.load(); },
                         [this](std::int64_t rows) { rows_ = rows; }};
    for (const auto table : tables_) {
        if (cancelled_) {
            break;
        }
        auto check = CheckTable(table, view);
        const std::lock_guard guard(lock_);
        done_.push_back(std::move(check));
    }
    ended_ = true;
}

void CheckWindow::Look() {
    // Read before the list: what the thread adds last is there before it says that it has ended.
    const bool ended = ended_;
    std::vector<TableCheck> fresh;
    {
        const std::lock_guard guard(lock_);
        fresh.swap(done_);
    }
    for (const auto& check : fresh) {
        Add(check);
    }
    bar_->setValue(static_cast<int>(shown_));
    if (ended) {
        Finish();
    } else if (!cancelled_) {
        state_->setText(
            QString("Table %1 of %2, %3: %4 rows read.")
                .arg(shown_ + 1)
                .arg(tables_.size())
                // Behind the last table there is none to name, and the thread hasn't said yet that
                // it has ended.
                .arg(ToQt(SrcTables[tables_[std::min(shown_, tables_.size() - 1)]].Name))
                .arg(rows_.load()));
    }
}

void CheckWindow::Add(const TableCheck& check) {
    ++shown_;
    // The text that is copied is the runner's own: what one user sends another can compare.
    text_ += TableText(check);
    const auto worst = check.Worst();
    worst_ = std::max(worst_, worst);
    auto* const table = new QTreeWidgetItem(tree_);
    table->setText(kName, ToQt(check.source));
    table->setText(kTypes, ToQt("into " + check.target));
    table->setText(kWhat, ToQt(SummaryText(check)));
    SetGrade(*table, *this, worst);
    SetTips(*table);
    for (const auto& remark : check.remarks) {
        auto* const line = new QTreeWidgetItem(table);
        line->setText(kWhat, ToQt(remark));
        SetTips(*line);
    }
    for (const auto& column : check.columns) {
        AddColumn(check, column, *table);
    }
    table->setExpanded(worst != Grade::Kept || tables_.size() == 1);
}

void CheckWindow::AddColumn(const TableCheck& check,
                            const ColumnCheck& column,
                            QTreeWidgetItem& table) {
    auto* const item = new QTreeWidgetItem(&table);
    item->setText(kName, ToQt(column.source));
    item->setText(kTypes, ToQt(column.source_type + " into " + column.target_type));
    SetGrade(*item, *this, column.Worst(check.with_data));
    const auto& findings = check.with_data ? column.data : column.types;
    // The first finding stands on the column's own line: most columns have one at most, and need no
    // unfolding.
    item->setText(kWhat,
                  ToQt(findings.empty() ? ExtentText(column.extent) : FindingText(findings[0])));
    SetTips(*item);
    const auto add = [&](const Finding& finding, const std::string& lead) {
        auto* const line = new QTreeWidgetItem(item);
        SetGrade(*line, *this, finding.verdict.grade);
        line->setText(kWhat, ToQt(lead + FindingText(finding)));
        SetTips(*line);
    };
    for (std::size_t k = 1; k < findings.size(); ++k) {
        add(findings[k], "");
    }
    if (!findings.empty() && !ExtentText(column.extent).empty()) {
        auto* const line = new QTreeWidgetItem(item);
        line->setText(kWhat, ToQt("The data: " + ExtentText(column.extent)));
        SetTips(*line);
    }
    if (check.with_data) {
        for (const auto& finding : column.types) {
            add(finding, "By its type: ");
        }
    }
    item->setExpanded(findings.size() > 1);
}

void CheckWindow::Finish() {
    clock_->stop();
    thread_.join();
    if (close_at_end_) {
        QDialog::reject();
        return;
    }
    bar_->hide();
    state_->setText(cancelled_                 ? "Cancelled: what was read so far stands below."
                    : worst_ == Grade::Kept    ? "All values will arrive as they are."
                    : worst_ == Grade::Changed ? "Some values will arrive changed."
                                               : "Some values will be refused.");
    buttons_->setStandardButtons(QDialogButtonBox::Close);
    auto* const copy = buttons_->addButton("Co&py All", QDialogButtonBox::ActionRole);
    connect(copy, &QPushButton::clicked, this, &CheckWindow::CopyAll);
    tree_->resizeColumnToContents(kWhat);
    tree_->setFocus();
    if (tree_->topLevelItemCount() > 0) {
        tree_->setCurrentItem(tree_->topLevelItem(0));
    }
}

void CheckWindow::CopyAll() const {
    QGuiApplication::clipboard()->setText(ToQt(text_));
}

// Escape, Cancel and the close box: the first one stops the reading, what was read stays.
void CheckWindow::reject() {
    if (!clock_->isActive()) {
        QDialog::reject();
        return;
    }
    // The second Cancel closes as soon as the thread has ended.
    close_at_end_ = cancelled_;
    cancelled_ = true;
    state_->setText("Stopping...");
}

}  // namespace vantry

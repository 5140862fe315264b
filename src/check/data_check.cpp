// One SELECT as the run sends it, one walk (check/row_judge); a long file is walked in two halves
// at once, as a run works on two threads, too, and nobody waits for a check as long as for a run.
// Whatever comes between the halves, a row across their border or an error in the second one, is
// found again by a walk in one go, which alone has the numbers of its rows. Easy to get wrong: the
// keys of rows that are in the target already repeat, too, unless it is emptied first.

#include "check/data_check.h"

#include "check/row_judge.h"
#include "check/unique_key.h"
#include "core/table_names.h"
#include "data/ado_types.h"
#include "data/ascii.h"
#include "data/data_error.h"
#include "data/error_text.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <future>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>

namespace vantry {
namespace {

// Often enough for a cancel to be felt at once, and seldom enough to cost nothing a row.
constexpr std::int64_t kRowsPerLook = 4096;
// The limits of the run itself, which this check foretells.
constexpr std::int64_t kErrorsOfATable = 50;
constexpr std::int64_t kRowsOfABatch = 100;

FieldShape ShapeOf(const Field& field) {
    return {field.Type(), field.DefinedSize(), field.Precision(), field.NumericScale()};
}

bool Names(const std::vector<std::string>& names, const std::string& column) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return EqualsNoCase(name, column);
    });
}

// ---- The second half of a table

class SecondHalf {
public:
    // Throws where there is no thread to be had, or no memory for it.
    SecondHalf(std::string select, std::int64_t middle, std::span<const ColumnPlan> plans)
        : select_(std::move(select)),
          connection_(SourceConnStr),
          middle_(middle),
          judge_(plans),
          width_(plans.size()),
          done_(std::async(std::launch::async, [this] { return Walk(); })) {}
    ~SecondHalf() {
        stop_ = true;
        if (done_.valid()) {
            done_.wait();
        }
    }
    SecondHalf(const SecondHalf&) = delete;
    SecondHalf& operator=(const SecondHalf&) = delete;

    std::int64_t RowsSoFar() const { return rows_so_far_.load(std::memory_order_relaxed); }
    bool IsDone(std::chrono::milliseconds within) const {
        return done_.wait_for(within) == std::future_status::ready;
    }
    // Null: it couldn't be read. Once, behind IsDone.
    const RowJudge* Result() { return done_.get() ? &judge_ : nullptr; }

private:
    bool Walk() {
        try {
            Recordset rows;
            rows.Open(select_, connection_, adOpenForwardOnly, adLockReadOnly);
            if (rows.Middle() != middle_) {
                return false;  // the source was changed meanwhile
            }
            // In memory of this thread alone: neighbours of what another one writes would be slow.
            RowJudge judge = std::move(judge_);
            for (rows.GoOnAt(middle_); !rows.Eof(); rows.MoveNext()) {
                judge.Judge(rows.Row().first(width_));
                if (judge.Rows() % kRowsPerLook == 0) {
                    rows_so_far_.store(judge.Rows(), std::memory_order_relaxed);
                    if (stop_.load(std::memory_order_relaxed)) {
                        return false;
                    }
                }
            }
            judge_ = std::move(judge);
            return true;
        } catch (const std::exception&) {
            return false;  // the walk in one go meets it again, and knows the row's number
        }
    }

    std::string select_;
    std::string connection_;
    std::int64_t middle_;
    RowJudge judge_;
    std::size_t width_;
    std::atomic<bool> stop_ = false;
    std::atomic<std::int64_t> rows_so_far_ = 0;
    std::future<bool> done_;  // last: its thread uses all of the others
};

// ---- The pass

class TablePass {
public:
    TablePass(std::size_t table, const CheckView& view) : table_(table), view_(view) {}

    TableCheck Run();

private:
    void OpenSource();
    void LookAtTarget();
    void MakePlan();
    void MakeKeys();
    void AddTargetKeys(UniqueKey& key);
    void NoteKeys();
    void TakeOnColumnsForm(Form form, std::size_t column, Cell& cell);
    void Walk();
    bool WalkInHalves();
    void WalkRows(const SecondHalf* other);
    void WaitFor(const SecondHalf& other);
    void FinishKeys();
    void FinishLeftOut();
    void Finish();

    std::size_t table_;
    const CheckView& view_;
    TableCheck check_;
    MappedColumns mapped_;
    Connection target_;
    std::string select_;
    Recordset rows_;
    std::vector<FieldShape> shapes_;
    std::vector<TargetField> targets_;
    TableRules rules_;
    std::vector<ColumnPlan> plans_;
    std::optional<RowJudge> judge_;
    std::vector<std::string> left_out_;  // columns of the target that take no null
    std::vector<UniqueKey> keys_;
    std::vector<Value> stored_;  // room for the row's values that a key sees otherwise
};

void TablePass::OpenSource() {
    mapped_ = MappedColumnsOf(SrcTables[table_].TabID);
    if (mapped_.empty()) {
        throw DataError(kErrUnspecified, "No column of this table is loaded.");
    }
    select_ = ReadingStatements(SrcTables[table_], mapped_, ReadingOfRun()).select;
    rows_.Open(select_, SourceConnStr, adOpenForwardOnly, adLockReadOnly);
    for (std::int32_t k = 0; k < rows_.Fields().Count(); ++k) {
        shapes_.push_back(ShapeOf(rows_.Fields()[k]));
    }
}

void TablePass::LookAtTarget() {
    if (!IsFilledAsItIs(table_)) {
        return;
    }
    target_.Open(TargetConnStr);
    Recordset columns;
    columns.Open("select * from " + TargetTableToProbe(DstTables[table_].Name) + " where 1=2",
                 target_,
                 adOpenForwardOnly,
                 adLockReadOnly);
    for (std::int32_t k = 0; k < columns.Fields().Count(); ++k) {
        auto& field = columns.Fields()[k];
        targets_.push_back({field.Name(),
                            ShapeOf(field),
                            TranslateType(AdoTypeName(field.Type()), "DEST"),
                            {},
                            {}});
    }
    columns.Close();
    rules_ = target_.RulesOf(DstTables[table_].Name);
    for (auto& field : targets_) {
        const auto type = rules_.server_types.find(field.name);
        field.servers_type = type == rules_.server_types.end() ? "" : type->second;
        if (const auto moments = rules_.moments.find(field.name); moments != rules_.moments.end()) {
            field.moments = moments->second;
        }
    }
}

void TablePass::MakePlan() {
    plans_ = PlanTable(table_, mapped_, shapes_, targets_);
    const auto kind = KindOf(SourceType).types;
    const bool rebuilt = !IsFilledAsItIs(table_) && SrcTables[table_].TableExists != kFalse;
    for (auto& plan : plans_) {
        ColumnCheck column;
        column.source = plan.map->SCName;
        column.target = rebuilt ? plan.map->SCName : plan.map->DCName;
        column.source_type = plan.map->SDtype;
        column.target_type = plan.judge.Target().type;
        column.required = Names(rules_.required, column.target);
        plan.judge.SetRequired(column.required);
        plan.judge.SetNeverEmpty(Names(rules_.never_empty, column.target));
        column.types = JudgeType(kind, plan);
        check_.columns.push_back(std::move(column));
    }
    for (const auto& name : rules_.needed) {
        if (std::none_of(check_.columns.begin(), check_.columns.end(), [&](const auto& column) {
                return EqualsNoCase(name, column.target);
            })) {
            left_out_.push_back(name);
        }
    }
    JudgeNames(table_, check_);
    stored_.resize(plans_.size());
}

void TablePass::MakeKeys() {
    for (const auto& rule : rules_.unique) {
        std::vector<std::optional<std::size_t>> columns;
        for (const auto& part : rule.parts) {
            const auto at = std::find_if(plans_.begin(), plans_.end(), [&](const auto& plan) {
                return EqualsNoCase(plan.map->DCName, part.column);
            });
            columns.push_back(at == plans_.end()
                                  ? std::nullopt
                                  : std::optional(static_cast<std::size_t>(at - plans_.begin())));
        }
        // What the load doesn't fill is numbered by a server itself, or refused as a null.
        if (rule.keys == nullptr &&
            std::find(columns.begin(), columns.end(), std::nullopt) != columns.end()) {
            continue;
        }
        keys_.emplace_back(rule, std::move(columns));
        if (SrcTables[table_].LoadOption != "DELETE") {
            AddTargetKeys(keys_.back());
        }
    }
    if (!rules_.unknown.empty()) {
        check_.remarks.push_back("The target doesn't say which keys it has: " + rules_.unknown);
    }
}

void TablePass::AddTargetKeys(UniqueKey& key) {
    if (key.Rule().keys) {
        key.Rule().keys->ForEach([&](std::string_view taken) { key.AddKey(taken, 0); });
        return;
    }
    std::string select = "SELECT ";
    for (const auto& part : key.Rule().parts) {
        select += TargetColumnInList(part.column);
    }
    CutLast(select);
    Recordset rows;
    rows.Open(select + " FROM " + TargetTableToAddTo(DstTables[table_].Name),
              target_,
              adOpenForwardOnly,
              adLockReadOnly);
    std::vector<Cell> cells(key.Rule().parts.size());
    std::int64_t row = 0;
    for (; !rows.Eof(); rows.MoveNext()) {
        const auto values = rows.Row();
        for (std::size_t k = 0; k < cells.size(); ++k) {
            cells[k] = values[k];
        }
        // Row 0: it makes a row of the source repeat, and is never counted itself.
        key.Add(cells, 0);
        if (++row % kRowsPerLook == 0 && view_.cancelled()) {
            return;
        }
    }
}

// A text in a column of numbers is a number there, and a number in one of texts a text: "007" and
// "7" make one key, as does the 7 that the target has already.
void TablePass::TakeOnColumnsForm(Form form, std::size_t column, Cell& cell) {
    const bool is_text = cell.Kind() == ValueKind::Text;
    const bool wants_number =
        form == Form::Whole || form == Form::Exact || form == Form::Single || form == Form::Double;
    std::optional<Value> taken;
    if (is_text && wants_number) {
        if (const auto number = ParseDecimal(Trimmed(cell.AsText()))) {
            taken = Value(Cell::FromDecimal(*number));
        }
    } else if (form == Form::Text && !is_text && !cell.IsNull() &&
               cell.Kind() != ValueKind::Bytes && cell.Kind() != ValueKind::Unreadable) {
        taken = Value(Cell::Text(ToText(cell)));
    }
    if (taken) {
        stored_[column] = *std::move(taken);
        cell = stored_[column].AsCell();
    }
}

// With the values that arrive: two that differ by what is lost on the way repeat one another.
void TablePass::NoteKeys() {
    const auto row = rows_.Row();
    std::vector<Cell> cells;
    for (auto& key : keys_) {
        cells.clear();
        for (const auto column : key.Columns()) {
            if (!column) {
                cells.emplace_back();  // left out
                continue;
            }
            cells.push_back(row[*column]);
            const auto reason = judge_->ReasonOf(*column);
            if (reason != Reason::None && key.WantsStoredValues()) {
                if (auto value = plans_[*column].judge.Stored(cells.back(), reason)) {
                    stored_[*column] = *std::move(value);
                    cells.back() = stored_[*column].AsCell();
                }
            }
            if (key.WantsStoredValues()) {
                TakeOnColumnsForm(plans_[*column].judge.Target().form, *column, cells.back());
            }
        }
        key.Add(cells, judge_->Rows());
    }
}

void TablePass::Walk() {
    if (!plans_.empty()) {
        // Throws where the source has fewer columns than it was asked for.
        (void)rows_.Fields()[static_cast<std::int32_t>(plans_.size()) - 1];
    }
    check_.with_data = true;
    // Keys are numbers by the row, and those of the second half aren't known.
    if (!keys_.empty() || !WalkInHalves()) {
        judge_.emplace(plans_);
        WalkRows(nullptr);
    }
    check_.rows = judge_->Rows();
    check_.refused = judge_->Refused();
    view_.progress(check_.rows);
}

// False: nothing is judged, and the recordset stands on the first row.
bool TablePass::WalkInHalves() {
    const auto middle = std::thread::hardware_concurrency() > 1 ? rows_.Middle() : 0;
    if (middle == 0) {
        return false;
    }
    std::optional<SecondHalf> other;
    try {
        other.emplace(select_, middle, plans_);
    } catch (const std::exception&) {
        return false;
    }
    judge_.emplace(plans_);
    rows_.EndAt(middle);
    WalkRows(&*other);
    WaitFor(*other);
    if (!check_.whole) {
        return true;  // cancelled: what the first half has is what was read so far
    }
    const auto* const rest = other->Result();
    if (rest == nullptr || !rows_.EndedWithRow()) {
        rows_.MoveFirst();
        return false;
    }
    judge_->Add(*rest);
    return true;
}

void TablePass::WalkRows(const SecondHalf* other) {
    for (; !rows_.Eof(); rows_.MoveNext()) {
        // Cells and not fields: one that can't be read says so itself, where a field would throw. A
        // row that doesn't get in for its values leaves its key to the next one.
        if (judge_->Judge(rows_.Row().first(plans_.size())) && !keys_.empty()) {
            NoteKeys();
        }
        if (judge_->Rows() % kRowsPerLook == 0) {
            view_.progress(judge_->Rows() + (other != nullptr ? other->RowsSoFar() : 0));
            if (view_.cancelled()) {
                check_.whole = false;
                return;
            }
        }
    }
}

void TablePass::WaitFor(const SecondHalf& other) {
    constexpr auto kBetweenLooks = std::chrono::milliseconds(20);
    while (check_.whole && !other.IsDone(kBetweenLooks)) {
        view_.progress(judge_->Rows() + other.RowsSoFar());
        check_.whole = !view_.cancelled();
    }
}

void TablePass::FinishKeys() {
    // A bit a row, and only of a table that has several keys: a row may repeat in more than one.
    std::vector<bool> repeated;
    for (auto& key : keys_) {
        const auto note = [&](std::int64_t row) {
            const auto place = static_cast<std::size_t>(row);
            if (repeated.size() <= place) {
                repeated.resize(std::max(place + 1, static_cast<std::size_t>(check_.rows) + 1));
            }
            check_.refused += repeated[place] ? 0 : 1;
            repeated[place] = true;
        };
        const auto answer = keys_.size() > 1 ? key.keys.Find(note) : key.keys.Find();
        if (answer.repeats == 0) {
            continue;
        }
        check_.refused += keys_.size() > 1 ? 0 : answer.repeats;
        // At the key's first column: a finding has no other place to stand.
        std::size_t place = 0;
        for (const auto column : key.Columns()) {
            if (column) {
                place = *column;
                break;
            }
        }
        check_.columns[place].data.push_back({{Grade::Refused, Reason::RepeatedKey},
                                              answer.repeats,
                                              answer.first,
                                              "the unique key " + key.Name(),
                                              {}});
    }
}

// A target whose column takes no null and has no value of its own refuses every row.
void TablePass::FinishLeftOut() {
    for (const auto& name : left_out_) {
        if (check_.rows > 0 && !check_.columns.empty()) {
            check_.columns.front().data.push_back({{Grade::Refused, Reason::NotNull},
                                                   check_.rows,
                                                   1,
                                                   "the column " + name + ", which isn't loaded",
                                                   {}});
            check_.refused = check_.rows;
        }
    }
}

void TablePass::Finish() {
    for (std::size_t k = 0; k < plans_.size(); ++k) {
        auto& column = check_.columns[k];
        column.extent = judge_->ExtentOf(k);
        column.data = judge_->FindingsOf(k);
        // Without a row nothing was judged: the column that can't be made must be told all the
        // same.
        if (plans_[k].judge.Target().form == Form::Nothing && column.data.empty()) {
            column.data.push_back(
                {{Grade::Refused, Reason::NoType}, 0, 0, plans_[k].judge.Target().fault, {}});
        }
    }
    FinishKeys();
    FinishLeftOut();
    if (check_.refused >= kErrorsOfATable && ThisTarget().loader == Loader::Rows) {
        check_.remarks.push_back("More than " + std::to_string(kErrorsOfATable - 1) +
                                 " rows are refused: the run gives this table up.");
    } else if (check_.refused > 0 && ThisTarget().loader == Loader::Batches &&
               check_.columns.size() == plans_.size() && !plans_.empty()) {
        check_.remarks.push_back("A refused row takes the others of its " +
                                 std::to_string(kRowsOfABatch) + " along.");
    }
}

TableCheck TablePass::Run() {
    check_.source = SrcTables.at(table_).Name;
    if (table_ >= DstTables.size()) {
        check_.trouble = "The session names no target for this table.";
        return check_;
    }
    check_.target = DstTables[table_].Name;
    try {
        // Each step stands on the one before it: the judges need the source's fields, the keys the
        // plan.
        OpenSource();
        LookAtTarget();
        MakePlan();
        MakeKeys();
        Walk();
        Finish();
    } catch (const std::exception& error) {
        // What was found until then stays; the trouble stands in place of the summary.
        check_.rows = judge_ ? judge_->Rows() : 0;
        check_.trouble = ErrorText(error);
    }
    return check_;
}

}  // namespace

TableCheck CheckTable(std::size_t table, const CheckView& view) {
    return TablePass(table, view).Run();
}

}  // namespace vantry

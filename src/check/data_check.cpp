// One SELECT as the run sends it, one walk. A column has a judge and a record of its findings, so
// that a row costs a call a value. Easy to get wrong: a row counts as refused once, however many of
// its values are; a finding's example is copied when it is first met, since the row's memory goes
// with the row; and the keys of rows that are in the target already repeat, too, unless it is
// emptied first.

#include "check/data_check.h"

#include "check/check_text.h"
#include "check/unique_key.h"
#include "core/table_names.h"
#include "data/ado_types.h"
#include "data/ascii.h"
#include "data/data_error.h"
#include "data/error_text.h"
#include "data/short_number.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

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

// ---- What a column's data reach to

class Reach {
public:
    void Note(const Cell& value) {
        switch (value.Kind()) {
            case ValueKind::Null:
                ++nulls_;
                break;
            case ValueKind::Int64:
                Digits(value.AsInt64(), 0);
                break;
            case ValueKind::Double:
                Number(value.AsDouble());
                break;
            case ValueKind::Single:
                Number(value.AsSingle());
                break;
            case ValueKind::NumberText: {
                ShortNumber number;
                if (ReadShortNumber(value.AsText(), number)) {
                    Digits(number.unscaled, number.scale);
                } else {
                    Other(value);
                }
                break;
            }
            case ValueKind::DateTime:
                earliest_ = std::min(earliest_, value.AsDateTime());
                latest_ = std::max(latest_, value.AsDateTime());
                break;
            case ValueKind::Text:
            case ValueKind::Bytes:
                // No text has more letters than bytes: only a longer one needs to be counted.
                if (value.AsText().size() > static_cast<std::size_t>(longest_)) {
                    Longest(value);
                }
                break;
            default:
                Other(value);
        }
    }

    Extent Result() const {
        Extent extent;
        extent.nulls = nulls_;
        extent.longest = longest_;
        extent.places = places_;
        // Ends that never met a value still stand the wrong way round.
        double least = least_;
        double most = most_;
        for (std::size_t scale = 0; scale < scaled_.size(); ++scale) {
            // For the eye: of numbers that a double doesn't hold the last digits don't matter here.
            if (scaled_[scale].least <= scaled_[scale].most) {
                const auto ten = static_cast<double>(kTens[scale]);
                least = std::min(least, static_cast<double>(scaled_[scale].least) / ten);
                most = std::max(most, static_cast<double>(scaled_[scale].most) / ten);
            }
        }
        if (least <= most) {
            extent.least = least;
            extent.most = most;
        }
        if (earliest_ <= latest_) {
            extent.earliest = earliest_;
            extent.latest = latest_;
        }
        return extent;
    }

private:
    void Number(double number) {
        least_ = std::min(least_, number);
        most_ = std::max(most_, number);
    }
    // A longest value so far is rare among millions: kept out of the way of the others.
    [[gnu::noinline]] void Longest(const Cell& value) {
        longest_ = std::max(longest_,
                            static_cast<std::int64_t>(value.Kind() == ValueKind::Text
                                                          ? CountCodePoints(value.AsText())
                                                          : value.AsText().size()));
    }
    void Other(const Cell& value) {
        if (value.Kind() == ValueKind::Decimal) {
            const auto decimal = value.AsDecimal();
            if (decimal.unscaled == static_cast<std::int64_t>(decimal.unscaled) &&
                decimal.scale < std::size(kTens)) {
                Digits(static_cast<std::int64_t>(decimal.unscaled), decimal.scale);
                return;
            }
            places_ = std::max<int>(places_, WithoutTrailingZeros(decimal).scale);
        } else if (value.Kind() == ValueKind::Unreadable) {
            return;
        } else if (const auto decimal =
                       value.Kind() == ValueKind::NumberText ? ToDecimal(value) : std::nullopt) {
            places_ = std::max<int>(places_, WithoutTrailingZeros(*decimal).scale);
        }
        if (const auto number = ToDouble(value)) {
            Number(*number);
        }
    }
    // By the digits as they are: a division a value would cost more than all the rest.
    void Digits(std::int64_t unscaled, std::size_t scale) {
        const auto places = static_cast<std::size_t>(places_);
        // Zeros behind the places that were met already add none, and most values end there.
        if (scale > places && unscaled % kTens[scale - places] != 0) {
            places_ = WithoutTrailingZeros({unscaled, static_cast<std::uint8_t>(scale)}).scale;
        }
        scaled_[scale].least = std::min(scaled_[scale].least, unscaled);
        scaled_[scale].most = std::max(scaled_[scale].most, unscaled);
    }

    static constexpr auto kTens = [] {
        std::array<std::int64_t, 19> tens{1};
        for (std::size_t k = 1; k < tens.size(); ++k) {
            tens[k] = tens[k - 1] * 10;
        }
        return tens;
    }();

    std::int64_t nulls_ = 0;
    std::int64_t longest_ = 0;
    int places_ = 0;
    struct Ends {
        std::int64_t least = INT64_MAX;
        std::int64_t most = INT64_MIN;
    };
    std::array<Ends, kTens.size()> scaled_;  // of numbers with so many places
    double least_ = HUGE_VAL;
    double most_ = -HUGE_VAL;
    DateTime earliest_{kMaxDay + 1, 0};
    DateTime latest_{kMinDay - 1, 0};
};

bool Names(const std::vector<std::string>& names, const std::string& column) {
    return std::any_of(names.begin(), names.end(), [&](const std::string& name) {
        return EqualsNoCase(name, column);
    });
}

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
    void JudgeRow();
    void Note(std::size_t column, const Cell& value, Verdict verdict);
    void FinishKeys();
    void FinishLeftOut();
    void Finish();

    struct Tally {
        std::array<Finding, kReasons> found;
    };

    std::size_t table_;
    const CheckView& view_;
    TableCheck check_;
    MappedColumns mapped_;
    Connection target_;
    Recordset rows_;
    std::vector<FieldShape> shapes_;
    std::vector<TargetField> targets_;
    TableRules rules_;
    std::vector<ColumnPlan> plans_;
    std::vector<Tally> tallies_;
    std::vector<Reach> reaches_;
    std::vector<ColumnJudge*> judges_;   // of the plans
    std::vector<std::string> left_out_;  // columns of the target that take no null
    std::vector<UniqueKey> keys_;
    std::vector<Reason> reasons_;  // of the row's values
    std::vector<Value> stored_;    // room for those that a key sees otherwise
};

void TablePass::OpenSource() {
    mapped_ = MappedColumnsOf(SrcTables[table_].TabID);
    if (mapped_.empty()) {
        throw DataError(kErrUnspecified, "No column of this table is loaded.");
    }
    const auto statements = ReadingStatements(SrcTables[table_], mapped_, ReadingOfRun());
    rows_.Open(statements.select, SourceConnStr, adOpenForwardOnly, adLockReadOnly);
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
        targets_.push_back(
            {field.Name(), ShapeOf(field), TranslateType(AdoTypeName(field.Type()), "DEST"), {}});
    }
    columns.Close();
    rules_ = target_.RulesOf(DstTables[table_].Name);
    for (auto& field : targets_) {
        const auto type = rules_.server_types.find(field.name);
        field.servers_type = type == rules_.server_types.end() ? "" : type->second;
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
    reasons_.resize(plans_.size());
    stored_.resize(plans_.size());
    tallies_.resize(plans_.size());
    reaches_.resize(plans_.size());
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

void TablePass::Note(std::size_t column, const Cell& value, Verdict verdict) {
    auto& finding = tallies_[column].found[static_cast<std::size_t>(verdict.reason)];
    if (finding.count++ == 0) {
        finding.verdict = verdict;
        finding.row = check_.rows;
        finding.value = ShownValue(value);
        finding.arrives = verdict.grade == Grade::Changed
                              ? plans_[column].judge.Arrives(value, verdict.reason)
                              : "";
    }
    // One reason may change one value and refuse another; the example stays the first one met.
    finding.verdict.grade = std::max(finding.verdict.grade, verdict.grade);
}

void TablePass::JudgeRow() {
    // Cells and not fields: one that can't be read says so itself, where a field would throw.
    const auto row = rows_.Row().first(plans_.size());
    bool refused = false;
    bool moved = false;
    bool broken = false;
    Reach* reach = reaches_.data();
    for (std::size_t k = 0; k < row.size(); ++k) {
        const Cell& value = row[k];
        reach[k].Note(value);
        auto* const judge = judges_[k];
        if (!moved && judge->IsSurelyKept(value)) {
            reasons_[k] = Reason::None;
            continue;
        }
        auto verdict = (*judge)(value);
        if (moved && verdict.grade == Grade::Kept) {
            verdict = {Grade::Changed, Reason::Displaced};
        }
        reasons_[k] = verdict.reason;
        moved = moved || verdict.reason == Reason::PushesOn ||
                verdict.reason == Reason::EndsField || verdict.reason == Reason::EndsLine;
        broken = broken || verdict.reason == Reason::EndsLine;
        if (verdict.grade != Grade::Kept) [[unlikely]] {
            Note(k, value, verdict);
            refused = refused || verdict.grade == Grade::Refused;
        }
    }
    for (std::size_t k = 0; broken && k < plans_.size(); ++k) {
        if (reasons_[k] == Reason::None) {
            Note(k, row[k], {Grade::Changed, Reason::Displaced});
        }
    }
    check_.refused += refused ? 1 : 0;
    // A row that doesn't get in for its values leaves its key to the next one.
    if (!keys_.empty() && !refused) {
        NoteKeys();
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
            if (reasons_[*column] != Reason::None && key.WantsStoredValues()) {
                if (auto value = plans_[*column].judge.Stored(cells.back(), reasons_[*column])) {
                    stored_[*column] = *std::move(value);
                    cells.back() = stored_[*column].AsCell();
                }
            }
            if (key.WantsStoredValues()) {
                TakeOnColumnsForm(plans_[*column].judge.Target().form, *column, cells.back());
            }
        }
        key.Add(cells, check_.rows);
    }
}

void TablePass::Walk() {
    for (auto& plan : plans_) {
        judges_.push_back(&plan.judge);
    }
    if (!plans_.empty()) {
        // Throws where the source has fewer columns than it was asked for.
        (void)rows_.Fields()[static_cast<std::int32_t>(plans_.size()) - 1];
    }
    check_.with_data = true;
    for (; !rows_.Eof(); rows_.MoveNext()) {
        ++check_.rows;
        JudgeRow();
        if (check_.rows % kRowsPerLook == 0) {
            view_.progress(check_.rows);
            if (view_.cancelled()) {
                check_.whole = false;
                break;
            }
        }
    }
    view_.progress(check_.rows);
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
        column.extent = reaches_[k].Result();
        for (auto& finding : tallies_[k].found) {
            if (finding.count > 0) {
                column.data.push_back(std::move(finding));
            }
        }
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
        check_.trouble = ErrorText(error);
    }
    return check_;
}

}  // namespace

TableCheck CheckTable(std::size_t table, const CheckView& view) {
    return TablePass(table, view).Run();
}

}  // namespace vantry

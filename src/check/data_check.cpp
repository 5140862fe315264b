// One SELECT as the run sends it, one walk. A column has a judge and a record of its findings, so
// that a row costs a call a value. Easy to get wrong: a row counts as refused once, however many of
// its values are; a finding's example is copied when it is first met, since the row's memory goes
// with the row; and the keys of rows that are in the target already repeat, too, unless it is
// emptied first.

#include "check/data_check.h"

#include "check/check_text.h"
#include "check/repeated_keys.h"
#include "core/table_names.h"
#include "data/ado_types.h"
#include "data/data_error.h"
#include "data/error_text.h"
#include "data/letter_case.h"
#include "data/short_number.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

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

// ---- Keys

// An odd multiplier loses no bit; the shift brings the high bits, which it mixes best, down again.
std::uint64_t Mixed(std::uint64_t hash, std::uint64_t word) {
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    return hash ^ (hash >> 29);
}

// Values that a unique index takes for one give one number: texts whatever their case and without
// blanks behind them, numbers whatever their type.
std::uint64_t HashOf(std::uint64_t hash, const Cell& value, bool ignores_case) {
    if (value.Kind() == ValueKind::Int64) {
        const auto number = static_cast<double>(value.AsInt64());
        if (std::abs(number) < 9e15) {
            return Mixed(hash, static_cast<std::uint64_t>(value.AsInt64()));
        }
    }
    std::string text;
    if (const auto number = value.Kind() == ValueKind::Text ? std::nullopt : ToInt64(value)) {
        return Mixed(hash, static_cast<std::uint64_t>(*number));
    }
    if (value.Kind() == ValueKind::Decimal || value.Kind() == ValueKind::NumberText) {
        const auto decimal = ToDecimal(value);
        text = decimal ? ToText(Cell::FromDecimal(WithoutTrailingZeros(*decimal))) : ToText(value);
    } else {
        text = ToText(value);
    }
    if (ignores_case) {
        text = LowerCased(text);
        text.resize(text.find_last_not_of(' ') + 1);
    }
    for (std::size_t at = 0; at < text.size(); at += sizeof(std::uint64_t)) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + at, std::min(sizeof word, text.size() - at));
        hash = Mixed(hash, word);
    }
    // The length, too: the last word is filled up with zeros, and parts of a key must not run
    // together.
    return Mixed(hash, text.size() + 1);
}

// A unique key of the target, by the columns of the load that feed it.
struct KeyCheck {
    std::string name;
    std::vector<std::string> targets;
    std::vector<std::size_t> columns;
    bool ignores_nulls = true;
    RepeatedKeys keys;

    void Add(const std::vector<const Cell*>& cells, std::int64_t row, bool ignores_case) {
        std::uint64_t hash = 0;
        for (const auto* cell : cells) {
            // A null in any part takes the row out of such an index altogether.
            if (cell->IsNull() && ignores_nulls) {
                return;
            }
            hash = HashOf(hash, *cell, ignores_case);
        }
        keys.Add(hash, row);
    }
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
    void AddTargetKeys(KeyCheck& key);
    void Walk();
    void JudgeRow();
    void Note(std::size_t column, const Cell& value, Verdict verdict);
    void FinishKeys();
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
    std::vector<KeyCheck> keys_;
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
            {field.Name(), ShapeOf(field), TranslateType(AdoTypeName(field.Type()), "DEST")});
    }
    columns.Close();
    rules_ = target_.RulesOf(DstTables[table_].Name);
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
        column.required = std::any_of(
            rules_.required.begin(), rules_.required.end(), [&](const std::string& name) {
                return EqualsNoCase(name, column.target);
            });
        plan.judge.SetRequired(column.required);
        column.types = JudgeType(kind, plan);
        check_.columns.push_back(std::move(column));
    }
    JudgeNames(table_, check_);
    tallies_.resize(plans_.size());
    reaches_.resize(plans_.size());
}

void TablePass::MakeKeys() {
    for (const auto& rule : rules_.unique) {
        KeyCheck key;
        key.name = rule.name;
        key.targets = rule.columns;
        key.ignores_nulls = rule.ignores_nulls;
        for (const auto& name : rule.columns) {
            const auto at = std::find_if(plans_.begin(), plans_.end(), [&](const auto& plan) {
                return EqualsNoCase(plan.map->DCName, name);
            });
            if (at != plans_.end()) {
                key.columns.push_back(static_cast<std::size_t>(at - plans_.begin()));
            }
        }
        // A column that the load doesn't fill is numbered by the target itself, or refuses a null.
        if (key.columns.size() == rule.columns.size()) {
            keys_.push_back(std::move(key));
            if (SrcTables[table_].LoadOption != "DELETE") {
                AddTargetKeys(keys_.back());
            }
        }
    }
}

// The usual collations of the others compare so; a server may be set up otherwise, and is not
// asked.
bool IgnoresCase() {
    return KindOf(TargetType).types != TypeNames::Oracle;
}

void TablePass::AddTargetKeys(KeyCheck& key) {
    std::string select = "SELECT ";
    for (const auto& name : key.targets) {
        select += TargetColumnInList(name);
    }
    CutLast(select);
    Recordset rows;
    rows.Open(select + " FROM " + TargetTableToAddTo(DstTables[table_].Name),
              target_,
              adOpenForwardOnly,
              adLockReadOnly);
    std::vector<const Cell*> cells(key.targets.size());
    std::int64_t row = 0;
    for (; !rows.Eof(); rows.MoveNext()) {
        const auto values = rows.Row();
        for (std::size_t k = 0; k < cells.size(); ++k) {
            cells[k] = &values[k];
        }
        // Row 0: it makes a row of the source repeat, and is never counted itself.
        key.Add(cells, 0, IgnoresCase());
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
    const auto row = rows_.Row();
    bool refused = false;
    for (std::size_t k = 0; k < plans_.size(); ++k) {
        const Cell& value = row[k];
        reaches_[k].Note(value);
        const auto verdict = plans_[k].judge(value);
        if (verdict.grade != Grade::Kept) [[unlikely]] {
            Note(k, value, verdict);
            refused = refused || verdict.grade == Grade::Refused;
        }
    }
    check_.refused += refused ? 1 : 0;
    if (keys_.empty()) {
        return;
    }
    std::vector<const Cell*> cells;
    for (auto& key : keys_) {
        cells.clear();
        for (const auto column : key.columns) {
            cells.push_back(&row[column]);
        }
        key.Add(cells, check_.rows, IgnoresCase());
    }
}

void TablePass::Walk() {
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
    for (auto& key : keys_) {
        const auto answer = key.keys.Find();
        if (answer.repeats == 0) {
            continue;
        }
        std::string names;
        for (const auto& name : key.targets) {
            names += (names.empty() ? "" : ", ") + name;
        }
        // At the key's first column: a finding has no other place to stand.
        check_.columns[key.columns.front()].data.push_back(
            {{Grade::Refused, Reason::RepeatedKey},
             answer.repeats,
             answer.first,
             "the unique key " + key.name + " (" + names + ")",
             {}});
        check_.refused += answer.repeats;
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

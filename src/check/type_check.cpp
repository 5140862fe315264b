// A plan of each column first: its field at the source, how the run carries it, what takes it. Then
// the extreme values of the source's type go through the plan's judge, one finding a reason. Easy
// to get wrong: a table that is dropped is made by the source's names and types, one that is filled
// as it is has its own; and a long column anywhere in a table changes the way of all its columns.

#include "check/type_check.h"

#include "check/check_text.h"
#include "check/server_conversion.h"
#include "data/ado_types.h"
#include "data/calendar.h"
#include "data/letter_case.h"
#include "data/utf.h"
#include "engine/target_creation.h"
#include "mapping/type_catalogue.h"
#include "text/field_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace vantry {
namespace {

constexpr std::int64_t kLongSample = 70'000;  // characters: more than two bytes can count
constexpr int kUsualPrecision = 28;

bool CarriedByRecordset(const std::vector<FieldShape>& sources) {
    // The same question as the run's IsLongField, asked of shapes: here no recordset need be open.
    const int too = ThisTarget().wide_text_by_recordset ? adWChar : adEmpty;
    return std::any_of(sources.begin(), sources.end(), [&](const FieldShape& shape) {
        return IsLongType(shape.type) || IsBinaryType(shape.type) ||
               (too != adEmpty && shape.type == too);
    });
}

Way WayOf(const std::vector<FieldShape>& sources) {
    const bool recordset = CarriedByRecordset(sources);
    switch (ThisTarget().loader) {
        case Loader::Files:
            return TextDestFormat == "DELIMITED" ? Way::Delimited : Way::FixedWidth;
        case Loader::Batches:
            return recordset ? Way::BatchRecordset : Way::Batch;
        case Loader::Rows:
            break;
    }
    return recordset ? Way::Recordset : Way::Statement;
}

// How the writer of text files takes the column.
void SetLine(Carriage& carriage, const ColMapRec& map, const FieldShape& shape) {
    using text::FieldClass;
    const bool by_name = ThisSource().text_by_type_names;
    const auto of = by_name ? text::ClassOfTypeName(map.DDtype) : text::ClassOfType(shape.type);
    carriage.text_field = of == FieldClass::Text;
    if (carriage.way != Way::FixedWidth) {
        return;
    }
    const auto size = static_cast<std::size_t>(std::max<std::int64_t>(shape.size, 0));
    carriage.is_cut = of == FieldClass::Number || of == FieldClass::Numeric;
    switch (of) {
        case FieldClass::Number:
            carriage.width = text::WidthOfNumber(shape.type);
            break;
        case FieldClass::Date:
            carriage.width = text::kDateWidth;
            break;
        case FieldClass::TimeStamp:
            carriage.width = text::kTimeStampWidth;
            break;
        case FieldClass::VarNumeric:
            carriage.width = text::kVarNumericWidth;
            break;
        case FieldClass::Boolean:
            carriage.width = text::kBooleanWidth;
            break;
        case FieldClass::Text:
        case FieldClass::Numeric:
        case FieldClass::Other:
            carriage.width = size;
            break;
    }
}

Holding LineHolding() {
    Holding holding;
    holding.form = Form::Line;
    holding.code_page = LocaleCodePage();
    holding.page_loses = true;
    holding.type = "text file";
    return holding;
}

Holding HoldingFor(std::size_t table,
                   const ColMapRec& map,
                   const std::vector<TargetField>& targets) {
    if (ThisTarget().loader == Loader::Files) {
        return LineHolding();
    }
    const auto kind = KindOf(TargetType).types;
    if (!IsFilledAsItIs(table)) {
        return HoldingOfWords(kind,
                              CreatedColumnType(map, SrcTables.at(table).TableExists == kFalse));
    }
    for (const auto& field : targets) {
        if (EqualsNoCase(field.name, map.DCName)) {
            auto holding = HoldingOfField(kind, field.shape, field.type);
            SetServersType(field.servers_type, holding);
            if (field.moments && holding.form == Form::Moment) {
                holding.first_day = field.moments->first.day;
                holding.first_time = field.moments->first.nanos;
                holding.last_day = field.moments->last.day;
                holding.last_time = field.moments->last.nanos;
            }
            return holding;
        }
    }
    Holding missing;
    // The statement that fills the table would name it, and fail for every row.
    missing.type = map.DDtype;
    missing.fault = "the target table has no column of that name";
    return missing;
}

// ---- Extreme values

Value Number(std::int64_t number) {
    return Value(Cell::Int64(number));
}

Value Tens(Int128 unscaled, int scale) {
    return Value(Cell::FromDecimal({unscaled, static_cast<std::uint8_t>(scale)}));
}

template <typename Integer>
std::vector<Value> Ends() {
    return {Number(std::numeric_limits<Integer>::min()),
            Number(static_cast<std::int64_t>(std::numeric_limits<Integer>::max()))};
}

std::vector<Value> DecimalEnds(const FieldShape& shape) {
    const bool known = shape.precision > 0 && shape.precision <= 38;
    const int digits = known ? shape.precision : kUsualPrecision;
    const int scale =
        shape.scale < 0 || shape.scale == kDoesNotApply ? 0 : std::min(shape.scale, digits);
    Int128 most = 0;
    for (int k = 0; k < digits; ++k) {
        most = most * 10 + 9;
    }
    std::vector<Value> ends = {Tens(most, scale), Tens(-most, scale)};
    if (scale > 0) {
        // The least fraction: a column that has fewer places loses it, where the largest number
        // would be refused for its size and hide that.
        ends.push_back(Tens(1, scale));
    }
    return ends;
}

Value At(std::int32_t day, std::int64_t nanos) {
    return Value(Cell::FromDateTime({day, nanos}));
}

// The same days as in the table of moments of column_holding: what a kind can hold is what it
// sends.
std::int32_t FirstDayOf(TypeNames kind) {
    constexpr std::int32_t kYear100 = -657'434;
    constexpr std::int32_t kYear1753 = -53'688;
    return kind == TypeNames::Access ? kYear100 : kind == TypeNames::MSSQL ? kYear1753 : kMinDay;
}

std::vector<Value> Moments(TypeNames kind, const FieldShape& shape) {
    constexpr std::int64_t kNoon = 45'015 * kNanosPerSecond;  // 12:30:15
    constexpr std::int64_t kTenMillis = kNanosPerSecond / 100;
    const std::int32_t day = 38'838;  // 2006-05-01
    std::vector<Value> moments = {At(FirstDayOf(kind), 0), At(kMaxDay, 0)};
    if (shape.type == adDBTime) {
        // A time of day alone: day 0 is what drivers put before it.
        return {At(0, kNoon)};
    }
    if (shape.type != adDBDate) {
        moments.push_back(At(day, kNoon));
    }
    const bool counts_parts =
        shape.type == adDBTimeStamp &&
        (kind == TypeNames::MSSQL || ((kind == TypeNames::MySQL || kind == TypeNames::Neutral) &&
                                      shape.scale > 0 && shape.scale != kDoesNotApply));
    if (counts_parts) {
        // A quarter of a second, which the steps of SQL Server (three are 10 ms) hold exactly.
        moments.push_back(At(day, kNoon + 25 * kTenMillis));
    }
    return moments;
}

std::vector<Value> Texts(const FieldShape& shape) {
    const auto length = static_cast<std::size_t>(std::clamp<std::int64_t>(
        IsLongType(shape.type) || shape.size <= 0 ? kLongSample : shape.size, 1, kLongSample));
    std::vector<Value> texts = {Value(Cell::Text(std::string(length, 'x')))};
    // Each asks one thing: an empty text, a blank at the end, the code page, the sign around
    // fields.
    for (const std::string_view text : {"", "a ", "日", "\"a"}) {
        texts.emplace_back(Cell::Text(text));
    }
    return texts;
}

std::vector<Value> ByteEnds(const FieldShape& shape) {
    const auto length = static_cast<std::size_t>(std::clamp<std::int64_t>(
        IsLongType(shape.type) || shape.size <= 0 ? kLongSample : shape.size, 1, kLongSample));
    const std::string most(length, '\x7F');
    return {Value(Cell::Bytes(std::as_bytes(std::span(most)))),
            Value(Cell::Bytes(std::as_bytes(std::span(most).first(1))))};
}

std::vector<Value> EndsOfType(TypeNames kind, const FieldShape& shape) {
    switch (shape.type) {
        case adTinyInt:
            return Ends<std::int8_t>();
        case adUnsignedTinyInt:
            return Ends<std::uint8_t>();
        case adSmallInt:
            return Ends<std::int16_t>();
        case adUnsignedSmallInt:
            return Ends<std::uint16_t>();
        case adInteger:
            return Ends<std::int32_t>();
        case adUnsignedInt:
            return Ends<std::uint32_t>();
        case adBigInt:
            return Ends<std::int64_t>();
        case adUnsignedBigInt:
            return {Value(Cell::UInt64(std::numeric_limits<std::uint64_t>::max()))};
        case adSingle:
            return {Value(Cell::Single(std::numeric_limits<float>::max())),
                    Value(Cell::Single(0.25F))};
        case adDouble:
            return {Value(Cell::Double(std::numeric_limits<double>::max())),
                    Value(Cell::Double(0.25)),
                    Value(Cell::Double(1.0 / 3))};
        case adCurrency:
            return {Tens(INT64_MAX, 4), Tens(INT64_MIN, 4), Tens(1234, 2)};
        case adDecimal:
        case adNumeric:
        case adVarNumeric:
            return DecimalEnds(shape);
        case adBoolean:
            return {Value(Cell::Boolean(true)), Value(Cell::Boolean(false))};
        case adDate:
        case adDBDate:
        case adDBTime:
        case adDBTimeStamp:
            return Moments(kind, shape);
        case adGUID:
            return {Value(Cell::Text("{00000000-0000-0000-0000-000000000001}"))};
        default:
            return IsBinaryType(shape.type) ? ByteEnds(shape) : Texts(shape);
    }
}

// Whether a name is one that FoxPro and Oracle take without quotes.
bool IsPlainName(std::string_view name) {
    const auto letter = [](unsigned char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c >= 0x80;
    };
    return !name.empty() && (letter(static_cast<unsigned char>(name[0])) || name[0] == '_') &&
           std::all_of(name.begin(), name.end(), [&](char c) {
               return letter(static_cast<unsigned char>(c)) || (c >= '0' && c <= '9') || c == '_';
           });
}

void AddWorst(std::vector<Finding>& findings, Finding finding) {
    for (auto& known : findings) {
        if (known.verdict.reason == finding.verdict.reason) {
            if (finding.verdict.grade > known.verdict.grade) {
                known = std::move(finding);
            }
            return;
        }
    }
    findings.push_back(std::move(finding));
}

// As the mapping page has read them.
std::vector<TargetField> FieldsOf(i16 tab_id) {
    std::vector<TargetField> fields;
    for (const auto& column : DstCols) {
        if (column.TabID == tab_id) {
            fields.push_back({column.ColName,
                              {AdoTypeCode(column.ColType),
                               column.ColWidth,
                               column.ColWidth,
                               static_cast<int>(column.ColScale)},
                              TranslateType(column.ColType, "DEST"),
                              {},
                              {}});
        }
    }
    return fields;
}

}  // namespace

Grade ColumnCheck::Worst(bool with_data) const {
    Grade worst = Grade::Kept;
    for (const auto& finding : with_data ? data : types) {
        worst = std::max(worst, finding.verdict.grade);
    }
    return worst;
}

Grade TableCheck::Worst() const {
    Grade worst = trouble.empty() ? Grade::Kept : Grade::Refused;
    for (const auto& column : columns) {
        worst = std::max(worst, column.Worst(with_data));
    }
    return worst;
}

bool IsFilledAsItIs(std::size_t table) {
    const auto& source = SrcTables.at(table);
    return ThisTarget().loader != Loader::Files && source.TableExists != kFalse &&
           source.LoadOption != "DROP";
}

std::vector<ColumnPlan> PlanTable(std::size_t table,
                                  const MappedColumns& columns,
                                  const std::vector<FieldShape>& sources,
                                  const std::vector<TargetField>& targets) {
    std::vector<ColumnPlan> plans;
    const Way way = WayOf(sources);
    for (std::size_t k = 0; k < std::min(columns.size(), sources.size()); ++k) {
        Carriage carriage{way, sources[k].type};
        carriage.scale = sources[k].scale == kDoesNotApply ? 0 : std::max(sources[k].scale, 0);
        if (ThisTarget().loader == Loader::Files) {
            SetLine(carriage, *columns[k], sources[k]);
        }
        auto holding = HoldingFor(table, *columns[k], targets);
        if (way == Way::FixedWidth && CarriedByRecordset({sources[k]})) {
            // The run passes the whole table over.
            holding.form = Form::Nothing;
            holding.fault = "a file of fixed width takes no table with long columns";
        }
        plans.push_back({columns[k], sources[k], ColumnJudge(std::move(holding), carriage)});
    }
    return plans;
}

std::vector<Value> EdgeValues(TypeNames source_kind, const FieldShape& shape) {
    auto values = EndsOfType(source_kind, shape);
    values.emplace_back(Cell::Null());
    return values;
}

std::vector<Finding> JudgeType(TypeNames source_kind, ColumnPlan& plan) {
    std::vector<Finding> findings;
    for (const auto& value : EdgeValues(source_kind, plan.source)) {
        const auto verdict = plan.judge(value.AsCell());
        // Whether a null ever comes, the type can't say; each required column would be warned of.
        if (verdict.grade == Grade::Kept || (value.IsNull() && verdict.reason == Reason::NotNull)) {
            continue;
        }
        AddWorst(findings,
                 {verdict,
                  0,
                  0,
                  ShownValue(value.AsCell()),
                  plan.judge.Arrives(value.AsCell(), verdict.reason)});
    }
    return findings;
}

void JudgeNames(std::size_t table, TableCheck& check) {
    if (IsFilledAsItIs(table)) {
        return;
    }
    const auto limits = NameLimitsOfTarget();
    // Into both lists: whichever of them is shown, this is why the table isn't made.
    const auto refuse = [](ColumnCheck& column, std::string why) {
        column.types.push_back({{Grade::Refused, Reason::NameLimit}, 0, 0, std::move(why), {}});
        if (std::none_of(column.data.begin(), column.data.end(), [](const Finding& finding) {
                return finding.verdict.reason == Reason::NameLimit;
            })) {
            column.data.push_back(column.types.back());
        }
    };
    for (auto& column : check.columns) {
        if (limits.column_letters != 0 && CountCodePoints(column.target) > limits.column_letters) {
            refuse(column,
                   "a column's name has at most " + std::to_string(limits.column_letters) +
                       " letters there");
        } else if (limits.plain && !IsPlainName(column.target)) {
            refuse(column, "a name needs a letter first, then letters, digits and _");
        }
    }
    if (limits.columns != 0 && check.columns.size() > limits.columns) {
        // It is the table that is refused; a finding needs a column to stand at.
        refuse(check.columns.back(),
               "a table has at most " + std::to_string(limits.columns) + " columns there");
    }
}

std::map<double, MappedColumns> MappedColumnsByTable() {
    std::map<double, MappedColumns> tables;
    for (const auto& row : ColMaps) {
        if (row.SSelected == 1) {
            tables[row.TabID].push_back(&row);
        }
    }
    return tables;
}

TableCheck CheckTypes(std::size_t table, const MappedColumns& columns) {
    TableCheck check;
    check.source = SrcTables.at(table).Name;
    if (table >= DstTables.size()) {
        return check;
    }
    check.target = DstTables[table].Name;
    std::vector<FieldShape> sources;
    for (const auto* map : columns) {
        sources.push_back({AdoTypeCode(map->SOrgDtype), map->SWidth, map->SWidth, map->SScale});
    }
    std::vector<TargetField> targets;
    if (IsFilledAsItIs(table)) {
        targets = FieldsOf(SrcTables[table].TabID);
    }
    auto plans = PlanTable(table, columns, sources, targets);
    const auto kind = KindOf(SourceType).types;
    for (auto& plan : plans) {
        ColumnCheck column;
        column.source = plan.map->SCName;
        column.target = IsFilledAsItIs(table) || SrcTables[table].LoadOption != "DROP"
                            ? plan.map->DCName
                            : plan.map->SCName;
        column.source_type = plan.map->SDtype;
        column.target_type = plan.judge.Target().type;
        column.types = JudgeType(kind, plan);
        check.columns.push_back(std::move(column));
    }
    JudgeNames(table, check);
    return check;
}

Grade UsualGrade(const ColumnCheck& column) {
    constexpr std::array kRare = {Reason::Blanks,
                                  Reason::CodePage,
                                  Reason::Qualifier,
                                  Reason::RunsOn,
                                  Reason::EmptyText,
                                  Reason::Padding};
    Grade worst = Grade::Kept;
    for (const auto& finding : column.types) {
        if (std::find(kRare.begin(), kRare.end(), finding.verdict.reason) == kRare.end()) {
            worst = std::max(worst, finding.verdict.grade);
        }
    }
    return worst;
}

std::vector<const ColumnCheck*> ChangingColumns(const TableCheck& check) {
    std::vector<const ColumnCheck*> changing;
    for (const auto& column : check.columns) {
        const bool changes =
            std::any_of(column.types.begin(), column.types.end(), [&](const Finding& finding) {
                // Each finding by itself: beside a refused one a change wouldn't show.
                ColumnCheck one;
                one.types.push_back(finding);
                const auto reason = finding.verdict.reason;
                return UsualGrade(one) == Grade::Changed || reason == Reason::NoType ||
                       reason == Reason::NameLimit;
            });
        if (changes) {
            changing.push_back(&column);
        }
    }
    return changing;
}

}  // namespace vantry

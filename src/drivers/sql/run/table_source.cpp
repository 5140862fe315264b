// An engine's table in SQLite's virtual-table interface. A walk is the engine's scan; a search for
// one value is the engine's index where it has one, and for the inner table of a join a hash index
// made on the way, over rows kept in memory while they are few. SQLite checks every row again, so a
// search may give too many rows but never too few: that is why keys are only handed to an engine's
// index in a kind whose equality is the engine's own. Easy to get wrong: the row that SQLite stands
// at is shown to the result without a copy, so "stands" must be false as soon as that walk moves or
// closes.

#include "drivers/sql/run/table_source.h"

#include "data/value_convert.h"
#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/run/session.h"
#include "drivers/sql/run/text_order.h"

#include <algorithm>
#include <cmath>

namespace vantry::sql {
namespace {

constexpr double kNanosPerDayAsDouble = 86'400e9;
constexpr std::int64_t kMicrosPerDay = 86'400'000'000;
// The planner's idea of costs: a walk over the table against a search for one value.
constexpr double kScanCost = 1e6;
constexpr double kSearchCost = 30;
// An inner table of a join is kept in memory up to this size.
constexpr std::size_t kMaxKeptBytes = 64 * 1024 * 1024;

// Numbers of all kinds that compare as equal have one hash: 1, 1.0, True is -1.
std::uint64_t HashNumber(double number) {
    const double normal = number == 0 ? 0 : number;  // -0 equals 0
    std::uint64_t bits = 0;
    std::memcpy(&bits, &normal, sizeof bits);
    return bits * 0x9E3779B97F4A7C15;
}

std::optional<std::uint64_t> HashOf(const Cell& cell) {
    switch (cell.Kind()) {
        case ValueKind::Unset:
        case ValueKind::Null:
        case ValueKind::Unreadable:
            return std::nullopt;
        case ValueKind::Text:
            // Coarser than FoxPro's comparison, which is fine: rows found are checked again.
            return HashIgnoringCase(cell.AsText());
        case ValueKind::Bytes:
            return std::hash<std::string_view>()(
                {reinterpret_cast<const char*>(cell.AsBytes().data()), cell.AsBytes().size()});
        case ValueKind::Boolean:
            return HashNumber(cell.AsBoolean() ? -1 : 0);
        case ValueKind::DateTime:
            return HashNumber(LinearDays(cell.AsDateTime()));
        default:
            return HashNumber(ToDouble(cell).value_or(0));
    }
}

// A number in the form of exact_number.h; false for Unreadable.
bool SetExactResult(sqlite3_context* context, const Cell& cell) {
    if (cell.Kind() == ValueKind::Unreadable || cell.IsNull() || cell.IsUnset()) {
        return SetResult(context, cell, true);
    }
    const auto decimal = cell.Kind() == ValueKind::Decimal ? cell.AsDecimal() : DecimalOf(cell);
    const auto exact = decimal ? ExactBytes(*decimal) : ExactBytes(ToDouble(cell).value_or(0));
    sqlite3_result_blob64(context,
                          exact.Bytes().data(),
                          exact.Bytes().size(),
                          reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1}));
    return true;
}

Cell CellOf(sqlite3_value* value) {
    const auto size = static_cast<std::size_t>(sqlite3_value_bytes(value));
    switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER:
            return Cell::Int64(sqlite3_value_int64(value));
        case SQLITE_FLOAT:
            return Cell::Double(sqlite3_value_double(value));
        case SQLITE_TEXT:
            return Cell::Text({reinterpret_cast<const char*>(sqlite3_value_text(value)), size});
        case SQLITE_BLOB:
            return Cell::Bytes({static_cast<const std::byte*>(sqlite3_value_blob(value)), size});
        default:
            return Cell::Null();
    }
}

// The value in the kind of the column, for the engine's own index; nothing where a search by it
// might miss what compares as equal.
std::optional<Cell> KeyFor(int type, const Cell& value) {
    const bool number = value.Kind() == ValueKind::Int64 || value.Kind() == ValueKind::Double;
    if (IsTextType(type) && value.Kind() == ValueKind::Text) {
        return value;
    }
    // Not by dates: an index may tell apart what differs by less than a microsecond.
    if (IsIntegerType(type) && value.Kind() == ValueKind::Int64) {
        return value;
    }
    if (type == adDouble && number) {
        return Cell::Double(*ToDouble(value));
    }
    return std::nullopt;
}

}  // namespace

// SQLite's callbacks. None lets an exception through.
struct TableModule {
    struct Table {
        sqlite3_vtab base;
        TableSource* source;
    };

    // A walk over the table in its order, or over rows that an index found.
    struct Walk {
        sqlite3_vtab_cursor base;
        TableSource* source;
        enum class Way { Scan, Kept, Found } way = Way::Scan;
        std::unique_ptr<TableScan> scan;
        std::span<const Cell> row;
        RowId id = 0;
        bool at_end = true;
        std::size_t next_kept = 0;  // Kept: the next row's number
        const std::pair<std::uint64_t, std::int64_t>* next = nullptr;  // Found: what is left
        const std::pair<std::uint64_t, std::int64_t>* last = nullptr;
    };

    template <typename Work>
    // SQLite gets a code; the exception waits in the session.
    static int Guarded(TableSource& source, Work work) {
        try {
            return work();
        } catch (...) {
            source.session_->Keep();
            return SQLITE_ERROR;
        }
    }

    // Columns are declared without types: with one, SQLite would convert values by its own rules.
    static int Connect(sqlite3*, void* aux, int, const char* const*, sqlite3_vtab** out, char**) {
        auto& source = *static_cast<TableSource*>(aux);
        return Guarded(source, [&] {
            // Only the columns that are read; the statement's names for them are by their number.
            std::string sql = "CREATE TABLE x(";
            for (const auto column : source.read_columns) {
                const int type = source.Table().Columns()[column].info.type;
                sql += 'c' + std::to_string(column);
                sql += type == adWChar || type == adChar    ? " COLLATE VYPAD,"
                       : IsTextType(type) || type == adGUID ? " COLLATE VY,"
                                                            : ",";
            }
            sql += "r)";
            const int code = source.session_->Declare(sql);
            if (code == SQLITE_OK) {
                auto table = std::make_unique<Table>();
                table->base = {};
                table->source = &source;
                *out = &table.release()->base;
            }
            return code;
        });
    }

    static int Disconnect(sqlite3_vtab* base) {
        std::unique_ptr<Table>(reinterpret_cast<Table*>(base)).reset();
        return SQLITE_OK;
    }

    // Worth a search: a value known already only where the engine has an index; one that comes from
    // another table's rows always.
    static bool IsSearchable(TableSource& source, sqlite3_index_info* info, int constraint) {
        sqlite3_value* known = nullptr;
        if (sqlite3_vtab_rhs_value(info, constraint, &known) != SQLITE_OK) {
            return true;
        }
        const auto column =
            source.read_columns[static_cast<std::size_t>(info->aConstraint[constraint].iColumn)];
        const auto key = KeyFor(source.Table().Columns()[column].info.type, CellOf(known));
        return key && source.Table().FindEqual(column, *key, {}) != nullptr;
    }

    static int BestIndex(sqlite3_vtab* base, sqlite3_index_info* info) {
        auto& source = *reinterpret_cast<Table*>(base)->source;
        return Guarded(source, [&] {
            info->idxNum = 0;
            info->estimatedCost = kScanCost;
            // The true count would cost a walk in some engines; SQLite only needs to know which is
            // worse.
            info->estimatedRows = static_cast<sqlite3_int64>(kScanCost);
            for (int k = 0; k < info->nConstraint; ++k) {
                const auto& constraint = info->aConstraint[k];
                if (!constraint.usable || constraint.op != SQLITE_INDEX_CONSTRAINT_EQ ||
                    constraint.iColumn < 0 ||
                    static_cast<std::size_t>(constraint.iColumn) >= source.read_columns.size() ||
                    // A list of IN is looked up one by one only where that beats a walk, which
                    // isn't known here.
                    sqlite3_vtab_in(info, k, -1) != 0 || !IsSearchable(source, info, k)) {
                    continue;
                }
                info->aConstraintUsage[k].argvIndex = 1;
                info->idxNum = constraint.iColumn + 1;
                info->estimatedCost = kSearchCost;
                info->estimatedRows = 10;
                break;
            }
            return SQLITE_OK;
        });
    }

    static int Open(sqlite3_vtab* base, sqlite3_vtab_cursor** out) {
        auto& source = *reinterpret_cast<Table*>(base)->source;
        return Guarded(source, [&] {
            auto walk = std::make_unique<Walk>();
            walk->base = {};
            walk->source = &source;
            *out = &walk.release()->base;
            return SQLITE_OK;
        });
    }

    static Walk& Of(sqlite3_vtab_cursor* base) { return *reinterpret_cast<Walk*>(base); }

    static void Leave(Walk& walk) {
        auto& source = *walk.source;
        // Another walk of the same table (a self join) may have moved it on.
        if (!walk.at_end && source.stands_ && source.current_row_.data() == walk.row.data()) {
            source.stands_ = false;
        }
    }

    static int Close(sqlite3_vtab_cursor* base) {
        auto& walk = Of(base);
        Leave(walk);
        std::unique_ptr<Walk>(&walk).reset();
        return SQLITE_OK;
    }

    static int Filter(
        sqlite3_vtab_cursor* base, int index, const char*, int, sqlite3_value** arguments) {
        auto& walk = Of(base);
        auto& source = *walk.source;
        return Guarded(source, [&] {
            // A filter begins the walk anew, whatever it stood at.
            Leave(walk);
            walk.at_end = false;
            if (index > 0) {
                const auto position = static_cast<std::size_t>(index - 1);
                auto value = CellOf(arguments[0]);
                if (source.exact_[position] != 0 && value.Kind() == ValueKind::Bytes) {
                    const auto decimal = DecimalOfBytes(value.AsBytes());
                    // Equal to a number that no decimal is: no row has it.
                    value = decimal ? Cell::FromDecimal(*decimal) : Cell::Null();
                }
                Search(walk, position, value);
                // The second walk means a join that goes over the table for each row of another
                // one.
            } else if (source.walks_++ > 0 && source.KeepRows()) {
                walk.way = Walk::Way::Kept;
                walk.next_kept = 0;
            } else {
                walk.way = Walk::Way::Scan;
                walk.scan = source.Table().Scan(source.projection_);
            }
            return walk.at_end ? SQLITE_OK : Step(walk);
        });
    }

    // Rows whose column equals the value, and perhaps more: SQLite checks again. The engine's index
    // is the best way; else the first search walks the table, and a second one, which means a
    // join, makes a hash index.
    static void Search(Walk& walk, std::size_t position, const Cell& value) {
        auto& source = *walk.source;
        const auto hash = HashOf(value);
        if (!hash) {
            walk.at_end = true;
            return;
        }
        const auto column = source.read_columns[position];
        const auto key = KeyFor(source.Table().Columns()[column].info.type, value);
        auto found = key ? source.Table().FindEqual(column, *key, source.projection_) : nullptr;
        // An index gives a scan of the rows of one value.
        walk.way = Walk::Way::Scan;
        if (found) {
            walk.scan = std::move(found);
        } else if (source.lookups_[position]++ == 0) {
            walk.scan = source.Table().Scan(source.projection_);
        } else {
            const auto& rows = source.IndexOf(position);
            const auto less = [](const auto& left, const auto& right) {
                return left.first < right.first;
            };
            const auto [first, last] = std::equal_range(
                rows.begin(), rows.end(), std::pair<std::uint64_t, std::int64_t>(*hash, 0), less);
            walk.way = Walk::Way::Found;
            walk.next = rows.data() + (first - rows.begin());
            walk.last = rows.data() + (last - rows.begin());
            if (!walk.scan && !source.kept_) {
                walk.scan = source.Table().Scan(source.projection_);
            }
        }
    }

    static bool StepToFound(Walk& walk) {
        auto& source = *walk.source;
        while (walk.next != walk.last) {
            const auto row = (walk.next++)->second;
            if (source.kept_) {
                walk.id = source.kept_->IdOf(static_cast<std::size_t>(row));
                walk.row = source.kept_->RowAt(static_cast<std::size_t>(row));
                return true;
            }
            if (walk.scan->Seek(row)) {
                walk.id = row;
                walk.row = walk.scan->Row();
                return true;
            }
        }
        return false;
    }

    static int Step(Walk& walk) {
        auto& source = *walk.source;
        const TableScan* scan = walk.scan.get();
        switch (walk.way) {
            case Walk::Way::Scan:
                walk.at_end = !walk.scan->Next();
                if (!walk.at_end) {
                    walk.id = walk.scan->CurrentRow();
                    walk.row = walk.scan->Row();
                }
                break;
            case Walk::Way::Kept:
                walk.at_end = walk.next_kept >= source.kept_->Size();
                if (!walk.at_end) {
                    walk.id = source.kept_->IdOf(walk.next_kept);
                    walk.row = source.kept_->RowAt(walk.next_kept);
                    ++walk.next_kept;
                }
                scan = nullptr;
                break;
            case Walk::Way::Found:
                walk.at_end = !StepToFound(walk);
                scan = source.kept_ ? nullptr : scan;
                break;
        }
        source.stands_ = !walk.at_end;
        source.current_id_ = walk.id;
        source.current_row_ = walk.row;
        source.current_scan_ = scan;
        return SQLITE_OK;
    }

    static int Next(sqlite3_vtab_cursor* base) {
        auto& walk = Of(base);
        return Guarded(*walk.source, [&] { return Step(walk); });
    }

    static int Eof(sqlite3_vtab_cursor* base) { return Of(base).at_end ? 1 : 0; }

    static int Column(sqlite3_vtab_cursor* base, sqlite3_context* context, int index) {
        auto& walk = Of(base);
        auto& source = *walk.source;
        const auto column = static_cast<std::size_t>(index);
        // The last column is the row's id.
        if (column >= source.positions_.size()) {
            sqlite3_result_int64(context, walk.id);
            return SQLITE_OK;
        }
        const auto position = source.positions_[column];
        if (source.exact_[column] != 0
                ? SetExactResult(context, walk.row[position])
                : SetResult(context, walk.row[position], source.copies_text)) {
            return SQLITE_OK;
        }
        return Guarded(source, [&]() -> int {
            source.session_->Keep(walk.way == Walk::Way::Scan
                                      ? walk.scan->FieldError(position)
                                      : source.FieldErrorAt(walk.id, position));
            sqlite3_result_error(context, "unreadable", -1);
            return SQLITE_ERROR;
        });
    }

    static int Rowid(sqlite3_vtab_cursor* base, sqlite3_int64* out) {
        *out = Of(base).id;
        return SQLITE_OK;
    }

    static const sqlite3_module* Module() {
        static const sqlite3_module module = [] {
            sqlite3_module made{};
            made.iVersion = 2;
            made.xConnect = Connect;  // no xCreate: the table is there without being created
            made.xBestIndex = BestIndex;
            made.xDisconnect = Disconnect;
            made.xOpen = Open;
            made.xClose = Close;
            made.xFilter = Filter;
            made.xNext = Next;
            made.xEof = Eof;
            made.xColumn = Column;
            made.xRowid = Rowid;
            return made;
        }();
        return &module;
    }
};

void TableSource::Register(Session& session, std::size_t number) {
    session_ = &session;
    // Shown columns first, so that the result's row is the front of the scan's.
    projection_.clear();
    if (shows_directly) {
        projection_ = shown_columns;
    }
    positions_.clear();
    for (const auto column : read_columns) {
        const auto found = std::find(projection_.begin(), projection_.end(), column);
        positions_.push_back(static_cast<std::size_t>(found - projection_.begin()));
        if (found == projection_.end()) {
            projection_.push_back(column);
        }
    }
    exact_.clear();
    for (const auto column : read_columns) {
        exact_.push_back(IsWide(TypeOf(table_->Columns()[column].info)) ? 1 : 0);
    }
    indexes_.assign(read_columns.size(), std::nullopt);
    lookups_.assign(read_columns.size(), 0);
    sqlite3_create_module_v2(session.Handle(),
                             ("t" + std::to_string(number)).c_str(),
                             TableModule::Module(),
                             this,
                             nullptr);
}

// Brings the table's rows into memory if they fit; false if they don't.
bool TableSource::KeepRows() {
    if (!kept_ && !too_large_to_keep_) {
        RowStore rows(projection_.size());
        const auto scan = table_->Scan(projection_);
        while (scan->Next()) {
            rows.Add(scan->CurrentRow(), scan->Row());
            if (rows.Bytes() > kMaxKeptBytes) {
                too_large_to_keep_ = true;
                return false;
            }
        }
        kept_ = std::move(rows);
    }
    return kept_.has_value();
}

const TableSource::HashIndex& TableSource::IndexOf(std::size_t read_position) {
    auto& index = indexes_[read_position];
    if (index) {
        return *index;
    }
    HashIndex made;
    const auto add = [&](const Cell& cell, std::int64_t row, auto why) {
        if (cell.Kind() == ValueKind::Unreadable) {
            throw why();
        }
        if (const auto hash = HashOf(cell)) {
            made.emplace_back(*hash, row);
        }
    };
    if (KeepRows()) {
        const auto position = positions_[read_position];
        for (std::size_t row = 0; row < kept_->Size(); ++row) {
            add(kept_->RowAt(row)[position], static_cast<std::int64_t>(row), [&] {
                return FieldErrorAt(kept_->IdOf(row), position);
            });
        }
    } else {
        const auto scan = table_->Scan(std::span(&read_columns[read_position], 1));
        while (scan->Next()) {
            add(scan->Row()[0], scan->CurrentRow(), [&] { return scan->FieldError(0); });
        }
    }
    // Stable, so that rows of one value come in the table's order on every run.
    std::stable_sort(made.begin(), made.end(), [](const auto& left, const auto& right) {
        return left.first < right.first;
    });
    index = std::move(made);
    return *index;
}

DataError TableSource::FieldError(std::size_t position) const {
    return current_scan_ != nullptr ? current_scan_->FieldError(position)
                                    : FieldErrorAt(current_id_, position);
}

DataError TableSource::FieldErrorAt(RowId row, std::size_t position) const {
    const auto scan = table_->Scan(std::span(&projection_[position], 1));
    if (!scan->Seek(row)) {
        return {kErrConversion, "A value of the table " + table_->Name() + " can't be read."};
    }
    return scan->FieldError(0);
}

double LinearDays(const DateTime& date) {
    return date.day + static_cast<double>(date.nanos) / kNanosPerDayAsDouble;
}

std::optional<DateTime> FromLinearDays(double days) {
    if (!(days >= kMinDay && days < kMaxDay + 1.0)) {
        return std::nullopt;
    }
    const double whole = std::floor(days);
    auto micros = std::llround((days - whole) * static_cast<double>(kMicrosPerDay));
    // A double of such a day is exact to a microsecond or two: 12:00:00.000 must not come back as
    // 11:59:59.999999.
    const auto rest = micros % 1000;
    if (rest <= 2 || rest >= 998) {
        micros = (micros + 500) / 1000 * 1000;
    }
    DateTime date{static_cast<std::int32_t>(whole), micros * 1000};
    if (date.nanos >= kNanosPerDay) {
        ++date.day;
        date.nanos -= kNanosPerDay;
    }
    return date.day <= kMaxDay ? std::optional(date) : std::nullopt;
}

bool SetResult(sqlite3_context* context, const Cell& cell, bool copy_text) {
    // SQLITE_TRANSIENT and SQLITE_STATIC, which are casts of the old style.
    const auto lifetime =
        copy_text ? reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1}) : nullptr;
    switch (cell.Kind()) {
        case ValueKind::Unreadable:
            return false;
        case ValueKind::Unset:
        case ValueKind::Null:
            sqlite3_result_null(context);
            break;
        case ValueKind::Boolean:
            sqlite3_result_int(context, cell.AsBoolean() ? -1 : 0);
            break;
        case ValueKind::Int64:
            sqlite3_result_int64(context, cell.AsInt64());
            break;
        case ValueKind::Double:
            sqlite3_result_double(context, cell.AsDouble());
            break;
        case ValueKind::Single:
            sqlite3_result_double(context, static_cast<double>(cell.AsSingle()));
            break;
        case ValueKind::DateTime:
            sqlite3_result_double(context, LinearDays(cell.AsDateTime()));
            break;
        case ValueKind::Text:
            // A null pointer would make a Null of an empty text.
            sqlite3_result_text64(context,
                                  cell.AsText().empty() ? "" : cell.AsText().data(),
                                  cell.AsText().size(),
                                  lifetime,
                                  SQLITE_UTF8);
            break;
        case ValueKind::Bytes:
            if (cell.AsBytes().empty()) {
                sqlite3_result_zeroblob(context, 0);
            } else {
                sqlite3_result_blob64(
                    context, cell.AsBytes().data(), cell.AsBytes().size(), lifetime);
            }
            break;
        case ValueKind::UInt64:
        case ValueKind::Decimal:
        case ValueKind::NumberText: {
            const auto whole = ToInt64(cell);
            if (whole) {
                sqlite3_result_int64(context, *whole);
            } else {
                sqlite3_result_double(context, ToDouble(cell).value_or(0));
            }
            break;
        }
    }
    return true;
}

}  // namespace vantry::sql

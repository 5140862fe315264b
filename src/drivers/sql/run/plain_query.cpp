// The hot path of every copy: SELECT columns FROM table, without a condition, is the engine's scan
// and nothing else; SQLite isn't even opened. So is the count of rows, and so are the probes for a
// table's columns, which carry a condition that no row meets (WHERE 1=2). Easy to get wrong: this
// may only match what the compiler would do alike; whatever is in doubt, an unknown name included,
// is left to it, and its messages with it.

#include "drivers/sql/run/plain_query.h"

#include "data/letter_case.h"
#include "drivers/sql/parse/lexer.h"

#include <algorithm>
#include <limits>

namespace vantry::sql {
namespace {

// A condition that doesn't look at the row, as in a probe for the columns: WHERE 1=2.
std::optional<bool> ConstantCondition(const Expression& condition) {
    if (condition.kind != Expression::Kind::Binary ||
        (condition.op != Operator::Equal && condition.op != Operator::NotEqual)) {
        return std::nullopt;
    }
    const auto left = ConstantOf(*condition.operands[0]);
    const auto right = ConstantOf(*condition.operands[1]);
    if (!left || !right || left->AsCell().Kind() != ValueKind::Int64 ||
        right->AsCell().Kind() != ValueKind::Int64) {
        return std::nullopt;
    }
    // Whole numbers only: what 1 = '1' is the compiler knows.
    const bool equal = left->AsCell().AsInt64() == right->AsCell().AsInt64();
    return equal == (condition.op == Operator::Equal);
}

bool IsCountOfRows(const Expression& expression) {
    return expression.kind == Expression::Kind::Call && EqualsNoCase(expression.name, "count") &&
           expression.operands.size() == 1 &&
           expression.operands[0]->kind == Expression::Kind::Star;
}

// Rows of a scan. `cells` is the scan's own row where each column is asked for once.
// The database is held so that it outlives the scan.
class ScanCursor : public Cursor {
public:
    ScanCursor(PlainQuery query, std::shared_ptr<EmbeddedDatabase> database)
        : database_(std::move(database)), query_(std::move(query)) {
        std::vector<std::size_t> projection;
        for (const auto column : query_.columns) {
            auto found = std::find(projection.begin(), projection.end(), column);
            positions_.push_back(static_cast<std::size_t>(found - projection.begin()));
            if (found == projection.end()) {
                projection.push_back(column);
            }
        }
        // SELECT a, a: the engine gives each column once, so cells are copied then, and only then.
        repeats_ = projection.size() != query_.columns.size();
        cells_.resize(repeats_ ? query_.columns.size() : 0);
        // A probe opens no scan: the table may be of a gigabyte.
        left_ = query_.limit.value_or(std::numeric_limits<std::int64_t>::max());
        if (left_ > 0) {
            scan_ = query_.table->Scan(projection);
        }
    }

    std::span<const ColumnInfo> Columns() const override { return query_.infos; }

    bool Next() override {
        if (left_ <= 0) {
            return false;
        }
        --left_;
        if (!scan_->Next()) {
            left_ = 0;
            return false;
        }
        if (repeats_) {
            const auto row = scan_->Row();
            for (std::size_t k = 0; k < cells_.size(); ++k) {
                cells_[k] = row[positions_[k]];
            }
        }
        return true;
    }

    std::span<const Cell> Row() const override {
        return repeats_ ? std::span<const Cell>(cells_) : scan_->Row();
    }

    DataError FieldError(std::size_t column) const override {
        return scan_->FieldError(positions_[column]);
    }

    std::int64_t Middle() override { return scan_ && !query_.limit ? scan_->Middle() : 0; }
    void EndAt(std::int64_t middle) override { scan_->EndAt(middle); }
    void GoOnAt(std::int64_t middle) override { scan_->GoOnAt(middle); }
    bool EndedWithRow() const override { return scan_->EndedWithRow(); }

private:
    std::shared_ptr<EmbeddedDatabase> database_;
    PlainQuery query_;
    std::vector<std::size_t> positions_;
    bool repeats_ = false;
    std::int64_t left_ = 0;
    std::unique_ptr<TableScan> scan_;
    std::vector<Cell> cells_;
};

class CountCursor : public Cursor {
public:
    CountCursor(PlainQuery query, std::shared_ptr<EmbeddedDatabase> database)
        : database_(std::move(database)), query_(std::move(query)) {
        // By the engine's quickest way: a header field, an index, the file's size.
        count_ = Cell::Int64(query_.table->CountRows());
    }
    std::span<const ColumnInfo> Columns() const override { return query_.infos; }
    bool Next() override { return ++position_ == 1; }
    std::span<const Cell> Row() const override { return {&count_, 1}; }

private:
    std::shared_ptr<EmbeddedDatabase> database_;
    PlainQuery query_;
    Cell count_;
    int position_ = 0;
};

bool AddColumns(const OutputItem& item, const TableExpression& from, PlainQuery& plain) {
    const auto& expression = *item.expression;
    const auto stored = plain.table->Columns();
    const bool named = expression.qualifier.empty() || NamesTable(expression.qualifier, from);
    if (!named) {
        return false;
    }
    // Alone or among columns: SELECT *, id is plain, too.
    if (expression.kind == Expression::Kind::Star) {
        for (std::size_t k = 0; k < stored.size(); ++k) {
            plain.columns.push_back(k);
            plain.infos.push_back(stored[k].info);
        }
        return item.alias.empty();
    }
    if (expression.kind != Expression::Kind::Column) {
        return false;
    }
    const auto column = FindColumn(*plain.table, expression.name);
    if (!column) {
        return false;
    }
    plain.columns.push_back(*column);
    plain.infos.push_back(stored[*column].info);
    if (!item.alias.empty()) {
        plain.infos.back().name = item.alias;
    }
    return true;
}

}  // namespace

std::optional<Value> ConstantOf(const Expression& expression) {
    if (expression.kind == Expression::Kind::Literal) {
        return expression.literal;
    }
    if (expression.kind != Expression::Kind::Unary || expression.op != Operator::Negate ||
        expression.operands[0]->kind != Expression::Kind::Literal) {
        return std::nullopt;
    }
    const auto& cell = expression.operands[0]->literal.AsCell();
    switch (cell.Kind()) {
        case ValueKind::Int64:
            return Value(Cell::Int64(-cell.AsInt64()));  // a literal is never negative itself
        case ValueKind::Double:
            return Value(Cell::Double(-cell.AsDouble()));
        case ValueKind::Decimal: {
            auto decimal = cell.AsDecimal();
            decimal.unscaled = -decimal.unscaled;
            return Value(Cell::FromDecimal(decimal));
        }
        default:
            return std::nullopt;
    }
}

std::optional<std::size_t> FindColumn(const StoredTable& table, std::string_view name) {
    const auto columns = table.Columns();
    for (std::size_t k = 0; k < columns.size(); ++k) {
        if (EqualsNoCase(columns[k].info.name, name)) {
            return k;
        }
    }
    // Letters beyond ASCII cost more, so they are looked at last.
    const auto wanted = UpperCased(name);
    for (std::size_t k = 0; k < columns.size(); ++k) {
        if (UpperCased(columns[k].info.name) == wanted) {
            return k;
        }
    }
    return std::nullopt;
}

bool NamesTable(std::string_view qualifier, const TableExpression& table) {
    if (!table.alias.empty()) {
        return SameName(qualifier, table.alias);
    }
    if (SameName(qualifier, table.name)) {
        return true;
    }
    // orders.id where the table is "folder/orders.csv" or orders#csv.
    auto file = std::string_view(table.name);
    if (const auto slash = file.find_last_of("/\\!"); slash != std::string_view::npos) {
        file.remove_prefix(slash + 1);
    }
    if (SameName(qualifier, file)) {
        return true;
    }
    const auto dot = file.find_last_of(".#");
    return dot != std::string_view::npos && SameName(qualifier, file.substr(0, dot));
}

std::optional<PlainQuery> MatchPlainQuery(const Select& select, EmbeddedDatabase& database) {
    if (select.cores.size() != 1 || !select.order_by.empty() || select.into) {
        return std::nullopt;
    }
    const auto& core = select.cores[0];
    // DISTINCTROW over one table changes nothing.
    if (core.distinct || core.top_percent || !core.group_by.empty() || core.having ||
        core.from.size() != 1 || core.from[0].kind != TableExpression::Kind::Named) {
        return std::nullopt;
    }
    PlainQuery plain;
    if (core.top) {
        plain.limit = static_cast<std::int64_t>(*core.top);
    }
    if (core.where) {
        const auto constant = ConstantCondition(*core.where);
        if (!constant) {
            return std::nullopt;
        }
        if (!*constant) {
            plain.limit = 0;
        }
    }
    const bool counts = core.items.size() == 1 && IsCountOfRows(*core.items[0].expression);
    for (const auto& item : core.items) {
        const auto kind = item.expression->kind;
        if (!counts && kind != Expression::Kind::Star && kind != Expression::Kind::Column) {
            return std::nullopt;  // before the table is opened for nothing
        }
    }
    plain.table = database.OpenTable(core.from[0].name);
    if (!plain.table) {
        return std::nullopt;
    }
    if (counts) {
        ColumnInfo info{core.items[0].alias, adInteger, 4, 10, kDoesNotApply};
        if (info.name.empty()) {
            info.name = "Expr1000";
        }
        plain.infos.push_back(std::move(info));
        plain.count_only = true;
        // SELECT TOP 5 count(*) has one row; the compiler sees to it.
        return plain.limit ? std::nullopt : std::optional(std::move(plain));
    }
    for (const auto& item : core.items) {
        if (!AddColumns(item, core.from[0], plain)) {
            return std::nullopt;
        }
    }
    return plain;
}

std::unique_ptr<Cursor> OpenPlainQuery(PlainQuery query,
                                       std::shared_ptr<EmbeddedDatabase> database) {
    if (query.count_only) {
        return std::make_unique<CountCursor>(std::move(query), std::move(database));
    }
    return std::make_unique<ScanCursor>(std::move(query), std::move(database));
}

}  // namespace vantry::sql

// MSysQueries has one row for each clause or part of a clause of a query; its column Attribute says
// which, Order numbers the rows of one attribute. Expressions are stored as they are printed, so
// the statement is put together clause by clause. Easy to get wrong: the rows of the joins come in
// no order in which they could be written, and what needs more than a SELECT (parameters, another
// database) is refused rather than left out.

#include "drivers/access/catalogue/saved_query.h"

#include "data/letter_case.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/record_reader.h"

#include <algorithm>

namespace vantry::access {
namespace {

constexpr std::string_view kQueriesTable = "MSysQueries";

enum Attribute : int {
    kParameter = 2,
    kOptions = 3,
    kOtherDatabase = 4,
    kSource = 5,
    kOutput = 6,
    kJoin = 7,
    kWhere = 8,
    kGroupBy = 9,
    kHaving = 10,
    kOrderBy = 11,
};

// Bits of the options.
constexpr std::int32_t kAllColumns = 0x01;
constexpr std::int32_t kDistinct = 0x02;  // of a union: no rows twice
constexpr std::int32_t kDistinctRow = 0x08;
constexpr std::int32_t kTop = 0x10;
constexpr std::int32_t kPercent = 0x20;

// Flags of a join.
constexpr std::int32_t kInnerJoin = 1;
constexpr std::int32_t kLeftJoin = 2;
constexpr std::int32_t kRightJoin = 3;

// Kinds, in the flags of the object.
constexpr std::uint32_t kSelectKind = 0x00;
constexpr std::uint32_t kCrosstabKind = 0x10;
constexpr std::uint32_t kPassThroughKind = 0x70;
constexpr std::uint32_t kUnionKind = 0x80;

struct QueryRow {
    int attribute = 0;
    std::string order;
    std::int32_t flag = 0;
    std::string name1;
    std::string name2;
    std::string expression;
};

std::string Bracketed(const std::string& name) {
    return "[" + name + "]";
}

std::string JoinWord(std::int32_t flag) {
    switch (flag) {
        case kLeftJoin:
            return " LEFT JOIN ";
        case kRightJoin:
            return " RIGHT JOIN ";
        default:
            return " INNER JOIN ";
    }
}

// The same join with its sides exchanged.
std::int32_t Mirrored(std::int32_t flag) {
    return flag == kLeftJoin ? kRightJoin : flag == kRightJoin ? kLeftJoin : flag;
}

// Sources that are joined already, as text.
struct Joined {
    std::vector<std::string> names;
    std::string text;

    bool Has(const std::string& name) const {
        return std::any_of(
            names.begin(), names.end(), [&](const auto& own) { return SameName(own, name); });
    }
};

// The rows are clauses in no order of theirs: each kind is gone through when its clause is due.
class QueryText {
public:
    QueryText(std::vector<QueryRow> rows, const std::string& name)
        : rows_(std::move(rows)), name_(name) {}

    std::string Select() const {
        RefuseWhatNeedsMore();
        std::int32_t options = 0;
        std::string top;
        ForEach(kOptions, [&](const QueryRow& row) {
            options = row.flag;
            top = row.name1;
        });
        std::string text = "SELECT ";
        text += (options & kDistinct) != 0 ? "DISTINCT " : "";
        text += (options & kDistinctRow) != 0 ? "DISTINCTROW " : "";
        if ((options & kTop) != 0) {
            text += "TOP " + top + ((options & kPercent) != 0 ? " PERCENT " : " ");
        }
        text += OutputColumns(options);
        text += " FROM " + From();
        AppendClause(text, " WHERE ", kWhere, " AND ");
        AppendClause(text, " GROUP BY ", kGroupBy, ", ");
        AppendClause(text, " HAVING ", kHaving, " AND ");
        AppendOrder(text);
        return text;
    }

    std::string Union() const {
        RefuseWhatNeedsMore();
        std::int32_t options = 0;
        ForEach(kOptions, [&](const QueryRow& row) { options = row.flag; });
        // One flag for the whole union.
        const char* word = (options & kDistinct) != 0 ? " UNION " : " UNION ALL ";
        std::string text;
        ForEach(kSource, [&](const QueryRow& row) {
            auto part = row.expression;
            // Parts are kept as they were typed, and a semicolon in the middle would end the
            // statement.
            part.erase(part.find_last_not_of(" \r\n\t;") + 1);
            text += (text.empty() ? "" : word) + part;
        });
        AppendOrder(text);
        return text;
    }

private:
    template <typename Visit>
    void ForEach(int attribute, Visit&& visit) const {
        for (const auto& row : rows_) {
            if (row.attribute == attribute) {
                visit(row);
            }
        }
    }

    void RefuseWhatNeedsMore() const {
        ForEach(kParameter, [&](const QueryRow& row) {
            throw CannotReadObject(name_, "the query asks for the parameter '" + row.name1 + "'");
        });
        ForEach(kOtherDatabase, [&](const QueryRow& row) {
            if (!row.name1.empty() || !row.expression.empty()) {
                throw CannotReadObject(name_, "the query reads another database");
            }
        });
    }

    std::string OutputColumns(std::int32_t options) const {
        std::string text;
        ForEach(kOutput, [&](const QueryRow& row) {
            text += (text.empty() ? "" : ", ") + row.expression;
            if (!row.name1.empty()) {
                text += " AS " + Bracketed(row.name1);
            }
        });
        if ((options & kAllColumns) != 0) {
            text += text.empty() ? "*" : ", *";
        }
        if (text.empty()) {
            throw CannotReadObject(name_, "the query has no columns");
        }
        return text;
    }

    std::vector<Joined> Sources() const {
        std::vector<Joined> sources;
        ForEach(kSource, [&](const QueryRow& row) {
            Joined source;
            if (row.name1.empty()) {
                source.text = "(" + row.expression + ")";
                // A table has a name, a query within the query only its text; both together are a
                // table of another file.
            } else if (row.expression.empty()) {
                source.text = Bracketed(row.name1);
            } else {
                throw CannotReadObject(
                    name_, "the query reads the table '" + row.name1 + "' of another database");
            }
            if (!row.name2.empty()) {
                source.text += " AS " + Bracketed(row.name2);
            }
            source.names.push_back(row.name2.empty() ? row.name1 : row.name2);
            sources.push_back(std::move(source));
        });
        return sources;
    }

    std::string From() const {
        // Joins are kept as pairs of sources. Parts grow together until no pair is left; what is
        // still apart then is a product of tables, as a comma says.
        auto parts = Sources();
        const auto part_of = [&](const std::string& source) {
            const auto found = std::find_if(
                parts.begin(), parts.end(), [&](const auto& part) { return part.Has(source); });
            if (found == parts.end()) {
                throw CannotReadObject(
                    name_, "the query joins '" + source + "', which isn't among its tables");
            }
            return static_cast<std::size_t>(found - parts.begin());
        };
        // The rows say nothing of brackets: inner joins bind closer than outer ones.
        for (const bool inner : {true, false}) {
            ForEach(kJoin, [&](const QueryRow& join) {
                const std::size_t left = part_of(join.name1);
                const std::size_t right = part_of(join.name2);
                // Joined already by an earlier row, whose condition has taken this one in.
                if (left != right && inner == (join.flag == kInnerJoin)) {
                    JoinParts(parts, left, right, join.flag);
                }
            });
        }
        std::string text;
        for (const auto& part : parts) {
            text += (text.empty() ? "" : ", ") + part.text;
        }
        if (text.empty()) {
            throw CannotReadObject(name_, "the query has no tables");
        }
        return text;
    }

    // All conditions between the two parts belong to one join.
    void JoinParts(std::vector<Joined>& parts,
                   std::size_t left,
                   std::size_t right,
                   std::int32_t flag) const {
        std::string condition;
        ForEach(kJoin, [&](const QueryRow& join) {
            const bool forward = parts[left].Has(join.name1) && parts[right].Has(join.name2);
            const bool backward = parts[right].Has(join.name1) && parts[left].Has(join.name2);
            if (!forward && !backward) {
                return;
            }
            // An inner and an outer join of the same two have no common text.
            if ((forward ? join.flag : Mirrored(join.flag)) != flag) {
                throw CannotReadObject(name_,
                                       "the query joins the same tables in two ways at once");
            }
            condition += (condition.empty() ? "" : ") AND (") + join.expression;
        });
        // A part of several sources in brackets, so that its joins come first.
        const auto side = [](const Joined& part) {
            return part.names.size() > 1 ? "(" + part.text + ")" : part.text;
        };
        parts[left].text =
            side(parts[left]) + JoinWord(flag) + side(parts[right]) + " ON (" + condition + ")";
        parts[left].names.insert(
            parts[left].names.end(), parts[right].names.begin(), parts[right].names.end());
        parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(right));
    }

    void AppendClause(std::string& text,
                      std::string_view word,
                      int attribute,
                      std::string_view separator) const {
        bool first = true;
        ForEach(attribute, [&](const QueryRow& row) {
            text += first ? word : separator;
            text += row.expression;
            first = false;
        });
    }

    void AppendOrder(std::string& text) const {
        bool first = true;
        ForEach(kOrderBy, [&](const QueryRow& row) {
            text += (first ? " ORDER BY " : ", ") + row.expression;
            text += SameName(row.name1, "D") ? " DESC" : "";
            first = false;
        });
    }

    std::vector<QueryRow> rows_;
    const std::string& name_;
};

std::vector<QueryRow> ReadRows(PageSource& source, ObjectCatalog& catalog, std::int32_t id) {
    const auto* table = catalog.Find(kQueriesTable);
    if (table == nullptr) {
        throw NoSuchTable(source.Name(), kQueriesTable);
    }
    const auto def = catalog.ReadTable(*table);
    enum : std::size_t { ObjectId, Kind, Order, Flag, Name1, Name2, Expression };
    RecordReader reader(
        source, def, {"ObjectId", "Attribute", "Order", "Flag", "Name1", "Name2", "Expression"});
    std::vector<QueryRow> rows;
    while (reader.Next()) {
        if (reader.Int(ObjectId) != id) {
            continue;
        }
        QueryRow row;
        row.attribute = reader.Int(Kind);
        if (reader[Order].Kind() == ValueKind::Bytes) {
            const auto order = reader[Order].AsBytes();
            row.order.assign(reinterpret_cast<const char*>(order.data()), order.size());
        }
        row.flag = reader.Int(Flag);
        row.name1 = reader.Text(Name1);
        row.name2 = reader.Text(Name2);
        row.expression = reader.Text(Expression);
        rows.push_back(std::move(row));
    }
    std::stable_sort(rows.begin(), rows.end(), [](const QueryRow& left, const QueryRow& right) {
        return left.order < right.order;
    });
    return rows;
}

}  // namespace

std::string SavedQueryText(PageSource& source, ObjectCatalog& catalog, const CatalogObject& query) {
    const auto kind = query.flags & kQueryKindMask;
    if (kind == kCrosstabKind) {
        throw CannotReadObject(query.name,
                               "it is a crosstab query, whose columns come from the data. Turn it "
                               "into a table in Access first");
    }
    if (kind == kPassThroughKind) {
        throw CannotReadObject(query.name, "it is a query that another server answers");
    }
    if (kind != kSelectKind && kind != kUnionKind) {
        throw CannotReadObject(query.name, "it is a query that changes data and gives no rows");
    }
    const std::string name = query.name;
    const QueryText text(ReadRows(source, catalog, query.id), name);
    return kind == kUnionKind ? text.Union() : text.Select();
}

}  // namespace vantry::access

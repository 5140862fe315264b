// Three questions of the catalogue, each answered by rows of fixed places. Easy to get wrong: names
// are asked for as the server keeps them, which folds those without quotes; a name given to the
// first question is a pattern, so its answer holds other tables, too; a driver without a schema in
// the question answers for all of them; and an index over an expression or with a condition isn't
// one over its columns.

#include "drivers/odbc/table_rules.h"

#include "data/ascii.h"
#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/odbc/cursor.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::odbc {
namespace {

using RowTaker = std::function<void(std::span<const Cell> row)>;

struct TableName {
    std::string schema;
    std::string table;
};

// "dbo.orders", "[dbo].[order lines]", "orders": the last two parts.
TableName SplitName(std::string_view text) {
    std::vector<std::string> parts(1);
    char closing = 0;
    for (const char c : text) {
        constexpr std::string_view kOpening = "[\"`";
        constexpr std::string_view kClosing = "]\"`";
        const auto quote = kOpening.find(c);
        if (closing != 0 && c == closing) {
            closing = 0;
        } else if (closing == 0 && quote != kOpening.npos) {
            closing = kClosing[quote];
        } else if (closing == 0 && c == '.') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    const auto table = parts.back();
    return {parts.size() > 1 ? parts[parts.size() - 2] : "", table};
}

// Places in the answers. In all of them 1 is the schema and 2 the table.
constexpr std::size_t kSchema = 1;
constexpr std::size_t kTable = 2;
namespace column {
constexpr std::size_t kName = 3;
constexpr std::size_t kTypeName = 5;
constexpr std::size_t kSize = 6;
constexpr std::size_t kNullable = 10;
constexpr std::size_t kDefault = 12;
}  // namespace column
namespace key {
constexpr std::size_t kColumn = 3;
constexpr std::size_t kPlace = 4;
constexpr std::size_t kName = 5;
}  // namespace key
namespace index {
constexpr std::size_t kRepeats = 3;
constexpr std::size_t kName = 5;
constexpr std::size_t kType = 6;
constexpr std::size_t kPlace = 7;
constexpr std::size_t kColumn = 8;
constexpr std::size_t kCondition = 12;
}  // namespace index

std::string TextAt(std::span<const Cell> row, std::size_t place) {
    return place < row.size() && !row[place].IsNull() && row[place].Kind() != ValueKind::Unreadable
               ? ToText(row[place])
               : std::string();
}

std::int64_t NumberAt(std::span<const Cell> row, std::size_t place, std::int64_t otherwise) {
    return place < row.size() ? ToInt64(row[place]).value_or(otherwise) : otherwise;
}

// SQL Server's newer moments as they are declared, with the places of a second: the catalogue gives
// the characters that they have as texts.
std::string WithPlaces(const std::string& type, std::int64_t characters) {
    constexpr std::pair<std::string_view, std::int64_t> kWithoutPlaces[] = {
        {"time", 8}, {"datetime2", 19}, {"datetimeoffset", 26}};
    for (const auto& [name, plain] : kWithoutPlaces) {
        if (type == name && characters >= plain) {
            // With a point before them, where there are any.
            return type + "(" + std::to_string(std::max<std::int64_t>(characters - plain - 1, 0)) +
                   ")";
        }
    }
    return type;
}

class RulesReader {
public:
    explicit RulesReader(std::shared_ptr<Link> link) : link_(std::move(link)) {}

    TableRules Read(std::string_view text) {
        wanted_ = SplitName(text);
        if (!FindTable()) {
            rules_.unknown = "the catalogue doesn't list the table";
            return std::move(rules_);
        }
        try {
            ReadPrimaryKey();
            ReadIndexes();
        } catch (const DataError& error) {
            // Not each driver answers both questions; what is known counts all the same.
            rules_.unknown = error.Description();
        }
        return std::move(rules_);
    }

private:
    struct Column {
        std::string name;
        bool required = false;
        bool needed = false;
        std::string type;
    };

    void Ask(CatalogCall call, const RowTaker& take) {
        link_->Idle();
        auto statement = link_->NewStatement();
        link_->AskCatalog(statement, call, wanted_.schema, wanted_.table);
        OdbcCursor rows(link_, std::move(statement));
        while (rows.Next()) {
            // What is asked for as a pattern brings neighbours along. Whether letters' case counts
            // the server has decided.
            if (EqualsNoCase(TextAt(rows.Row(), kTable), wanted_.table)) {
                take(rows.Row());
            }
        }
    }

    // As it is written first, since it may stand in quotes; then as a server without them reads it.
    bool FindTable() {
        const auto written = wanted_;
        for (const auto& fold :
             {+[](std::string_view name) { return std::string(name); }, &UpperCased, &LowerCased}) {
            wanted_ = {fold(written.schema), fold(written.table)};
            std::map<std::string, std::vector<Column>> by_schema;
            Ask(CatalogCall::Columns, [&](std::span<const Cell> row) {
                by_schema[TextAt(row, kSchema)].push_back(ColumnOf(row));
            });
            if (!by_schema.empty()) {
                return ChooseSchema(by_schema);
            }
        }
        return false;
    }

    static Column ColumnOf(std::span<const Cell> row) {
        Column column{TextAt(row, column::kName), false, false, {}};
        const auto type = LowerCased(TextAt(row, column::kTypeName));
        // Numbered by the server, which takes no value for it at all or any.
        const bool numbered = type.find("identity") != type.npos ||
                              type.find("auto_increment") != type.npos ||
                              type.find("serial") != type.npos;
        column.required =
            !numbered && NumberAt(row, column::kNullable, SQL_NULLABLE_UNKNOWN) == SQL_NO_NULLS;
        // A server's own version of the row is given by nobody.
        column.needed = column.required && TextAt(row, column::kDefault).empty() &&
                        type != "timestamp" && type != "rowversion";
        column.type = WithPlaces(type, NumberAt(row, column::kSize, 0));
        return column;
    }

    bool ChooseSchema(const std::map<std::string, std::vector<Column>>& by_schema) {
        auto chosen = by_schema.begin();
        if (by_schema.size() > 1) {
            // The same table of several users: the statement without a schema means one of these.
            const std::array<std::string, 3> usual = {link_->UserName(), "dbo", "public"};
            const auto* const schema =
                std::find_if(usual.begin(), usual.end(), [&](const std::string& name) {
                    return by_schema.contains(name);
                });
            if (schema == usual.end()) {
                return false;
            }
            chosen = by_schema.find(*schema);
        }
        wanted_.schema = chosen->first;
        for (const auto& column : chosen->second) {
            columns_.push_back(column.name);
            if (link_->GetTraits().dialect == Dialect::SqlServer) {
                rules_.server_types[column.name] = column.type;
            }
            if (column.required) {
                rules_.required.push_back(column.name);
            }
            if (column.needed) {
                rules_.needed.push_back(column.name);
            }
        }
        return true;
    }

    // Parts by their places, whatever the order of the rows.
    using Parts = std::map<std::int64_t, std::string>;

    void Add(std::string name, const Parts& parts) {
        TableRules::Unique unique{std::move(name), {}};
        for (const auto& [place, column] : parts) {
            // An expression is no column that the table has.
            if (std::find(columns_.begin(), columns_.end(), column) == columns_.end()) {
                return;
            }
            unique.parts.push_back({column});
        }
        const bool known =
            std::any_of(rules_.unique.begin(), rules_.unique.end(), [&](const auto& other) {
                return std::equal(other.parts.begin(),
                                  other.parts.end(),
                                  unique.parts.begin(),
                                  unique.parts.end(),
                                  [](const auto& left, const auto& right) {
                                      return left.column == right.column;
                                  });
            });
        if (known || unique.parts.empty()) {
            return;
        }
        const auto dialect = link_->GetTraits().dialect;
        unique.nulls = dialect == Dialect::SqlServer ? TableRules::Nulls::Count
                       : dialect == Dialect::Oracle  ? TableRules::Nulls::TakeOutIfAll
                                                     : TableRules::Nulls::TakeOut;
        // A server of a kind that compares otherwise has its own way.
        if (dialect == Dialect::PostgreSql || dialect == Dialect::Sqlite ||
            dialect == Dialect::Oracle) {
            for (auto& part : unique.parts) {
                part.compared = TableRules::Letters::Exact;
                part.blanks_count = true;
            }
        }
        rules_.unique.push_back(std::move(unique));
    }

    void ReadPrimaryKey() {
        Parts parts;
        std::string name;
        Ask(CatalogCall::PrimaryKey, [&](std::span<const Cell> row) {
            name = TextAt(row, key::kName);
            parts[NumberAt(row, key::kPlace, 0)] = TextAt(row, key::kColumn);
        });
        Add(name.empty() ? "PRIMARY KEY" : name, parts);
    }

    void ReadIndexes() {
        std::map<std::string, Parts> indexes;
        std::vector<std::string> conditional;
        Ask(CatalogCall::UniqueIndexes, [&](std::span<const Cell> row) {
            const auto name = TextAt(row, index::kName);
            if (NumberAt(row, index::kType, SQL_TABLE_STAT) == SQL_TABLE_STAT ||
                NumberAt(row, index::kRepeats, 1) != 0) {
                return;
            }
            if (!TextAt(row, index::kCondition).empty()) {
                conditional.push_back(name);
            }
            indexes[name][NumberAt(row, index::kPlace, 0)] = TextAt(row, index::kColumn);
        });
        for (const auto& [name, parts] : indexes) {
            if (std::find(conditional.begin(), conditional.end(), name) == conditional.end()) {
                Add(name, parts);
            }
        }
    }

    std::shared_ptr<Link> link_;
    TableName wanted_;
    std::vector<std::string> columns_;
    TableRules rules_;
};

}  // namespace

TableRules ReadTableRules(const std::shared_ptr<Link>& link, std::string_view table) {
    return RulesReader(link).Read(table);
}

}  // namespace vantry::odbc

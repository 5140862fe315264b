// A plan becomes one SELECT where SQLite has the clause, and a SELECT around a SELECT where it
// hasn't: TOP with its ties, DISTINCT over groups, a union whose columns need one type and one
// collation. Plain columns of the outermost query aren't written at all: the result reads them from
// the engine's own row, found by the row's id. Easy to get wrong: DISTINCT by SQLite would compare
// texts byte by byte and take True and -1 for different values, so it is a GROUP BY over keys; and
// what a query in FROM must give is known only after everything around it is written, which is why
// FROM is written last.

#include "drivers/sql/plan/select_writer.h"

#include "drivers/sql/plan/sql_text.h"

#include <algorithm>

namespace vantry::sql {
namespace {

// The select list of a query whose columns another query, named `table`, already has.
std::string PassOn(const WrittenQuery& columns, std::string_view table) {
    std::vector<std::string> list;
    const auto pass = [&](const std::string& name) {
        list.push_back(std::string(table) + "." + name + " AS " + name);
    };
    for (std::size_t k = 0; k < columns.item_columns.size(); ++k) {
        if (columns.item_columns[k] >= 0) {
            pass("x" + std::to_string(k));
        }
    }
    for (const auto& [source, column] : columns.row_ids) {
        pass("r" + std::to_string(source));
    }
    return list.empty() ? "1 AS one" : Joined(list);
}

void AddOrder(std::string& order, const std::string& key, bool descending) {
    order += (order.empty() ? " ORDER BY " : ", ") + key + (descending ? " DESC" : "");
}

}  // namespace

struct SelectWriter::List {
    WrittenQuery out;
    std::vector<std::string> columns;
    std::vector<std::pair<std::size_t, std::string>> rows;  // source, SQL of the row's id
    std::vector<std::string> group_by;

    void WantRow(const Term& term) {
        const auto source = term.origin->source;
        const auto same = [&](const auto& row) { return row.first == source; };
        if (std::none_of(rows.begin(), rows.end(), same)) {
            rows.emplace_back(source, term.origin->row_id);
            term.table->rows_used.insert(source);
        }
    }
};

WrittenQuery SelectWriter::Write(SelectPlan& plan, const Wanted& wanted) {
    return plan.cores.size() > 1 ? Union(plan) : Core(plan.cores[0], wanted);
}

WrittenQuery SelectWriter::Core(CorePlan& plan, const Wanted& wanted) {
    if (plan.core->distinct && plan.aggregate) {
        return DistinctGroups(plan);
    }
    List list;
    for (const auto& key : plan.group_by) {
        list.group_by.push_back(Conversions::AsKey(key));
    }
    AddItems(plan, wanted, list);
    AddRowIds(plan, wanted, list);
    std::string order;
    for (const auto& key : plan.order_by) {
        AddOrder(order, Conversions::AsKey(key.term), key.descending);
    }
    const auto columns = list.columns.empty() ? "1 AS one" : Joined(list.columns);
    const auto body = Body(plan, list.group_by);
    list.out.sql = plan.core->top ? Top(plan, list.out, columns, body, order)
                                  : "SELECT " + columns + body + order;
    return std::move(list.out);
}

void SelectWriter::AddItems(CorePlan& plan, const Wanted& wanted, List& list) {
    for (std::size_t k = 0; k < plan.items.size(); ++k) {
        const auto& term = plan.items[k].term;
        const bool column_wanted = wanted.columns == nullptr || (*wanted.columns)[k];
        const bool has_row = term.origin.has_value() && term.table != nullptr;
        auto& number = list.out.item_columns.emplace_back(-1);
        // DISTINCT compares even what the result takes from the engine's own row.
        if (plan.core->distinct) {
            names_.Touch(term);
            list.group_by.push_back(Conversions::AsKey(term));
        }
        // Columns that have a row are left to it; the rest must be worked out by SQLite.
        if (column_wanted && !(wanted.as_rows && has_row)) {
            names_.Touch(term);
            number = static_cast<int>(list.columns.size());
            list.columns.push_back(Conversions::Value(term) + " AS x" + std::to_string(k));
        }
        const bool row_wanted = wanted.as_rows ? !wanted.row_at_hand
                                               : has_row && wanted.rows != nullptr &&
                                                     wanted.rows->count(term.origin->source) > 0;
        if (has_row && row_wanted) {
            list.WantRow(term);
        }
    }
}

void SelectWriter::AddRowIds(CorePlan& plan, const Wanted& wanted, List& list) {
    const auto& core = *plan.core;
    if (wanted.row_source) {
        Term target;
        target.table = plan.tables.front().get();
        target.origin =
            Origin{*wanted.row_source, 0, "t" + std::to_string(*wanted.row_source) + ".r"};
        list.WantRow(target);
    }
    // DISTINCTROW leaves out rows that differ only in tables of which nothing is shown.
    if (core.distinct_row && wanted.as_rows && !plan.aggregate && !core.distinct &&
        !list.rows.empty() && list.rows.size() < plan.tables.size()) {
        for (const auto& [source, row_id] : list.rows) {
            list.group_by.push_back(row_id);
        }
    }
    for (const auto& [source, row_id] : list.rows) {
        list.out.row_ids.emplace_back(source, static_cast<int>(list.columns.size()));
        list.columns.push_back(row_id + " AS r" + std::to_string(source));
    }
}

// From FROM to HAVING. What a query in the FROM clause must give is known by now.
std::string SelectWriter::Body(CorePlan& plan, const std::vector<std::string>& group_by) {
    auto body = From(plan);
    if (!plan.where.empty()) {
        body += " WHERE " + plan.where;
    }
    if (!group_by.empty()) {
        body += " GROUP BY " + Joined(group_by);
    }
    if (!plan.having.empty()) {
        body += " HAVING " + plan.having;
    }
    return body;
}

std::string SelectWriter::From(CorePlan& plan) {
    std::string text;
    for (auto& node : plan.from) {
        text += (text.empty() ? " FROM " : ", ") + Node(node);
    }
    return text;
}

std::string SelectWriter::Node(FromNode& node) {
    if (node.table != nullptr) {
        auto& table = *node.table;
        if (table.source) {
            return table.sql_name;
        }
        const Wanted wanted{.columns = &table.used, .rows = &table.rows_used};
        return "(" + Write(*table.query, wanted).sql + ") AS " + table.sql_name;
    }
    // A right join is the left join of the tables the other way round.
    const bool turned = node.join == TableExpression::JoinType::Right;
    auto& left = turned ? *node.right : *node.left;
    auto& right = turned ? *node.left : *node.right;
    // The right side first: derived tables are numbered as they are written.
    const auto right_sql = Node(right);
    const auto left_sql = Node(left);
    return left_sql +
           (node.join == TableExpression::JoinType::Inner ? " INNER JOIN " : " LEFT JOIN ") +
           (right.table == nullptr ? "(" + right_sql + ")" : right_sql) + " ON " + node.condition;
}

// DISTINCT over groups: the groups become a table of their own, whose equal rows are one.
WrittenQuery SelectWriter::DistinctGroups(CorePlan& plan) {
    const SelectCore plain;
    // The groups are written as if DISTINCT weren't there.
    const auto* core = std::exchange(plan.core, &plain);
    const auto order_by = std::exchange(plan.order_by, {});
    const auto name = "s" + std::to_string(state_.derived_count++);
    auto out = Core(plan, {});
    plan.core = core;
    std::vector<std::string> keys;
    for (std::size_t k = 0; k < plan.items.size(); ++k) {
        Term term = plan.items[k].term;
        term.sql = name + ".x" + std::to_string(k);
        term.logical = false;
        term.collated = false;
        keys.push_back(Conversions::AsKey(term));
    }
    std::string order;
    for (const auto& key : order_by) {
        const auto is_key = [&](const PlanItem& item) { return item.term.sql == key.term.sql; };
        const auto found = std::find_if(plan.items.begin(), plan.items.end(), is_key);
        if (found != plan.items.end()) {
            AddOrder(
                order, keys[static_cast<std::size_t>(found - plan.items.begin())], key.descending);
        }
    }
    const auto body = " FROM (" + out.sql + ") AS " + name + " GROUP BY " + Joined(keys);
    const auto list = PassOn(out, name);
    out.sql = core->top ? Top(plan, out, list, body, order) : "SELECT " + list + body + order;
    return out;
}

// TOP with an order gives all rows that equal the last one in it, hence their ranks.
std::string SelectWriter::Top(const CorePlan& plan,
                              const WrittenQuery& columns,
                              const std::string& list,
                              const std::string& body,
                              const std::string& order) {
    const auto& core = *plan.core;
    const auto count = std::to_string(static_cast<std::int64_t>(*core.top));
    if (order.empty() && !core.top_percent) {
        return "SELECT " + list + body + " LIMIT " + count;
    }
    const auto name = "s" + std::to_string(state_.derived_count++);
    // PERCENT without an order still needs the number of all rows.
    const auto rank = order.empty() ? std::string("row_number() OVER ()")
                                    : "rank() OVER (" + order.substr(1) + ")";
    const auto limit = core.top_percent ? "(" + name + ".k - 1) * 100.0 < " + name + ".n * " +
                                              NumberLiteral(*core.top)
                                        : name + ".k <= " + count;
    return "SELECT " + PassOn(columns, name) + " FROM (SELECT " + list + ", " + rank + " AS k" +
           (core.top_percent ? ", count(*) OVER () AS n" : "") + body + ") AS " + name + " WHERE " +
           limit + " ORDER BY " + name + ".k";
}

WrittenQuery SelectWriter::Union(SelectPlan& plan) {
    WrittenQuery out;
    const auto name = "s" + std::to_string(state_.derived_count++);
    std::string all;
    for (std::size_t c = 0; c < plan.cores.size(); ++c) {
        all += (c == 0                        ? ""
                : plan.keep_duplicates[c - 1] ? " UNION ALL "
                                              : " UNION ") +
               UnionPart(plan.cores[c], plan.types);
    }
    for (std::size_t k = 0; k < plan.types.size(); ++k) {
        out.item_columns.push_back(static_cast<int>(k));
    }
    std::string order;
    for (const auto& [column, descending] : plan.union_order) {
        Term key;
        key.sql = name + ".x" + std::to_string(column);
        // Not collated any more: behind the union the column has lost its collation.
        key.type = plan.types[column];
        AddOrder(order, Conversions::AsKey(key), descending);
    }
    out.sql = "SELECT " + PassOn(out, name) + " FROM (" + all + ") AS " + name + order;
    return out;
}

// One SELECT of a union. Its columns are converted to the union's types; with a collation of its
// own a text column decides in which way equal rows are found.
std::string SelectWriter::UnionPart(CorePlan& core, const std::vector<ValueType>& types) {
    for (std::size_t k = 0; k < core.items.size(); ++k) {
        auto& term = core.items[k].term;
        names_.Touch(term);
        term.sql = conversions_.AsType(term, types[k]);
        term.type = types[k];
        term.logical = false;
        term.table = nullptr;
        term.origin.reset();
        if (FamilyOf(types[k]) == Family::Text) {
            term.sql += " COLLATE VY";
            term.collated = true;
        }
    }
    auto sql = Core(core, {}).sql;
    // LIMIT and GROUP BY may not stand in a part as they are.
    return core.core->top || core.core->distinct ? "SELECT * FROM (" + sql + ")" : sql;
}

}  // namespace vantry::sql

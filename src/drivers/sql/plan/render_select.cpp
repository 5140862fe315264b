#include "drivers/sql/errors.h"
#include "drivers/sql/plan/statement_compiler.h"

namespace vantry::sql {
namespace {

std::string Joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

// The select list of a query whose columns another query, named `table`, already has.
std::vector<std::string> PassOn(const Rendered& columns, std::string_view table) {
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
    if (list.empty()) {
        list.emplace_back("1 AS one");
    }
    return list;
}

}  // namespace

Rendered StatementCompiler::Render(SelectPlan& plan, const Wanted& wanted) {
    return plan.cores.size() > 1 ? RenderUnion(plan) : RenderCore(plan.cores[0], wanted);
}

Rendered StatementCompiler::RenderCore(CorePlan& plan, const Wanted& wanted) {
    const auto& core = *plan.core;
    if (core.distinct && plan.aggregate) {
        return RenderDistinctGroups(plan);
    }
    Rendered out;
    std::vector<std::string> list;
    std::vector<std::pair<std::size_t, std::string>> rows;
    const auto want_row = [&](const Term& term) {
        const auto source = term.origin->source;
        const auto same = [&](const auto& row) { return row.first == source; };
        if (std::none_of(rows.begin(), rows.end(), same)) {
            rows.emplace_back(source, term.origin->row_id);
            term.table->rows_used.insert(source);
        }
    };
    std::vector<std::string> group_by;
    for (const auto& key : plan.group_by) {
        group_by.push_back(AsKey(key));
    }
    for (std::size_t k = 0; k < plan.items.size(); ++k) {
        const auto& term = plan.items[k].term;
        const bool column_wanted = wanted.columns == nullptr || (*wanted.columns)[k];
        const bool has_row = term.origin.has_value() && term.table != nullptr;
        out.item_columns.push_back(-1);
        if (core.distinct) {
            Touch(term);
            group_by.push_back(AsKey(term));
        }
        if (column_wanted && !(wanted.as_rows && has_row)) {
            Touch(term);
            out.item_columns.back() = static_cast<int>(list.size());
            list.push_back(Value(term) + " AS x" + std::to_string(k));
        }
        const bool row_wanted = wanted.as_rows ? !wanted.row_at_hand
                                               : has_row && wanted.rows != nullptr &&
                                                     wanted.rows->count(term.origin->source) > 0;
        if (has_row && row_wanted) {
            want_row(term);
        }
    }
    if (wanted.row_source) {
        Term target;
        target.table = plan.tables.front().get();
        target.origin =
            Origin{*wanted.row_source, 0, "t" + std::to_string(*wanted.row_source) + ".r"};
        want_row(target);
    }
    if (core.distinct_row && wanted.as_rows && !plan.aggregate && !core.distinct && !rows.empty() &&
        rows.size() < plan.tables.size()) {
        for (const auto& [source, row_id] : rows) {
            group_by.push_back(row_id);
        }
    }
    for (const auto& [source, row_id] : rows) {
        out.row_ids.emplace_back(source, static_cast<int>(list.size()));
        list.push_back(row_id + " AS r" + std::to_string(source));
    }
    if (list.empty()) {
        list.emplace_back("1 AS one");
    }
    const auto order = OrderText(plan.order_by);
    const auto body = RenderBody(plan, group_by);
    if (core.top) {
        out.sql = RenderTop(plan, out, list, body, order);
    } else {
        out.sql = "SELECT " + Joined(list) + body + order;
    }
    return out;
}

std::string StatementCompiler::OrderText(const std::vector<OrderKey>& keys) {
    std::string text;
    for (const auto& key : keys) {
        text += (text.empty() ? " ORDER BY " : ", ") + AsKey(key.term) +
                (key.descending ? " DESC" : "");
    }
    return text;
}

// From FROM to HAVING. What a query in the FROM clause must give is known by now.
std::string StatementCompiler::RenderBody(CorePlan& plan,
                                          const std::vector<std::string>& group_by) {
    auto body = RenderFrom(plan);
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

std::string StatementCompiler::RenderFrom(CorePlan& plan) {
    std::string text;
    for (auto& node : plan.from) {
        text += (text.empty() ? " FROM " : ", ") + RenderNode(node);
    }
    return text;
}

std::string StatementCompiler::RenderNode(FromNode& node) {
    if (node.table != nullptr) {
        auto& table = *node.table;
        return table.source
                   ? table.sql_name
                   : "(" +
                         Render(*table.query, {.columns = &table.used, .rows = &table.rows_used})
                             .sql +
                         ") AS " + table.sql_name;
    }
    // A right join is the left join of the tables the other way round.
    const bool turned = node.join == TableExpression::JoinType::Right;
    auto& left = turned ? *node.right : *node.left;
    auto& right = turned ? *node.left : *node.right;
    const auto right_sql = RenderNode(right);
    const auto left_sql = RenderNode(left);
    return left_sql +
           (node.join == TableExpression::JoinType::Inner ? " INNER JOIN " : " LEFT JOIN ") +
           (right.table == nullptr ? "(" + right_sql + ")" : right_sql) + " ON " + node.condition;
}

// DISTINCT over groups: the groups become a table of their own, whose equal rows are one.
Rendered StatementCompiler::RenderDistinctGroups(CorePlan& plan) {
    SelectCore plain;
    CorePlan inner = std::move(plan);
    const auto* core = inner.core;
    plain.distinct = false;
    inner.core = &plain;
    std::vector<OrderKey> order = std::move(inner.order_by);
    inner.order_by.clear();
    const auto name = "s" + std::to_string(derived_count_++);
    auto out = RenderCore(inner, {});
    std::vector<std::string> keys;
    std::string order_text;
    for (std::size_t k = 0; k < inner.items.size(); ++k) {
        Term term = inner.items[k].term;
        term.sql = name + ".x" + std::to_string(k);
        term.logical = false;
        term.collated = false;
        keys.push_back(AsKey(term));
    }
    for (const auto& key : order) {
        for (std::size_t k = 0; k < inner.items.size(); ++k) {
            if (inner.items[k].term.sql == key.term.sql) {
                order_text += (order_text.empty() ? " ORDER BY " : ", ") + keys[k] +
                              (key.descending ? " DESC" : "");
                break;
            }
        }
    }
    const auto body = " FROM (" + out.sql + ") AS " + name + " GROUP BY " + Joined(keys);
    const auto list = PassOn(out, name);
    plan = std::move(inner);
    plan.core = core;
    out.sql = core->top ? RenderTop(plan, out, list, body, order_text)
                        : "SELECT " + Joined(list) + body + order_text;
    return out;
}

// TOP with an order gives all rows that equal the last one in it, hence their ranks.
std::string StatementCompiler::RenderTop(const CorePlan& plan,
                                         const Rendered& columns,
                                         const std::vector<std::string>& list,
                                         const std::string& body,
                                         const std::string& order) {
    const auto& core = *plan.core;
    const auto count = std::to_string(static_cast<std::int64_t>(*core.top));
    if (order.empty() && !core.top_percent) {
        return "SELECT " + Joined(list) + body + " LIMIT " + count;
    }
    const auto name = "s" + std::to_string(derived_count_++);
    const auto rank = order.empty() ? std::string("row_number() OVER ()")
                                    : "rank() OVER (" + order.substr(1) + ")";
    const auto limit = core.top_percent ? "(" + name + ".k - 1) * 100.0 < " + name + ".n * " +
                                              NumberLiteral(*core.top)
                                        : name + ".k <= " + count;
    return "SELECT " + Joined(PassOn(columns, name)) + " FROM (SELECT " + Joined(list) + ", " +
           rank + " AS k" + (core.top_percent ? ", count(*) OVER () AS n" : "") + body + ") AS " +
           name + " WHERE " + limit + " ORDER BY " + name + ".k";
}

Rendered StatementCompiler::RenderUnion(SelectPlan& plan) {
    Rendered out;
    const auto name = "s" + std::to_string(derived_count_++);
    std::string all;
    for (std::size_t c = 0; c < plan.cores.size(); ++c) {
        auto& core = plan.cores[c];
        for (std::size_t k = 0; k < core.items.size(); ++k) {
            auto& term = core.items[k].term;
            Touch(term);
            term.sql = AsType(term, plan.types[k]);
            term.type = plan.types[k];
            term.logical = false;
            term.table = nullptr;
            term.origin.reset();
            if (FamilyOf(plan.types[k]) == Family::Text) {
                term.sql += " COLLATE VY";
                term.collated = true;
            }
        }
        auto part = RenderCore(core, {}).sql;
        if (core.core->top || core.core->distinct) {
            part = "SELECT * FROM (" + part + ")";
        }
        all += (c == 0 ? "" : plan.keep_duplicates[c - 1] ? " UNION ALL " : " UNION ") + part;
    }
    std::string order;
    for (std::size_t k = 0; k < plan.types.size(); ++k) {
        out.item_columns.push_back(static_cast<int>(k));
    }
    for (const auto& [column, descending] : plan.union_order) {
        Term key;
        key.sql = name + ".x" + std::to_string(column);
        key.type = plan.types[column];
        order += (order.empty() ? " ORDER BY " : ", ") + AsKey(key) + (descending ? " DESC" : "");
    }
    out.sql = "SELECT " + Joined(PassOn(out, name)) + " FROM (" + all + ") AS " + name + order;
    return out;
}

}  // namespace vantry::sql

// What a statement says of keys and indexes, brought into the engine's two lists: real indexes,
// which are trees, and logical ones, which are names and roles for them. Here each name has a tree
// of its own; in files of Access several share one. Easy to get wrong: a key of one column may be
// said with the column and again as a constraint, and must be one index.

#include "drivers/access/catalogue/index_definition.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "drivers/access/write_errors.h"

#include <algorithm>

namespace vantry::access {
namespace {

// The engine refuses these in names, since its own statements and expressions give them a meaning.
constexpr std::string_view kForbidden = ".!`[]";

bool SameSingleColumn(const sql::IndexDefinition& index, const std::string& column) {
    return index.parts.size() == 1 && SameName(index.parts[0].column, column);
}

}  // namespace

void CheckName(std::string_view what, std::string_view name) {
    if (name.empty() || name.front() == ' ') {
        throw BadName(what, name, "it is empty or begins with a blank");
    }
    if (CountUtf16Units(name) > kMaxNameUnits) {
        throw BadName(
            what, name, "it has more than " + std::to_string(kMaxNameUnits) + " characters");
    }
    for (const char letter : name) {
        if (static_cast<unsigned char>(letter) < ' ' ||
            kForbidden.find(letter) != std::string_view::npos) {
            throw BadName(
                what, name, "it has one of the characters . ! ` [ ] or a control character");
        }
    }
    if (!IsValidUtf8(name)) {
        throw BadName(what, name, "it isn't valid UTF-8");
    }
}

std::vector<sql::IndexDefinition> IndexesOf(const sql::TableDefinition& definition) {
    // A column that is unique without a name for it gets an index called after it, as in the
    // engine.
    auto indexes = definition.indexes;
    for (const sql::ColumnDefinition& column : definition.columns) {
        if (!column.primary_key && !column.unique) {
            continue;
        }
        const bool known =
            std::any_of(indexes.begin(), indexes.end(), [&](const sql::IndexDefinition& index) {
                return SameSingleColumn(index, column.name) &&
                       index.primary == column.primary_key && (index.primary || index.unique);
            });
        if (!known) {
            indexes.push_back({.name = column.primary_key ? "PrimaryKey" : column.name,
                               .parts = {{.column = column.name}},
                               .unique = true,
                               .primary = column.primary_key});
        }
    }
    for (std::size_t at = 0; at < indexes.size(); ++at) {
        if (indexes[at].name.empty()) {
            indexes[at].name =
                indexes[at].primary ? "PrimaryKey" : "Index_" + std::to_string(at + 1);
        }
    }
    return indexes;
}

void AddIndex(TableDef& def, const sql::IndexDefinition& index) {
    CheckName("an index", index.name);
    if (def.real_indexes.size() >= kMaxIndexes || def.logical_indexes.size() >= kMaxIndexes) {
        throw BadDefinition(def.name, "a table has at most 32 indexes");
    }
    if (index.parts.empty() || index.parts.size() > kMaxIndexColumns) {
        throw BadDefinition(def.name, "an index has 1 to 10 columns");
    }
    std::uint32_t number = 0;
    for (const LogicalIndex& logical : def.logical_indexes) {
        // Numbers of dropped indexes leave gaps, and relationships of other tables name indexes by
        // number: a new one goes behind all of them.
        number = std::max(number, logical.number + 1);
        if (SameName(logical.name, index.name)) {
            throw BadDefinition(def.name, "it has an index '" + index.name + "' already");
        }
        if (index.primary && logical.kind == kPrimaryKeyIndex) {
            throw BadDefinition(def.name, "it has a primary key already");
        }
    }
    RealIndex real;
    for (const sql::IndexDefinition::Part& part : index.parts) {
        const std::size_t position = def.FindColumn(part.column);
        if (position == TableDef::npos) {
            throw BadDefinition(def.name, "it has no column '" + part.column + "'");
        }
        const ColumnDef& column = def.columns[position];
        // The engine makes none over these.
        if (column.type == ColumnType::Ole || column.type == ColumnType::Complex ||
            column.IsCalculated()) {
            throw BadDefinition(def.name,
                                "its column '" + column.name + "' can't be part of an index");
        }
        real.columns.push_back(
            {.number = column.number, .position = position, .ascending = !part.descending});
    }
    // A primary key is unique and required whatever else the statement says; passing nulls over
    // would then mean nothing, and the engine leaves that flag out.
    real.flags = kIndexAlwaysSet;
    real.flags |= index.unique || index.primary ? kIndexUnique : 0;
    real.flags |= index.disallow_null || index.primary ? kIndexRequired : 0;
    real.flags |= index.ignore_null && !index.primary ? kIndexIgnoreNulls : 0;
    LogicalIndex logical;
    logical.name = index.name;
    logical.number = number;
    logical.real = static_cast<std::uint32_t>(def.real_indexes.size());
    logical.kind = index.primary ? kPrimaryKeyIndex : kOrdinaryIndex;
    def.real_indexes.push_back(std::move(real));
    def.logical_indexes.push_back(std::move(logical));
}

}  // namespace vantry::access

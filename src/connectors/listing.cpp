#include "connectors/listing.h"

#include "data/letter_case.h"
#include "data/letter_order.h"
#include "data/utf.h"
#include "data/value_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <tuple>
#include <utility>

namespace vantry {
namespace {

std::string NameOf(Recordset& rows, const std::vector<int>& fields) {
    std::string name;
    for (const int field : fields) {
        const Cell& value = rows.Fields()[field].Value();
        name +=
            (field == fields.front() ? "" : ".") + (value.IsNull() ? std::string() : ToText(value));
    }
    return name;
}

}  // namespace

std::vector<std::string> ReadNames(const NameQuery& query, const GivenUp& given_up) {
    Connection connection;
    Recordset rows;
    if (query.by_string) {
        rows.Open(query.statement, query.connection, query.cursor_type, query.lock_type);
    } else {
        connection.CursorLocation = adUseClient;
        connection.Open(query.connection, "", "");
        // That it opened is the whole answer then; a caller that has gone needs none.
        if (query.statement.empty() || (given_up && given_up())) {
            return {};
        }
        rows.Open(query.statement, connection, query.cursor_type, query.lock_type);
    }
    std::vector<std::string> names;
    while (query.reads_rows && !(given_up && given_up()) && !rows.Eof()) {
        names.push_back(NameOf(rows, query.fields));
        rows.MoveNext();
    }
    return names;
}

std::vector<Tables::Item> ReadCatalog(const std::string& connection) {
    Catalog catalog;
    catalog.SetActiveConnection(connection);
    auto& tables = catalog.Tables();
    // Copies: the catalogue and its connection end with this routine, on the thread that made them.
    std::vector<Tables::Item> items;
    items.reserve(static_cast<std::size_t>(tables.Count()));
    for (std::int32_t i = 0; i < tables.Count(); ++i) {
        items.push_back(tables[i]);
    }
    return items;
}

void SortNames(std::vector<std::string>& names) {
    struct Entry {
        // Worked out once a name: looked up in each comparison, they would be most of the time that
        // a list of thousands takes.
        std::vector<std::uint64_t> places;
        std::string name;
    };
    std::vector<Entry> entries;
    for (auto& name : names) {
        Entry& entry = entries.emplace_back();
        for (std::size_t at = 0; at < name.size();) {
            entry.places.push_back(LetterPlace(FoldedCase(NextCodePoint(name, at))));
        }
        entry.name = std::move(name);
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& left, const Entry& right) {
        // The name itself breaks ties, so that names that differ in letter case alone keep one
        // order.
        return std::tie(left.places, left.name) < std::tie(right.places, right.name);
    });
    std::transform(entries.begin(), entries.end(), names.begin(), [](Entry& entry) {
        return std::move(entry.name);
    });
}

OwnedName SplitOwner(std::string_view entry) {
    // The first one: names with a dot are met more often among tables than among owners.
    const auto dot = entry.find('.');
    if (dot == std::string_view::npos) {
        return {"", std::string(entry)};
    }
    return {std::string(entry.substr(0, dot)), std::string(entry.substr(dot + 1))};
}

bool HaveSameName(const std::vector<std::string>& entries) {
    std::set<std::string> names;
    return !std::all_of(entries.begin(), entries.end(), [&](const std::string& entry) {
        return names.insert(SplitOwner(entry).name).second;
    });
}

}  // namespace vantry

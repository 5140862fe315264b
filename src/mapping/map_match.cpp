// Pairs first, as places in the two lists of columns, then rows from pairs. Easy to get wrong: two
// columns of one name (letter case apart) each need a partner of their own, rows of other tables
// may stand between and must keep their places, and Pos is the row's place in the whole array.

#include "mapping/map_match.h"

#include "data/letter_case.h"
#include "mapping/column_discovery.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace vantry {
namespace {

struct Pair {
    std::optional<std::size_t> source;
    std::optional<std::size_t> target;
};

std::string KeyOf(const std::string& name) {
    std::string key = LowerCased(name);
    std::erase_if(key, [](char c) { return c == ' ' || c == '_'; });
    return key;
}

bool NoColumns(const std::vector<ColumnRec>& columns) {
    return columns.empty() || columns.front().ColName.empty();
}

// Targets in their order, then the sources that are left over.
std::vector<Pair> PairsByName(const std::vector<ColumnRec>& sources,
                              const std::vector<ColumnRec>& targets) {
    std::vector<Pair> pairs;
    std::vector<bool> taken(sources.size());
    for (std::size_t t = 0; t < targets.size(); ++t) {
        Pair pair{std::nullopt, t};
        const std::string key = KeyOf(targets[t].ColName);
        for (std::size_t s = 0; s < sources.size() && !pair.source; ++s) {
            if (!taken[s] && KeyOf(sources[s].ColName) == key) {
                pair.source = s;
                taken[s] = true;
            }
        }
        pairs.push_back(pair);
    }
    for (std::size_t s = 0; s < sources.size(); ++s) {
        if (!taken[s]) {
            pairs.push_back({s, std::nullopt});
        }
    }
    return pairs;
}

std::vector<Pair> PairsByPosition(std::size_t sources, std::size_t targets) {
    std::vector<Pair> pairs(std::max(sources, targets));
    for (std::size_t k = 0; k < pairs.size(); ++k) {
        pairs[k].source = k < sources ? std::optional(k) : std::nullopt;
        pairs[k].target = k < targets ? std::optional(k) : std::nullopt;
    }
    return pairs;
}

// The rows as the first map makes them, of columns that are put side by side for it.
std::vector<ColMapRec> RowsOf(i16 tab_id,
                              const std::vector<Pair>& pairs,
                              const std::vector<ColumnRec>& sources,
                              const std::vector<ColumnRec>& targets) {
    std::vector<ColMapRec> rows;
    for (const auto& pair : pairs) {
        rows.push_back(MapRowOf(tab_id,
                                pair.source ? &sources[*pair.source] : nullptr,
                                pair.target ? &targets[*pair.target] : nullptr));
        rows.back().CPos = static_cast<i16>(rows.size() - 1);
    }
    return rows;
}

// In the places of the table's former rows; more go behind the last of them.
void Replace(i16 tab_id, std::vector<ColMapRec> rows) {
    std::vector<ColMapRec> all;
    std::size_t next = 0;
    std::size_t last = 0;
    for (auto& row : ColMaps) {
        if (row.TabID != tab_id) {
            all.push_back(std::move(row));
        } else if (next < rows.size()) {
            all.push_back(std::move(rows[next++]));
            last = all.size();
        }
    }
    all.insert(all.begin() + static_cast<std::ptrdiff_t>(next == 0 ? all.size() : last),
               std::make_move_iterator(rows.begin() + static_cast<std::ptrdiff_t>(next)),
               std::make_move_iterator(rows.end()));
    for (std::size_t k = 0; k < all.size(); ++k) {
        all[k].Pos = static_cast<i16>(k);
    }
    ColMaps = std::move(all);
}

void SkipUnlike(i16 tab_id) {
    std::vector<ColMapRec> rows;
    for (const auto& row : ColMaps) {
        if (row.TabID != tab_id) {
            continue;
        }
        rows.push_back(row);
        auto& kept = rows.back();
        if (row.SCName != SkipLabel && row.DCName != SkipLabel &&
            KeyOf(row.SCName) != KeyOf(row.DCName)) {
            kept.SCName = SkipLabel;
            kept.SDtype.clear();
            kept.SWidth = 0;
            kept.SScale = 0;
            kept.SSelected = 0;
        }
    }
    Replace(tab_id, std::move(rows));
}

}  // namespace

void MatchColumns(i16 tab_id, MatchBy by) {
    if (by == MatchBy::Skip) {
        SkipUnlike(tab_id);
        return;
    }
    std::vector<ColumnRec> sources;
    std::vector<ColumnRec> targets;
    SplitTableColumns(tab_id, sources, targets);
    if (NoColumns(sources) || NoColumns(targets)) {
        return;  // a side that couldn't be read: there is nothing to pair
    }
    const auto pairs = by == MatchBy::Name ? PairsByName(sources, targets)
                                           : PairsByPosition(sources.size(), targets.size());
    Replace(tab_id, RowsOf(tab_id, pairs, sources, targets));
}

bool NamesMatchInAnotherOrder(i16 tab_id) {
    bool differs = false;
    std::vector<std::string> sources;
    std::vector<std::string> targets;
    for (const auto& row : ColMaps) {
        if (row.TabID == tab_id) {
            if (row.SCName == SkipLabel || row.DCName == SkipLabel) {
                return false;
            }
            sources.push_back(KeyOf(row.SCName));
            targets.push_back(KeyOf(row.DCName));
            differs = differs || sources.back() != targets.back();
        }
    }
    std::sort(sources.begin(), sources.end());
    std::sort(targets.begin(), targets.end());
    return differs && sources == targets;
}

}  // namespace vantry

#pragma once
// Tables with their tags, opened below the SQL layer, and the entries of all tags in one text.

#include "data/letter_case.h"
#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/indexes/tag_set.h"
#include "drivers/foxpro/reading.h"
#include "drivers/foxpro/table/record_reader.h"

#include <map>
#include <string>
#include <vector>

namespace vantry::foxpro {

struct IndexedTable {
    explicit IndexedTable(const std::filesystem::path& path, std::vector<std::string> names = {})
        : table(path.string(), {.show_deleted = true}, names),
          tags(table.Group(), *table.IndexMember(), table.Layout()) {}

    std::vector<std::string> Verify() { return tags.Verify(WalkOver(table)); }
    // Every entry of every tag that has a tree.
    Rows Entries() {
        Rows entries;
        const auto infos = tags.Tags();
        for (std::size_t k = 0; k < infos.size(); ++k) {
            tags.Walk(k, [&](ByteSpan key, RecordNumber record) {
                entries.push_back(infos[k].name + " " + HexOf(AsText(key)) + " " +
                                  std::to_string(record));
            });
        }
        return entries;
    }

    TableFile table;
    TagSet tags;
};

// A file that has an index beside it, with the names that its container has for its fields.
struct Indexed {
    std::filesystem::path path;
    std::vector<std::string> names;
};

// All tables and containers with an index below `folder`.
inline std::vector<Indexed> IndexedBelow(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    std::map<std::string, Indexed> found;
    const auto add = [&](const std::string& path, const std::vector<std::string>& names) {
        try {
            if (TableFile(path, {}, names).IndexMember()) {
                found.try_emplace(path, Indexed{path, names});
            }
        } catch (const DataError&) {
            // No table, or one whose file isn't there.
        }
    };
    std::vector<std::string> tables;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const auto extension = UpperCased(entry.path().extension().string());
        if (extension == ".DBC") {
            add(entry.path().string(), {});
            for (const auto& table : Container(entry.path().string(), {}).Tables()) {
                add(fs::weakly_canonical(table.path).string(), table.long_names);
            }
        } else if (extension == ".DBF") {
            tables.push_back(fs::weakly_canonical(entry.path()).string());
        }
    }
    for (const auto& path : tables) {
        add(path, {});
    }
    std::vector<Indexed> all;
    all.reserve(found.size());
    for (auto& [path, indexed] : found) {
        all.push_back(std::move(indexed));
    }
    return all;
}

}  // namespace vantry::foxpro

// Everything that any map or definition of the file names, for the writer that looks for pages
// behind the last one that is in use: a load that was killed before its first commit leaves such
// pages, and no map says that they are free. Easy to miss: the rows and bitmap pages of the maps
// themselves, and tables that the engine hides.

#include "drivers/access/pages/owned_pages.h"

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/pages/usage_map.h"

namespace vantry::access {
namespace {

class Finder {
public:
    explicit Finder(PageSource& source) : source_(source), owned_(source.PageCount()) {}

    std::vector<bool> Run() {
        Own(0);
        Own(kGlobalMapPage);
        for (const auto page : UsageMap(source_, {kGlobalMapPage, 0}).BitmapPages()) {
            Own(page);
        }
        ObjectCatalog catalog(source_);
        for (const auto& object : catalog.Objects()) {
            if (object.IsTable()) {
                OwnTable(catalog.ReadTable(object));
            }
        }
        return std::move(owned_);
    }

private:
    void Own(PageNumber page) {
        // A map may list more pages than the file has.
        if (page < owned_.size()) {
            owned_[page] = true;
        }
    }
    void OwnMap(RowPointer row) {
        // Page 0, the header, stands for no map.
        if (row.page == 0) {
            return;
        }
        UsageMap map(source_, row);
        Own(row.page);
        for (const auto page : map.BitmapPages()) {
            Own(page);
        }
        for (auto page = map.Next(0); page && *page < owned_.size(); page = map.Next(*page + 1)) {
            Own(*page);
        }
    }
    void OwnTable(const TableDef& def) {
        for (const auto page : def.pages) {
            Own(page);
        }
        OwnMap(def.owned_map);
        OwnMap(def.free_map);
        for (const auto& column : def.columns) {
            if (column.has_maps) {
                OwnMap(column.owned_map);
                OwnMap(column.free_map);
            }
        }
        for (const auto& index : def.real_indexes) {
            OwnMap(index.owned_map);
            Own(index.root);
        }
    }

    PageSource& source_;
    std::vector<bool> owned_;
};

}  // namespace

std::vector<bool> FindOwnedPages(PageSource& source) {
    return Finder(source).Run();
}

}  // namespace vantry::access

// Every page of the file is claimed by what it belongs to, so that a page with two owners or none
// shows; each part is checked on its own, and damage in one doesn't hide another's. Easy to get
// wrong: Access leaves wrong counts and lost pages behind, and every reader lives with them: these
// are notes, not findings.

#include "drivers/access/verify/verify.h"

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/record_reader.h"
#include "drivers/access/verify/verify_pages.h"

namespace vantry::access {
namespace {

constexpr std::string_view kPermissionsTableName = "MSysACEs";
constexpr std::string_view kGlobalMapOwner = "the global page map";

class FileVerifier {
public:
    FileVerifier(PageSource& source, VerifyReport& report)
        : source_(source), log_(report), owners_(source, log_) {}

    void Run() {
        Guarded("the file", [&] {
            owners_.Claim(0, "the header");
            CheckGlobalMaps();
            ObjectCatalog catalog(source_);
            for (const auto& object : catalog.Objects()) {
                if (object.IsTable()) {
                    Guarded("table '" + object.name + "'", [&] { CheckTable(catalog, object); });
                }
            }
            CheckPermissions(catalog);
            // Last: a page is free or lost only when everything else has claimed its own.
            Guarded("the global page map", [&] {
                owners_.CheckAgainstGlobalMap({kGlobalMapPage, 0});
            });
        });
        log_.Finish();
    }

private:
    // Damage that stops one part of the check doesn't stop the others.
    template <typename Body>
    void Guarded(const std::string& part, Body&& body) {
        try {
            body();
        } catch (const DataError& error) {
            log_.Finding(part, part + ": " + error.Description());
        } catch (const BoundsError&) {
            log_.Finding(part, part + ": a length or offset points outside");
        }
    }

    void CheckGlobalMaps() {
        owners_.Claim(kGlobalMapPage, std::string(kGlobalMapOwner));
        UsageMap map(source_, {kGlobalMapPage, 0});
        for (const auto page : map.BitmapPages()) {
            owners_.Claim(page, std::string(kGlobalMapOwner));
        }
    }

    void CheckTable(ObjectCatalog& catalog, const CatalogObject& object) {
        const auto def = catalog.ReadTable(object);
        for (const auto page : def.pages) {
            owners_.Claim(page, "the definition of table '" + def.name + "'");
        }
        TableVerifier(source_, owners_, log_, def).Run();
    }

    // Without an entry in MSysACEs Access says that the user lacks permission.
    void CheckPermissions(ObjectCatalog& catalog) {
        const auto* table = catalog.Find(kPermissionsTableName);
        if (table == nullptr) {
            log_.Finding("permissions", "the table MSysACEs isn't there");
            return;
        }
        const auto def = catalog.ReadTable(*table);
        RecordReader reader(source_, def, {"ObjectId"});
        std::set<std::int32_t> ids;
        while (reader.Next()) {
            ids.insert(reader.Int(0));
        }
        for (const auto& object : catalog.Objects()) {
            if (!object.IsTable() || ids.contains(object.id)) {
                continue;
            }
            const std::string sentence = "table '" + object.name + "' has no entry in MSysACEs";
            // Helper tables of Access and of other writers are used without.
            if (ListedType(object) == "TABLE") {
                log_.Finding("permissions", sentence);
            } else {
                log_.Note("permissions", sentence);
            }
        }
        for (const auto id : ids) {
            if (catalog.FindId(id) == nullptr) {
                log_.Note("stray permissions",
                          "MSysACEs has an entry of object " + std::to_string(id) +
                              ", which isn't there");
            }
        }
    }

    PageSource& source_;
    VerifyLog log_;
    PageOwners owners_;
};

}  // namespace

std::string VerifyReport::Text() const {
    std::string text;
    for (const auto& finding : findings) {
        text += finding + "\n";
    }
    for (const auto& note : notes) {
        text += "(note) " + note + "\n";
    }
    return text;
}

// The first few of a kind are listed, the others counted.
void VerifyLog::Add(std::vector<std::string>& list,
                    const std::string& kind,
                    const std::string& sentence) {
    if (++counts_[{&list, kind}] <= kListedOfAKind) {
        list.push_back(sentence);
    }
}

void VerifyLog::Finish() {
    for (const auto& [kind, count] : counts_) {
        if (count > kListedOfAKind) {
            kind.first->push_back("and " + std::to_string(count - kListedOfAKind) +
                                  " more: " + kind.second);
        }
    }
}

// Number 0 is nobody: the names begin with an empty one.
PageOwners::PageOwners(PageSource& source, VerifyLog& log)
    : source_(&source), log_(&log), owners_(source.PageCount()), names_(1) {}

std::size_t PageOwners::Intern(const std::string& owner) {
    // Claims come in runs of one owner.
    if (names_.back() != owner) {
        names_.push_back(owner);
    }
    return names_.size() - 1;
}

void PageOwners::Claim(PageNumber page, const std::string& owner) {
    if (page >= owners_.size()) {
        log_->Finding(
            "pages behind the end",
            owner + " has page " + std::to_string(page) + ", which lies behind the file's end");
        return;
    }
    if (owners_[page] != 0) {
        log_->Finding("pages with two owners",
                      "page " + std::to_string(page) + " belongs to " + names_[owners_[page]] +
                          " and to " + owner);
        return;
    }
    owners_[page] = static_cast<std::uint32_t>(Intern(owner));
}

void PageOwners::ClaimMap(RowPointer row, const UsageMap& map, const std::string& owner) {
    if (!map_rows_.insert(row).second) {
        log_->Finding("maps with two owners",
                      "the usage map of " + owner + " (page " + std::to_string(row.page) +
                          ", row " + std::to_string(row.row) + ") is another's, too");
    }
    // The maps of many tables share a page, which is claimed by the first of them.
    if (row.page < owners_.size() && names_[owners_[row.page]] != "usage maps" &&
        row.page != kGlobalMapPage) {
        Claim(row.page, "usage maps");
    }
    for (const auto page : map.BitmapPages()) {
        Claim(page, "the usage map of " + owner);
    }
}

// A used page that is marked free will be given away: damage. A lost one only takes room.
void PageOwners::CheckAgainstGlobalMap(RowPointer global_map) {
    UsageMap map(*source_, global_map);
    for (PageNumber page = 0; page < owners_.size(); ++page) {
        const bool free = map.Contains(page);
        if (owners_[page] != 0 && free && names_[owners_[page]] == kGlobalMapOwner) {
            // The map's own pages are found by its row, whatever their bits say.
            log_->Note("free pages of the map",
                       "page " + std::to_string(page) + " belongs to " +
                           std::string(kGlobalMapOwner) + " and is marked free");
        } else if (owners_[page] != 0 && free) {
            log_->Finding("used pages marked free",
                          "page " + std::to_string(page) + " belongs to " + names_[owners_[page]] +
                              " and is marked free");
        } else if (owners_[page] == 0 && free && used_.contains(page)) {
            log_->Finding("used pages marked free",
                          "page " + std::to_string(page) + " holds values and is marked free");
        } else if (owners_[page] == 0 && !free && !used_.contains(page)) {
            log_->Note("lost pages",
                       "page " + std::to_string(page) + " belongs to nobody and isn't marked free");
        }
    }
}

VerifyReport Verify(PageSource& source) {
    VerifyReport report;
    FileVerifier(source, report).Run();
    return report;
}

VerifyReport Verify(const std::filesystem::path& path, std::string_view password) {
    const auto source = OpenReadOnly(path, password);
    auto report = Verify(*source);
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (!error && size % source->PageSize() != 0) {
        report.findings.push_back("the file ends inside a page");
    }
    return report;
}

}  // namespace vantry::access

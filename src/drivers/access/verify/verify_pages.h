#pragma once
// What the parts of the verifier share: the report, and who owns which page and which row.

#include "drivers/access/pages/usage_map.h"
#include "drivers/access/verify/verify.h"

#include <map>
#include <set>

namespace vantry::access {

class VerifyLog {
public:
    explicit VerifyLog(VerifyReport& report) : report_(&report) {}
    // `kind` groups what is counted together.
    void Finding(const std::string& kind, const std::string& sentence) {
        Add(report_->findings, kind, sentence);
    }
    void Note(const std::string& kind, const std::string& sentence) {
        Add(report_->notes, kind, sentence);
    }
    void Finish();

private:
    static constexpr int kListedOfAKind = 5;
    void Add(std::vector<std::string>& list, const std::string& kind, const std::string& sentence);

    VerifyReport* report_;
    std::map<std::pair<std::vector<std::string>*, std::string>, int> counts_;
};

// Each page has one owner; pages of usage map rows are shared by all maps.
class PageOwners {
public:
    PageOwners(PageSource& source, VerifyLog& log);

    // `owner` is a noun phrase: "the rows of table 'x'".
    void Claim(PageNumber page, const std::string& owner);
    // Something lies on a page that no list names: it isn't lost, but has no owner either.
    void NoteUse(PageNumber page) { used_.insert(page); }
    // A map's row: its page and, for a reference map, its bitmap pages.
    void ClaimMap(RowPointer row, const UsageMap& map, const std::string& owner);
    // Pages that the global map and the claims see differently.
    void CheckAgainstGlobalMap(RowPointer global_map);

private:
    std::size_t Intern(const std::string& owner);

    PageSource* source_;
    VerifyLog* log_;
    std::vector<std::uint32_t> owners_;  // position in names_; 0: none yet
    std::vector<std::string> names_;
    std::set<RowPointer> map_rows_;
    std::set<PageNumber> used_;
};

// The rows, long values and indexes of one table.
class TableVerifier {
public:
    TableVerifier(PageSource& source, PageOwners& owners, VerifyLog& log, const TableDef& def);
    void Run();

private:
    class Impl;
    PageSource* source_;
    PageOwners* owners_;
    VerifyLog* log_;
    const TableDef* def_;
};

}  // namespace vantry::access

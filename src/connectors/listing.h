#pragma once
// What the connector pages ask of a data source before a session is set up: can it be reached,
// which databases, tables and views has it. Each call opens a connection of its own and closes it
// again, so that it can be made on any thread and leaves nothing to the session.

#include "core/data_access.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

// Asked between the steps of a listing: true when nobody waits for its result any more.
using GivenUp = std::function<bool()>;

struct NameQuery {
    std::string connection;
    std::string statement = {};      // empty: only the connection is tried
    std::vector<int> fields = {0};   // of each row; several are joined by "."
    int cursor_type = adOpenStatic;  // with static rows the whole list is read before any is shown
    int lock_type = adLockOptimistic;
    bool by_string = false;  // the recordset opens the connection itself
    bool reads_rows = true;  // false: that the statement opens is all that is asked
};

// One name a row, in the order of the source. Throws DataError.
std::vector<std::string> ReadNames(const NameQuery& query, const GivenUp& given_up = {});

// All that the source's catalogue lists, with its type words. Throws DataError.
std::vector<Tables::Item> ReadCatalog(const std::string& connection);

// As a sorted list shows them: letter case doesn't count, accented letters stand with their letter.
void SortNames(std::vector<std::string>& names);

// "OWNER.NAME" at its first dot; without one all of it is the name.
struct OwnedName {
    std::string owner;
    std::string name;
};
OwnedName SplitOwner(std::string_view entry);
// Whether two entries have the same name; letter case counts, the owner doesn't.
bool HaveSameName(const std::vector<std::string>& entries);

}  // namespace vantry

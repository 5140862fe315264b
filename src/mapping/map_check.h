#pragma once
// What is asked of the column map before it goes forward: the rules over all its rows or one
// table's, target columns named twice, and the row filter tried out at the source. Nothing here
// shows anything.

#include "core/session_state.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vantry {

inline constexpr int kErrOverflow = 6;  // a number doesn't fit in its field

// CheckColumnPair over a row of the map. The rules take widths of 16 bits: throws DataError
// (kErrOverflow) for a wider column, before any rule has run.
std::string CheckMapRow(const ColMapRec& row);

// The errors of all tables, each with its table's name above it; empty when there are none. Tables
// that are dropped and made anew are passed over, as are rows that aren't selected.
std::string MapErrorsOfAllTables();
// The same for the rows `first` up to and without `end`, whatever their table, without names.
std::string MapErrorsOfRows(std::size_t first, std::size_t end);

// Takes the rows that lack a side out of the load, in all tables.
void UnselectSkippedRows();

// The first target column that another row of its table has, too; empty if there is none. Letter
// case counts; all rows count, selected or not.
std::string FindDuplicateTarget(const std::vector<ColMapRec>& rows);

// The query that tries a row filter out at the source.
std::string WhereTestQuery(const TableRec& table, const std::string& condition);
// Tries the filter of table `index` out and stores it on both sides. An empty one is stored at the
// source alone, untried. Throws DataError when the source refuses it; nothing is stored then.
void StoreWhereCondition(std::size_t index, const std::string& condition);

}  // namespace vantry

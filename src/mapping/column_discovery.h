#pragma once
// Finds out which target tables exist and what columns both sides have, and makes the first column
// map: by position, never by name. No catalogue is asked for columns: they are the field list of a
// query without rows. A target table that doesn't exist takes the source's columns as its own.
// Reads and writes the session's arrays. Failures of the data layer go through to the caller, who
// shows them; what was read before one is in place.

#include "core/session_state.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vantry {

// How a database is asked, which may take long. The inquiry uses nothing but what it holds and
// ends early when told that it is given up, so that a page may ask it on another thread and let its
// user give it up; what `ask` throws ends the routine that asked.
using Inquiry = std::function<void(const std::function<bool()>& given_up)>;
using Ask = std::function<void(Inquiry inquiry)>;
void AskHere(const Inquiry& inquiry);

// Names of the target tables, and TabID of both sides.
void FillTargetTables();

// SrcCols of all source tables.
void LoadSourceColumns(const Ask& ask = AskHere);
// Which of the target tables exist; `target_names` becomes what the target's catalogue lists.
void CheckTargetTables(std::vector<std::string>& target_names, const Ask& ask = AskHere);
// DstCols of all tables.
void LoadTargetColumns(const Ask& ask = AskHere);

// The rows of SrcCols and DstCols of one table, ColPos counted from 0. One empty row when there is
// none.
void SplitTableColumns(double tab_id,
                       std::vector<ColumnRec>& source_columns,
                       std::vector<ColumnRec>& target_columns);
// A row of the map for two columns, of which one may be missing (null): such a row isn't loaded.
// Its places are the caller's to set.
ColMapRec MapRowOf(double tab_id, const ColumnRec* source, const ColumnRec* target);
// The whole of ColMaps.
void BuildColMaps();

// Gives table `index` another target name, as it stands; false when it is the one that it has,
// letter case and outer blanks aside. What follows a change, in this order:
bool NameTargetTable(std::size_t index, const std::string& name);
// The same as above for one table. Its rows move to the end of their arrays; with a single row of
// other tables left, its place is taken. An Oracle target's names are added to `target_names`, and
// its other existing tables are set back to their defaults, too.
void ReloadSourceColumns(i16 tab_id, const Ask& ask = AskHere);
void CheckTargetTable(i16 tab_id, std::vector<std::string>& target_names, const Ask& ask = AskHere);
void ReloadTargetColumns(i16 tab_id, const Ask& ask = AskHere);
void RebuildTableMap(i16 tab_id);

}  // namespace vantry

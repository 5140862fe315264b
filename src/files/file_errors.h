#pragma once
// The errors of the file layer: what is wrong, with which file, and what the user can do.

#include "data/data_error.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantry::file {

// `doing` completes "... could not be": "opened", "read", "written".
DataError SystemError(std::string_view path, std::string_view doing, int error);
DataError UnexpectedEnd(std::string_view path, std::uint64_t offset);
// `holders`: who has the file, empty if that isn't known.
DataError FileInUse(std::string_view path, std::string_view holders);
DataError LockingRefused(std::string_view path, int error);
DataError AlreadyExists(std::string_view path);
// The three name a file that isn't any more what this program left, with all that it wrote there
// (DataError::TargetLost).
DataError ReplacedWhileOpen(std::string_view path);
DataError TakenAwayWhileOpen(std::string_view path);
DataError ResizedWhileOpen(std::string_view path, std::uint64_t left, std::uint64_t now);
// The same after the load of a table, while others of the run were still being loaded.
DataError ReplacedAfterwards(std::string_view path);
DataError TakenAwayAfterwards(std::string_view path);
DataError CutAfterwards(std::string_view path, std::uint64_t left, std::uint64_t now);
DataError SizeLimit(std::string_view path, std::uint64_t limit);
DataError OpenedReadOnly(std::string_view path);
DataError OutOfMemory(std::string_view path);
// `error` made a bulk load's last `rows` rows be taken back, which had been reported as added.
DataError RowsLost(const DataError& error, std::uint64_t rows);
// What happened to a file that is made beside its place, told of the place: `path` for `beside`
// wherever that is named. Nobody knows the other name, and the file is gone when it is read of.
DataError ToldOf(const DataError& error, std::string_view path, std::string_view beside);
// The journal can't be made because something has its name.
DataError JournalInTheWay(std::string_view path, std::string_view journal);
DataError NotAJournal(std::string_view path, std::string_view journal);
DataError DamagedJournal(std::string_view path, std::string_view journal);
DataError ForeignJournal(std::string_view path, std::string_view journal);
// Of a version whose journals aren't read any more.
DataError OldJournal(std::string_view path, std::string_view journal);
// Written by, or open to, somebody who may not write the database. `who` completes "because ...".
DataError UntrustedJournal(std::string_view path, std::string_view journal, std::string_view who);

}  // namespace vantry::file

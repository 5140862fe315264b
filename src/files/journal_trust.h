#pragma once
// Whether a journal may write into a database: it may if whoever wrote it, and whoever can change
// it, may write the database anyway. Without that anybody who can make files in a folder would
// write the databases in it, by the hand of the next who opens one.

#include "files/file.h"

namespace vantry::file {

// Throws UntrustedJournal.
void RequireTrusted(const File& journal, const File& database);

// Gives a new journal to those who may write the database, and to nobody else.
void GrantLike(const File& journal, const File& database);

}  // namespace vantry::file

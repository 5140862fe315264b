#pragma once
// CREATE TABLE and CREATE INDEX, from behind those words on.

#include "drivers/sql/parse/syntax.h"
#include "drivers/sql/parse/token_reader.h"

namespace vantry::sql {

CreateTable ParseCreateTable(TokenReader& reader);
CreateIndex ParseCreateIndex(TokenReader& reader, bool unique);

}  // namespace vantry::sql

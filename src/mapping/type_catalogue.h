#pragma once
// The type catalogue: from a field's type code to a neutral name, and from the neutral name to the
// type name of one kind of database. Names only: width and scale travel beside the name and are
// never altered. Every comparison is exact, letter case included; what has no entry gives the empty
// text. The uneven cells of the tables are meant as they stand: they decide what new tables look
// like.

#include "core/session_state.h"

#include <string>

namespace vantry {

std::string AdoTypeName(i32 code);
// The other way round; 0 for a name that no code has.
i32 AdoTypeCode(const std::string& name);

std::string AccessTypeOf(const std::string& name);
std::string FoxProTypeOf(const std::string& name);
std::string OracleTypeOf(const std::string& name);
std::string MySQLTypeOf(const std::string& name);
std::string MSSQLTypeOf(const std::string& name);

// The neutral name in the terms of SourceType (direction "SOURCE") or TargetType ("DEST"). A kind
// without types of its own, or another direction, leaves the name unchanged.
std::string TranslateType(const std::string& name, const std::string& direction);

}  // namespace vantry

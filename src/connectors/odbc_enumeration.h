#pragma once
// The process-wide lists of ODBC drivers and data sources, which the connector pages filter by the
// words "ACCESS", "FOXPRO", "ORACLE", "MYSQL" and "SQL SERVER". What the driver manager has
// registered comes first and as it is called there. Behind it stand the drivers that are built in,
// and a second name for each driver whose own name lacks the word of the server that it speaks to.

#include "core/session_state.h"
#include "drivers/odbc/installed.h"

#include <string>
#include <vector>

namespace vantry {

// Fill OdbcDrivers and OdbcDsns afresh. Neither list is ever without an element: an empty one
// stands where nothing was found. Without a driver manager the built-in drivers are all there is.
void EnumerateOdbcDrivers();
void EnumerateOdbcDsns();

std::vector<std::string> OdbcDriverNames(const odbc::Machine& machine);
std::vector<DsnRec> OdbcDsnRecords(const odbc::Machine& machine);

}  // namespace vantry

#pragma once
// The driver for tables of FoxPro and dBase: folders of them, and database containers. Connection
// strings: Data Source= or SourceDB= names the folder or the .dbc; SourceType=DBC or DBF says
// which, else the path does. Deleted=No shows deleted records, Null=No makes new columns NOT NULL,
// Exclusive=Yes keeps other programs out of the tables that are in use, CodePage= is taken instead
// of the tables' own, Collate= or Collating Sequence= is the order of new indexes.

#include "data/driver.h"

#include <memory>

namespace vantry::foxpro {

std::unique_ptr<Driver> MakeFoxProDriver();

}  // namespace vantry::foxpro

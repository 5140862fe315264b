#pragma once
// The driver of text sources: a folder is a database, a file in it a table. Chosen by the
// "text" in the Extended Properties of a connection string.

#include "data/driver.h"

#include <memory>

namespace vantry::text {

std::unique_ptr<Driver> MakeTextDriver();

}  // namespace vantry::text

#pragma once
// Tables of a container: their files and the container's entry come and go together.

#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/container/container_change.h"
#include "drivers/foxpro/write/table_creator.h"

#include <string>

namespace vantry::foxpro {

// Makes the table's files in the container's folder and enters it. `table.path` and
// `table.back_link` are set here. Throws DataError, and leaves files and container as they were, if
// the name is taken or its file is there.
void CreateTableIn(Container& container, NewTable table, const sql::TableDefinition& definition);

// Takes entry and files away. Whatever interrupts it, the table is there whole or gone. The caller
// holds the table's own lock if it can be opened.
void DropTableFrom(Container& container, const ContainerTable& table);

// A drop that was interrupted before the container knew: the table's files come back.
void BringBackTable(Container& container, const ContainerTable& table);

// Whether the table at `path` says that it is one of this container's.
bool NamesAsItsOwn(const Container& container, const std::string& path);

}  // namespace vantry::foxpro

#pragma once
// How the rows of a statement come from the server: in the protocol's text form, or in its binary
// one where the text would lose digits.

#include "drivers/mysql/session.h"

#include <memory>
#include <string_view>
#include <vector>

namespace vantry::mysql {

struct OpenedRows {
    std::vector<Column> columns;
    std::unique_ptr<RowSource> rows;
};

// Runs a statement that gives rows on an idle connection. Rows come as text, as the server writes
// them, which is the fastest way; only results with FLOAT columns come in the binary form, because
// the server rounds the text of a FLOAT to six digits (16777216 becomes 16777200). Throws
// DataError.
OpenedRows OpenRows(Session& session, std::string_view sql);

}  // namespace vantry::mysql

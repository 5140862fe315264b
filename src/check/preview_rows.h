#pragma once
// The first rows of a source table as texts, with the types of its columns: a look before a copy.

#include "core/session_state.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace vantry {

inline constexpr std::size_t kRowsOfPreview = 100;

struct RowsPreview {
    struct Column {
        std::string name;
        std::string type;  // "VarWchar(40)"
    };
    struct Text {
        std::string text;
        bool is_null = false;
        bool is_cut = false;
    };
    std::vector<Column> columns;
    std::vector<std::vector<Text>> rows;
    bool whole = true;  // there are no more rows
};

// The statement that a preview of the table sends, with the table's condition; by SourceType.
std::string PreviewStatement(const TableRec& table);

// Touches nothing of the session, so that it may run on any thread. Throws DataError.
RowsPreview ReadFirstRows(const std::string& connection,
                          const std::string& statement,
                          const std::function<bool()>& given_up);

}  // namespace vantry

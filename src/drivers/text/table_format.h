#pragma once
// How one file is to be read as a table: what "Schema.ini" says of it, else what the connection
// string says, else the defaults.

#include "data/connection_string.h"
#include "drivers/text/date_picture.h"
#include "text_format/format.h"
#include "text_format/row_splitter.h"
#include "text_format/schema_ini.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text {

// What numbers look like in a file, beside digits. Single characters of UTF-8, but for the
// currency.
struct NumberForm {
    std::string decimal_symbol = ".";
    std::string currency_symbol = "$";
    std::string currency_thousand_symbol = ",";
    std::string currency_decimal_symbol = ".";
};

struct DeclaredColumn {
    std::string name;
    ColumnType type = ColumnType::Text;
    std::uint32_t width = 0;  // as written; 0: not written
    int precision = 18;       // of Decimal
    int scale = 0;
    std::optional<DatePicture> picture;  // of its own
};

struct TableFormat {
    // The file whose section counts for every file of the folder; empty: each file has its own.
    std::string layout_file;
    SplitRules::Layout layout = SplitRules::Layout::Delimited;
    std::string delimiter = ",";   // one character of UTF-8
    std::string qualifier = "\"";  // the same; empty: there is none
    bool has_header = true;
    int max_scan_rows = kDefaultScanRows;  // 0: all
    std::string character_set;             // as written; empty: not written
    std::vector<DeclaredColumn> columns;   // empty: to be found out
    std::optional<DatePicture> picture;
    NumberForm numbers;
    // Of what is written into the file.
    std::optional<int> number_digits;  // decimals; missing: as many as the value has
    std::optional<int> currency_digits;
    bool number_leading_zeros = true;
};

// The Extended Properties of a connection string, "text;HDR=No;FMT=Delimited(;)", and its key
// "Layout File": files that come and go under changing names have the layout of one sample.
TableFormat FormatOfConnection(const ConnectionString& connection);

// `format` with everything that the file's section says otherwise. `section` may be null.
void ApplySection(const SchemaSection* section, TableFormat& format);

// The types that a Col line may name, with Text for words that mean none.
ColumnType TypeOfWord(std::string_view word);

}  // namespace vantry::text

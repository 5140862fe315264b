#include "check/preview_rows.h"

#include "core/table_names.h"
#include "data/ado_types.h"
#include "data/data_error.h"
#include "data/utf.h"
#include "data/value_text.h"
#include "mapping/type_catalogue.h"

namespace vantry {
namespace {

constexpr std::size_t kLongestText = 200;  // UTF-16 units: more can't be seen in a cell

RowsPreview::Text TextOf(const Field& field) {
    RowsPreview::Text shown;
    try {
        const Cell& value = field.Value();
        if (value.IsNull()) {
            shown.is_null = true;
            return shown;
        }
        if (value.Kind() == ValueKind::Bytes) {
            shown.text = std::to_string(value.AsBytes().size()) + " bytes";
            return shown;
        }
        shown.text = ToText(value);
    } catch (const DataError& error) {
        // The other fields of the row, and the rows behind it, can be shown all the same.
        shown.text = error.Description();
    }
    if (const auto part = PrefixOfUtf16Units(shown.text, kLongestText);
        part.size() < shown.text.size()) {
        shown.text.resize(part.size());
        shown.is_cut = true;
    }
    return shown;
}

std::string TypeOf(const Field& field) {
    std::string type = AdoTypeName(field.Type());
    if (field.Type() == adNumeric || field.Type() == adDecimal || field.Type() == adVarNumeric) {
        return field.Precision() > 0 && field.Precision() < kDoesNotApply
                   ? type + "(" + std::to_string(field.Precision()) + "," +
                         std::to_string(field.NumericScale()) + ")"
                   : type;
    }
    const bool sized =
        (IsTextType(field.Type()) || IsBinaryType(field.Type())) && !IsLongType(field.Type());
    return sized ? type + "(" + std::to_string(field.DefinedSize()) + ")" : type;
}

}  // namespace

// As a run names the table: a condition of the user's must mean the same here.
std::string PreviewStatement(const TableRec& table) {
    std::string statement = "SELECT * FROM " + SourceTable(table, Reading::RowLoad);
    if (!table.WhereCond.empty()) {
        statement += " WHERE " + table.WhereCond;
    }
    return statement;
}

RowsPreview ReadFirstRows(const std::string& connection,
                          const std::string& statement,
                          const std::function<bool()>& given_up) {
    RowsPreview preview;
    Recordset rows;
    rows.Open(statement, connection, adOpenForwardOnly, adLockReadOnly);
    const auto count = rows.Fields().Count();
    for (std::int32_t k = 0; k < count; ++k) {
        const auto& field = rows.Fields()[k];
        preview.columns.push_back({field.Name(), TypeOf(field)});
    }
    // A stream: where the driver has one, only the rows that are shown are fetched.
    for (; !rows.Eof() && !given_up(); rows.MoveNext()) {
        if (preview.rows.size() == kRowsOfPreview) {
            preview.whole = false;
            break;
        }
        auto& row = preview.rows.emplace_back();
        for (std::int32_t k = 0; k < count; ++k) {
            row.push_back(TextOf(rows.Fields()[k]));
        }
    }
    return preview;
}

}  // namespace vantry

#include "data/driver.h"

namespace vantry {

DataError Cursor::FieldError(std::size_t column) const {
    return {kErrConversion, "The value of column " + Columns()[column].name + " can't be read."};
}

void Driver::CreateDatabase(const ConnectionString&) {
    throw DataError(kErrUnspecified, "This kind of database can't be created from here.");
}

Statement::Keeping Statement::Keep(std::span<const Cell> /*values*/) {
    return Keeping::Alone;
}

TableRules DriverConnection::RulesOf(std::string_view /*table*/) {
    return {};
}

void Statement::SendKept(RowOutcomes& outcomes) {
    outcomes.clear();
}

}  // namespace vantry

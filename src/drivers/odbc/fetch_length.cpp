#include "drivers/odbc/fetch_length.h"

#include <sqlext.h>

namespace vantry::odbc {

Filled FilledBytes(SQLLEN indicator, std::size_t capacity, bool said_cut_off) {
    if (indicator == SQL_NULL_DATA) {
        return {Fill::Null};
    }
    if (indicator == SQL_NO_TOTAL && said_cut_off) {
        return {Fill::CutOff, capacity};
    }
    if (indicator < 0) {
        return {Fill::Impossible};
    }
    const auto length = static_cast<std::size_t>(indicator);
    if (length > capacity) {
        return {Fill::CutOff, capacity, true, length - capacity};
    }
    // A length that fits beside "more is to come": some drivers report what they have put in
    // instead of what there is.
    return {said_cut_off && length == capacity ? Fill::CutOff : Fill::Whole, length};
}

}  // namespace vantry::odbc

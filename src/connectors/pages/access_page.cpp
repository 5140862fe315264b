#include "connectors/pages/access_page.h"

#include "connectors/pages/connector_page.h"

namespace vantry {

void FillAccessDrivers(QComboBox& drivers) {
    ListDriversOf("ACCESS", drivers);
    SelectFirst(drivers);
}

void FillAccessDsns(QComboBox& dsns) {
    // None is proposed: a data source names a file, and it must be the user's choice.
    ListDsnsOf("ACCESS", dsns);
}

std::string NumberText(long number) {
    // The blank keeps the place of the sign. Users quote these boxes and search for them as they
    // stand.
    return number < 0 ? std::to_string(number) : " " + std::to_string(number);
}

}  // namespace vantry

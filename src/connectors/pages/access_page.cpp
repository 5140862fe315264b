#include "connectors/pages/access_page.h"

#include "core/session_state.h"

namespace vantry {
namespace {

bool IsForAccess(const std::string& driver) {
    // The word is all that drivers for Access have in common.
    return ToQt(driver).toUpper().contains("ACCESS");
}

}  // namespace

void FillAccessDrivers(QComboBox& drivers) {
    for (const auto& driver : OdbcDrivers) {
        if (IsForAccess(driver)) {
            drivers.addItem(ToQt(driver));
        }
    }
    drivers.setCurrentIndex(drivers.count() > 0 ? 0 : -1);
}

void FillAccessDsns(QComboBox& dsns) {
    for (const auto& dsn : OdbcDsns) {
        if (IsForAccess(dsn.DsnDriver)) {
            dsns.addItem(ToQt(dsn.DsnName));
        }
    }
    // None is proposed: a data source names a file, and it must be the user's choice.
    dsns.setCurrentIndex(-1);
}

std::string NumberText(long number) {
    return number < 0 ? std::to_string(number) : " " + std::to_string(number);
}

}  // namespace vantry

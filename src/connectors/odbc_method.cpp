#include "connectors/odbc_method.h"

#include "data/ascii.h"

namespace vantry {

std::string OdbcSourceString(const std::string& dsn,
                             const std::string& user,
                             const std::string& password) {
    return "Provider=MSDASQL;DSN=" + dsn + ";UID=" + user + ";PWD=" + password + ";";
}

std::string_view KindOfDriver(std::string_view driver) {
    struct Rule {
        std::string_view word;
        std::string_view kind;
    };
    // The first that fits: a name may hold the words of several.
    static constexpr Rule kRules[] = {{"MySQL", "MySQL"},
                                      {"SQL SERVER", "MSSQL"},
                                      {"ACCESS", "ACCESS"},
                                      {"TEXT", "TEXT"},
                                      {"ORACLE", "ORACLE"},
                                      {"FOXPRO", "FOXPRO"}};
    for (const auto& rule : kRules) {
        if (ContainsNoCase(driver, rule.word)) {
            return rule.kind;
        }
    }
    return {};
}

}  // namespace vantry

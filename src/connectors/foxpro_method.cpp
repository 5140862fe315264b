#include "connectors/foxpro_method.h"

#include "core/driver_registry.h"
#include "data/connection_string.h"
#include "data/paths.h"

namespace vantry {

// The collations differ on purpose: a container's order is by code, a folder's by the alphabet.
std::string FoxProSourceString(FoxProForm form, FoxProMethod method, const FoxProSource& source) {
    const bool container = form == FoxProForm::Container;
    if (method == FoxProMethod::Dsn) {
        return "Provider=vfpoledb.1;DSN=" + source.dsn;
    }
    if (method == FoxProMethod::OleDb) {
        return "Provider=vfpoledb.1;Data Source=" + source.path +
               (container ? ";Collating Sequence=machine;" : ";Collating Sequence=general;");
    }
    return "Driver=" + source.driver +
           (container ? ";SourceType=DBC;SourceDb=" : ";SourceType=DBF;SourceDb=") + source.path +
           ";Collate=Machine" + (container ? ";NULL=NO;Deleted=No" : "") +
           ";Persist Security Info=False";
}

std::string FoxProTargetString(FoxProForm form, const std::string& path) {
    return std::string("Driver={Microsoft Visual FoxPro Driver};SourceType=") +
           (form == FoxProForm::Container ? "DBC" : "DBF") + ";SourceDb=" + path +
           ";Persist Security Info=False";
}

std::string FoxProPathOfDsn(const std::string& dsn) {
    const auto connection = WithDataSource(ConnectionString::Parse(
        FoxProSourceString(FoxProForm::Folder, FoxProMethod::Dsn, {"", "", dsn})));
    // Drivers name the place in different keys; the one of FoxPro's own driver comes first.
    return connection.GetAny({"SourceDB", "Data Source", "DBQ"});
}

const char* FoxProMode(FoxProForm form) {
    return form == FoxProForm::Container ? "DBC" : "DIR";
}

std::string FoxProPrefix(FoxProForm form, const std::string& path) {
    // With its closing separator: table names are put directly behind it.
    return form == FoxProForm::Container ? std::string() : JoinPath(path, "");
}

}  // namespace vantry

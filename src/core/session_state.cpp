#include "core/session_state.h"

#include "core/settings.h"

#include <filesystem>

namespace vantry {

// Nothing clears these between sessions: Back through the pages relies on what later pages left.
std::string HelpFilePath;
std::string QuoteChar = "\"";
std::string SkipLabel = "<Skip>";
std::string RepoConnStr;
i32 CurrentSessionID = 0;

std::string SourceType;
std::string TargetType;
std::string SourceConnStr;
std::string TargetConnStr;
std::vector<TableRec> SrcTables;
std::vector<TableRec> DstTables;
std::vector<ColumnRec> SrcCols;
std::vector<ColumnRec> DstCols;
std::vector<ColMapRec> ColMaps;
// Modes and prefixes of FoxPro keep their values under other kinds: readers look at the kind first.
std::string FoxSrcMode;
std::string FoxSrcPrefix;
std::string FoxDestMode;
std::string FoxDestPrefix;
std::string TextDelim;
std::string TextQual;
std::string TextDestFormat;
std::string TextDestDir;
std::string TextDestExt;
std::string TextDestDelim;
i16 TextDestHeader = kFalse;
std::string TextDestQual;
std::string PollPattern;
std::string PollRename;
std::string PollFolder;
std::string MySQLSrcDB;
std::string MySQLDstDB;
std::string MSSQLSrcDB;
std::string MSSQLDstDB;
std::string OracleDstUser;
i16 SourceViaOdbc = kFalse;
i16 SourceQueryMode = 0;
std::vector<std::string> OdbcDrivers;
std::vector<DsnRec> OdbcDsns;

// Left open by a load that was given up, until the next table replaces them.
std::unique_ptr<Connection> SrcConn;
std::unique_ptr<Recordset> SrcRS;
std::unique_ptr<Connection> DstConn;
std::unique_ptr<Recordset> DstRS;
std::unique_ptr<Connection> RepoConn;
std::unique_ptr<Catalog> SourceCatalog;

i16 SessionNotSaved = kFalse;
std::string SessionLogFile;
i16 SessionCancelled = kFalse;
i16 TableCancelled = kFalse;
std::vector<TableRec> CreatedTables;
DateTime SessionStartTime;
DateTime SessionEndTime;
DateTime TableStartTime;
DateTime TableEndTime;

void InitSharedState(const std::string& application_folder) {
    HelpFilePath = JoinPath(application_folder, "VY3Help.chm");
    QuoteChar = "\"";
    SkipLabel = "<Skip>";
    // The provider's name and the lower-case file name are in the statements of old logs.
    RepoConnStr = "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" +
                  JoinPath(application_folder, "vyrepo.mdb");
    // Unsaved: a run of it leaves no record.
    CurrentSessionID = 0;
    SessionNotSaved = kFalse;
    SessionLogFile.clear();
    LoadSettings(application_folder);
}

std::string SharedFolder() {
    return std::filesystem::path(HelpFilePath).parent_path().string();
}

}  // namespace vantry

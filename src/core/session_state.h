#pragma once
// The session: one copy job, as plain records and process-wide variables that all pages and loaders
// share. There is one session in memory at a time; nothing clears this state between sessions, each
// page overwrites its share. Booleans are 16-bit, -1 for True and 0 for False, as they are compared
// and stored by value.

#include "core/data_access.h"
#include "data/paths.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vantry {

using i16 = std::int16_t;
using i32 = std::int32_t;
inline constexpr i16 kTrue = -1;
inline constexpr i16 kFalse = 0;
inline constexpr i16 ToI16(bool value) {
    return value ? kTrue : kFalse;
}

// One table of a session; element of SrcTables and DstTables.
struct TableRec {
    i16 TabID = 0;
    std::string Name;        // of a text source: the file's name with its extension, without folder
    std::string Owner;       // empty where the kind has none
    std::string WhereCond;   // without the word WHERE; in SrcTables
    std::string LoadOption;  // "APPEND", "DELETE" or "DROP"
    i16 TableExists = kFalse;
    std::string OnlyTabname;
    std::string
        FirstTimeLoadOpt;    // "CREATE" for a table that the first run must create, else empty
    i16 SFirstColLine = 0;   // text source: 1 when the first line holds column names
    std::string SFormat;     // text source: the delimiter
    std::string TextQ;       // text source: the text qualifier
    std::string FolderName;  // text source: the folder that holds the file
    std::string Spare;
};

// One column as read from a database; element of SrcCols and DstCols.
struct ColumnRec {
    double TabID = 0;
    std::string TName;
    i16 ColCount = 0;
    std::string ColName;
    std::string ColType;  // neutral type name
    i32 ColWidth = 0;
    i32 ColSpare = 0;
    i32 ColScale = 0;
    i16 ColSelected = 0;
    i16 ColPos = 0;
};

// A source column and the target column it goes to; element of ColMaps.
struct ColMapRec {
    double TabID = 0;
    std::string TName;
    std::string SCName;  // SkipLabel when the row has no source column
    std::string DCName;  // SkipLabel when the row has no target column
    i16 SCCount = 0;
    i16 DCCount = 0;
    std::string SDtype;
    std::string DDtype;
    i32 SWidth = 0;
    i32 DWidth = 0;
    i16 SScale = 0;
    i16 DScale = 0;
    i16 Ignor = kFalse;
    i16 Pos = 0;
    i16 CPos = 0;
    i16 SSelected = 0;  // 1 when the load engine takes the row
    std::string SOrgDtype;
};

struct DsnRec {
    std::string DsnName;
    std::string DsnDriver;
};

// Fixed at start-up.
extern std::string HelpFilePath;
extern std::string QuoteChar;
extern std::string SkipLabel;
extern std::string RepoConnStr;
extern i32 CurrentSessionID;

// The session. The kinds are compared by exact letters, and only by core/kinds; strings of the
// connections hold passwords and go into no message.
extern std::string
    SourceType;  // "ACCESS", "FOXPRO", "ORACLE", "MySQL", "MSSQL", "ODBC", "TEXT", "TEXTPOLL"
extern std::string TargetType;  // "ACCESS", "FOXPRO", "ORACLE", "MySQL", "MSSQL", "TEXT"
extern std::string SourceConnStr;
extern std::string TargetConnStr;
extern std::vector<TableRec> SrcTables;
extern std::vector<TableRec> DstTables;
extern std::vector<ColumnRec> SrcCols;
extern std::vector<ColumnRec> DstCols;
extern std::vector<ColMapRec> ColMaps;
extern std::string FoxSrcMode;  // "DIR", "DBC" or empty
extern std::string FoxSrcPrefix;
extern std::string FoxDestMode;
extern std::string FoxDestPrefix;
extern std::string TextDelim;
extern std::string TextQual;
extern std::string TextDestFormat;  // "FIXED" or "DELIMITED"
extern std::string TextDestDir;
extern std::string TextDestExt;
extern std::string TextDestDelim;
extern i16 TextDestHeader;
extern std::string TextDestQual;
extern std::string PollPattern;
extern std::string PollRename;
extern std::string PollFolder;
extern std::string MySQLSrcDB;
extern std::string MySQLDstDB;
extern std::string MSSQLSrcDB;
extern std::string MSSQLDstDB;
extern std::string OracleDstUser;
extern i16 SourceViaOdbc;
extern i16 SourceQueryMode;
extern std::vector<std::string> OdbcDrivers;
extern std::vector<DsnRec> OdbcDsns;

// Open data-access objects of the run; each load replaces them.
extern std::unique_ptr<Connection> SrcConn;
extern std::unique_ptr<Recordset> SrcRS;
extern std::unique_ptr<Connection> DstConn;
extern std::unique_ptr<Recordset> DstRS;
extern std::unique_ptr<Connection> RepoConn;
extern std::unique_ptr<Catalog> SourceCatalog;  // stays attached until the next one replaces it

// The run.
// The session in memory was never saved: CurrentSessionID still names an earlier one, whose record
// is none of this run's business.
extern i16 SessionNotSaved;
// The log file that the session in memory was saved with, by its whole path. The run page writes no
// log there, but beside it the list of rows that it doesn't load.
extern std::string SessionLogFile;
extern i16 SessionCancelled;
extern i16 TableCancelled;
extern std::vector<TableRec> CreatedTables;
extern DateTime SessionStartTime;
extern DateTime SessionEndTime;
extern DateTime TableStartTime;
extern DateTime TableEndTime;

// Computes the paths and constants from the folder of what the programs keep (core/folders), and
// reads its Vantry.ini (core/settings).
void InitSharedState(const std::string& application_folder);
// The folder that InitSharedState was given: of all that the programs keep.
std::string SharedFolder();
}  // namespace vantry

// Reads what a save wrote, column by column, into the same variables and arrays that the wizard's
// pages fill; the engine runs a session without knowing where it came from. The mirror of
// session_statements.cpp: a column added there has to be read here.
// Easy to get wrong: the names. In the table Sessions the columns SourceDBName and TargetDBName
// hold the kinds, and the columns SourceType and TargetType hold the FoxPro modes; every repository
// in use has them so.
#include "repository/saved_session.h"

#include "core/kinds.h"
#include "data/value_convert.h"
#include "data/value_text.h"

namespace vantry {
namespace {

// The fields of the current row by name; names compare without case, as the database does.
class NamedRow {
public:
    explicit NamedRow(Recordset& rows) : rows_(rows) {}

    std::string Text(std::string_view name) { return ToText(Value(name)); }
    std::int64_t Number(std::string_view name) { return ToInt64(Value(name)).value_or(0); }
    i16 Small(std::string_view name) { return static_cast<i16>(Number(name)); }
    i32 Long(std::string_view name) { return static_cast<i32>(Number(name)); }
    bool Boolean(std::string_view name) { return ToBoolean(Value(name)).value_or(false); }
    std::optional<DateTime> Date(std::string_view name) { return ToDateTime(Value(name)); }
    const Cell& Value(std::string_view name) {
        auto& fields = rows_.Fields();
        for (std::int32_t k = 0; k < fields.Count(); ++k) {
            if (EqualsNoCase(fields[k].Name(), name)) {
                return fields[k].Value();
            }
        }
        throw DataError(
            kErrItemNotFound,
            "The repository has no column " + std::string(name) +
                ": it isn't one that this version of Vantry has made. Create a new repository.");
    }

private:
    Recordset& rows_;
};

std::string Qualifier(const std::string& stored) {
    if (stored == "DQ") {
        return "\"";
    }
    return stored == "SQ" ? "'" : stored;
}

SavedSession SessionOf(NamedRow& row) {
    SavedSession session;
    session.SessionID = row.Long("SessionID");
    session.SessionName = row.Text("SessionName");
    session.LogFileName = row.Text("LogFileName");
    session.DateCreated = row.Date("DateCreated");
    session.Schedule.SesFreq = row.Text("SesFreq");
    if (const auto date = row.Date("SesRunDate")) {
        session.Schedule.SesRunDate = date->day;
    }
    if (const auto time = row.Date("SesRunTime")) {
        session.Schedule.SesRunTime = time->nanos;
    }
    // Null and 0 differ: a session without a day of the month is one whose saving went wrong.
    if (!row.Value("SesRunDay").IsNull()) {
        session.Schedule.SesRunDay = row.Long("SesRunDay");
    }
    session.Schedule.SesWeekDay = row.Text("SesWeekDay");
    return session;
}

void SetSession(NamedRow& row) {
    // Kinds and modes: see above.
    SourceType = row.Text("SourceDBName");
    TargetType = row.Text("TargetDBName");
    FoxSrcMode = row.Text("SourceType");
    FoxDestMode = row.Text("TargetType");
    SourceConnStr = row.Text("SourceConnStr");
    TargetConnStr = row.Text("TargetConnStr");
    FoxSrcPrefix = row.Text("SrcDBFPath");
    FoxDestPrefix = row.Text("DBFPath");
    PollPattern = row.Text("FPattern");
    PollRename = row.Text("FRename");
    PollFolder = row.Text("FolderName");
}

// The text target is one for the whole session and stands in each of its tables.
void SetTextTarget(NamedRow& row) {
    TextDestFormat = row.Text("FileFormat");
    TextDestDir = row.Text("TextDirDest");
    TextDestExt = row.Text("FileExt");
    TextDestDelim = row.Text("DFormat");
    TextDestHeader = ToI16(row.Number("DFirstColLine") != 0);
    TextDestQual = Qualifier(row.Text("DTextQ"));
}

void AddTable(NamedRow& row) {
    TableRec source;
    source.TabID = row.Small("TabID");
    source.Name = row.Text("SourceTableName");
    source.Owner = row.Text("SourceOwnerName");
    source.OnlyTabname = row.Text("OnlyTabname");
    source.WhereCond = row.Text("WhereCond");
    source.TableExists = ToI16(row.Boolean("TableExists"));
    source.LoadOption = row.Text("LoadOption");
    source.FirstTimeLoadOpt = row.Text("FirstTimeLoadOpt");
    source.SFormat = row.Text("SFormat");
    source.TextQ = Qualifier(row.Text("TextQ"));
    source.SFirstColLine = row.Small("SFirstColLine");

    TableRec target;
    target.TabID = source.TabID;
    target.Name = row.Text("DestTableName");
    target.Owner = row.Text("DestOwnerName");
    // The repository has one set of these for a table pair; the engine reads them on either side.
    target.TableExists = source.TableExists;
    target.LoadOption = source.LoadOption;
    target.FirstTimeLoadOpt = source.FirstTimeLoadOpt;
    // Where the wizard's text target page would have put them.
    if (ThisTarget().loader == Loader::Files) {
        target.SFirstColLine = TextDestHeader != kFalse ? 1 : 0;
        target.SFormat = TextDestDelim;
    }
    SrcTables.push_back(std::move(source));
    DstTables.push_back(std::move(target));
}

void AddColumn(NamedRow& row) {
    ColMapRec column;
    column.TabID = row.Small("TabID");
    column.TName = row.Text("TName");
    column.SCName = row.Text("SCName");
    column.DCName = row.Text("DCName");
    column.SCCount = row.Small("SCCount");
    column.DCCount = row.Small("DCCount");
    column.SDtype = row.Text("SDtype");
    column.DDtype = row.Text("DDtype");
    column.SWidth = row.Long("SWidth");
    column.DWidth = row.Long("DWidth");
    column.SScale = row.Small("SScale");
    column.DScale = row.Small("DScale");
    column.Ignor = ToI16(row.Number("Ignor") != 0);
    column.Pos = row.Small("Pos");
    column.CPos = row.Small("CPos");
    column.SSelected = row.Number("SSelected") != 0 ? 1 : 0;
    column.SOrgDtype = row.Text("SOrgDtype");
    ColMaps.push_back(std::move(column));
}

}  // namespace

std::optional<SavedSession> LoadSession(i32 session_id) {
    const std::string of_session = " where SessionID=" + std::to_string(session_id);
    Connection connection;
    connection.Open(RepoConnStr);
    Recordset rows;
    rows.Open("select * from sessions" + of_session, connection);
    if (rows.Eof()) {
        return std::nullopt;
    }
    NamedRow row(rows);
    const auto session = SessionOf(row);
    SetSession(row);
    rows.Close();

    // From here on the state is the new session's: a failure leaves half of it, and the caller runs
    // nothing.
    SrcTables.clear();
    DstTables.clear();
    rows.Open("select * from vytabs" + of_session + " order by TabID", connection);
    for (; !rows.Eof(); rows.MoveNext()) {
        // The text target's settings stand in each table's row, all the same; the last one counts.
        SetTextTarget(row);
        AddTable(row);
    }
    rows.Close();

    ColMaps.clear();
    // Not by Pos: it counts over all tables as a 16-bit number, and is negative behind 32767
    // columns.
    rows.Open("select * from SrcDCols" + of_session + " order by TabID, CPos", connection);
    for (; !rows.Eof(); rows.MoveNext()) {
        AddColumn(row);
    }
    rows.Close();
    CurrentSessionID = session_id;
    SessionNotSaved = kFalse;
    return session;
}

std::optional<SavedSession> FindSession(Connection& repository, i32 session_id) {
    Recordset rows;
    rows.Open("select * from sessions where SessionID=" + std::to_string(session_id), repository);
    if (rows.Eof()) {
        return std::nullopt;
    }
    NamedRow row(rows);
    return SessionOf(row);
}

std::vector<SavedSession> ListSchedules() {
    Recordset rows;
    rows.Open("select * from sessions order by SessionID", RepoConnStr);
    NamedRow row(rows);
    std::vector<SavedSession> sessions;
    for (; !rows.Eof(); rows.MoveNext()) {
        sessions.push_back(SessionOf(row));
    }
    return sessions;
}

}  // namespace vantry

// The texts by which sessions get into the repository, put together by plain joining. The
// scheduler, the runner and users' scripts read these tables, and repositories of years ago must
// open beside new ones: names, order and types of the columns stay as they are, also where one is
// named oddly or never written.
// Easy to get wrong: which quotes. Values stand in double quotes. A text source's connection string
// and a delimiter hold double quotes themselves and stand in single ones. Nothing is escaped: a
// value with its own kind of quote breaks the statement, and the page shows the database's error.
#include "repository/session_statements.h"

#include "core/kinds.h"
#include "data/value_text.h"

namespace vantry {

const char* const kCreateSessions =
    "Create Table [Sessions] ("
    "[SessionID] Long,"
    "[SessionName] Text(50),"
    "[DateCreated] DateTime,"
    "[LastModified] DateTime,"
    "[LastRunDate] DateTime,"
    "[LastRunTime] DateTime,"
    "[LogFileName] Memo,"
    "[SessionError] Integer,"
    "[ScheduleID] Long,"
    "[SourceDBName] Text(50),"
    "[TargetDBName] Text(50),"
    "[SourceType] Text(50),"
    "[TargetType] Text(50),"
    "[SourceUsername] Text(50),"
    "[TargetUsername] Text(50),"
    "[SourcePwd] Text(50),"
    "[TargetPwd] Text(50),"
    "[SourceProvider] Text(50),"
    "[TargetProvider] Text(50),"
    "[SourceODBCDriver] Text(50),"
    "[TargetODBCDriver] Text(50),"
    "[SourceODBCDSN] Text(50),"
    "[TargetODBCDSN] Text(50),"
    "[SourceConnStr] Memo,"
    "[TargetConnStr] Memo,"
    "[SrcDBFPath] Memo,"
    "[DBFPath] Memo,"
    "[FPattern] Text(255),"
    "[FRename] Text(255),"
    "[FolderName] Memo,"
    "[SesFreq] Text(1),"
    "[SesRunDate] DateTime,"
    "[SesRunTime] DateTime,"
    "[SesRunDay] Integer,"
    "[SesWeekDay] Text(7))";

const char* const kCreateVYTabs =
    "Create Table [VYTabs] ([SessionID] Long,"
    "[TabID] Long,"
    "[SourceTableName] Memo,"
    "[SourceOwnerName] Text(50),"
    "[DestTableName] Memo,"
    "[DestOwnerName] Text(50),"
    "[OnlyTabname] Text(50),"
    "[WhereCond] Memo,"
    "[TableExists]  yesno,"
    "[LoadOption] Text(10),"
    "[FirstTimeLoadOpt] Text(50),"
    "[TrimTname] Text(50),"
    "[FileName] Memo,"
    "[SFormat] Text(50),"
    "[TextQ] Text(50),"
    "[SFirstColLine] Integer,"
    "[FileFormat] Text(50),"
    "[TextDirDest] Memo,"
    "[FileExt] Text(50),"
    "[DFormat] Text(50),"
    "[DFirstColLine] Integer,"
    "[DTextQ] Text(50))";

const char* const kCreateSrcDCols =
    "Create Table [SrcDCols] ("
    "[SessionID] Long,"
    "[TabId] Long,"
    "[TName] Text(50),"
    "[SCName] Text(50),"
    "[DCName] Text(50),"
    "[SCCount] Long,"
    "[DCCount] Long,"
    "[SDtype] Text(50),"
    "[DDtype] Text(50),"
    "[SWidth] Long,"
    "[DWidth] Long,"
    "[SScale] Long,"
    "[DScale] Long,"
    "[Ignor] Integer,"
    "[Pos] Long,"
    "[CPos] Long,"
    "[SSelected] Long,"
    "[SOrgDtype] Text(50))";

namespace {

std::string DoubleQuoted(const std::string& value) {
    return "\"" + value + "\"";
}

std::string SingleQuoted(const std::string& value) {
    return "'" + value + "'";
}

std::string Number(std::int64_t value) {
    return std::to_string(value);
}

const char* OneOrZero(bool value) {
    return value ? "1" : "0";
}

std::string PickerText(const DateTime& value) {
    return DoubleQuoted(ToText(Cell::FromDateTime(value)));
}

std::string Join(std::initializer_list<std::string> values) {
    std::string text;
    for (const auto& value : values) {
        text += value + ",";
    }
    text.pop_back();
    return text;
}

// A qualifier that is a quote itself would end the literal around it: it goes in as "DQ" or "SQ".
std::string EncodedQualifier(const std::string& qualifier, const std::string& otherwise) {
    if (qualifier == "\"") {
        return DoubleQuoted("DQ");
    }
    return qualifier == "'" ? DoubleQuoted("SQ") : otherwise;
}

}  // namespace

std::string SessionsInsert(i32 session_id, const SessionSave& save, const DateTime& now) {
    // Their connection strings hold `text;FMT=Delimited` in double quotes.
    const bool text_source = ThisSource().text_files;
    return "insert into sessions "
           "(sessionid,sessionname,datecreated,logfilename,sourcedbname,targetdbname,SourceType,"
           "TargetType,SourceConnStr,TargetConnStr,SrcDBFPath,DBFPath,FPattern,FRename,FolderName,"
           "SesFreq,SesRunDate,SesRunTime,SesRunDay,SesWeekDay) values ( " +
           Join({Number(session_id),
                 DoubleQuoted(save.SesName),
                 PickerText(now),
                 DoubleQuoted(save.LogName),
                 DoubleQuoted(SourceType),
                 DoubleQuoted(TargetType),
                 DoubleQuoted(FoxSrcMode),
                 DoubleQuoted(FoxDestMode),
                 text_source ? SingleQuoted(SourceConnStr) : DoubleQuoted(SourceConnStr),
                 DoubleQuoted(TargetConnStr),
                 DoubleQuoted(FoxSrcPrefix),
                 DoubleQuoted(FoxDestPrefix),
                 DoubleQuoted(PollPattern),
                 DoubleQuoted(PollRename),
                 DoubleQuoted(PollFolder),
                 save.SesFreq,
                 save.SesRunDate,
                 save.SesRunTime,
                 save.SesRunDay,
                 save.SesWeekDay}) +
           ")";
}

std::string TableInsert(i32 session_id, std::size_t i) {
    const TableRec& source = SrcTables.at(i);
    const TableRec& target = DstTables.at(i);
    return "insert into vytabs "
           "(sessionid,tabid,sourcetablename,sourceownername,desttablename,destownername,"
           "onlytabname,wherecond,tableexists,loadoption,firstTimeLoadOpt,SFormat,TextQ,"
           "SFirstColLine,FileFormat,TextDirDest,FileExt,DFormat,DFirstColLine,DTextQ) values (" +
           Join({Number(session_id),
                 Number(source.TabID),
                 DoubleQuoted(source.Name),
                 DoubleQuoted(source.Owner),
                 DoubleQuoted(target.Name),
                 DoubleQuoted(target.Owner),
                 DoubleQuoted(source.OnlyTabname),
                 DoubleQuoted(source.WhereCond),
                 OneOrZero(target.TableExists != kFalse),
                 DoubleQuoted(source.LoadOption),
                 DoubleQuoted(source.FirstTimeLoadOpt),
                 SingleQuoted(source.SFormat),
                 // A source without a qualifier is stored as Null, a target without one as an empty
                 // text. Stored sessions have both forms.
                 EncodedQualifier(source.TextQ, "null"),
                 // A number in quotes: the database turns it into one.
                 DoubleQuoted(Number(source.SFirstColLine)),
                 DoubleQuoted(TextDestFormat),
                 DoubleQuoted(TextDestDir),
                 DoubleQuoted(TextDestExt),
                 DoubleQuoted(TextDestDelim),
                 OneOrZero(TextDestHeader != kFalse),
                 EncodedQualifier(TextDestQual, DoubleQuoted(TextDestQual))}) +
           ")";
}

std::string ColumnInsert(i32 session_id, i16 tab_id, const ColMapRec& column) {
    return "insert into "
           "srcdcols(sessionid,tabid,tname,scname,dcname,sccount,dccount,sdtype,ddtype,swidth,"
           "dwidth,sscale,dscale,ignor,pos,cpos,sselected,sorgdtype) values (" +
           Join({Number(session_id),
                 Number(tab_id),
                 DoubleQuoted(column.TName),
                 DoubleQuoted(column.SCName),
                 DoubleQuoted(column.DCName),
                 Number(column.SCCount),
                 Number(column.DCCount),
                 DoubleQuoted(column.SDtype),
                 DoubleQuoted(column.DDtype),
                 Number(column.SWidth),
                 Number(column.DWidth),
                 Number(column.SScale),
                 Number(column.DScale),
                 OneOrZero(column.Ignor != kFalse),
                 Number(column.Pos),
                 Number(column.CPos),
                 OneOrZero(column.SSelected != 0),
                 DoubleQuoted(column.SOrgDtype)}) +
           ")";
}

std::string SessionUpdate(i32 session_id, const SessionSave& save) {
    return "Update Sessions Set " +
           Join({"SessionName=" + DoubleQuoted(save.SesName),
                 "LogFileName=" + DoubleQuoted(save.LogName),
                 "SesFreq=" + save.SesFreq,
                 "SesRunTime=" + save.SesRunTime,
                 "SesRunDate=" + save.SesRunDate,
                 "SesRunDay=" + save.SesRunDay,
                 "SesWeekDay=" + save.SesWeekDay}) +
           " Where SessionId=" + Number(session_id);
}

void SetDaily(SessionSave& save, const DateTime& time) {
    save.SesFreq = DoubleQuoted("D");
    save.SesRunTime = PickerText(time);
}

void SetWeekly(SessionSave& save, const DateTime& time, const std::string& mask) {
    save.SesFreq = DoubleQuoted("W");
    save.SesRunTime = PickerText(time);
    save.SesWeekDay = DoubleQuoted(mask);
}

void SetMonthly(SessionSave& save, const DateTime& time, int day) {
    save.SesFreq = DoubleQuoted("M");
    save.SesRunTime = PickerText(time);
    save.SesRunDay = DoubleQuoted(Number(day));
}

void SetMonthlyUnquoted(SessionSave& save, const DateTime& time, const std::string& day) {
    // A blank day leaves ",SesWeekDay=" behind "SesRunDay=", which the database refuses, and the
    // session stays as it was.
    SetMonthly(save, time, 0);
    save.SesRunDay = day;
}

void SetOnce(SessionSave& save, const DateTime& date, const DateTime& time) {
    save.SesFreq = DoubleQuoted("O");
    save.SesRunDate = PickerText(date);
    save.SesRunTime = PickerText(time);
}

void SetHourly(SessionSave& save, int hours, const std::string& minute_mark) {
    save.SesFreq = DoubleQuoted("H");
    save.SesRunDay = Number(hours);
    // There is no column for the minute of the hour; hourly sessions have no use for the week's.
    save.SesWeekDay = DoubleQuoted(minute_mark);
}

void SetMinutely(SessionSave& save, int minutes) {
    save.SesFreq = DoubleQuoted("N");
    save.SesRunDay = Number(minutes);
}

}  // namespace vantry

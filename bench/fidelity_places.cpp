// Sources aren't filled by the loaders, or a fault of theirs would be on both sides: SQLite's files
// are written by SQLite, text by this program, and Access, FoxPro and MySQL, for want of a second
// writer in this process, row by row by a recordset. Rows come back by their number, whatever the
// order.

#include "fidelity_places.h"

#include "core/data_access.h"
#include "core/session_state.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <sqlite3.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vantry::bench {
namespace {

constexpr const char* kSqliteLibrary = "libsqlite3odbc.so";

bool IsAccess(std::string_view place) {
    return place.starts_with("ACCESS");
}

bool IsFoxPro(std::string_view place) {
    return place.starts_with("FOXPRO");
}

// The kind of a place, as the session has it.
std::string KindOf(const std::string& place) {
    return IsAccess(place) ? "ACCESS" : IsFoxPro(place) ? "FOXPRO" : place;
}

bool IsSqlite(std::string_view place) {
    return place == "ODBC" || place == "MSSQL" || place == "ORACLE";
}

struct SqliteCloser {
    void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteFile = std::unique_ptr<sqlite3, SqliteCloser>;
using SqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteCloser>;

SqliteFile OpenSqlite(const std::string& path) {
    sqlite3* handle = nullptr;
    const int code = sqlite3_open(path.c_str(), &handle);
    SqliteFile file(handle);
    if (code != SQLITE_OK) {
        throw std::runtime_error("SQLite can't open " + path);
    }
    return file;
}

SqliteStatement Prepared(sqlite3* handle, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        throw std::runtime_error(std::string(sqlite3_errmsg(handle)) + " in " + sql);
    }
    return SqliteStatement(statement);
}

void Run(sqlite3* handle, const std::string& sql) {
    const auto statement = Prepared(handle, sql);
    sqlite3_step(statement.get());
}

// As SQLite's users store values: dates and decimals as text, which a numeric column turns into
// numbers of its own.
void Bind(sqlite3_stmt* statement, int index, const Cell& cell) {
    switch (cell.Kind()) {
        case ValueKind::Null:
            sqlite3_bind_null(statement, index);
            break;
        case ValueKind::Boolean:
            sqlite3_bind_int(statement, index, cell.AsBoolean() ? 1 : 0);
            break;
        case ValueKind::Int64:
            sqlite3_bind_int64(statement, index, cell.AsInt64());
            break;
        case ValueKind::Single:
        case ValueKind::Double:
            sqlite3_bind_double(statement, index, *ToDouble(cell));
            break;
        case ValueKind::Bytes:
            sqlite3_bind_blob64(
                statement, index, cell.AsBytes().data(), cell.AsBytes().size(), SQLITE_TRANSIENT);
            break;
        default: {
            std::string text;
            if (cell.Kind() == ValueKind::DateTime) {
                AppendIsoDateTime(cell.AsDateTime(), text);
            } else {
                AppendText(cell, text);
            }
            sqlite3_bind_text64(
                statement, index, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        }
    }
}

Value ReadColumn(sqlite3_stmt* statement, int index) {
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
    switch (sqlite3_column_type(statement, index)) {
        case SQLITE_NULL:
            return Value(Cell::Null());
        case SQLITE_INTEGER:
            return Value(Cell::Int64(sqlite3_column_int64(statement, index)));
        case SQLITE_FLOAT:
            return Value(Cell::Double(sqlite3_column_double(statement, index)));
        case SQLITE_BLOB: {
            const auto* bytes =
                static_cast<const std::byte*>(sqlite3_column_blob(statement, index));
            return Value(Cell::Bytes({bytes, size}));
        }
        default: {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
            return Value(Cell::Text({text, size}));
        }
    }
}

std::string Joined(const FidelityTable& table, const std::vector<std::size_t>& columns) {
    std::string names;
    for (const auto column : columns) {
        names += (names.empty() ? "" : ", ") + std::string(table.columns[column].name);
    }
    return names;
}

ReadRows EmptyRows(const FidelityTable& table) {
    return ReadRows(static_cast<std::size_t>(table.rows) + 1);
}

// The row goes where its number says; one that comes twice, or that nobody sent, is told.
void Place(ReadRows& rows, std::vector<Value> row) {
    const auto number = row.empty() ? std::nullopt : ToInt64(row[0].AsCell());
    if (!number || *number < 1 || *number >= static_cast<std::int64_t>(rows.size()) ||
        !rows[static_cast<std::size_t>(*number)].empty()) {
        throw std::runtime_error("The target has a row that the source hasn't, or has it twice.");
    }
    rows[static_cast<std::size_t>(*number)] = std::move(row);
}

}  // namespace

FidelityPlaces::FidelityPlaces() {
    std::filesystem::create_directory(temp_ / "in");
    std::filesystem::create_directory(temp_ / "out");
    registry_.Register({test::PrivateOdbc::Driver("SQLite3", kSqliteLibrary),
                        test::PrivateOdbc::Driver("SQL Server", kSqliteLibrary),
                        test::PrivateOdbc::Driver("Oracle ODBC Driver", kSqliteLibrary)});
    if (Missing("MySQL").empty()) {
        server_ = std::make_unique<test::PrivateMariaDb>();
    }
}

std::vector<std::string> FidelityPlaces::Sources() {
    return {"TEXT",
            "ACCESS .mdb",
            "ACCESS .accdb",
            "MySQL",
            "ODBC",
            "MSSQL",
            "ORACLE",
            "FOXPRO DIR",
            "FOXPRO DBC"};
}

std::vector<std::string> FidelityPlaces::Targets() {
    return {"TEXT",
            "ACCESS .mdb",
            "ACCESS .accdb",
            "MySQL",
            "MSSQL",
            "ORACLE",
            "FOXPRO DIR",
            "FOXPRO DBC"};
}

std::string FidelityPlaces::Missing(std::string_view place) {
    return IsSqlite(place)    ? test::PrivateOdbc::Missing(kSqliteLibrary, "libsqliteodbc")
           : place == "MySQL" ? test::PrivateMariaDb::Missing()
                              : std::string();
}

std::string_view FidelityPlaces::TypeOf(std::string_view place, const FidelityColumn& column) {
    return IsAccess(place)     ? column.access
           : place == "MySQL"  ? column.mysql
           : place == "ODBC"   ? column.sqlite
           : place == "MSSQL"  ? column.mssql
           : place == "ORACLE" ? column.oracle
           : IsFoxPro(place)   ? column.foxpro
                               : column.text;
}

std::vector<std::size_t> FidelityPlaces::ColumnsOf(std::string_view place,
                                                   const FidelityTable& table) {
    std::vector<std::size_t> columns;
    for (std::size_t k = 0; k < table.columns.size(); ++k) {
        if (!TypeOf(place, table.columns[k]).empty()) {
            columns.push_back(k);
        }
    }
    return columns;
}

std::string FidelityPlaces::File(const std::string& place, bool is_target) const {
    if (place == "FOXPRO DIR") {
        return (temp_ / (is_target ? "out" : "in")).string();
    }
    const auto extension = IsAccess(place)   ? place.substr(7)
                           : IsFoxPro(place) ? std::string(".dbc")
                                             : std::string(".db");
    return (temp_ / (is_target ? "out" : "in") / ("file" + extension)).string();
}

std::string FidelityPlaces::ConnectionText(const std::string& place, bool is_target) const {
    const std::string file = File(place, is_target);
    if (place == "TEXT") {
        return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (temp_ / "in").string() +
               ";Extended Properties=\"text;FMT=Delimited\";\"";
    }
    if (IsAccess(place)) {
        return "Provider=Microsoft." +
               std::string(place.ends_with("accdb") ? "ACE.OLEDB.12.0" : "Jet.OLEDB.4.0") +
               ";Data Source=" + file;
    }
    if (IsFoxPro(place)) {
        return "Driver={Microsoft Visual FoxPro Driver};SourceType=" +
               std::string(place.ends_with("DIR") ? "DBF" : "DBC") + ";SourceDb=" + file +
               ";Persist Security Info=False";
    }
    if (place == "MySQL") {
        return server_->ConnectionText();
    }
    if (place == "ODBC") {
        return "DRIVER={SQLite3};Database=" + file;
    }
    return place == "MSSQL"
               ? "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes;Database=" + file
               : "Provider=OraOLEDB.Oracle;Data Source=svc;Database=" + file +
                     ";User ID=scott;Password=tiger;";
}

void FidelityPlaces::SetSource(const std::string& place, const FidelityTable& table) {
    std::filesystem::remove_all(temp_ / "in");
    std::filesystem::create_directory(temp_ / "in");
    SourceType = KindOf(place);
    FoxSrcMode = IsFoxPro(place) ? place.substr(7) : "";
    FoxSrcPrefix = place == "FOXPRO DIR" ? (temp_ / "in").string() + "/" : "";
    SourceConnStr = ConnectionText(place, false);
    SrcTables.assign(1, TableRec());
    DstTables.clear();
    SrcTables[0].Name = std::string(table.name) + (place == "TEXT" ? ".csv" : "");
    if (place == "MySQL") {
        SrcTables[0].Owner = server_->Database();
    } else if (IsSqlite(place)) {
        SrcTables[0].Owner = "main";
    }
    if (place == "TEXT") {
        WriteText(table);
    } else if (IsSqlite(place)) {
        FillSqlite(place, table);
    } else {
        FillByRecordset(place, table);
    }
}

void FidelityPlaces::WriteText(const FidelityTable& table) {
    const auto columns = ColumnsOf("TEXT", table);
    const auto folder = temp_ / "in";
    std::ofstream schema(folder / "Schema.ini");
    schema << "[" << table.name << ".csv]\nFormat=CSVDelimited\nColNameHeader=True\n"
           << "CharacterSet=65001\n";
    std::ofstream file(folder / (std::string(table.name) + ".csv"), std::ios::binary);
    file << Joined(table, columns) << "\r\n";
    for (std::size_t k = 0; k < columns.size(); ++k) {
        schema << "Col" << k + 1 << "=" << table.columns[columns[k]].name << " "
               << table.columns[columns[k]].text << "\n";
    }
    for (int row = 1; row <= table.rows; ++row) {
        for (const auto column : columns) {
            const auto value = FidelityValue(table, column, row);
            const Cell cell = value.AsCell();
            std::string text;
            if (cell.Kind() == ValueKind::Text) {
                text = "\"";
                for (const char c : cell.AsText()) {
                    text += c;
                    text += c == '"' ? "\"" : "";
                }
                text += '"';
            } else if (cell.Kind() == ValueKind::DateTime) {
                AppendIsoDateTime(cell.AsDateTime(), text);
            } else if (!cell.IsNull()) {
                text = ToText(cell);
            }
            file << (column == columns.front() ? "" : ",") << text;
        }
        file << "\r\n";
    }
}

void FidelityPlaces::FillSqlite(const std::string& place, const FidelityTable& table) {
    const auto columns = ColumnsOf(place, table);
    const auto file = OpenSqlite(File(place, false));
    std::string create;
    std::string marks;
    for (const auto column : columns) {
        create += (create.empty() ? "" : ", ") + std::string(table.columns[column].name) + " " +
                  std::string(TypeOf(place, table.columns[column]));
        marks += marks.empty() ? "?" : ",?";
    }
    Run(file.get(), "create table " + std::string(table.name) + " (" + create + ")");
    Run(file.get(), "begin");
    const auto insert =
        Prepared(file.get(), "insert into " + std::string(table.name) + " values (" + marks + ")");
    for (int row = 1; row <= table.rows; ++row) {
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const auto value = FidelityValue(table, columns[k], row);
            Bind(insert.get(), static_cast<int>(k + 1), value.AsCell());
        }
        sqlite3_step(insert.get());
        sqlite3_reset(insert.get());
    }
    Run(file.get(), "commit");
}

void FidelityPlaces::FillByRecordset(const std::string& place, const FidelityTable& table) {
    const auto columns = ColumnsOf(place, table);
    const auto text = ConnectionText(place, false);
    if (IsAccess(place) || place == "FOXPRO DBC") {
        Catalog().Create(text);
    } else if (place == "MySQL") {
        server_->Run("drop table if exists " + server_->Database() + "." + std::string(table.name));
    }
    std::string create;
    for (const auto column : columns) {
        create += (create.empty() ? "" : ", ") + std::string(table.columns[column].name) + " " +
                  std::string(TypeOf(place, table.columns[column]));
    }
    Connection connection;
    connection.Open(text);
    connection.Execute("CREATE TABLE " + std::string(table.name) + " (" + create + ")");
    Recordset rows;
    rows.Open("SELECT " + Joined(table, columns) + " FROM " + std::string(table.name),
              connection,
              adOpenDynamic,
              adLockOptimistic);
    for (int row = 1; row <= table.rows; ++row) {
        rows.AddNew();
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const auto value = FidelityValue(table, columns[k], row);
            rows.Fields()[static_cast<std::int32_t>(k)].SetValue(value.AsCell());
        }
        rows.Update();
    }
    rows.Close();
    connection.Close();
}

void FidelityPlaces::SetTarget(const std::string& place) {
    std::filesystem::remove_all(temp_ / "out");
    std::filesystem::create_directory(temp_ / "out");
    TargetType = KindOf(place);
    FoxDestMode = IsFoxPro(place) ? place.substr(7) : "";
    FoxDestPrefix = place == "FOXPRO DIR" ? (temp_ / "out").string() + "/" : "";
    TargetConnStr = place == "TEXT" ? std::string() : ConnectionText(place, true);
    if (place == "TEXT") {
        TextDestFormat = "DELIMITED";
        TextDestDelim = "\t";
        TextDestQual = "\"";
        TextDestHeader = kTrue;
        TextDestExt = ".txt";
        TextDestDir = (temp_ / "out").string();
    } else if (IsAccess(place) || place == "FOXPRO DBC") {
        Catalog().Create(TargetConnStr);
    } else if (place == "MySQL") {
        server_->Run("drop table if exists " + server_->Database() + "." + kTargetTable);
    } else if (place == "ORACLE") {
        Run(OpenSqlite(File(place, true)).get(),
            "create table user_tables (table_name varchar(30))");
    }
}

ReadRows FidelityPlaces::ReadTarget(const std::string& place,
                                    const FidelityTable& table,
                                    const std::vector<std::size_t>& columns) const {
    if (IsSqlite(place)) {
        return ReadSqlite(File(place, true), table, columns);
    }
    auto rows = EmptyRows(table);
    Recordset read;
    read.Open("SELECT " + Joined(table, columns) + " FROM " + kTargetTable,
              TargetConnStr,
              adOpenForwardOnly,
              adLockReadOnly);
    for (; !read.Eof(); read.MoveNext()) {
        std::vector<Value> row;
        row.reserve(columns.size());
        for (std::int32_t k = 0; k < read.Fields().Count(); ++k) {
            row.emplace_back(read.Fields()[k].Value());
        }
        Place(rows, std::move(row));
    }
    return rows;
}

ReadRows FidelityPlaces::ReadSqlite(const std::string& file,
                                    const FidelityTable& table,
                                    const std::vector<std::size_t>& columns) const {
    auto rows = EmptyRows(table);
    const auto handle = OpenSqlite(file);
    const auto select =
        Prepared(handle.get(), "select " + Joined(table, columns) + " from " + kTargetTable);
    while (sqlite3_step(select.get()) == SQLITE_ROW) {
        std::vector<Value> row;
        row.reserve(columns.size());
        for (int k = 0; k < sqlite3_column_count(select.get()); ++k) {
            row.push_back(ReadColumn(select.get(), k));
        }
        Place(rows, std::move(row));
    }
    return rows;
}

}  // namespace vantry::bench

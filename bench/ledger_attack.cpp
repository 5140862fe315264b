// Random sessions of odd values between the kinds that this machine has, row by row, into tables of
// random types: what the check before says of a row must be what the run and the verification say
// of it.
//
//     ledger_attack SEED SESSIONS [FROM [TO]]
//     ledger_attack rejects [TABLES [ROWS]]     (reject_reload.h)
//
// A row that is "refused" isn't in the target and is in the reject count; of one that isn't, the
// columns that are "changed" are those in which the verification finds a difference. Prints each
// disagreement with the seed that repeats it, and ends with 1 if there is one.

#include "check/check_text.h"
#include "check/data_check.h"
#include "core/data_access.h"
#include "core/folders.h"
#include "core/session_state.h"
#include "core/settings.h"
#include "data/calendar.h"
#include "data/value_text.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/run_view.h"
#include "log_view.h"
#include "mapping/column_discovery.h"
#include "mapping/map_check.h"
#include "odd_values.h"
#include "reject_reload.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "support/temp_dir.h"
#include "text/text_writer.h"

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::bench {
namespace {

constexpr int kRows = 10;

struct KindOfPlace {
    std::string_view name;
    std::string_view kind;
    // Types of a source's columns by Odd; empty: it has none.
    std::string_view source[9];
    std::vector<std::string_view> targets;  // of columns that exist
};

const std::vector<KindOfPlace>& Places() {
    static const std::vector<KindOfPlace> places = {
        {"ACCESS",
         "ACCESS",
         {"Long",
          "Decimal(28,6)",
          "Double",
          "Single",
          "DateTime",
          "Text(60)",
          "Memo",
          "LongBinary",
          "YesNo"},
         {"Text(8)",
          "Text(60)",
          "Long",
          "Short",
          "Byte",
          "Single",
          "Double",
          "Currency",
          "Decimal(10,2)",
          "DateTime",
          "YesNo",
          "Memo",
          "LongBinary"}},
        {"FOXPRO",
         "FOXPRO",
         {"I", "N(20,4)", "B", "B", "T", "V(60)", "M", "W", "L"},
         {"C(8)", "V(60)", "I", "N(6,2)", "N(3)", "B", "Y", "D", "T", "L", "M", "W"}},
        {"MySQL",
         "MySQL",
         {"int",
          "decimal(28,6)",
          "double",
          "float",
          "datetime(6)",
          "varchar(60)",
          "longtext",
          "longblob",
          "tinyint(1)"},
         {"char(8)",
          "varchar(8)",
          "varchar(60)",
          "int",
          "smallint",
          "tinyint unsigned",
          "bigint",
          "float",
          "double",
          "decimal(6,2)",
          "decimal(30,6)",
          "date",
          "datetime",
          "datetime(3)",
          "timestamp",
          "text",
          "longtext",
          "longblob",
          "varbinary(8)"}},
        {"MSSQL",
         "MSSQL",
         {"int",
          "decimal(28,6)",
          "float",
          "real",
          "datetime2(7)",
          "nvarchar(60)",
          "ntext",
          "image",
          "bit"},
         {"char(8)",      "nchar(8)",     "varchar(8)", "nvarchar(60)", "int",
          "smallint",     "tinyint",      "bigint",     "real",         "float",
          "decimal(6,2)", "money",        "smallmoney", "datetime",     "smalldatetime",
          "datetime2(7)", "datetime2(3)", "date",       "time(3)",      "datetimeoffset(0)",
          "bit",          "ntext",        "text",       "image",        "varbinary(8)"}},
        {"TEXT",
         "TEXT",
         {"Long",
          "Decimal Precision 28 Scale 6",
          "Double",
          "Single",
          "DateTime",
          "Text Width 60",
          "Memo",
          "",
          "Bit"},
         {}}};
    return places;
}

using Row = std::vector<Value>;

class Attack {
public:
    Attack() {
        registry_.Register({test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
        std::filesystem::create_directory(temp_ / "in");
        std::filesystem::create_directory(temp_ / "out");
    }
    int Run(unsigned seed, std::string_view from, std::string_view to);
    int sessions = 0;
    int rows_tried = 0;
    int counted[3] = {};

private:
    std::string Connection(const KindOfPlace& place, bool is_target);
    void MakeSource(const KindOfPlace& place);
    void MakeTarget(const KindOfPlace& place);
    void WriteText();
    void Map(bool first);
    int TryRow(int row, bool made);
    int Tell(const std::string& what) const {
        std::printf("seed %u, %s into %s: %s\n", seed_, from_.c_str(), to_.c_str(), what.c_str());
        std::fflush(stdout);
        return 1;
    }

    test::TempDir temp_;
    test::PrivateOdbc registry_;
    std::unique_ptr<test::PrivateMariaDb> mysql_;
    std::unique_ptr<test::TdsServer> mssql_;
    OddValues random_;
    unsigned seed_ = 0;
    std::string from_;
    std::string to_;
    std::vector<Odd> odds_;
    std::vector<Row> data_;
    std::string types_;
};

std::string Attack::Connection(const KindOfPlace& place, bool is_target) {
    const auto folder = temp_ / (is_target ? "out" : "in");
    if (place.kind == "ACCESS") {
        return "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + (folder / "file.mdb").string();
    }
    if (place.kind == "FOXPRO") {
        return "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" +
               folder.string() + ";Null=Yes";
    }
    if (place.kind == "MySQL") {
        if (!mysql_) {
            mysql_ = std::make_unique<test::PrivateMariaDb>();
        }
        return mysql_->ConnectionText();
    }
    if (place.kind == "MSSQL") {
        if (!mssql_) {
            mssql_ = std::make_unique<test::TdsServer>();
        }
        return mssql_->ConnectionText();
    }
    return "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder.string() +
           ";Extended Properties=\"text;FMT=Delimited\";\"";
}

void Attack::WriteText() {
    std::ofstream schema(temp_ / "in" / "Schema.ini");
    schema << "[odd.csv]\nFormat=CSVDelimited\nColNameHeader=True\nCharacterSet=65001\nCol1=n "
              "Long\n";
    std::ofstream file(temp_ / "in" / "odd.csv", std::ios::binary);
    file << "n";
    for (std::size_t k = 0; k < odds_.size(); ++k) {
        schema << "Col" << k + 2 << "=c" << k << " "
               << Places().back().source[static_cast<int>(odds_[k])] << "\n";
        file << ",c" << k;
    }
    file << "\r\n";
    for (std::size_t row = 0; row < data_.size(); ++row) {
        file << row + 1;
        for (const auto& value : data_[row]) {
            const Cell cell = value.AsCell();
            std::string text;
            if (cell.Kind() == ValueKind::Text) {
                text = "\"";
                for (const char c : cell.AsText()) {
                    text.append(c == '"' ? 2 : 1, c);
                }
                text += '"';
            } else if (cell.Kind() == ValueKind::DateTime) {
                AppendIsoDateTime(cell.AsDateTime(), text);
            } else if (!cell.IsNull()) {
                text = ToText(cell);
            }
            file << ',' << text;
        }
        file << "\r\n";
    }
}

void Attack::MakeSource(const KindOfPlace& place) {
    std::filesystem::remove_all(temp_ / "in");
    std::filesystem::create_directory(temp_ / "in");
    SourceType = std::string(place.kind);
    SourceConnStr = Connection(place, false);
    FoxSrcMode = place.kind == "FOXPRO" ? "DIR" : "";
    FoxSrcPrefix = place.kind == "FOXPRO" ? (temp_ / "in").string() + "/" : "";
    SrcTables.assign(1, TableRec());
    DstTables.clear();
    SrcTables[0].Name = place.kind == "TEXT" ? "odd.csv" : "odd";
    if (place.kind == "TEXT") {
        WriteText();
        return;
    }
    if (place.kind == "ACCESS") {
        Catalog().Create(SourceConnStr);
    } else if (place.kind == "MySQL") {
        SrcTables[0].Owner = mysql_->Database();
        mysql_->Run("drop table if exists " + mysql_->Database() + ".odd");
    } else if (place.kind == "MSSQL") {
        SrcTables[0].Owner = "dbo";
        mssql_->Run("drop table if exists odd");
    }
    std::string create = "CREATE TABLE odd (n int";
    std::string names = "n";
    if (place.kind == "FOXPRO") {
        create = "CREATE TABLE odd (n I";
    }
    for (std::size_t k = 0; k < odds_.size(); ++k) {
        create += ", c" + std::to_string(k) + " " +
                  std::string(place.source[static_cast<int>(odds_[k])]) +
                  (place.kind == "FOXPRO" ? " NULL" : "");
        names += ", c" + std::to_string(k);
    }
    vantry::Connection connection;
    connection.Open(SourceConnStr);
    connection.Execute(create + ")");
    for (std::size_t row = 0; row < data_.size(); ++row) {
        Recordset rows;
        rows.Open("SELECT " + names + " FROM odd", connection, adOpenDynamic, adLockOptimistic);
        rows.AddNew();
        rows.Fields()[0].SetValue(Cell::Int64(static_cast<std::int64_t>(row) + 1));
        try {
            for (std::size_t k = 0; k < odds_.size(); ++k) {
                rows.Fields()[static_cast<std::int32_t>(k + 1)].SetValue(data_[row][k].AsCell());
            }
            rows.Update();
        } catch (const DataError&) {
            // What the source doesn't take is no value of it: the row goes without one.
        }
    }
    connection.Close();
}

void Attack::MakeTarget(const KindOfPlace& place) {
    std::filesystem::remove_all(temp_ / "out");
    std::filesystem::create_directory(temp_ / "out");
    TargetType = std::string(place.kind);
    FoxDestMode = place.kind == "FOXPRO" ? "DIR" : "";
    FoxDestPrefix = place.kind == "FOXPRO" ? (temp_ / "out").string() + "/" : "";
    TargetConnStr = place.kind == "TEXT" ? "" : Connection(place, true);
    types_.clear();
    if (place.kind == "TEXT") {
        TextDestFormat = random_.Any(0, 1) == 0 ? "DELIMITED" : "FIXED";
        TextDestDelim = random_.OneOf(std::vector<std::string>{"\t", ",", ";"});
        TextDestQual = random_.OneOf(std::vector<std::string>{"\"", "'", ""});
        TextDestHeader = kTrue;
        TextDestExt = ".txt";
        TextDestDir = (temp_ / "out").string();
        types_ = TextDestFormat + " by " + TextDestDelim + " in " + TextDestQual;
        return;
    }
    if (place.kind == "ACCESS") {
        Catalog().Create(TargetConnStr);
    } else if (place.kind == "MySQL") {
        mysql_->Run("drop table if exists " + mysql_->Database() + ".taken");
    } else if (place.kind == "MSSQL") {
        mssql_->Run("drop table if exists taken");
    }
    if (random_.Any(0, 3) == 0) {
        return;  // made by the run
    }
    const bool foxpro = place.kind == "FOXPRO";
    types_ = std::string("n ") + (foxpro ? "I" : "int");
    for (std::size_t k = 0; k < odds_.size(); ++k) {
        const std::string type(random_.OneOf(place.targets));
        const bool required = random_.Any(0, 5) == 0;
        types_ += ", c" + std::to_string(k) + " " + type +
                  (required                            ? " NOT NULL"
                   : (foxpro || place.kind == "MSSQL") ? " NULL"
                                                       : "");
    }
    vantry::Connection connection;
    connection.Open(TargetConnStr);
    connection.Execute("CREATE TABLE taken (" + types_ + ")");
    if (random_.Any(0, 2) == 0 && !foxpro) {
        connection.Execute("CREATE UNIQUE INDEX one ON taken (n)");
    }
    connection.Close();
}

void Attack::Map(bool first) {
    std::vector<std::string> names;
    if (first) {
        FillTargetTables();
        if (TargetType != "TEXT") {
            DstTables[0].Name = "taken";
        }
    }
    LoadSourceColumns();
    CheckTargetTables(names);
    LoadTargetColumns();
    BuildColMaps();
    for (auto& row : ColMaps) {
        // What the mapping page warns of is no session to judge.
        if (!CheckMapRow(row).empty()) {
            row.SSelected = 0;
        }
        if (TargetType == "FOXPRO" && row.DDtype == "Numeric" && row.DWidth > 20) {
            row.DWidth = 20;
            row.DScale = 4;
        }
    }
}

int Attack::TryRow(int row, bool made) {
    ++rows_tried;
    SrcTables[0].WhereCond = "n = " + std::to_string(row);
    if (made) {
        SrcTables[0].TableExists = kTrue;
        SrcTables[0].LoadOption = DstTables[0].LoadOption =
            random_.Any(0, 1) == 0 ? "APPEND" : "DELETE";
    }
    LogView view;
    CurrentRunView = &view;
    const auto check = CheckTable(0, {});
    if (!check.trouble.empty()) {
        return Tell("[" + types_ + "] row " + std::to_string(row) +
                    ", the check: " + check.trouble);
    }
    CurrentSettings.VerifyRuns = true;
    TargetType == "TEXT" ? RunSessionToText("") : RunSession("");
    const auto& report = ReportOf(0);
    std::string shown;
    for (const auto& value : data_[static_cast<std::size_t>(row - 1)]) {
        shown += " " + ShownValue(value.AsCell());
    }
    if (TargetType == "MSSQL") {
        shown += " in the target: " + mssql_->Rows("select * from taken") + "made by " +
                 mssql_->Rows("select sql from sqlite_master where name='taken'");
    }
    std::replace(shown.begin(), shown.end(), '\0', '.');  // they would end what is printed
    const auto place =
        "[" + types_ + "] row " + std::to_string(row) + shown + "\n" + TableText(check);
    const bool refused = check.refused > 0;
    ++counted[static_cast<std::size_t>(check.Worst())];
    if (report.RowsLoaded != check.rows - check.refused) {
        return Tell(place + "    loaded " + std::to_string(report.RowsLoaded) +
                    ", log: " + view.log.substr(0, 600));
    }
    if (report.RowsRejected + check.rows - report.RowsRead != check.refused) {
        return Tell(place + "    rejected " + std::to_string(report.RowsRejected));
    }
    if (refused) {
        return 0;
    }
    if (report.Verified.result == Verification::Result::NotDone) {
        return Tell(place + "    not verified: " + report.Verified.why_not);
    }
    int bad = 0;
    bool moved = false;
    for (const auto& column : check.columns) {
        const auto& names = report.Verified.columns;
        const bool found = std::find(names.begin(), names.end(), column.target) != names.end();
        // What stands elsewhere in its line may be read as the same all the same.
        const auto has = [&](Reason reason) {
            return std::any_of(column.data.begin(), column.data.end(), [&](const auto& finding) {
                return finding.verdict.reason == reason;
            });
        };
        const bool displaced = moved || has(Reason::Displaced);
        moved = moved || has(Reason::PushesOn) || has(Reason::EndsField) || has(Reason::EndsLine) ||
                has(Reason::RunsOn);
        if (!displaced && found != (column.Worst(true) == Grade::Changed)) {
            bad += Tell(place + "    of column " + column.target + " the verification says " +
                        (found ? "it differs" : "it is the same"));
        }
    }
    return bad;
}

int Attack::Run(unsigned seed, std::string_view from, std::string_view to) {
    seed_ = seed;
    random_.Seed(seed);
    InitSharedState(ApplicationFolder());
    const auto pick = [&](std::string_view name) -> const KindOfPlace& {
        for (const auto& place : Places()) {
            if (place.name == name) {
                return place;
            }
        }
        return random_.OneOf(Places());
    };
    const auto& source = pick(from);
    const auto& target = pick(to);
    from_ = source.name;
    to_ = target.name;
    odds_.clear();
    const bool with_long = random_.Any(0, 3) == 0;
    for (int k = 0; k < 5; ++k) {
        const auto odd = static_cast<Odd>(random_.Any(0, 8));
        const bool is_long = odd == Odd::Memo || odd == Odd::Bytes;
        if ((with_long || !is_long) && !source.source[static_cast<int>(odd)].empty()) {
            odds_.push_back(odd);
        }
    }
    data_.clear();
    for (int row = 0; row < kRows; ++row) {
        auto& values = data_.emplace_back();
        for (const auto odd : odds_) {
            values.push_back(random_.Of(odd));
            const auto cell = values.back().AsCell();
            // A file with NUL bytes isn't taken for a text file: no row of it would be tried.
            if (source.kind == "TEXT" && cell.Kind() == ValueKind::Text &&
                cell.AsText().find('\0') != std::string_view::npos) {
                values.back() = Value(Cell::Text("nul in"));
            }
        }
    }
    ++sessions;
    int bad = 0;
    try {
        MakeSource(source);
        MakeTarget(target);
        Map(true);
        bool made = !types_.empty() && TargetType != "TEXT";
        for (int row = 1; row <= kRows && bad == 0; ++row) {
            bad += TryRow(row, made);
            if (!made && TargetType != "TEXT") {
                // From now on it is there, with the types that it was given.
                Map(false);
                made = SrcTables[0].TableExists != kFalse;
            }
        }
    } catch (const std::exception& error) {
        bad += Tell("[" + types_ + "] " + error.what());
    }
    return bad;
}

}  // namespace
}  // namespace vantry::bench

int main(int count, char** arguments) {
    setenv("LC_ALL", "C.UTF-8", 1);
    std::setlocale(LC_ALL, "");
    std::setlocale(LC_NUMERIC, "C");
    vantry::SetLocalDateForm({});
    if (count > 1 && std::string_view(arguments[1]) == "rejects") {
        return vantry::bench::ReloadRejects(count > 2 ? std::atoi(arguments[2]) : 25,
                                            count > 3 ? std::atoll(arguments[3]) : 40'000);
    }
    const auto seed = count > 1 ? static_cast<unsigned>(std::atoi(arguments[1])) : 1U;
    const int sessions = count > 2 ? std::atoi(arguments[2]) : 100;
    vantry::bench::Attack attack;
    int bad = 0;
    for (int k = 0; k < sessions; ++k) {
        bad += attack.Run(seed + static_cast<unsigned>(k),
                          count > 3 ? arguments[3] : "",
                          count > 4 ? arguments[4] : "");
    }
    std::printf("%d sessions, %d rows: %d kept, %d changed, %d refused; %d disagreements\n",
                attack.sessions,
                attack.rows_tried,
                attack.counted[0],
                attack.counted[1],
                attack.counted[2],
                bad);
    return bad == 0 && attack.rows_tried > 0 ? 0 : 1;
}

#include "route_session.h"

#include "core/folders.h"
#include "core/settings.h"
#include "engine/log_only_view.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/verification.h"
#include "mapping/column_discovery.h"
#include "orders_data.h"
#include "text/text_source.h"
#include "text/text_writer.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace vantry::bench {
namespace {

class QuietView : public LogOnlyView {
public:
    void SetLogText(std::string_view text) override { log_ = text; }
    void AppendLogText(std::string_view text) override { log_ += text; }
    void SetRowCounter(std::int64_t loaded, double) override { loaded_ = loaded; }
    void SetBarValue(std::int64_t value) override { bar_ = value; }
    void ShowMessage(std::string_view text) override { log_.append("\n").append(text); }

    const std::string& Log() const { return log_; }

private:
    std::string log_;
    std::int64_t loaded_ = 0;
    std::int64_t bar_ = 0;
};

std::string AccessText(const std::filesystem::path& file) {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file.string() +
           ";Jet OLEDB:Database Password=;Jet OLEDB:System Database=";
}

std::string FoxProText(const std::filesystem::path& folder) {
    return "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDB=" + folder.string() +
           ";Persist Security Info=False";
}

void SetSource(Side side, const Places& places, const std::string& server) {
    SrcTables.assign(1, TableRec());
    auto& table = SrcTables[0];
    table.Name = kTableName;
    switch (side) {
        case Side::Csv:
            SourceType = "TEXT";
            SourceConnStr =
                "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + places.SourceFolder().string() +
                ";Extended Properties=\"text;FMT=Delimited\";\"";
            table.Name = places.SourceCsv().filename();
            table.FolderName = places.SourceFolder();
            table.SFormat = ",";
            table.TextQ = "\"";
            table.SFirstColLine = 1;
            break;
        case Side::MySql:
            SourceType = "MySQL";
            SourceConnStr = server;
            break;
        case Side::Access:
            SourceType = "ACCESS";
            SourceConnStr = AccessText(places.SourceAccess());
            break;
        case Side::Dbf:
            SourceType = "FOXPRO";
            SourceConnStr = FoxProText(places.SourceFolder());
            FoxSrcMode = "DIR";
            FoxSrcPrefix = places.SourceFolder().string() + "/";
            break;
        case Side::SqlServer:
        case Side::Postgres:
            break;
    }
    // A condition for the rows, where a benchmark asks for one.
    if (const char* condition = std::getenv("VANTRY_BENCH_WHERE")) {
        table.WhereCond = condition;
    }
}

void SetTarget(Side side, const Places& places, const std::string& server) {
    switch (side) {
        case Side::Csv:
            TargetType = "TEXT";
            // With a tab between them the fields can be told apart: quotes inside a text aren't
            // doubled in the files that a run writes.
            TextDestFormat = "DELIMITED";
            TextDestDelim = "\t";
            TextDestQual = "\"";
            TextDestHeader = kTrue;
            TextDestExt = ".csv";
            TextDestDir = places.TargetFolder();
            break;
        case Side::MySql:
            TargetType = "MySQL";
            TargetConnStr = server;
            break;
        case Side::Access:
            TargetType = "ACCESS";
            TargetConnStr = AccessText(places.TargetAccess());
            if (!std::filesystem::exists(places.TargetAccess())) {
                Catalog().Create(TargetConnStr);
            }
            break;
        case Side::Dbf:
            TargetType = "FOXPRO";
            TargetConnStr = FoxProText(places.TargetFolder());
            FoxDestMode = "DIR";
            FoxDestPrefix = places.TargetFolder().string() + "/";
            break;
        case Side::SqlServer:
            TargetType = "MSSQL";
            TargetConnStr = server;
            break;
        case Side::Postgres:
            TargetType = "ORACLE";  // the kind whose names stand without quotes
            TargetConnStr = server;
            break;
    }
}

// Peak of this program alone: what wait() tells includes the process that it was forked from.
std::string PeakKibibytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) {
            return line.substr(6);
        }
    }
    return "0";
}

}  // namespace

void DescribeSource(const Places& places) {
    SetSource(Side::Csv, places, {});
    WriteSchemaIni(places.SourceFolder(), SrcTables, QualifierChoice(), kTextSourceScanRows);
}

void PrepareRoute(Side source, Side target, const Places& places, const std::string& server) {
    InitSharedState(ApplicationFolder());
    SetSource(source, places, server);
    SetTarget(target, places, server);
    FillTargetTables();
    LoadSourceColumns();
    std::vector<std::string> target_names;
    CheckTargetTables(target_names);
    LoadTargetColumns();
    BuildColMaps();
}

void LeavePeak(const Places& places) {
    std::ofstream(places.Peak()) << PeakKibibytes();
}

void RunRoute(
    Side source, Side target, const Places& places, const std::string& server, Verified verified) {
    QuietView view;
    CurrentRunView = &view;
    const auto start = std::chrono::steady_clock::now();
    PrepareRoute(source, target, places, server);
    const std::chrono::duration<double> preparation = std::chrono::steady_clock::now() - start;
    std::ofstream(places.Preparation()) << preparation.count();
    CurrentSettings.VerifyRuns = verified == Verified::Yes;
    if (target == Side::Csv) {
        RunSessionToText("");
    } else {
        RunSession("");
    }
    std::ofstream(places.Log()) << view.Log();
    LeavePeak(places);
    for (const auto& table : CurrentRunReport.Tables) {
        if (verified == Verified::Yes && table.Verified.result != Verification::Result::Same) {
            throw std::runtime_error("The run isn't verified: " + VerificationText(table));
        }
    }
}

void FillAccess(const Places& places) {
    const std::string file = AccessText(places.TargetAccess());
    Catalog().Create(file);
    Connection connection;
    connection.Open(file);
    connection.Execute(
        "CREATE TABLE [orders] ([id] Long, [customer] Text(40), [city] Text(30), [price] Currency, "
        "[qty] Integer, [ordered] DateTime, [shipped] YesNo, [note] Text(100))");
    connection.Close();
    RunRoute(Side::Csv, Side::Access, places, {});
}

void FillDbf(const Places& places) {
    Connection connection;
    connection.Open(FoxProText(places.TargetFolder()));
    connection.Execute(
        "CREATE TABLE orders (id I, customer C(40), city C(30), price N(12,2), qty I, ordered T, "
        "shipped L, note C(100))");
    connection.Close();
    RunRoute(Side::Csv, Side::Dbf, places, {});
}

}  // namespace vantry::bench

#pragma once
// What tests of whole sessions between real data sources share: files as sources and targets, the
// mapping of one table, a run.

#include "core/data_access.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"

#include <filesystem>
#include <initializer_list>
#include <string>

namespace vantry::test {

class RouteTest : public RunTest {
protected:
    explicit RouteTest(const std::filesystem::path& parent = std::filesystem::temp_directory_path())
        : folder_(parent, "vantry") {}

    static void Send(const std::string& connection_text,
                     std::initializer_list<const char*> statements) {
        for (const char* sql : statements) {
            RunStatement(connection_text, sql);
        }
    }
    // The source "orders.csv".
    void FromCsv(const std::string& content) const {
        folder_.Write("orders.csv", content);
        SourceType = "TEXT";
        SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
                        ";Extended Properties=\"text;FMT=Delimited\";\"";
    }
    void FromAccess(std::initializer_list<const char*> statements) const {
        SourceType = "ACCESS";
        SourceConnStr =
            NewAccessDatabase(folder_ / "source.mdb", {statements.begin(), statements.end()});
    }
    void ToAccess() const {
        TargetType = "ACCESS";
        TargetConnStr = NewAccessDatabase(folder_ / "target.mdb");
    }
    void ToFoxProFolder() const {
        TargetType = "FOXPRO";
        FoxDestMode = "DIR";
        FoxDestPrefix = folder_.Path().string() + "/";
        TargetConnStr = "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" +
                        folder_.Path().string();
    }
    // Delimited text in files that end in ".out".
    void ToText() const {
        TargetType = "TEXT";
        SetTextTarget(folder_.Path());
        TextDestExt = ".out";
    }

    static void Map(const std::string& table,
                    const std::string& target = {},
                    const std::string& owner = {}) {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = table;
        SrcTables[0].Owner = owner;
        DstTables.clear();
        MapTables(target);
    }
    std::string RunAndLog(const std::string& option = {}) const {
        if (!option.empty()) {
            SrcTables[0].LoadOption = DstTables[0].LoadOption = option;
        }
        RunSession("");
        return Log();
    }
    static std::string Target(const std::string& sql) { return RowsOf(TargetConnStr, sql); }
    // Orders 1 to `count`; `bad_row` has a customer of more than 40 characters.
    static std::string Orders(int count, int bad_row = 0) {
        std::string csv = "id,customer,price,ordered\r\n";
        for (int id = 1; id <= count; ++id) {
            const auto number = std::to_string(id);
            csv += number + ",\"O'Brien & Söhne \\ [😀] " + number +
                   (id == bad_row ? std::string(40, 'x') : "") + "\"," + number +
                   ".25,2006-05-01 14:30:15\r\n";
        }
        return csv;
    }

    TempDir folder_;
};

}  // namespace vantry::test

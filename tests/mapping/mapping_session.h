#pragma once
// A session between Access files of a test's own, mapped as the table mapping page does it.

#include "core/data_access.h"
#include "core/session_state.h"
#include "mapping/column_discovery.h"
#include "support/temp_dir.h"

#include <string>
#include <vector>

namespace vantry::test {

class MappingSession {
public:
    MappingSession() {
        SrcTables.clear();
        DstTables.clear();
        SrcCols.clear();
        DstCols.clear();
        ColMaps.clear();
        FoxSrcMode = FoxSrcPrefix = FoxDestMode = FoxDestPrefix = "";
        TextDestDir = TextDestExt = TextDestDelim = "";
        TextDestHeader = kFalse;
        SourceViaOdbc = kFalse;
        SourceType = TargetType = "ACCESS";
        SourceConnStr = MakeDatabase("source.mdb", {});
        TargetConnStr = MakeDatabase("target.mdb", {});
    }

    // The connection string of a new database in which the statements were executed.
    std::string MakeDatabase(const std::string& name,
                             const std::vector<std::string>& statements) const {
        std::string text =
            "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + (folder_ / name).string();
        Catalog().Create(text);
        Execute(text, statements);
        return text;
    }
    static void Execute(const std::string& connection_string,
                        const std::vector<std::string>& statements) {
        Connection connection;
        connection.Open(connection_string);
        for (const auto& statement : statements) {
            connection.Execute(statement);
        }
    }
    static void InSource(const std::vector<std::string>& statements) {
        Execute(SourceConnStr, statements);
    }
    static void InTarget(const std::vector<std::string>& statements) {
        Execute(TargetConnStr, statements);
    }

    static void ChooseTables(const std::vector<std::string>& names) {
        SrcTables.clear();
        for (const auto& name : names) {
            SrcTables.emplace_back().Name = name;
        }
    }
    static std::vector<std::string> Map() {
        std::vector<std::string> names;
        FillTargetTables();
        LoadSourceColumns();
        CheckTargetTables(names);
        LoadTargetColumns();
        BuildColMaps();
        return names;
    }

    const TempDir& Folder() const { return folder_; }

    // "0 id>id 1" for each row of the map: table, columns, selected.
    static std::string MapText() {
        std::string text;
        for (const auto& row : ColMaps) {
            text += std::to_string(static_cast<int>(row.TabID)) + " " + row.SCName + ">" +
                    row.DCName + " " + std::to_string(row.SSelected) + "\n";
        }
        return text;
    }

private:
    TempDir folder_;
};

}  // namespace vantry::test

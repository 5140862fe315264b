#pragma once
// A session between Access files of a test's own, mapped as the table mapping page does it.

#include "core/session_state.h"
#include "mapping/column_discovery.h"
#include "support/session_steps.h"
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

    std::string MakeDatabase(const std::string& name,
                             const std::vector<std::string>& statements) const {
        return NewAccessDatabase(folder_ / name, statements);
    }
    static void Execute(const std::string& connection_string,
                        const std::vector<std::string>& statements) {
        for (const auto& statement : statements) {
            RunStatement(connection_string, statement);
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
    static std::vector<std::string> Map() { return MapTables(); }

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

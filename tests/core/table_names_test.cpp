// Tables and columns as each kind has them in its statements. A row says all that one kind writes,
// so that a cell that departs from its neighbours can be seen, and is meant.

#include "core/table_names.h"

#include "core/session_state.h"

#include <gtest/gtest.h>

#include <tuple>

namespace vantry {
namespace {

// Loads name the owner as the setups of users have it; where there is none, each question keeps its
// own form, since its failure is known.
TEST(TableNames, OfSourcesGoByKindOwnerAndQuestion) {
    constexpr Reading kReadings[] = {Reading::RowLoad,
                                     Reading::BatchLoad,
                                     Reading::TextRun,
                                     Reading::Probe,
                                     Reading::Reprobe,
                                     Reading::FilterTest};
    // Kind, mode of FoxPro, owner, the table in each of the readings, a column of a load.
    const std::tuple<const char*, const char*, const char*, std::string, std::string> cases[] = {
        {"ACCESS", "", "own", "[t] [t] [t] [t] [t] [t]", "[c]"},
        {"TEXT", "", "own", "[t] [t] [t] [t] [t] [t]", "[c]"},
        {"TEXTPOLL", "", "own", "[t] [t] [t] [t] [t] [t]", "[c]"},
        {"ODBC", "", "own", "t t t t [t] [t]", "c"},
        {"MySQL", "", "own", "own.`t` own.`t` `t` `t` `t` `t`", "`c`"},
        {"MySQL", "", "", ".`t` .`t` `t` `t` `t` `t`", "`c`"},
        {"MSSQL", "", "o", "[o].[t] [t] [o].[t] [o].[t] [o].[t] [o].[t]", "[c]"},
        {"MSSQL", "", "", "[t] [t] [t] [t] [].[t] [].[t]", "[c]"},
        {"ORACLE", "", "own", "own.t own.t own.t own.t own.t t", "\"c\""},
        {"ORACLE", "", "", "t .t t t .t t", "\"c\""},
        {"FOXPRO", "DIR", "own", "\"/in/t\" \"/in/t\" \"/in/t\" [t] [t] [t]", "c"},
        {"FOXPRO", "DBC", "own", "[t] [t] [t] [t] [t] [t]", "c"},
    };
    FoxSrcPrefix = "/in/";
    for (const auto& [kind, mode, owner, tables, column] : cases) {
        SourceType = kind;
        FoxSrcMode = mode;
        TableRec table;
        table.Name = "t";
        table.Owner = owner;
        std::string found;
        for (const auto reading : kReadings) {
            found += (found.empty() ? "" : " ") + SourceTable(table, reading);
        }
        EXPECT_EQ(found, tables) << kind << " owned by " << owner;
        EXPECT_EQ(SourceColumn("c", Reading::BatchLoad), column) << kind;
    }
    // A row load from ODBC has columns in brackets. Blanks are no owner for a load of SQL Server;
    // its batches take one only from a name that nothing fills.
    SourceType = "ODBC";
    EXPECT_EQ(SourceColumn("c", Reading::RowLoad), "[c]");
    SourceType = "MSSQL";
    TableRec table;
    table.Name = "t";
    table.Owner = " ";
    EXPECT_EQ(SourceTable(table, Reading::RowLoad), "[t]");
    EXPECT_EQ(SourceTable(table, Reading::Probe), "[ ].[t]");
    table.OnlyTabname = "x";
    EXPECT_EQ(SourceTable(table, Reading::BatchLoad), "[ ].[t]");
}

TEST(TableNames, OfTargetsGoByKindAndStatement) {
    // Kind, mode of FoxPro, name: dropped or emptied | probed | inserted into | added to | made |
    // made with a blank in it | column of a list.
    const std::tuple<const char*, const char*, const char*, std::string> cases[] = {
        {"ACCESS", "", "t t", "[t t]|[t t]|[t t] |[t t] |[t t] |[t t] | [c],"},
        {"MSSQL", "", "t t", "[t t]|[t t]|[t t] |[t t] |[t t] |[t t] | [c],"},
        {"MySQL", "", "t t", "`t t`|`t t`|`t t` |`t t` |`t t` |`t t` | `c`,"},
        {"ORACLE", "", "t t", "t t|t t|t t |t t|t t|t t|c,"},
        {"FOXPRO", "DIR", "t", "[/out/t.dbf]|[t]|/out/t.dbf |t|/out/t.dbf |[/out/t.dbf] |c,"},
        {"FOXPRO",
         "DIR",
         "t t",
         "[/out/t t.dbf]|[t t]|[/out/t t.dbf] |t t|/out/t t.dbf |[/out/t t.dbf] |c,"},
        {"FOXPRO", "DBC", "t", "[t]|[t]|[t] |t|t|[t] |c,"},
    };
    FoxDestPrefix = "/out/";
    for (const auto& [kind, mode, name, expected] : cases) {
        TargetType = kind;
        FoxDestMode = mode;
        EXPECT_EQ(TargetTable(name) + "|" + TargetTableToProbe(name) + "|" +
                      TargetTableForInsert(name) + "|" + TargetTableToAddTo(name) + "|" +
                      TargetTableToMake(name, false) + "|" + TargetTableToMake(name, true) + "|" +
                      TargetColumnInList("c"),
                  expected)
            << kind << ' ' << mode;
    }
}

}  // namespace
}  // namespace vantry

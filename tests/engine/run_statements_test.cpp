// What is shown before a run is what the run sends.

#include "engine/run_statements.h"

#include "engine/run_session.h"
#include "engine/session_fixture.h"

namespace vantry::test {
namespace {

class RunStatementsTest : public SessionTest {};

TEST_F(RunStatementsTest, WhatIsShownBeforeARunIsWhatTheRunSends) {
    for (const char* kind : {"ACCESS", "MySQL", "ORACLE"}) {
        for (const char* option : {"APPEND", "DELETE", "DROP", "new"}) {
            for (const int type : {adVarWChar, adLongVarWChar}) {
                SCOPED_TRACE(std::string(kind) + " " + option + " " + std::to_string(type));
                ClearTable();
                FillSource(2, type);
                TargetType = kind;
                SrcTables[0].LoadOption = option;
                SrcTables[0].TableExists = ToI16(std::string_view(option) != "new");
                SrcTables[0].WhereCond = "s_id > 0";
                const auto shown = StatementsOf(0, RowWayOf(0));
                for (const auto& driver : {source, target}) {
                    driver->queries.clear();
                    driver->statements.clear();
                    driver->prepared.clear();
                }
                RunSession("");
                std::vector<std::string> sent = target->statements;
                sent.insert(sent.begin() +
                                static_cast<std::ptrdiff_t>(
                                    sent.size() -
                                    (target->prepared.empty() && target->queries.empty() ? 1 : 0)),
                            source->queries.begin(),
                            source->queries.end());
                for (const auto* more : {&target->prepared, &target->queries}) {
                    sent.insert(sent.end(), more->begin(), more->end());
                }
                ASSERT_EQ(shown.statements.size(), sent.size());
                for (std::size_t k = 0; k < sent.size(); ++k) {
                    const auto& [use, text] = shown.statements[k];
                    EXPECT_EQ(
                        use == RunStatement::Use::Insert ? sent[k].substr(0, text.size()) : sent[k],
                        text);
                }
                EXPECT_EQ(target->taken.size(),
                          std::string_view(kind) == "MySQL" && type == adVarWChar ? 0U : 2U);
            }
        }
    }
}

TEST_F(RunStatementsTest, AScriptNamesEachStatementAndWhyATableIsLeftOut) {
    FillSource(1);
    SrcTables[0].LoadOption = "DELETE";
    EXPECT_EQ(StatementsText(StatementsOf(0, RowWay::Insert)),
              "-- src into dst\n-- delete\ndelete from [dst]\n-- count\nSelect count(*)  FROM "
              "src\n-- select\nSELECT [s_id],[s_name] FROM src\n-- insert\nINSERT INTO [dst] ("
              " [d_id], [d_name]) VALUES \n");
    DstTables.clear();
    EXPECT_NE(StatementsOf(0).fault.find("names no target"), std::string::npos);
}

}  // namespace
}  // namespace vantry::test

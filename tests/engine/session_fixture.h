#pragma once
// A session between scripted data sources, a view that records the run, and the log with its times
// blanked out.

#include "core/session_state.h"
#include "data/value_text.h"
#include "engine/run_view.h"
#include "engine/scripted_driver.h"

#include <gtest/gtest.h>

namespace vantry::test {

class RecordingView : public RunView {
public:
    void SetLogText(std::string_view text) override { log = text; }
    void AppendLogText(std::string_view text) override { log += text; }
    void CaretToEnd() override { caret = log.size(); }
    void Repaint() override { ++repaints; }
    void SetRowCounter(std::int64_t loaded, double total) override {
        counter = std::to_string(loaded) + " of " + std::to_string(static_cast<int>(total));
        ++counter_changes;
    }
    void ClearRowCounter() override { counter.clear(); }
    void SetBarMin(std::int64_t minimum) override { bar_min = minimum; }
    void SetBarMax(std::int64_t maximum) override { bar_max = maximum; }
    void SetBarValue(std::int64_t value) override { bar_value = value; }
    void DoEvents() override {
        ++events;
        if (events == cancel_at_event) {
            SessionCancelled = kTrue;
            TableCancelled = kTrue;
        }
        if (events == hook_at_event) {
            hook();
        }
    }
    void WaitFor(const std::function<void()>& work) override {
        waits = true;
        work();
        waits = false;
    }
    void ShowMessage(std::string_view text) override { messages.emplace_back(text); }

    std::string log;
    std::size_t caret = 0;
    int repaints = 0;
    std::string counter;
    int counter_changes = 0;
    std::int64_t bar_min = 0;
    std::int64_t bar_max = 100;
    std::int64_t bar_value = 0;
    int events = 0;
    bool waits = false;
    int cancel_at_event = 0;
    int hook_at_event = 0;
    std::function<void()> hook;  // something of the test's own
    std::vector<std::string> messages;
};

inline void Replace(std::string& text, std::string_view what, std::string_view by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

// The log as lines that end in "\n", times as "T" and time spans as "E".
inline std::string ReadableLog(const std::string& log) {
    std::string text = log;
    Replace(text, "\r\n", "\n");
    const std::pair<std::string_view, std::string_view> blanked[] = {{"Started loading at :", "T"},
                                                                     {"Started Loading at ", "T"},
                                                                     {"End Time is :", "T"},
                                                                     {"Time Elapsed :", "E"},
                                                                     {"for Session:", "E"}};
    for (const auto& [head, sign] : blanked) {
        for (auto at = text.find(head); at != std::string::npos; at = text.find(head, at)) {
            at += head.size();
            text.replace(at, std::min(text.find('\n', at), text.size()) - at, sign);
        }
    }
    return text;
}

// The log of a whole run, `lines` between its first and its closing ones.
inline std::string RunLog(const std::string& lines) {
    return "Started loading at :T\n" + lines +
           "\nEnd Time is :T\nTotal Time Elapsed for Session:E\n*******( F.I.N.I.S.H )*********";
}

inline int Count(const std::string& text, const std::string& word) {
    int count = 0;
    for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        ++count;
    }
    return count;
}

// One row as text, to compare rows by.
inline std::string Shown(const ValueRow& row) {
    std::string text;
    for (const auto& value : row) {
        const Cell& cell = value.AsCell();
        text += cell.IsNull()                     ? "null"
                : cell.Kind() == ValueKind::Bytes ? "bytes:" + ToText(cell)
                : cell.Kind() == ValueKind::Text  ? "'" + ToText(cell) + "'"
                                                  : ToText(cell);
        text += '|';
    }
    return text;
}

// An empty unsaved session, and nothing of it left behind.
class RunTest : public ::testing::Test {
protected:
    RunTest() {
        CurrentRunView = &view;
        CurrentSessionID = 0;
        SessionCancelled = TableCancelled = kFalse;
        SrcTables.clear();
        DstTables.clear();
        ColMaps.clear();
        FoxSrcMode = FoxSrcPrefix = FoxDestMode = FoxDestPrefix = "";
        SetLocalDateForm({});
    }
    ~RunTest() override {
        SrcRS.reset();
        SrcConn.reset();
        DstRS.reset();
        DstConn.reset();
        RepoConn.reset();
        CurrentRunView = nullptr;
    }
    std::string Log() const { return ReadableLog(view.log); }
    bool LogHas(const std::string& text) const { return Log().find(text) != std::string::npos; }

    RecordingView view;
};

class SessionTest : public RunTest {
protected:
    SessionTest() {
        RegisterDriver("source", source);
        RegisterDriver("target", target);
        RegisterDriver("repository", repository);
        SourceType = "ODBC";
        TargetType = "ACCESS";
        SourceConnStr = "Provider=source";
        TargetConnStr = "Provider=target";
        RepoConnStr = "Provider=repository";
        AddTable("src", "dst");
    }
    ~SessionTest() override {
        for (const char* provider : {"source", "target", "repository"}) {
            RegisterDriver(provider, nullptr);
        }
    }

    // A pair of tables; TableExists is set, so that rows are appended.
    void AddTable(const std::string& source_name, const std::string& target_name) {
        TableRec table;
        table.TabID = static_cast<i16>(SrcTables.size());
        table.Name = source_name;
        table.LoadOption = "APPEND";
        table.TableExists = kTrue;
        SrcTables.push_back(table);
        table.Name = target_name;
        DstTables.push_back(table);
    }
    // A column "s_<name>" of the source, mapped to "d_<name>" of the last table's target.
    void AddColumn(const std::string& name, int type, std::int64_t size = 10) {
        source->columns.push_back({"s_" + name, type, size, kDoesNotApply, kDoesNotApply});
        target->columns.push_back({"d_" + name, type, size, kDoesNotApply, kDoesNotApply});
        MapColumn(name);
    }
    ColMapRec& MapColumn(const std::string& name) {
        ColMapRec row;
        row.TabID = SrcTables.back().TabID;
        row.SCName = "s_" + name;
        row.DCName = "d_" + name;
        row.SSelected = 1;
        return ColMaps.emplace_back(row);
    }
    // Rows (k, "row k") for k from 1, of an integer and a text column.
    void FillSource(int count, int text_type = adVarWChar) {
        AddColumn("id", adInteger, 4);
        AddColumn("name", text_type, 20);
        for (int k = 1; k <= count; ++k) {
            source->rows.push_back({Int(k), Text("row " + std::to_string(k))});
        }
    }
    // Columns and rows, for the next case of a table-driven test.
    void ClearTable() {
        source->columns.clear();
        source->rows.clear();
        target->columns.clear();
        target->taken.clear();
        ColMaps.clear();
    }
    int LoggedErrors() const { return Count(view.log, "Error Loading Row:"); }

    std::shared_ptr<ScriptedDriver> source = std::make_shared<ScriptedDriver>();
    std::shared_ptr<ScriptedDriver> target = std::make_shared<ScriptedDriver>();
    std::shared_ptr<ScriptedDriver> repository = std::make_shared<ScriptedDriver>();
};

}  // namespace vantry::test

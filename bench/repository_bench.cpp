// Measures what the wizard's user waits for at the repository of saved sessions: a save, the list,
// a load and a deletion of a session of 40 tables with 20 columns each, in a repository that holds
// 50 such sessions. The save's peer is SQLite with the same rows in one transaction, synced
// likewise.
//
//     repository_bench [TABLES [COLUMNS [SESSIONS]]]

#include "data/value_text.h"
#include "repository/repository.h"
#include "repository/saved_session.h"
#include "support/temp_dir.h"

#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

constexpr int kRounds = 5;

double SecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void MakeSession(int tables, int columns) {
    SourceType = "ACCESS";
    TargetType = "MySQL";
    SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=/data/source.mdb";
    TargetConnStr = "DRIVER={MySQL (built in)};SERVER=server;DATABASE=d;UID=u;PWD=p";
    SrcTables.clear();
    DstTables.clear();
    ColMaps.clear();
    for (int i = 0; i < tables; ++i) {
        TableRec table;
        table.TabID = static_cast<i16>(i);
        table.Name = "table " + std::to_string(i);
        table.LoadOption = "APPEND";
        SrcTables.push_back(table);
        DstTables.push_back(table);
        for (int k = 0; k < columns; ++k) {
            ColMapRec column;
            column.TabID = i;
            column.TName = table.Name;
            column.SCName = column.DCName = "column " + std::to_string(k);
            column.SDtype = column.DDtype = "VarChar";
            column.SSelected = 1;
            column.CPos = static_cast<i16>(k);
            ColMaps.push_back(column);
        }
    }
}

SessionSave Named(const char* name) {
    SessionSave save;
    save.SesName = name;
    save.LogName = std::string("/nowhere/") + name + ".log";
    return save;
}

class SqliteRepository {
public:
    explicit SqliteRepository(const std::string& path) {
        if (sqlite3_open(path.c_str(), &handle_) != SQLITE_OK) {
            throw std::runtime_error("SQLite doesn't open " + path);
        }
        Run("pragma synchronous=full");
        Run("create table sessions (id, name)");
        Run("create table vytabs (id, tab, a, b)");
        Run("create table srcdcols (id, tab, t, s, d, st, dt, pos)");
    }
    ~SqliteRepository() { sqlite3_close(handle_); }
    SqliteRepository(const SqliteRepository&) = delete;
    SqliteRepository& operator=(const SqliteRepository&) = delete;

    void Save(int id) {
        const std::string number = std::to_string(id);
        Run("begin");
        Run("insert into sessions values (" + number + ",'s')");
        for (const auto& table : SrcTables) {
            Run("insert into vytabs values (" + number + "," + std::to_string(table.TabID) + ",'" +
                table.Name + "','" + table.LoadOption + "')");
        }
        for (const auto& column : ColMaps) {
            Run("insert into srcdcols values (" + number + "," +
                std::to_string(static_cast<int>(column.TabID)) + ",'" + column.TName + "','" +
                column.SCName + "','" + column.DCName + "','" + column.SDtype + "','" +
                column.DDtype + "'," + std::to_string(column.CPos) + ")");
        }
        Run("commit");
    }

private:
    void Run(const std::string& sql) {
        if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(handle_));
        }
    }
    sqlite3* handle_ = nullptr;
};

void Measure(int tables, int columns, int sessions) {
    const test::TempDir folder;
    InitSharedState(folder.Path().string());
    CreateRepository(folder.Path().string(), Now());
    MakeSession(tables, columns);
    for (int k = 0; k < sessions; ++k) {
        SaveSession(Named("kept"));
    }
    SqliteRepository peer(folder / "peer.sqlite");
    std::vector<double> save, peer_save, list, load, erase;
    for (int round = 0; round < kRounds; ++round) {
        i32 id = 0;
        save.push_back(SecondsOf([&] { id = SaveSession(Named("measured")); }));
        peer_save.push_back(SecondsOf([&] { peer.Save(round); }));
        list.push_back(SecondsOf([] { ListSessions(); }));
        load.push_back(SecondsOf([&] { LoadSession(id); }));
        if (ColMaps.size() !=
            static_cast<std::size_t>(tables) * static_cast<std::size_t>(columns)) {
            throw std::runtime_error("The saved session isn't whole.");
        }
        erase.push_back(SecondsOf([&] { DeleteSession(id); }));
    }
    std::printf("%d tables of %d columns, beside %d sessions; medians of %d rounds\n",
                tables,
                columns,
                sessions,
                kRounds);
    std::printf("save    %.3f s; SQLite, one transaction %.3f s; ratio %.2f\n",
                Median(save),
                Median(peer_save),
                Median(peer_save) / Median(save));
    std::printf("list    %.3f s\nload    %.3f s\ndelete  %.3f s\n",
                Median(list),
                Median(load),
                Median(erase));
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    const auto number = [&](int place, int otherwise) {
        return argc > place ? std::atoi(argv[place]) : otherwise;
    };
    try {
        vantry::bench::Measure(number(1, 40), number(2, 20), number(3, 50));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

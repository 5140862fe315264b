// small_tables_bench [TABLES [ROUNDS]]: sessions of many tables of ten rows, where what a table
// costs by itself is all that counts: opening, creating, counting, closing, the log. Each route
// goes through the product's own mapping and run, in turns with what a user would take instead; the
// best of both and their ratio are printed, and each row must have arrived.

#include "core/data_access.h"
#include "core/folders.h"
#include "core/session_state.h"
#include "engine/run_session.h"
#include "engine/run_view.h"
#include "log_view.h"
#include "mapping/column_discovery.h"
#include "support/temp_dir.h"
#include "text/text_source.h"
#include "text/text_writer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vantry::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kRows = 10;

// Counts what the log says of tables and rows; nobody looks at it.
class CountingView : public LogView {
public:
    void AppendLogText(std::string_view text) override {
        whole_ += text.find(std::to_string(kRows) + " Rows Loaded") != text.npos ? 1 : 0;
    }
    void ShowMessage(std::string_view text) override {
        throw std::runtime_error(std::string(text));
    }
    int Whole() const { return whole_; }

private:
    int whole_ = 0;
};

double SecondsOf(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string AccessText(const fs::path& file) {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file.string();
}

struct Route {
    const char* name;
    const char* source;
    const char* target;
    const char* peer_name;
    const char* peer;  // in the working folder: from "in" or "in.mdb" into "peer"
};

constexpr Route kRoutes[] = {
    {"csv-access",
     "TEXT",
     "ACCESS",
     "sqlite3",
     "for f in in/*.csv; do t=${f#in/}; echo .import --csv $f ${t%.csv}; done | sqlite3 peer/db"},
    {"access-csv",
     "ACCESS",
     "TEXT",
     "mdb-export",
     "for t in $(mdb-tables -1 in.mdb); do mdb-export in.mdb $t >peer/$t.csv; done"},
    {"access-access",
     "ACCESS",
     "ACCESS",
     "mdb-export, sqlite3",
     "(mdb-schema in.mdb sqlite; echo 'begin;'; for t in $(mdb-tables -1 in.mdb); do mdb-export -I "
     "sqlite in.mdb $t; done; echo 'commit;') | sqlite3 peer/db"},
    {"csv-dbf", "TEXT", "FOXPRO", "ogr2ogr", "ogr2ogr -f 'ESRI Shapefile' peer/out in 2>/dev/null"},
};

class Tables {
public:
    Tables(fs::path folder, int tables) : folder_(std::move(folder)), tables_(tables) {
        fs::create_directories(folder_ / "in");
        for (int table = 0; table < tables; ++table) {
            std::ofstream file(folder_ / "in" / (NameOf(table) + ".csv"));
            file << "id,customer,city,price,note\n";
            for (int row = 0; row < kRows; ++row) {
                file << row << ",\"customer " << row << "\",\"Malmo\"," << row << ".5,\"note\"\n";
            }
        }
    }

    double RunOurs(const Route& route, double& mapping) {
        fs::remove_all(folder_ / "out");
        fs::remove(folder_ / "out.mdb");
        fs::create_directories(folder_ / "out");
        InitSharedState(ApplicationFolder());
        CountingView view;
        CurrentRunView = &view;
        SetSource(route.source);
        SetTarget(route.target);
        mapping = std::min(mapping, SecondsOf([] {
                               std::vector<std::string> names;
                               FillTargetTables();
                               LoadSourceColumns();
                               CheckTargetTables(names);
                               LoadTargetColumns();
                               BuildColMaps();
                           }));
        const double seconds = SecondsOf([] {
            if (TargetType == "TEXT") {
                RunSessionToText("");
            } else {
                RunSession("");
            }
        });
        if (view.Whole() != tables_) {
            throw std::runtime_error(std::string(route.name) + ": " + std::to_string(view.Whole()) +
                                     " tables arrived whole");
        }
        return seconds;
    }

    double RunPeer(const Route& route) {
        fs::remove_all(folder_ / "peer");
        fs::create_directories(folder_ / "peer");
        const std::string command = "cd '" + folder_.string() + "' && " + route.peer;
        return SecondsOf([&] {
            if (std::system(command.c_str()) != 0) {
                throw std::runtime_error(std::string(route.peer_name) + " failed");
            }
        });
    }

    // The target of the first route is the source of the next two.
    void KeepAccess() { fs::rename(folder_ / "out.mdb", folder_ / "in.mdb"); }

private:
    static std::string NameOf(int table) { return "table" + std::to_string(table); }

    void SetSource(const std::string& kind) {
        SourceType = kind;
        SrcTables.clear();
        const std::string folder = (folder_ / "in").string();
        for (int k = 0; k < tables_; ++k) {
            TableRec table;
            table.TabID = static_cast<i16>(k);
            table.Name = NameOf(k) + (kind == "TEXT" ? ".csv" : "");
            table.SFormat = ",";
            table.TextQ = "\"";
            table.SFirstColLine = 1;
            table.FolderName = folder;
            SrcTables.push_back(table);
        }
        if (kind == "TEXT") {
            fs::remove(folder_ / "in/Schema.ini");
            WriteSchemaIni(folder, SrcTables, QualifierChoice(), kTextSourceScanRows);
            SourceConnStr = TextSourceConnectionString(folder);
        } else {
            SourceConnStr = AccessText(folder_ / "in.mdb");
        }
    }

    void SetTarget(const std::string& kind) {
        TargetType = kind;
        const std::string folder = (folder_ / "out").string();
        if (kind == "ACCESS") {
            TargetConnStr = AccessText(folder_ / "out.mdb");
            Catalog().Create(TargetConnStr);
        } else if (kind == "FOXPRO") {
            TargetConnStr =
                "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDB=" + folder +
                ";Persist Security Info=False";
            FoxDestMode = "DIR";
            FoxDestPrefix = folder + "/";
        } else {
            TextDestFormat = "DELIMITED";
            TextDestDelim = ",";
            TextDestQual = "\"";
            TextDestHeader = kTrue;
            TextDestExt = ".csv";
            TextDestDir = folder;
        }
    }

    fs::path folder_;
    int tables_;
};

void Measure(int count, int rounds) {
    const test::TempDir folder;
    Tables tables(folder.Path(), count);
    for (const auto& route : kRoutes) {
        double ours = std::numeric_limits<double>::max();
        double peer = ours;
        double mapping = ours;
        for (int round = 0; round < rounds; ++round) {
            ours = std::min(ours, tables.RunOurs(route, mapping));
            peer = std::min(peer, tables.RunPeer(route));
        }
        std::printf(
            "%-13s %d tables: run %.3f s (mapped before in %.3f s), %s %.3f s, ratio %.1f\n",
            route.name,
            count,
            ours,
            mapping,
            route.peer_name,
            peer,
            peer / ours);
        std::fflush(stdout);
        if (&route == &kRoutes[0]) {
            tables.KeepAccess();
        }
    }
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    try {
        vantry::bench::Measure(argc > 1 ? std::atoi(argv[1]) : 300,
                               argc > 2 ? std::atoi(argv[2]) : 3);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}

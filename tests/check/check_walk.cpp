// The page of tables over a small Access database and a folder of FoxPro tables, in a real window:
// for check_walk_test.sh, which clicks and types. Prints where the grid's cells are on the screen.
// Usage: check_walk FOLDER light|dark [run]; with "run" it shows the page of a run.

#include "core/data_access.h"
#include "core/session_state.h"
#include "core/settings.h"
#include "programs/all_pages.h"
#include "shell/main_window.h"
#include "shell/page_set.h"
#include "support/dark_palette.h"
#include "support/session_steps.h"

#include <QApplication>
#include <QStyleFactory>
#include <QTableWidget>
#include <QTimer>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace vantry {
namespace {

void MakeSource(const std::string& file) {
    SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + file;
    Catalog().Create(SourceConnStr);
    Connection source;
    source.Open(SourceConnStr);
    source.Execute(
        "CREATE TABLE orders (id LONG, customer TEXT(40), weight SINGLE, price CURRENCY, "
        "ordered DATETIME, note MEMO)");
    for (int k = 1; k <= 250; ++k) {
        const std::string number = std::to_string(k);
        source.Execute("INSERT INTO orders VALUES (" + number + ", 'Customer " + number +
                       (k == 17 ? " 日本" : "") + "', " + number + ".25, " + number +
                       ".5, #2024-02-03 10:20:30#, " + (k % 3 == 0 ? "NULL" : "'note'") + ")");
    }
    source.Execute("CREATE TABLE places (town TEXT(20), code LONG)");
    source.Execute("INSERT INTO places VALUES ('Malmö', 211)");
    source.Execute("INSERT INTO places VALUES ('a longer name', 70000)");
}

void MakeSession(const std::string& folder) {
    InitSharedState(folder);
    SourceType = "ACCESS";
    TargetType = "FOXPRO";
    MakeSource(folder + "/shop.mdb");
    FoxDestMode = "DIR";
    FoxDestPrefix = folder + "/dbf/";
    TargetConnStr = "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" + folder +
                    "/dbf;Persist Security Info=False";
    Connection target;
    target.Open(TargetConnStr);
    target.Execute("CREATE TABLE places (code N(4), town C(8))");
    SrcTables.assign(2, TableRec());
    SrcTables[0].Name = "orders";
    SrcTables[1].Name = "places";
}

// The run page, before a run that takes some seconds.
void MakeRun(const std::string& folder) {
    std::filesystem::create_directories(folder + "/text");
    constexpr int kTables = 2;
    SrcTables.assign(kTables, TableRec());
    for (int table = 0; table < kTables; ++table) {
        SrcTables[static_cast<std::size_t>(table)].Name = "big" + std::to_string(table) + ".csv";
        std::ofstream file(folder + "/text/big" + std::to_string(table) + ".csv");
        file << "id,name,price\n";
        for (int k = 0; k < 1'500'000; ++k) {
            file << k << ",\"Customer " << k << "\"," << k << ".25\n";
        }
    }
    SourceType = "TEXT";
    SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder +
                    "/text;Extended Properties=\"text;FMT=Delimited\";\"";
    TargetType = "ACCESS";
    TargetConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder + "/big.mdb";
    Catalog().Create(TargetConnStr);
    test::MapTables();
    SessionNotSaved = kTrue;
    CurrentSettings.VerifyRuns = true;
}

void TellCells() {
    const auto* const grid = FindPage("Form4")->findChild<QTableWidget*>("FlexGrid1");
    for (int row = 0; row < grid->rowCount(); ++row) {
        for (int column = 0; column < 3; ++column) {
            const auto at = grid->viewport()->mapToGlobal(
                grid->visualItemRect(grid->item(row, column)).center());
            const qreal scale = grid->devicePixelRatioF();
            std::printf("cell%d%d=\"%d %d\"\n",
                        row,
                        column,
                        static_cast<int>(at.x() * scale),
                        static_cast<int>(at.y() * scale));
        }
    }
    std::fflush(stdout);
}

// What the walk has made of the session.
void TellSession() {
    std::printf("options=\"%s %s\"\npairs=\"",
                SrcTables[0].LoadOption.c_str(),
                SrcTables[1].LoadOption.c_str());
    for (const auto& row : ColMaps) {
        if (row.TabID == 1) {
            std::printf("%s>%s ", row.SCName.c_str(), row.DCName.c_str());
        }
    }
    std::printf("\"\n");
    std::fflush(stdout);
}

}  // namespace
}  // namespace vantry

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    std::setlocale(LC_NUMERIC, "C");
    if (argc > 2 && std::string_view(argv[2]) == "dark") {
        QApplication::setPalette(vantry::DarkPalette());
    }
    vantry::RegisterAllPages();
    vantry::MakeSession(argv[1]);
    const bool runs = argc > 3 && std::string_view(argv[3]) == "run";
    if (runs) {
        vantry::MakeRun(argv[1]);
    }
    vantry::TheMainWindow().showMaximized();
    QTimer::singleShot(800, [runs] {
        if (runs) {
            vantry::ShowPage("Form14");
            std::printf("ready=1\n");
            std::fflush(stdout);
            return;
        }
        vantry::ShowPage("Form4");
        QTimer::singleShot(800, vantry::TellCells);
    });
    QTimer end;
    QObject::connect(&end, &QTimer::timeout, &application, [stop = std::string(argv[1]) + "/stop"] {
        if (std::filesystem::exists(stop)) {
            vantry::TellSession();
            std::_Exit(0);
        }
    });
    end.start(200);
    return QApplication::exec();
}

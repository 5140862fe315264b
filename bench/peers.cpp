#include "peers.h"

#include "orders_data.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace vantry::bench {
namespace {

constexpr std::string_view kIsoForm = "%Y-%m-%d %H:%M:%S";

std::vector<std::string> Client(const PeerNeeds& needs) {
    return {"mariadb", "--defaults-file=" + needs.client_file, needs.database};
}

// The export of the Access source and what comes behind the pipe, for a shell.
Command ExportInto(const std::string& table_and_taker) {
    return {{"sh",
             "-c",
             "mdb-export -T '" + std::string(kIsoForm) + "' -D '" + std::string(kIsoForm) + "' " +
                 table_and_taker},
            {},
            {},
            {}};
}

std::string SourceTable(const PeerNeeds& needs) {
    return needs.places.SourceAccess().string() + " " + std::string(kTableName);
}

std::string NewDatabase(const PeerNeeds& needs) {
    return (needs.places.TargetFolder() / "orders.db").string();
}

Command FilledByClient(const PeerNeeds& needs) {
    return {Client(needs), needs.places.SourceFolder() / "orders.sql", {}, {}};
}

// Into a format of that name: what else it is told, the target, and the source last.
Command Ogr2Ogr(const char* format, std::vector<std::string> rest) {
    rest.insert(rest.begin(), {"ogr2ogr", "-f", format});
    return {std::move(rest), {}, {}, {}};
}

Command CsvToCsv(const PeerNeeds& needs) {
    return Ogr2Ogr("CSV",
                   {"-lco",
                    "SEPARATOR=TAB",
                    needs.places.TargetCsv().string(),
                    needs.places.SourceCsv().string()});
}

Command MySqlToCsv(const PeerNeeds& needs) {
    auto words = Client(needs);
    words.insert(words.end() - 1, {"-B", "--quick", "-e", "select * from orders"});
    return {words, {}, needs.places.TargetCsv(), {}};
}

Command CsvToAccess(const PeerNeeds& needs) {
    return {{"sqlite3",
             NewDatabase(needs),
             ".mode csv",
             ".import " + needs.places.SourceCsv().string() + " " + std::string(kTableName)},
            {},
            {},
            {}};
}

Command AccessToCsv(const PeerNeeds& needs) {
    return {AccessExport(needs.places.SourceAccess()), {}, needs.places.TargetCsv(), {}};
}

Command AccessToMySql(const PeerNeeds& needs) {
    return ExportInto("-I mysql -S 100 " + SourceTable(needs) +
                      " | mariadb --defaults-file=" + needs.client_file + " " + needs.database);
}

// Nothing else writes Access files here: into the database file that anyone can write.
Command AccessToAccess(const PeerNeeds& needs) {
    return ExportInto(SourceTable(needs) + " | sqlite3 " + NewDatabase(needs) +
                      " '.mode csv' '.import /dev/stdin orders'");
}

Command AccessToDbf(const PeerNeeds& needs) {
    return ExportInto(SourceTable(needs) + " | ogr2ogr -f 'ESRI Shapefile' -lco ENCODING=CP1252 " +
                      needs.places.TargetDbf().string() + " CSV:/vsistdin/");
}

Command CsvToDbf(const PeerNeeds& needs) {
    return Ogr2Ogr("ESRI Shapefile",
                   {"-lco",
                    "ENCODING=CP1252",
                    needs.places.TargetDbf().string(),
                    needs.places.SourceCsv().string()});
}

Command DbfToCsv(const PeerNeeds& needs) {
    return Ogr2Ogr("CSV", {needs.places.TargetCsv().string(), needs.places.SourceDbf().string()});
}

Command DbfToMySql(const PeerNeeds& needs) {
    return Ogr2Ogr("MySQL",
                   {"-overwrite",
                    "-select",
                    std::string(kColumnNames),
                    "-nln",
                    std::string(kTableName),
                    "MYSQL:" + needs.database + ",user=" + needs.user + ",password=" +
                        needs.password + ",host=127.0.0.1,port=" + std::to_string(needs.port),
                    needs.places.SourceDbf().string()});
}

// Into the database file that anyone can write.
Command DbfToAccess(const PeerNeeds& needs) {
    return Ogr2Ogr(
        "SQLite",
        {"-nln", std::string(kTableName), NewDatabase(needs), needs.places.SourceDbf().string()});
}

struct Peer {
    std::string_view route;
    Command (*command)(const PeerNeeds& needs);
};
constexpr std::array kPeers = {
    Peer{kFilledByClient, FilledByClient},
    Peer{"csv-csv", CsvToCsv},
    Peer{"mysql-csv", MySqlToCsv},
    Peer{"csv-access", CsvToAccess},
    Peer{"access-csv", AccessToCsv},
    Peer{"access-mysql", AccessToMySql},
    Peer{"access-access", AccessToAccess},
    Peer{"access-dbf", AccessToDbf},
    Peer{"csv-dbf", CsvToDbf},
    Peer{"dbf-csv", DbfToCsv},
    Peer{"dbf-mysql", DbfToMySql},
    Peer{"dbf-access", DbfToAccess},
};

}  // namespace

Command PeerCommand(std::string_view route, const PeerNeeds& needs) {
    const auto* const peer = std::find_if(
        kPeers.begin(), kPeers.end(), [&](const Peer& entry) { return entry.route == route; });
    if (peer == kPeers.end()) {
        throw std::logic_error("no program does " + std::string(route));
    }
    return peer->command(needs);
}

std::vector<std::string> AccessExport(const std::filesystem::path& file) {
    return {"mdb-export",
            "-T",
            std::string(kIsoForm),
            "-D",
            std::string(kIsoForm),
            file.string(),
            std::string(kTableName)};
}

}  // namespace vantry::bench

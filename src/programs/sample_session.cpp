// Runs the sample sessions without a window: the files of the samples folder to delimited and to
// fixed-width text, to an Access file and back, and the orders to a DBF table and back. Usage:
// sample_session SAMPLES_FOLDER OUT_FOLDER [save]. With "save" nothing runs: the first copy is
// saved in the repository, and the command that runs it is printed. Exits with 0 when the sessions
// ran; which of their rows failed is for the log to tell.

#include "core/folders.h"
#include "core/kinds.h"
#include "core/session_state.h"
#include "data/error_text.h"
#include "data/paths.h"
#include "data/value_text.h"
#include "engine/run_session.h"
#include "mapping/column_discovery.h"
#include "programs/console_view.h"
#include "repository/program_lock.h"
#include "repository/repository.h"
#include "text/text_source.h"
#include "text/text_writer.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vantry;  // NOLINT(google-build-using-namespace): a program of one page

struct SampleFile {
    const char* name;
    const char* delimiter;
};
constexpr SampleFile kSampleFiles[] = {{"customers.csv", ","}, {"orders.csv", ";"}};

// The source pages write Schema.ini beside the data: the samples are therefore read from a copy.
void ChooseSource(const std::filesystem::path& samples, const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    SourceType = "TEXT";
    SrcTables.clear();
    for (const auto& sample : kSampleFiles) {
        // Samples that can't be written give copies that can't be written over.
        std::filesystem::remove(folder / sample.name);
        std::filesystem::copy_file(samples / sample.name, folder / sample.name);
        TableRec table;
        table.TabID = static_cast<i16>(SrcTables.size());
        table.Name = sample.name;
        table.SFormat = sample.delimiter;
        table.TextQ = "\"";
        table.SFirstColLine = 1;
        table.FolderName = folder.string();
        SrcTables.push_back(table);
    }
    // Of an earlier run of this program: its sections would take part in what is read.
    std::filesystem::remove(folder / "Schema.ini");
    WriteSchemaIni(folder.string(), SrcTables, QualifierChoice(), kTextSourceScanRows);
    SourceConnStr = TextSourceConnectionString(folder.string());
}

std::string AccessConnStr(const std::filesystem::path& file) {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file.string() +
           ";Jet OLEDB:Database Password=;Jet OLEDB:System Database=";
}

void ChooseNewAccessTarget(const std::filesystem::path& file) {
    std::filesystem::remove(file);
    Catalog().Create("PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file.string());
    TargetType = "ACCESS";
    TargetConnStr = AccessConnStr(file);
}

void ChooseAccessSource(const std::filesystem::path& file) {
    SourceType = "ACCESS";
    SourceConnStr = AccessConnStr(file);
    Catalog catalog;
    catalog.SetActiveConnection(SourceConnStr);
    SrcTables.clear();
    for (i32 k = 0; k < catalog.Tables().Count(); ++k) {
        if (catalog.Tables()[k].Type == "TABLE") {
            SrcTables.emplace_back().Name = catalog.Tables()[k].Name;
        }
    }
}

void ChooseTextTarget(const std::filesystem::path& folder,
                      const char* format,
                      const char* extension,
                      const char* delimiter) {
    std::filesystem::create_directories(folder);
    TargetType = "TEXT";
    TextDestFormat = format;
    TextDestDir = folder.string();
    TextDestExt = extension;
    TextDestDelim = delimiter;
    TextDestQual = "\"";
    TextDestHeader = kTrue;
}

// Not the customers: their names are of more alphabets than the one code page of a table has.
constexpr const char* kDbfTable = "orders";

std::string FoxProConnStr(const std::filesystem::path& folder) {
    return "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDB=" + folder.string() +
           ";Persist Security Info=False";
}

void ChooseNewFoxProTarget(const std::filesystem::path& folder) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    TargetType = "FOXPRO";
    TargetConnStr = FoxProConnStr(folder);
    FoxDestMode = "DIR";
    FoxDestPrefix = folder.string() + "/";
}

void ChooseFoxProSource(const std::filesystem::path& folder) {
    SourceType = "FOXPRO";
    SourceConnStr = FoxProConnStr(folder);
    FoxSrcMode = "DIR";
    FoxSrcPrefix = folder.string() + "/";
    SrcTables.clear();
    SrcTables.emplace_back().Name = kDbfTable;
}

void KeepOnlyTheDbfTable() {
    std::erase_if(SrcTables, [](const TableRec& table) { return table.Name != kDbfTable; });
}

void MapTables() {
    std::vector<std::string> names;
    // In the order of the mapping page: each step reads what the one before it has put into the
    // session.
    FillTargetTables();
    LoadSourceColumns();
    CheckTargetTables(names);
    LoadTargetColumns();
    BuildColMaps();
    // A fixed-width line has no room for texts without a width.
    for (auto& row : ColMaps) {
        if (TextDestFormat == "FIXED" && row.SWidth == 0) {
            row.SSelected = 0;
        }
    }
}

void RunMapped() {
    MapTables();
    if (ThisTarget().loader == Loader::Files) {
        RunSessionToText("");
    } else {
        RunSession("");
    }
    std::printf("\n\n");
}

void Run(const std::filesystem::path& samples, const std::filesystem::path& out) {
    ConsoleView view;
    CurrentRunView = &view;
    InitSharedState(ApplicationFolder());
    const auto database = out / "samples.mdb";
    ChooseSource(samples, out / "source");
    ChooseTextTarget(out / "delimited", "DELIMITED", ".tab", "\t");
    RunMapped();
    ChooseTextTarget(out / "fixed", "FIXED", ".txt", ",");
    RunMapped();
    ChooseNewAccessTarget(database);
    RunMapped();
    ChooseAccessSource(database);
    ChooseTextTarget(out / "from_access", "DELIMITED", ".tab", "\t");
    RunMapped();
    ChooseAccessSource(database);
    KeepOnlyTheDbfTable();
    ChooseNewFoxProTarget(out / "dbf");
    RunMapped();
    ChooseFoxProSource(out / "dbf");
    ChooseTextTarget(out / "from_dbf", "DELIMITED", ".tab", "\t");
    RunMapped();
    std::printf("The files are in %s\n", out.c_str());
}

void Save(const std::filesystem::path& samples, const std::filesystem::path& out) {
    const std::string folder = ApplicationFolder();
    InitSharedState(folder);
    if (!std::filesystem::exists(RepositoryFile(folder))) {
        CreateRepository(folder, Now());
    }
    ChooseSource(samples, out / "source");
    ChooseTextTarget(out / "saved", "DELIMITED", ".tab", "\t");
    MapTables();
    SessionSave save;
    save.SesName = "Sample";
    save.LogName = JoinPath(LogFolder(folder), "sample.log");
    std::printf("VYRun %d\n", SaveSession(save));
}

}  // namespace

int main(int argc, char** argv) {
    const bool saves = argc == 4 && std::string_view(argv[3]) == "save";
    if (argc != 3 && !saves) {
        std::fprintf(stderr, "usage: sample_session SAMPLES_FOLDER OUT_FOLDER [save]\n");
        return 64;
    }
    try {
        (saves ? Save : Run)(std::filesystem::absolute(argv[1]),
                             std::filesystem::absolute(argv[2]));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", ErrorText(error).c_str());
        return 3;
    }
}

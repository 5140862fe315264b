// Text files into Access tables that refuse a row in five ways: its key is there already, a text is
// too long, a required one is null, a number is out of range, a field can't be read. The last kind
// is mended in the list, where its field is empty. Easy to get wrong: what is compared must not
// come from the program's own counts, so sums are made with the data and read back by queries.

#include "reject_reload.h"

#include "core/data_access.h"
#include "core/session_state.h"
#include "data/value_text.h"
#include "engine/reject_file.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "log_view.h"
#include "mapping/map_match.h"
#include "support/session_steps.h"
#include "support/temp_dir.h"
#include "text/reject_layout.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace vantry::bench {
namespace {

constexpr int kKinds = 5;
constexpr int kUnreadable = 4;
constexpr std::int64_t kMostErrors = 50;  // of a table

struct Sums {
    std::int64_t rows = 0;
    std::int64_t id = 0;
    std::int64_t quarters = 0;  // of price
    std::int64_t big = 0;
    std::int64_t letters = 0;
    bool operator==(const Sums&) const = default;
    void operator+=(const Sums& other) {
        rows += other.rows;
        id += other.id;
        quarters += other.quarters;
        big += other.big;
        letters += other.letters;
    }
};

class Reload {
public:
    // With fewer rows there is no room for the bad ones.
    Reload(int tables, std::int64_t rows) : rows_(std::max<std::int64_t>(rows, 1'000)) {
        for (int k = 1; k <= tables + 1; ++k) {
            tables_.push_back({"t" + std::to_string(k), k <= tables ? 40 : 60, {}});
        }
    }
    int Run();

private:
    struct Table {
        std::string name;
        int bad;
        std::vector<Sums> up_to;  // of the rows up to each, as they are meant
    };

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }
    // -1: the row is a good one.
    int KindOf(const Table& table, std::int64_t row) const {
        const auto step = rows_ / table.bad;
        return row % step == step / 2 && row / step < table.bad
                   ? static_cast<int>(row / step % kKinds)
                   : -1;
    }
    static std::int64_t Big(std::int64_t row) { return row % 30'000; }
    void WriteSource(Table& table);
    std::string MakeTarget(const std::string& file, const char* columns) const;
    void ChooseSource(const std::vector<std::string>& files, const std::string& connection);
    void MendRejects(const std::string& path);
    static Sums SumsOf(const std::string& connection, const std::string& table);
    int Expect(bool holds, const std::string& what) {
        if (!holds) {
            std::printf("NOT: %s\n", what.c_str());
        }
        return holds ? 0 : 1;
    }

    test::TempDir folder_;
    std::int64_t rows_;
    std::vector<Table> tables_;
    LogView view_;
    int mended_ = 0;
};

void Reload::WriteSource(Table& table) {
    std::ofstream schema(Path("Schema.ini"), std::ios::app);
    schema << "[" << table.name << ".csv]\nFormat=CSVDelimited\nColNameHeader=True\n"
           << "Col1=id Long\nCol2=name Text Width 60\nCol3=price Currency\nCol4=big Long\n";
    std::ofstream file(Path(table.name + ".csv"), std::ios::binary);
    file << "id,name,price,big\r\n";
    Sums sums;
    for (std::int64_t row = 1; row <= rows_; ++row) {
        const int kind = KindOf(table, row);
        const auto id = kind == 0 ? row - 1 : row;
        const auto number = std::to_string(row);
        const std::string name = kind == 1 ? "far too long a name, for " + number : "n, " + number;
        const auto big = kind == 3 ? 70'000 : Big(row);
        file << id << ',' << (kind == 2 ? "" : "\"" + name + "\"") << ',' << row << ".25,"
             << (kind == kUnreadable ? "?" : std::to_string(big)) << "\r\n";
        sums += {1, id, 4 * row + 1, big, kind == 2 ? 0 : static_cast<std::int64_t>(name.size())};
        table.up_to.push_back(sums);
    }
}

std::string Reload::MakeTarget(const std::string& file, const char* columns) const {
    auto connection = test::NewAccessDatabase(folder_ / file);
    for (const auto& table : tables_) {
        test::RunStatement(connection, "CREATE TABLE " + table.name + " " + columns);
    }
    return connection;
}

void Reload::ChooseSource(const std::vector<std::string>& files, const std::string& connection) {
    SourceType = "TEXT";
    SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
                    ";Extended Properties=\"text;FMT=Delimited\"";
    TargetType = "ACCESS";
    TargetConnStr = connection;
    SrcTables.clear();
    DstTables.clear();
    SrcCols.clear();
    DstCols.clear();
    ColMaps.clear();
    for (const auto& file : files) {
        SrcTables.emplace_back().Name = file;
    }
}

// The list's last field is `big`; the field in front of what became of a row is its number.
void Reload::MendRejects(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::string mended;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find("\r\n", at), text.size());
        std::string line = text.substr(at, end - at);
        if (line.ends_with(',')) {
            const auto comma = line.find(',');
            line += std::to_string(Big(std::stoll(line.substr(comma + 1))));
            ++mended_;
        }
        mended += line + "\r\n";
        at = end + 2;
    }
    std::ofstream(path, std::ios::binary) << mended;
}

Sums Reload::SumsOf(const std::string& connection, const std::string& table) {
    Recordset rows;
    rows.Open("SELECT COUNT(*), SUM(id), SUM(price * 4), SUM(big), SUM(LEN(name)) FROM " + table,
              connection,
              adOpenForwardOnly,
              adLockReadOnly);
    const auto number = [&](std::int32_t k) {
        const auto& value = rows.Fields()[k].Value();
        return value.IsNull() ? 0 : std::stoll(ToText(value));
    };
    return {number(0), number(1), number(2), number(3), number(4)};
}

int Reload::Run() {
    CurrentRunView = &view_;
    std::vector<std::string> files;
    for (auto& table : tables_) {
        WriteSource(table);
        files.push_back(table.name + ".csv");
    }
    const auto first = MakeTarget("first.mdb",
                                  "(id LONG CONSTRAINT pk PRIMARY KEY, name TEXT(20) NOT NULL, "
                                  "price CURRENCY, big SHORT)");
    const auto second =
        MakeTarget("second.mdb", "(id LONG, name TEXT(60), price CURRENCY, big LONG)");
    int bad = 0;

    ChooseSource(files, first);
    FillTargetTables();
    for (std::size_t k = 0; k < tables_.size(); ++k) {
        DstTables[k].Name = tables_[k].name;
    }
    std::vector<std::string> names;
    LoadSourceColumns();
    CheckTargetTables(names);
    LoadTargetColumns();
    BuildColMaps();
    for (std::size_t k = 0; k < tables_.size(); ++k) {
        SrcTables[k].LoadOption = DstTables[k].LoadOption = "APPEND";
    }
    RejectFile list(Path("run.log.rejects.csv"));
    CurrentRejects = &list;
    RunSession("");
    CurrentRejects = nullptr;
    list.Flush();
    bad += Expect(list.Fault().empty(), list.Fault());
    std::vector<std::int64_t> read;
    std::int64_t rejected = 0;
    for (std::size_t k = 0; k < tables_.size(); ++k) {
        const auto& report = ReportOf(static_cast<i16>(k));
        const auto wanted = std::min<std::int64_t>(tables_[k].bad, kMostErrors);
        read.push_back(report.RowsRead);
        rejected += report.RowsRejected;
        bad += Expect(report.RowsRejected == wanted && report.RowsLoaded + wanted == read.back(),
                      tables_[k].name + ": of " + std::to_string(read.back()) + " rows " +
                          std::to_string(report.RowsRejected) + " are refused, " +
                          std::to_string(report.RowsLoaded) + " loaded");
        const bool given_up = tables_[k].bad > kMostErrors;
        bad += Expect(report.FirstRowNotReached().has_value() == given_up &&
                          (given_up || read.back() == rows_),
                      tables_[k].name + " is read to its end, or given up");
    }

    MendRejects(list.Path());
    DescribeRejectFile(list.Path());
    for (std::size_t k = 0; k < tables_.size(); ++k) {
        const auto& table = tables_[k];
        ChooseSource({"run.log.rejects.csv"}, second);
        test::MapTables(table.name);
        MatchColumns(0, MatchBy::Name);
        SrcTables[0].WhereCond = "[Table] = '" + table.name + ".csv'";
        SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
        RunSession("");
        const auto loaded = SumsOf(second, table.name);
        auto both = SumsOf(first, table.name);
        both += loaded;
        bad += Expect(loaded.rows == std::min<std::int64_t>(table.bad, kMostErrors),
                      table.name + ": " + std::to_string(loaded.rows) + " rows come from the list");
        bad += Expect(both == table.up_to[static_cast<std::size_t>(read[k] - 1)],
                      table.name + ": both targets have the source's sums");
    }

    // Of a run without bad rows: none.
    const auto third =
        MakeTarget("third.mdb", "(id LONG, name TEXT(60), price CURRENCY, big LONG)");
    ChooseSource({files.front()}, third);
    test::MapTables(tables_.front().name);
    SrcTables[0].WhereCond = "id < " + std::to_string(rows_ / tables_.front().bad / 2 - 1);
    SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
    RejectFile none(Path("good.log.rejects.csv"));
    CurrentRejects = &none;
    RunSession("");
    CurrentRejects = nullptr;
    none.Flush();
    bad += Expect(ReportOf(0).RowsLoaded > 0 && !none.IsMade() &&
                      !std::filesystem::exists(Path("good.log.rejects.csv")),
                  "a run without bad rows leaves no list");
    CurrentRunView = nullptr;
    std::printf(
        "%zu tables of %lld rows: %lld rows refused and listed, %d mended, loaded again; "
        "%d faults\n",
        tables_.size(),
        static_cast<long long>(rows_),
        static_cast<long long>(rejected),
        mended_,
        bad);
    return bad == 0 && rejected > 0 && mended_ > 0 ? 0 : 1;
}

}  // namespace

int ReloadRejects(int tables, std::int64_t rows) {
    return Reload(tables, rows).Run();
}

}  // namespace vantry::bench

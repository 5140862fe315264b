// The text driver on hostile input: the part before the first NUL is "Schema.ini", the rest is the
// file. Whatever they hold, the driver gives rows or a DataError; and what it counts, the row ids
// it tells, the rows it reads through windows of two sizes and those it seeks must be the same.

#include "data/value_text.h"
#include "drivers/text/text_database.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {
namespace {

void Require(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "The rows contradict each other: %s\n", what);
        std::abort();
    }
}

// A folder of this process's own, gone with it.
class FuzzFolder {
public:
    FuzzFolder() {
        path_ = (std::filesystem::temp_directory_path() / "text-fuzz-XXXXXX").string();
        Require(mkdtemp(path_.data()) != nullptr, "no folder");
    }
    ~FuzzFolder() {
        std::error_code gone;
        std::filesystem::remove_all(path_, gone);
    }
    FuzzFolder(const FuzzFolder&) = delete;
    FuzzFolder& operator=(const FuzzFolder&) = delete;
    const std::string& Path() const { return path_; }

private:
    std::string path_;
};

const std::string& Folder() {
    static const FuzzFolder folder;
    return folder.Path();
}

void Write(const char* name, std::string_view content) {
    std::ofstream(std::filesystem::path(Folder()) / name, std::ios::binary) << content;
}

struct Rows {
    std::vector<sql::RowId> ids;
    std::vector<std::string> texts;
};

std::string TextOf(sql::TableScan& scan) {
    std::string text;
    const auto row = scan.Row();
    for (std::size_t k = 0; k < row.size(); ++k) {
        text += static_cast<char>('a' + static_cast<int>(row[k].Kind()));
        AppendText(row[k], text);
        if (row[k].Kind() == ValueKind::Unreadable && text.size() < 10'000) {
            text += scan.FieldError(k).Description();
        }
    }
    return text;
}

std::vector<std::size_t> AllColumns(sql::StoredTable& table) {
    std::vector<std::size_t> all(table.Columns().size());
    std::iota(all.begin(), all.end(), std::size_t{0});
    return all;
}

Rows ReadAll(sql::StoredTable& table) {
    Rows rows;
    const auto scan = table.Scan(AllColumns(table));
    while (scan->Next()) {
        rows.ids.push_back(scan->CurrentRow());
        rows.texts.push_back(TextOf(*scan));
    }
    return rows;
}

std::shared_ptr<sql::StoredTable> Open(text::ReaderSizes sizes) {
    text::TextDatabase database(Folder(), {}, std::make_shared<text::LayoutCache>(), sizes);
    database.Tables();
    return database.OpenTable("f.csv");
}

void Compare(sql::StoredTable& table) {
    const Rows rows = ReadAll(table);
    Require(table.CountRows() == static_cast<std::int64_t>(rows.ids.size()), "count");
    const auto ids = table.Scan({});
    for (const sql::RowId id : rows.ids) {
        Require(ids->Next() && ids->CurrentRow() == id, "row ids");
    }
    Require(!ids->Next(), "more row ids");
    const auto scan = table.Scan(AllColumns(table));
    const std::size_t step = rows.ids.size() / 16 + 1;
    for (std::size_t k = 0; k < rows.ids.size(); k += step) {
        const std::size_t back = rows.ids.size() - 1 - k;
        Require(scan->Seek(rows.ids[back]) && scan->CurrentRow() == rows.ids[back], "seek");
        Require(TextOf(*scan) == rows.texts[back], "row at a seek");
    }
    const auto small = Open({16, 7});
    const Rows again = ReadAll(*small);
    Require(again.ids == rows.ids && again.texts == rows.texts, "small windows");
    Require(small->CountRows() == static_cast<std::int64_t>(rows.ids.size()), "small count");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const auto cut = std::min(input.find('\0'), input.size());
    Write("Schema.ini", input.substr(0, cut));
    Write("f.csv", input.substr(std::min(cut + 1, input.size())));
    std::shared_ptr<sql::StoredTable> table;
    try {
        table = Open({4096, 512});
    } catch (const DataError&) {
        return 0;  // an answer as good as rows
    }
    Compare(*table);  // no more errors from here on: the file stays as it is
    return 0;
}

}  // namespace vantry

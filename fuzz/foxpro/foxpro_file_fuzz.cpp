// A table or a container with its memo file and its index, as files of a folder in memory, read
// whole and verified, and its records decoded as a scan does and as its second thread does, which
// must come to the same. Rows of a table with an index are changed, too: if nothing was wrong with
// it before, nothing may be wrong behind a commit. In a container a table is made and dropped.

#include "data/data_error.h"
#include "data/value_text.h"
#include "drivers/foxpro/container/container.h"
#include "drivers/foxpro/table/record_decoder.h"
#include "drivers/foxpro/table/record_reader.h"
#include "drivers/foxpro/verify/container_verify.h"
#include "drivers/foxpro/verify/verify.h"
#include "drivers/foxpro/write/container_tables.h"
#include "drivers/foxpro/write/table_writer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <span>
#include <string>
#include <vector>

namespace vantry {
namespace {

const std::filesystem::path& Folder() {
    static const std::filesystem::path folder = [] {
        std::string pattern = "/dev/shm/foxpro-fuzz-XXXXXX";
        return std::filesystem::path(mkdtemp(pattern.data()));
    }();
    return folder;
}

void Put(const std::string& name, std::span<const std::uint8_t> bytes) {
    std::ofstream(Folder() / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

bool Same(const Cell& left, const Cell& right) {
    if (left.Kind() != right.Kind()) {
        return false;
    }
    return left.IsView() ? left.AsText() == right.AsText()
                         : left.Kind() == ValueKind::Unreadable || ToText(left) == ToText(right);
}

void DecodeBothWays(const std::string& path) {
    foxpro::TableFile table(path, {.show_deleted = true}, {});
    std::vector<std::size_t> fields(table.Layout().fields.size());
    std::iota(fields.begin(), fields.end(), 0);
    foxpro::RecordDecoder alone(table, fields);
    foxpro::RecordDecoder ahead(table, fields);
    std::vector<Cell> cells(fields.size());
    MadeTexts made;
    for (foxpro::RecordReader reader(table); reader.Next(); made.Clear()) {
        alone.Decode(reader.Bytes(), reader.Number());
        const bool decoded = ahead.DecodeWithoutMemos(reader.Bytes(), cells.data(), made);
        if (decoded) {
            ahead.DecodeMemos(reader.Bytes(), reader.Number(), cells.data());
        }
        const auto expected = alone.Cells();
        const bool right =
            decoded ? std::equal(expected.begin(), expected.end(), cells.begin(), Same)
                    : std::any_of(expected.begin(), expected.end(), [](const Cell& cell) {
                          return cell.Kind() == ValueKind::Unreadable;
                      });
        if (!right) {
            std::abort();
        }
    }
}

void Change(const std::string& path) {
    foxpro::TableFile table(path, {.show_deleted = true, .tag_memory = 64}, {});
    auto& writer = table.Writer(true);
    auto& group = table.Group();
    group.Begin();
    try {
        const auto count = table.RecordCount();
        std::vector<std::size_t> fields;
        for (std::size_t k = 0; k < table.Layout().fields.size(); ++k) {
            if (!table.Layout().fields[k].hidden) {
                fields.push_back(k);
            }
        }
        for (std::int64_t number = 0; number < 40; ++number) {
            std::vector<Cell> row(fields.size(), Cell::Int64(number % 9));
            if (number % 4 == 0) {
                row.assign(fields.size(), Cell());
            }
            try {
                writer.Prepare(row);
                writer.Add();
            } catch (const DataError&) {
                // The row isn't possible, or the transaction can't be committed any more.
            }
        }
        for (foxpro::RecordNumber record = 1; record <= std::min(count, 20U); ++record) {
            if (record % 3 == 0) {
                writer.Delete(record);
            } else if (!fields.empty()) {
                const Cell value = Cell::Int64(record % 7);
                const auto field = fields[record % fields.size()];
                writer.Update(record, {&field, 1}, {&value, 1});
            }
        }
    } catch (...) {
        group.Rollback();
        throw;
    }
    group.Commit();
}

// Its index is made over the records that are there: a random one would refuse everything.
void MakeIndex(const std::string& path) {
    Put("t.dcx", {});
    foxpro::TableFile file(path, {}, {});
    if (!file.IndexMember()) {
        return;
    }
    foxpro::TagDefinition tag;
    tag.name = "OBJECTTYPE";
    tag.expression = "STR(parentid)+objecttype";
    tag.filter = ".NOT.DELETED()";
    file.Group().Begin();
    try {
        foxpro::CreateIndex(
            file.Group(), *file.IndexMember(), file.Layout(), {&tag, 1}, foxpro::WalkOver(file));
        file.Group().Commit();
    } catch (...) {
        if (file.Group().InTransaction()) {
            file.Group().Rollback();
        }
        throw;
    }
}

void WriteContainer(const std::string& path) {
    MakeIndex(path);
    foxpro::Container container(path, {});
    sql::TableDefinition definition;
    definition.name = "new";
    definition.columns.resize(2);
    definition.columns[0].name = "a_long_column_name";
    definition.columns[0].type = "I";
    definition.columns[1].name = "b";
    definition.columns[1].type = "M";
    foxpro::NewTable table;
    table.name = "new";
    table.code_page = 1252;
    foxpro::CreateTableIn(container, table, definition);
    container.Refresh();
    const auto made = container.FindTable("new");
    if (!made || made->long_names.size() != 2) {
        std::abort();
    }
    foxpro::DropTableFrom(container, *made);
    container.Refresh();
    if (container.FindTable("new")) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 5) {
        return 0;
    }
    const bool is_container = (data[0] & 1U) != 0;
    const bool has_index = (data[0] & 2U) != 0;
    const std::size_t head = has_index ? 5 : 3;
    std::span<const std::uint8_t> bytes(data + head, size - head);
    const auto take_end = [&](unsigned low, unsigned high) {
        const std::size_t length = std::min<std::size_t>(low + 256U * high, bytes.size());
        const auto end = bytes.last(length);
        bytes = bytes.first(bytes.size() - length);
        return end;
    };
    const std::string table = is_container ? "t.dbc" : "t.dbf";
    const std::string index = is_container ? "t.dcx" : "t.cdx";
    Put(is_container ? "t.dct" : "t.fpt", take_end(data[1], data[2]));
    std::filesystem::remove(Folder() / index);
    if (has_index) {
        Put(index, take_end(data[3], data[4]));
    }
    Put(table, bytes);
    const auto path = (Folder() / table).string();
    const auto findings = foxpro::Verify(path);
    try {
        DecodeBothWays(path);
    } catch (const DataError&) {
    }
    if (has_index && !is_container) {
        try {
            Change(path);
            if (findings.empty() && !foxpro::Verify(path).empty()) {
                std::abort();
            }
        } catch (const DataError&) {
        }
    }
    if (is_container) {
        try {
            const foxpro::Container container(path, {});
            static_cast<void>(container.Views());
            static_cast<void>(container.Tables());
            if ((data[0] & 4U) != 0) {
                std::filesystem::remove(Folder() / "new.dbf");
                std::filesystem::remove(Folder() / "new.fpt");
                WriteContainer(path);
                foxpro::VerifyContainer(path);
            }
        } catch (const DataError&) {
        }
    }
    return 0;
}

}  // namespace vantry

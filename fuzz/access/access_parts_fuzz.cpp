// The parsers one by one, without a file around them: table definitions, rows and their fields,
// usage maps, index pages, property blocks, text. The first byte picks the part, the second the
// generation of the format.

#include "data/data_error.h"
#include "drivers/access/catalogue/properties.h"
#include "drivers/access/indexes/index_key.h"
#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/pages/usage_map.h"
#include "drivers/access/rows/field.h"
#include "drivers/access/rows/row.h"

namespace vantry::access {
namespace {

FileHeader HeaderOf(std::uint8_t generation) {
    FileHeader header;
    header.layout = generation % 2 == 0 ? &kJet4Layout : &kJet3Layout;
    header.version = generation % 2 == 0 ? kVersionAce17 : kVersionJet3;
    return header;
}

// A table with columns of all types, in fixed and in variable storage.
TableDef AllTypes() {
    TableDef def;
    std::uint16_t offset = 0;
    for (std::uint8_t type = 1; type <= 0x15; ++type) {
        for (const bool fixed : {true, false}) {
            for (const bool calculated : {true, false}) {
                ColumnDef column;
                column.type = column.value_type = static_cast<ColumnType>(type);
                column.number = static_cast<std::uint16_t>(def.columns.size());
                column.flags = fixed ? kColumnFixed : 0;
                column.extended_flags = calculated ? kColumnCalculated : 0;
                column.variable_index = static_cast<std::uint16_t>(def.columns.size() / 2);
                column.fixed_offset = offset;
                column.length = 8;
                column.scale = 4;
                offset = static_cast<std::uint16_t>(offset + (fixed ? 3 : 0));
                def.columns.push_back(std::move(column));
            }
        }
    }
    def.variable_count = 60;
    return def;
}

void FuzzRow(ByteSpan bytes, const FileHeader& header) {
    static const TableDef def = AllTypes();
    MemoryPageSource source({}, header, "row");
    const RowView row(def, *header.layout, bytes);
    std::vector<std::byte> key;
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
        try {
            const auto stored = row.Field(def.columns[i]);
            if (!stored) {
                continue;
            }
            FieldDecoder(source, def.columns[i]).Decode(*stored);
            RealIndex index;
            index.columns.push_back({def.columns[i].number, i, i % 2 == 0});
            const KeyEncoder encoder(header, def, index);
            if (encoder.Unsupported().empty()) {
                (void)encoder.Encode({&stored, 1}, key);
            }
        } catch (const BoundsError&) {
        }
    }
}

void FuzzMap(ByteSpan bytes, const FileHeader& header) {
    MemoryPageSource source(bytes, header, "map");
    UsageMap map(source, {0, 0});
    int steps = 0;
    for (auto page = map.Next(0); page && ++steps < 10'000; page = map.Next(*page + 1)) {
    }
    (void)map.BitmapPages();
}

void FuzzIndexPage(ByteSpan bytes, const FileHeader& header) {
    IndexPage page;
    page.Parse(*header.layout, Slice(bytes, 0, header.layout->page_size));
    for (std::size_t i = 1; i < page.Size(); ++i) {
        (void)IndexPage::Compare(page.Key(i - 1), page.Row(i - 1), page.Key(i), page.Row(i));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const auto header = HeaderOf(data[1]);
    const auto bytes = std::as_bytes(std::span(data, size)).subspan(2);
    try {
        switch (data[0] % 6) {
            case 0:
                (void)ParseTableDef(bytes, header, "definition", 2);
                break;
            case 1:
                FuzzRow(bytes, header);
                break;
            case 2:
                FuzzMap(bytes, header);
                break;
            case 3:
                FuzzIndexPage(bytes, header);
                break;
            case 4:
                (void)ParseProperties(bytes, TextCoding(header));
                break;
            default: {
                std::string scratch;
                (void)TextCoding(header).Decode(bytes, scratch);
                break;
            }
        }
    } catch (const BoundsError&) {
    } catch (const vantry::DataError&) {
    }
    return 0;
}

}  // namespace vantry::access

#pragma once
// Reads all that there is to read in a database file, damaged or not: for the sweeps and fuzzers,
// which look for crashes, hangs and reads outside.

#include "data/data_error.h"
#include "data/utf.h"
#include "data/value_text.h"
#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/catalogue/saved_query.h"
#include "drivers/access/indexes/index_reader.h"
#include "drivers/access/rows/complex_value.h"
#include "drivers/access/rows/field.h"
#include "drivers/access/rows/quick_row.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/verify/verify.h"

#include <memory>
#include <stdexcept>
#include <vector>

namespace vantry::test {

// Throws DataError when the header is no good.
inline std::unique_ptr<access::MemoryPageSource> OpenBytes(access::ByteSpan bytes) {
    auto header = access::ParseFileHeader(bytes, "damaged.mdb");
    access::Unlock(header, bytes, "", "damaged.mdb");
    return std::make_unique<access::MemoryPageSource>(bytes, std::move(header), "damaged.mdb");
}

// What a reader may give however damaged the file is.
inline bool IsSane(const Cell& cell) {
    switch (cell.Kind()) {
        case ValueKind::Text:
            return IsValidUtf8(cell.AsText());
        case ValueKind::DateTime: {
            const auto& date = cell.AsDateTime();
            return date.day >= kMinDay && date.day <= kMaxDay && date.nanos >= 0 &&
                   date.nanos < kNanosPerDay;
        }
        case ValueKind::Decimal:
            return cell.AsDecimal().scale <= 38;
        default:
            return true;
    }
}

// The quick way and the careful way must give the same, where the quick one gives anything.
class QuickCheck {
public:
    QuickCheck(const access::PageSource& source, const access::TableDef& def)
        : room_(access::QuickRow::RoomFor(source.PageSize())) {
        for (std::size_t i = 0; i < def.columns.size(); ++i) {
            const std::size_t one[] = {i};
            plans_.emplace_back(source.GetLayout(), def, one);
        }
    }
    void Check(access::ByteSpan row, std::size_t column, const Cell& careful) {
        room_.Clear();
        Cell quick;
        if (plans_[column].IsPossible() && plans_[column].Decode(row, &quick, room_) &&
            (quick.Kind() != careful.Kind() || ToText(quick) != ToText(careful))) {
            throw std::logic_error("two ways to one value");
        }
    }

private:
    access::TextRoom room_;
    std::vector<access::QuickRow> plans_;
};

inline void ReadTable(access::PageSource& source,
                      access::ObjectCatalog& catalog,
                      const access::CatalogObject& object) {
    const auto def = catalog.ReadTable(object);
    std::vector<access::FieldDecoder> decoders;
    for (const auto& column : def.columns) {
        decoders.emplace_back(source, column);
        if (column.type == access::ColumnType::Complex) {
            access::ComplexValueReader(source, catalog, column).Read(2);
        }
    }
    QuickCheck quick(source, def);
    access::RowScanner scanner(source, def);
    volatile std::size_t touched = 0;
    while (scanner.Next()) {
        try {
            const access::RowView row(def, source.GetLayout(), scanner.Row());
            for (std::size_t i = 0; i < decoders.size(); ++i) {
                const auto stored = row.Field(def.columns[i]);
                const auto cell = stored ? decoders[i].Decode(*stored) : Cell::Null();
                if (!IsSane(cell)) {
                    throw std::logic_error("a value that can't be");
                }
                quick.Check(scanner.Row(), i, cell);
                for (const auto byte : cell.IsView() ? cell.AsBytes() : access::ByteSpan()) {
                    touched = touched + static_cast<std::size_t>(byte);
                }
            }
        } catch (const access::BoundsError&) {
            // What the scans of the SQL layer make an unreadable field of.
        }
    }
    for (const auto& index : def.real_indexes) {
        access::IndexReader entries(source, def, index);
        for (entries.SeekFirst(); entries.Next();) {
        }
    }
}

// Errors are DataErrors; anything else gets out.
inline void ReadEverything(access::ByteSpan bytes) {
    try {
        const auto source = OpenBytes(bytes);
        (void)access::Verify(*source);
        access::ObjectCatalog catalog(*source);
        const auto objects = catalog.Objects();
        for (const auto& object : objects) {
            try {
                (void)catalog.ReadProperties(object);
                if (object.IsQuery()) {
                    (void)access::SavedQueryText(*source, catalog, object);
                } else if (object.IsTable()) {
                    ReadTable(*source, catalog, object);
                }
            } catch (const DataError&) {
            }
        }
    } catch (const DataError&) {
    }
}

}  // namespace vantry::test

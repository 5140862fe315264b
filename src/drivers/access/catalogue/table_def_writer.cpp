// The bytes of a definition, in the order in which they lie in the file; format.h has the offsets.
// An index that is added later is put into the bytes that are there rather than built anew, because
// other programs keep things in them that nothing here knows. Easy to get wrong: the lists of
// descriptors and of names are apart, so that one index is five insertions.

#include "drivers/access/catalogue/table_def_writer.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "drivers/access/pages/data_page.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr const TdefLayout& kTdef = kJet4Layout.tdef;
constexpr std::size_t kPageSize = kJet4Layout.page_size;
// Of an index that is no end of a relationship.
constexpr std::uint32_t kNoOtherIndex = 0xFFFFFFFF;

// Numbers one behind the other, as the engine reads them.
class ByteWriter {
public:
    template <typename Number>
    void Put(Number value) {
        const auto bytes = std::as_bytes(std::span(&value, 1));
        out_.insert(out_.end(), bytes.begin(), bytes.end());
    }
    void Zeros(std::size_t count) { out_.resize(out_.size() + count); }
    void Name(std::string_view utf8) {
        const std::u16string units = Utf16FromUtf8(utf8);
        Put(static_cast<std::uint16_t>(2 * units.size()));
        for (const char16_t unit : units) {
            Put(unit);
        }
    }
    std::size_t Size() const { return out_.size(); }
    std::vector<std::byte> Take() { return std::move(out_); }

private:
    std::vector<std::byte> out_;
};

// Four bytes mean another thing for each family of types; see TdefLayout::column_collation.
void PutColumn(ByteWriter& out, const ColumnDef& column) {
    out.Put(static_cast<std::uint8_t>(column.type));
    out.Put(kTdefMagic);
    out.Put(column.number);
    out.Put(column.variable_index);
    out.Put(column.number);
    if (column.type == ColumnType::Numeric) {
        out.Put(column.precision);
        out.Put(column.scale);
        out.Put(std::uint16_t{0});
    } else if (column.type == ColumnType::Complex) {
        out.Put(column.complex_id);
    } else {
        out.Put(column.sort_order.lcid);
        out.Put(std::uint8_t{0});
        out.Put(column.IsText() ? column.sort_order.version : std::uint8_t{0});
    }
    out.Put(column.flags);
    out.Put(column.extended_flags);
    out.Put(std::uint32_t{0});
    out.Put(column.fixed_offset);
    out.Put(column.length);
}

// Always room for ten columns, used or not.
void PutRealIndex(ByteWriter& out, const RealIndex& index) {
    out.Put(kRealIndexMagic);
    for (std::size_t column = 0; column < kMaxIndexColumns; ++column) {
        const bool used = column < index.columns.size();
        out.Put(used ? index.columns[column].number : kNoIndexColumn);
        out.Put(used && index.columns[column].ascending ? kIndexAscending : std::uint8_t{0});
    }
    out.Put(PackRowPointer(index.owned_map));
    out.Put(index.root);
    out.Put(std::uint32_t{0});
    out.Put(index.flags);
    out.Zeros(kTdef.real_index_size - kTdef.real_index_flags - 1);
}

void PutLogicalIndex(ByteWriter& out, const LogicalIndex& index) {
    out.Put(kTdefMagic);
    out.Put(index.number);
    out.Put(index.real);
    out.Put(index.relation_side);
    out.Put(kNoOtherIndex);
    out.Put(std::uint32_t{0});
    out.Put(index.cascade_updates);
    out.Put(index.cascade_deletes);
    out.Put(index.kind);
    out.Put(std::uint32_t{0});
}

// The length of a name with its own length before it.
std::size_t NameLength(ByteSpan bytes, std::size_t offset) {
    return kTdef.name_length_size + LoadU16(bytes, offset);
}

}  // namespace

// Numbers, and places in a row, of the columns of a table that is being made. Later they never
// change: rows are read by them.
void AssignPlaces(TableDef& def) {
    std::uint16_t number = 0;
    std::uint16_t fixed_offset = 0;
    std::uint16_t variable = 0;
    // Long values last: the engine keeps their headers behind the short fields.
    for (const bool long_values : {false, true}) {
        for (ColumnDef& column : def.columns) {
            if (!column.IsFixed() && column.IsLongValue() == long_values) {
                column.variable_index = variable++;
            }
        }
    }
    // A fixed column notes how many variable ones come before it, as the engine's files do.
    std::uint16_t variables_before = 0;
    for (ColumnDef& column : def.columns) {
        column.number = number++;
        if (!column.IsFixed()) {
            ++variables_before;
            continue;
        }
        column.variable_index = variables_before;
        if (column.HasFixedStorage()) {
            column.fixed_offset = fixed_offset;
            fixed_offset = static_cast<std::uint16_t>(fixed_offset + column.length);
        }
    }
    def.max_columns = number;
    def.variable_count = variable;
}

std::vector<std::byte> BuildTableDef(const TableDef& def, std::span<const std::uint32_t> counts) {
    ByteWriter out;
    out.Put(static_cast<std::uint8_t>(PageType::TableDefinition));
    out.Put(kPageMark);
    out.Zeros(kTdefLengthOffset - 2);
    out.Put(std::uint32_t{0});  // the length, below
    out.Put(kTdefMagic);
    out.Put(def.row_count);
    out.Put(def.last_auto_number);
    out.Put(std::uint32_t{1});  // AutoNumber step
    out.Put(def.last_complex_number);
    out.Zeros(kTdef.table_type_offset - out.Size());
    out.Put(def.table_type);
    out.Put(def.max_columns);
    out.Put(def.variable_count);
    out.Put(static_cast<std::uint16_t>(def.columns.size()));
    out.Put(static_cast<std::uint32_t>(def.logical_indexes.size()));
    out.Put(static_cast<std::uint32_t>(def.real_indexes.size()));
    out.Put(PackRowPointer(def.owned_map));
    out.Put(PackRowPointer(def.free_map));
    for (std::size_t index = 0; index < def.real_indexes.size(); ++index) {
        out.Put(std::uint32_t{0});
        // How many different keys there are.
        out.Put(index < counts.size() ? counts[index] : 0U);
        out.Put(std::uint32_t{0});
    }
    for (const ColumnDef& column : def.columns) {
        PutColumn(out, column);
    }
    for (const ColumnDef& column : def.columns) {
        out.Name(column.name);
    }
    for (const RealIndex& index : def.real_indexes) {
        PutRealIndex(out, index);
    }
    for (const LogicalIndex& index : def.logical_indexes) {
        PutLogicalIndex(out, index);
    }
    for (const LogicalIndex& index : def.logical_indexes) {
        out.Name(index.name);
    }
    for (const ColumnDef& column : def.columns) {
        if (column.has_maps) {
            out.Put(column.number);
            out.Put(PackRowPointer(column.owned_map));
            out.Put(PackRowPointer(column.free_map));
        }
    }
    out.Put(kTdefEnd);
    const std::size_t length = out.Size();
    auto bytes = out.Take();
    StoreU32(bytes, kTdefLengthOffset, length);
    return bytes;
}

std::vector<std::byte> AddIndexToTableDef(ByteSpan bytes,
                                          const RealIndex& index,
                                          const LogicalIndex& logical) {
    const std::size_t columns = LoadU16(bytes, kTdef.column_count_offset);
    const std::size_t logicals = LoadU32(bytes, kTdef.logical_index_count_offset);
    const std::size_t reals = LoadU32(bytes, kTdef.real_index_count_offset);
    const std::size_t counts_end = kTdef.index_counts_offset + reals * kTdef.index_count_size;
    std::size_t at = counts_end + columns * kTdef.column_size;
    for (std::size_t column = 0; column < columns; ++column) {
        at += NameLength(bytes, at);
    }
    const std::size_t reals_end = at + reals * kTdef.real_index_size;
    const std::size_t logicals_end = reals_end + logicals * kTdef.logical_index_size;
    std::size_t names_end = logicals_end;
    // Indexes are listed by name.
    // Where the new one goes among them, both in the list of descriptors and in that of names.
    std::size_t place = 0;
    std::size_t place_offset = logicals_end;
    const std::string key = UpperCased(logical.name);
    for (std::size_t each = 0; each < logicals; ++each) {
        const std::size_t length = NameLength(bytes, names_end);
        std::u16string units(length / 2 - 1, u'\0');
        const auto name = Slice(bytes, names_end + kTdef.name_length_size, 2 * units.size());
        std::memcpy(units.data(), name.data(), name.size());
        names_end += length;
        if (UpperCased(Utf8FromUtf16(units)) < key) {
            place = each + 1;
            place_offset = names_end;
        }
    }
    const std::size_t descriptor_offset = reals_end + place * kTdef.logical_index_size;
    std::vector<std::byte> out;
    const auto copy = [&](std::size_t from, std::size_t to) {
        const auto part = Slice(bytes, from, to - from);
        out.insert(out.end(), part.begin(), part.end());
    };
    const auto add = [&](ByteWriter& piece) {
        const auto made = piece.Take();
        out.insert(out.end(), made.begin(), made.end());
    };
    ByteWriter count;
    count.Zeros(kTdef.index_count_size);
    ByteWriter real;
    PutRealIndex(real, index);
    ByteWriter descriptor;
    PutLogicalIndex(descriptor, logical);
    ByteWriter name;
    name.Name(logical.name);
    // The real index goes behind the others, since relationships and names refer to them by place.
    copy(0, counts_end);
    add(count);
    copy(counts_end, reals_end);
    add(real);
    copy(reals_end, descriptor_offset);
    add(descriptor);
    copy(descriptor_offset, place_offset);
    add(name);
    copy(place_offset, bytes.size());
    StoreU32(out, kTdef.logical_index_count_offset, logicals + 1);
    StoreU32(out, kTdef.real_index_count_offset, reals + 1);
    const std::size_t grown = out.size() - bytes.size();
    StoreU32(out, kTdefLengthOffset, LoadU32(bytes, kTdefLengthOffset) + grown);
    return out;
}

void WriteTableDef(PageStore& store, ByteSpan bytes, std::vector<PageNumber>& pages) {
    // Pages beyond the first lose their head to the link; unneeded ones are given back.
    constexpr std::size_t kPiece = kPageSize - kTdefContinuationOffset;
    const std::size_t behind_first = bytes.size() > kPageSize ? bytes.size() - kPageSize : 0;
    const std::size_t needed = 1 + (behind_first + kPiece - 1) / kPiece;
    while (pages.size() < needed) {
        pages.push_back(store.Allocate());
    }
    while (pages.size() > needed) {
        store.Free(pages.back());
        pages.pop_back();
    }
    std::size_t at = 0;
    for (std::size_t index = 0; index < pages.size(); ++index) {
        const auto page = store.Change(pages[index]);
        const std::size_t head = index == 0 ? 0 : kTdefContinuationOffset;
        const std::size_t length = std::min(bytes.size() - at, kPageSize - head);
        std::memset(page.data(), 0, page.size());
        std::memcpy(page.data() + head, bytes.data() + at, length);
        at += length;
        const std::size_t unused = kPageSize - head - length;
        page[kPageTypeOffset] = std::byte{static_cast<std::uint8_t>(PageType::TableDefinition)};
        page[kPageMarkOffset] = std::byte{kPageMark};
        // As the engine's own files have it: the eight bytes behind the end aren't counted.
        StoreU16(page, kPageFreeOffset, unused > 8 ? unused - 8 : 0);
        StoreU32(page, kTdefNextPageOffset, index + 1 < pages.size() ? pages[index + 1] : 0);
    }
}

}  // namespace vantry::access

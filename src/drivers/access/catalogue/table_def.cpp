// A definition is one string of bytes cut into pages; it is put together first and then parsed
// front to back. Counts are checked before anything is reserved by them, and column numbers, index
// references and map entries against each other, so that users of a TableDef needn't. Easy to get
// wrong: lists are in display order, while rows and the null mask go by column number.

#include "drivers/access/catalogue/table_def.h"

#include "data/letter_case.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/text_coding.h"

#include <algorithm>
#include <bitset>

namespace vantry::access {
namespace {

class Parser {
public:
    Parser(ByteSpan bytes, const FileHeader& header, std::string_view file, PageNumber first)
        : bytes_(bytes),
          header_(header),
          layout_(header.layout->tdef),
          file_(file),
          names_(header),
          reader_(bytes, layout_.index_counts_offset) {
        def_.page = first;
    }

    TableDef Parse() {
        ParseHeader();
        ParseIndexCounts();
        ParseColumns();
        ParseRealIndexes();
        ParseLogicalIndexes();
        ParseLongValueMaps();
        return std::move(def_);
    }

private:
    [[noreturn]] void Damaged(const std::string& what) const {
        throw DamagedPage(file_, def_.page, "its table definition: " + what);
    }

    void ParseHeader() {
        def_.length = LoadU32(bytes_, kTdefLengthOffset);
        def_.row_count = LoadU32(bytes_, layout_.row_count_offset);
        def_.last_auto_number = LoadU32(bytes_, layout_.auto_number_offset);
        if (!header_.layout->jet3) {
            def_.last_complex_number = LoadU32(bytes_, kTdefComplexNumberOffset);
        }
        def_.table_type = LoadU8(bytes_, layout_.table_type_offset);
        def_.max_columns = LoadU16(bytes_, layout_.max_columns_offset);
        def_.variable_count = LoadU16(bytes_, layout_.variable_count_offset);
        def_.owned_map = UnpackRowPointer(LoadU32(bytes_, layout_.owned_map_offset));
        def_.free_map = UnpackRowPointer(LoadU32(bytes_, layout_.free_map_offset));
        column_count_ = LoadU16(bytes_, layout_.column_count_offset);
        logical_count_ = LoadU32(bytes_, layout_.logical_index_count_offset);
        real_count_ = LoadU32(bytes_, layout_.real_index_count_offset);
        // Before anything is reserved by a count: a damaged one would ask for all memory.
        if (column_count_ > kMaxColumns) {
            Damaged("it lists " + std::to_string(column_count_) + " columns");
        }
        // Each index takes room behind the header, so its own bytes bound the counts.
        if (std::uint64_t{real_count_} * layout_.real_index_size +
                std::uint64_t{logical_count_} * layout_.logical_index_size >
            bytes_.size()) {
            Damaged("it lists more indexes than it has room for");
        }
    }

    // The first list: numbers that change with the rows.
    void ParseIndexCounts() {
        def_.real_indexes.resize(real_count_);
        for (auto& index : def_.real_indexes) {
            index.distinct_count =
                LoadU32(reader_.Take(layout_.index_count_size), layout_.distinct_count_offset);
        }
    }

    // Four bytes of the descriptor mean another thing for each family of types.
    ColumnDef ParseColumn(ByteSpan descriptor) const {
        ColumnDef column;
        column.type = static_cast<ColumnType>(LoadU8(descriptor, layout_.column_type));
        column.value_type = column.type;
        column.number = LoadU16(descriptor, layout_.column_number);
        column.variable_index = LoadU16(descriptor, layout_.column_variable);
        column.flags = LoadU8(descriptor, layout_.column_flags);
        column.fixed_offset = LoadU16(descriptor, layout_.column_fixed_offset);
        column.length = LoadU16(descriptor, layout_.column_length);
        const auto collation = Slice(descriptor, layout_.column_collation, 4);
        switch (column.type) {
            case ColumnType::Numeric:
                column.precision = LoadU8(collation, 0);
                column.scale = LoadU8(collation, 1);
                break;
            case ColumnType::Complex:
                column.complex_id = LoadU32(collation, 0);
                break;
            default:
                column.sort_order.lcid = LoadU16(collation, 0);
                break;
        }
        if (header_.layout->jet3) {
            column.code_page = LoadU16(collation, 2);
        } else {
            column.sort_order.version = LoadU8(collation, kCollationVersionByte);
            column.extended_flags = LoadU8(descriptor, kColumnExtendedFlagsOffset);
        }
        return column;
    }

    // Descriptors first, then all the names.
    void ParseColumns() {
        std::bitset<kMaxColumns + 1> seen;
        for (std::size_t i = 0; i < column_count_; ++i) {
            auto column = ParseColumn(reader_.Take(layout_.column_size));
            // By its number a column finds its bit in each row's mask. Two of one number would be
            // one field.
            if (column.number > kMaxColumns || seen.test(column.number)) {
                Damaged("it gives column number " + std::to_string(column.number) +
                        (column.number > kMaxColumns ? "" : " twice"));
            }
            seen.set(column.number);
            def_.columns.push_back(std::move(column));
        }
        for (auto& column : def_.columns) {
            column.name = TakeName();
        }
    }

    std::string TakeName() {
        const std::size_t length = layout_.name_length_size == 1 ? reader_.Take<std::uint8_t>()
                                                                 : reader_.Take<std::uint16_t>();
        return names_.Name(reader_.Take(length));
    }

    // What lies on index pages: key columns, pages, rules.
    void ParseRealIndexes() {
        for (auto& index : def_.real_indexes) {
            const auto descriptor = reader_.Take(layout_.real_index_size);
            for (std::size_t i = 0; i < kMaxIndexColumns; ++i) {
                const std::size_t at = layout_.real_index_columns + i * 3;
                const auto number = LoadU16(descriptor, at);
                if (number == kNoIndexColumn) {
                    continue;
                }
                IndexColumn column;
                column.number = number;
                column.position = def_.FindColumnNumber(number);
                column.ascending = (LoadU8(descriptor, at + 2) & kIndexAscending) != 0;
                if (column.position == TableDef::npos) {
                    Damaged("an index is on column number " + std::to_string(number) +
                            ", which isn't there");
                }
                index.columns.push_back(column);
            }
            index.owned_map = UnpackRowPointer(LoadU32(descriptor, layout_.real_index_map));
            index.root = LoadU32(descriptor, layout_.real_index_root);
            index.flags = LoadU8(descriptor, layout_.real_index_flags);
        }
    }

    // Names for them, several perhaps for one: a primary key that a relationship uses, too.
    void ParseLogicalIndexes() {
        for (std::uint32_t i = 0; i < logical_count_; ++i) {
            const auto fields =
                reader_.Take(layout_.logical_index_size).subspan(layout_.logical_index_fields);
            LogicalIndex index;
            index.number = LoadU32(fields, kLogicalNumber);
            index.real = LoadU32(fields, kLogicalReal);
            index.relation_side = LoadU8(fields, kLogicalRelationSide);
            index.other_index = LoadU32(fields, kLogicalOtherIndex);
            index.other_table = LoadU32(fields, kLogicalOtherTable);
            index.cascade_updates = LoadU8(fields, kLogicalCascadeUpdate);
            index.cascade_deletes = LoadU8(fields, kLogicalCascadeDelete);
            index.kind = LoadU8(fields, kLogicalKind);
            // Would be read outside of the list later.
            if (index.real >= def_.real_indexes.size()) {
                Damaged("an index name stands for index " + std::to_string(index.real) + " of " +
                        std::to_string(def_.real_indexes.size()));
            }
            def_.logical_indexes.push_back(std::move(index));
        }
        for (auto& index : def_.logical_indexes) {
            index.name = TakeName();
        }
    }

    // The last list, up to the end mark or the end of the bytes.
    void ParseLongValueMaps() {
        while (reader_.Remaining() >= kLongValueMapsSize) {
            const auto number = reader_.Take<std::uint16_t>();
            if (number == kTdefEnd) {
                break;
            }
            const auto owned = UnpackRowPointer(reader_.Take<std::uint32_t>());
            const auto free = UnpackRowPointer(reader_.Take<std::uint32_t>());
            // An entry of a column that was deleted may stay behind.
            if (const auto position = def_.FindColumnNumber(number); position != TableDef::npos) {
                auto& column = def_.columns[position];
                column.owned_map = owned;
                column.free_map = free;
                column.has_maps = true;
            }
        }
    }

    ByteSpan bytes_;
    const FileHeader& header_;
    const TdefLayout& layout_;
    std::string_view file_;
    TextCoding names_;
    ByteReader reader_;
    TableDef def_;
    std::size_t column_count_ = 0;
    std::uint32_t logical_count_ = 0;
    std::uint32_t real_count_ = 0;
};

}  // namespace

std::size_t TableDef::FixedAreaSize() const {
    std::size_t size = 0;
    for (const auto& column : columns) {
        if (column.HasFixedStorage()) {
            size = std::max<std::size_t>(size, std::size_t{column.fixed_offset} + column.length);
        }
    }
    return size;
}

bool TableDef::HasCalculatedColumns() const {
    return std::any_of(
        columns.begin(), columns.end(), [](const auto& column) { return column.IsCalculated(); });
}

bool TableDef::HasComplexColumns() const {
    return std::any_of(columns.begin(), columns.end(), [](const auto& column) {
        return column.type == ColumnType::Complex;
    });
}

std::size_t TableDef::FindColumn(std::string_view column_name) const {
    for (std::size_t i = 0; i < columns.size(); ++i) {
        // The same spelling is the usual case, and costs no folding of letters.
        if (columns[i].name == column_name || SameName(columns[i].name, column_name)) {
            return i;
        }
    }
    return npos;
}

std::size_t TableDef::FindColumnNumber(std::uint16_t number) const {
    for (std::size_t i = 0; i < columns.size(); ++i) {
        if (columns[i].number == number) {
            return i;
        }
    }
    return npos;
}

std::size_t FixedSizeOf(ColumnType type) {
    switch (type) {
        case ColumnType::Boolean:
        case ColumnType::Byte:
            return 1;
        case ColumnType::Integer:
            return 2;
        case ColumnType::Long:
        case ColumnType::Single:
        case ColumnType::Complex:
            return 4;
        case ColumnType::Currency:
        case ColumnType::Double:
        case ColumnType::DateTime:
        case ColumnType::BigInt:
            return 8;
        case ColumnType::Guid:
            return kGuidSize;
        case ColumnType::Numeric:
            return kNumericSize;
        case ColumnType::DateTimeExtended:
            return kExtendedDateSize;
        default:
            return 0;
    }
}

std::vector<std::byte> ReadTableDefBytes(PageSource& source,
                                         PageNumber first,
                                         std::vector<PageNumber>& pages) {
    // 255 columns, 32 indexes and their names fill some 20 pages; a chain that runs longer than
    // this is a loop.
    constexpr std::size_t kMaxPages = 256;
    PageReader reader(source);
    std::vector<std::byte> bytes;
    pages.clear();
    for (PageNumber page = first; page != 0;) {
        if (pages.size() == std::min<std::size_t>(kMaxPages, source.PageCount())) {
            throw DamagedPage(source.Name(), first, "its table definition has no end");
        }
        const auto content = reader.Page(page, PageType::TableDefinition);
        const auto part = pages.empty() ? content : content.subspan(kTdefContinuationOffset);
        bytes.insert(bytes.end(), part.begin(), part.end());
        pages.push_back(page);
        page = LoadU32(content, kTdefNextPageOffset);
    }
    return bytes;
}

TableDef ParseTableDef(ByteSpan bytes,
                       const FileHeader& header,
                       std::string_view file,
                       PageNumber first) {
    return Parser(bytes, header, file, first).Parse();
}

TableDef ReadTableDef(PageSource& source, PageNumber first, std::string name) {
    std::vector<PageNumber> pages;
    const auto bytes = ReadTableDefBytes(source, first, pages);
    auto def = WithPage(source.Name(), first, "its table definition runs outside", [&] {
        return ParseTableDef(bytes, source.Header(), source.Name(), first);
    });
    def.name = std::move(name);
    def.pages = std::move(pages);
    return def;
}

}  // namespace vantry::access

#pragma once
// Files of our own writer, bent to what only Access itself makes: relationships, texts that mustn't
// be empty, columns of types that no statement names. What they guard needs no file of Access then.

#include "drivers/access/catalogue/property_writer.h"
#include "drivers/access/file_bytes.h"
#include "drivers/access/writing_fixture.h"

#include <algorithm>

namespace vantry::access {

class BentFile {
public:
    // A sound file that nobody has open.
    explicit BentFile(std::string path) : path_(std::move(path)), file_(path_) {}

    void Save() const { file_.Save(path_); }

    // Makes the named indexes the two ends of a relationship. They are ordinary ones before.
    void Relate(const std::string& child,
                const std::string& child_index,
                const std::string& parent,
                const std::string& parent_index) {
        const End from = Find(child, child_index);
        const End to = Find(parent, parent_index);
        constexpr std::uint8_t kReferenced = 1;
        constexpr std::uint8_t kReferencing = 2;
        Turn(from, kReferencing, to);
        Turn(to, kReferenced, from);
    }

    // Forbids empty texts in a column whose default is `default_text`, which gives its place to the
    // rule and must be longer than that.
    void ForbidEmptyTexts(const std::string& column, const std::string& default_text) {
        constexpr std::uint8_t kBoolean = 1;
        constexpr std::uint8_t kMemo = 12;
        constexpr std::size_t kBlockHead = 6;
        const auto former =
            BuildProperties({{column, "DefaultValue", kMemo, PropertyText(default_text)}});
        auto rule = BuildProperties({{column, "AllowZeroLength", kBoolean, {std::byte{0}}}});
        ASSERT_GE(former.size(), rule.size() + kBlockHead);
        // The rest is a block of a type that nobody knows.
        const std::size_t used = rule.size();
        rule.resize(former.size(), std::byte{0x77});
        const auto rest = static_cast<std::uint32_t>(rule.size() - used);
        std::memcpy(rule.data() + used, &rest, sizeof(rest));
        const auto at =
            std::search(file_.bytes.begin(), file_.bytes.end(), former.begin(), former.end());
        ASSERT_NE(at, file_.bytes.end());
        std::copy(rule.begin(), rule.end(), at);
    }

    void TurnCalculated(const std::string& table, std::size_t column) {
        file_.bytes[Descriptor(table, column) + kColumnExtendedFlagsOffset] |=
            std::byte{kColumnCalculated};
    }
    // Gives a column another type, and the number under which its several values are kept.
    void Turn(const std::string& table,
              std::size_t column,
              ColumnType type,
              std::uint32_t complex_id = 0) {
        const std::size_t at = Descriptor(table, column);
        file_.bytes[at] = std::byte{static_cast<std::uint8_t>(type)};
        file_.Put(at + kJet4Layout.tdef.column_collation, complex_id);
    }
    // Writes over the one place in which the text stands.
    void Replace(std::string_view text, std::string_view by) {
        const auto bytes = std::as_bytes(std::span(text));
        const auto at =
            std::search(file_.bytes.begin(), file_.bytes.end(), bytes.begin(), bytes.end());
        ASSERT_NE(at, file_.bytes.end()) << text;
        std::memcpy(&*at, by.data(), by.size());
    }

private:
    TableDef Definition(const std::string& table) const {
        const auto source = file_.Open();
        ObjectCatalog catalog(*source);
        return catalog.ReadTable(*catalog.Find(table));
    }

    // Where the column's descriptor begins in the file.
    std::size_t Descriptor(const std::string& table, std::size_t column) const {
        const auto def = Definition(table);
        const auto& layout = kJet4Layout.tdef;
        return std::size_t{def.page} * kPageSize + layout.index_counts_offset +
               def.real_indexes.size() * layout.index_count_size + column * layout.column_size;
    }

    struct End {
        PageNumber table = 0;
        std::uint32_t index = 0;
        std::size_t fields = 0;  // offset in the file
    };

    End Find(const std::string& table, const std::string& index) const {
        const auto def = Definition(table);
        for (const auto& logical : def.logical_indexes) {
            if (logical.name == index) {
                return {def.page, logical.number, FieldsOf(def.page, logical)};
            }
        }
        ADD_FAILURE() << table << " has no index " << index;
        return {};
    }

    // The descriptor is known by its magic number and its first fields; no other index is its like.
    std::size_t FieldsOf(PageNumber page, const LogicalIndex& logical) const {
        const std::uint32_t wanted[] = {kTdefMagic, logical.number, logical.real};
        const std::size_t start = std::size_t{page} * kPageSize;
        for (std::size_t at = start; at + 40 < start + kPageSize; ++at) {
            if (std::memcmp(file_.bytes.data() + at, wanted, sizeof(wanted)) == 0 &&
                file_.Get<std::uint32_t>(at + 4 + kLogicalOtherIndex) == 0xFFFFFFFF) {
                return at + kJet4Layout.tdef.logical_index_fields;
            }
        }
        ADD_FAILURE() << "the index isn't in its table's definition";
        return 0;
    }

    void Turn(const End& end, std::uint8_t side, const End& other) {
        constexpr std::uint8_t kForeignKey = 2;
        file_.Put(end.fields + kLogicalRelationSide, side);
        file_.Put(end.fields + kLogicalOtherIndex, other.index);
        file_.Put(end.fields + kLogicalOtherTable, other.table);
        file_.Put(end.fields + kLogicalKind, kForeignKey);
    }

    static constexpr std::size_t kPageSize = 4096;
    std::string path_;
    test::FileBytes file_;
};

}  // namespace vantry::access

#include "drivers/access/rows/complex_value.h"

#include "data/value_text.h"
#include "drivers/access/errors.h"

namespace vantry::access {
namespace {

constexpr std::string_view kColumnsTable = "MSysComplexColumns";
constexpr char kSeparator = ';';

std::int32_t FlatTableOf(PageSource& source, ObjectCatalog& catalog, const ColumnDef& column) {
    if (const auto* columns = catalog.Find(kColumnsTable)) {
        const auto def = catalog.ReadTable(*columns);
        RecordReader reader(source, def, {"ComplexID", "FlatTableID"});
        while (reader.Next()) {
            if (static_cast<std::uint32_t>(reader.Int(0)) == column.complex_id) {
                return reader.Int(1);
            }
        }
    }
    return 0;
}

bool HasTextForm(ColumnType type) {
    switch (type) {
        case ColumnType::Binary:
        case ColumnType::Ole:
        case ColumnType::Complex:
        case ColumnType::Unknown0D:
        case ColumnType::Unknown11:
            return false;
        default:
            return type <= ColumnType::DateTimeExtended;
    }
}

}  // namespace

ComplexValueReader::ComplexValueReader(PageSource& source,
                                       ObjectCatalog& catalog,
                                       const ColumnDef& column) {
    const auto* object = catalog.FindId(FlatTableOf(source, catalog, column));
    if (object == nullptr || !object->IsTable()) {
        throw CannotReadObject(column.name, "the table that holds its values isn't there");
    }
    flat_ = catalog.ReadTable(*object);
    key_column_ = flat_.FindColumn("_" + column.name);
    if (key_column_ == TableDef::npos || flat_.columns[key_column_].type != ColumnType::Long) {
        throw CannotReadObject(column.name, "the table that holds its values has no key");
    }
    // Attachments have a file name, choices a value. A kind with neither, or with a value that has
    // no text form, is of a later version.
    const auto is_shown = [&](std::string_view name) {
        const std::size_t position = flat_.FindColumn(name);
        return position != TableDef::npos && HasTextForm(flat_.columns[position].value_type);
    };
    if (!is_shown("FileName") && !is_shown("Value")) {
        throw CannotReadObject(column.name, "it holds several values of a kind that isn't known");
    }
    records_ =
        std::make_unique<RecordReader>(source,
                                       flat_,
                                       std::initializer_list<std::string_view>{
                                           flat_.columns[key_column_].name, "FileName", "Value"});
    for (const auto& index : flat_.real_indexes) {
        if (index.columns.size() == 1 && index.columns[0].position == key_column_) {
            index_ = &index;
        }
    }
    if (index_ == nullptr) {
        throw CannotReadObject(column.name, "the table that holds its values has no index");
    }
    encoder_ = std::make_unique<KeyEncoder>(source.Header(), flat_, *index_);
    entries_ = std::make_unique<IndexReader>(source, flat_, *index_);
}

const std::string& ComplexValueReader::Read(std::int32_t key) {
    text_.clear();
    const std::optional<ByteSpan> stored = std::as_bytes(std::span(&key, 1));
    encoder_->Encode({&stored, 1}, seek_);
    entries_->Seek(seek_);
    bool any = false;
    while (entries_->Next()) {
        const auto found = entries_->Key();
        if (!std::equal(found.begin(), found.end(), seek_.begin(), seek_.end())) {
            break;
        }
        if (!records_->Seek(entries_->Row())) {
            continue;
        }
        const auto& value = (*records_)[1].IsNull() ? (*records_)[2] : (*records_)[1];
        if (any) {
            text_.push_back(kSeparator);
        }
        AppendText(value, text_);
        any = true;
    }
    return text_;
}

}  // namespace vantry::access

#include "drivers/access/write/key_fields.h"

#include "drivers/access/write_errors.h"

#include <algorithm>

namespace vantry::access {

std::optional<ByteSpan> StoredKeyFields::KeyField(std::size_t column) {
    const ColumnDef& def = def_->columns[column];
    const auto field = row_->Field(def);
    if (!field || !def.IsLongValue()) {
        return field;
    }
    // Only as much of it as a key has.
    const ByteSpan text = reader_.Read(*field, KeyEncoder::kMemoKeyBytes);
    // Copied, because the reader's bytes are those of the next column soon.
    texts_.resize(def_->columns.size());
    texts_[column].assign(text.begin(), text.end());
    return ByteSpan(texts_[column]);
}

std::optional<ByteSpan> EncodedKeyFields::KeyField(std::size_t column) {
    // The encoder has only the header of a long value that was given in stored form.
    const bool stored = !kept_.empty() && kept_[column].given && !kept_[column].is_null;
    return stored && def_->columns[column].IsLongValue() ? stored_->Fetched(column)
                                                         : encoder_->KeyField(column);
}

std::span<const std::optional<ByteSpan>> KeyFields::Take(const RealIndex& index,
                                                         KeyFieldSource& source) {
    fields_.clear();
    for (const IndexColumn& column : index.columns) {
        fields_.push_back(source.KeyField(column.position));
    }
    return fields_;
}

bool KeyFields::AnyNull() const {
    return std::any_of(
        fields_.begin(), fields_.end(), [](const auto& field) { return !field.has_value(); });
}

bool KeyFields::AllNull() const {
    return std::none_of(
        fields_.begin(), fields_.end(), [](const auto& field) { return field.has_value(); });
}

bool KeyFields::MakeKey(const KeyEncoder& encoder,
                        std::string_view table,
                        std::string_view index,
                        std::vector<std::byte>& key) const {
    switch (encoder.Encode(fields_, key)) {
        case KeyResult::Ok:
            return true;
        case KeyResult::NoEntry:
            return false;
        case KeyResult::UnknownForm:
            break;
    }
    throw CannotChangeTable(
        table, "a value of the row can't be a key of index '" + std::string(index) + "'");
}

}  // namespace vantry::access

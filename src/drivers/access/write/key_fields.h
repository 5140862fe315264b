#pragma once
// The stored bytes that keys are made of, from a row being written or from one that lies in the
// file; and the making of a key, with the reason in the table's words when it can't be made.

#include "drivers/access/indexes/index_key.h"
#include "drivers/access/rows/long_value.h"
#include "drivers/access/rows/row.h"
#include "drivers/access/rows/row_encoder.h"

#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vantry::access {

class KeyFieldSource {
public:
    virtual ~KeyFieldSource() = default;
    // What KeyEncoder::Encode wants of the column at that position of the definition; nothing for
    // null. Good until the row of the source changes. Throws BoundsError and DataError.
    virtual std::optional<ByteSpan> KeyField(std::size_t column) = 0;
};

// A row as it is stored. Texts that lie on long value pages are fetched, once for each call.
class StoredKeyFields : public KeyFieldSource {
public:
    // Both must outlive it.
    StoredKeyFields(PageSource& source, const TableDef& def) : def_(&def), reader_(source) {}
    // Its bytes must outlive the calls that follow.
    void Stand(const RowView& row) { row_ = row; }
    std::optional<ByteSpan> KeyField(std::size_t column) override;
    // A long value's text that KeyField() fetched.
    ByteSpan Fetched(std::size_t column) const { return texts_[column]; }

private:
    const TableDef* def_;
    std::optional<RowView> row_;
    LongValueReader reader_;
    std::vector<std::vector<std::byte>> texts_;  // by column position: a key may have several
};

// A row that the encoder holds.
class EncodedKeyFields : public KeyFieldSource {
public:
    EncodedKeyFields(const TableDef& def, const RowEncoder& encoder)
        : def_(&def), encoder_(&encoder) {}
    // Of a row being changed: the fields that stay as they are stored. Their long values must have
    // been fetched by `stored`.
    void Keep(std::span<const RowEncoder::StoredField> kept, const StoredKeyFields& stored) {
        kept_ = kept;
        stored_ = &stored;
    }
    std::optional<ByteSpan> KeyField(std::size_t column) override;

private:
    const TableDef* def_;
    const RowEncoder* encoder_;
    std::span<const RowEncoder::StoredField> kept_;
    const StoredKeyFields* stored_ = nullptr;
};

// The fields of one key, in the index's order.
class KeyFields {
public:
    std::span<const std::optional<ByteSpan>> Take(const RealIndex& index, KeyFieldSource& source);
    bool AnyNull() const;
    bool AllNull() const;
    // The key of the fields taken last. False: a row with them has no entry. `table` and `index`
    // are for messages. Throws DataError for a value that can't be a key.
    bool MakeKey(const KeyEncoder& encoder,
                 std::string_view table,
                 std::string_view index,
                 std::vector<std::byte>& key) const;

private:
    std::vector<std::optional<ByteSpan>> fields_;
};

}  // namespace vantry::access

#pragma once
// Makes the keys of a tag from records.

#include "drivers/foxpro/indexes/tag_header.h"

#include <optional>
#include <span>
#include <vector>

namespace vantry::foxpro {

class KeyMaker {
public:
    // `layout` and `letters` must outlive it.
    KeyMaker(const TagHeader& header, const TableLayout& layout, const LetterTable& letters);

    // Why keys can't be made; empty if they can.
    const std::string& Unsupported() const { return unsupported_; }
    // What keys end with that isn't stored.
    std::byte Pad() const { return pad_; }
    // Puts the record's key into `out`, which has the key's length. False: FOR doesn't hold. Throws
    // KeyTrouble.
    bool Make(const RecordView& record, std::span<std::byte> out) const;
    // Whether the key is a field as it stands, of every record. Then Make may be called on any
    // thread, and a row that was written here always has a key.
    bool IsPlain() const { return field_ != nullptr && !filter_; }
    // That the key and FOR depend on.
    std::vector<const Field*> Fields() const;

private:
    enum class Form : std::uint8_t { Text, General, Number, Integer, Currency, Logical };
    void Settle(const TagHeader& header, const TableLayout& layout);
    void Put(const RecordView& record, std::span<std::byte> out) const;

    std::optional<KeyExpression> expression_;
    std::optional<KeyExpression> filter_;
    const Field* field_ = nullptr;
    Form form_ = Form::Text;
    bool nullable_ = false;
    std::byte pad_{' '};
    std::string unsupported_;
};

// The bytes of a number in keys: big-endian, and in an order in which they compare as the numbers
// do.
void PutNumberKey(double number, std::span<std::byte> out);

// For a new tag: sets the length of the keys and the options that follow from the expressions.
// Throws KeyTrouble.
void SettleNewHeader(TagHeader& header, const TableLayout& layout, const LetterTable& letters);

}  // namespace vantry::foxpro

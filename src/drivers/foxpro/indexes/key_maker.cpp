// What a tag's keys look like is settled once, from its header and the type of its expression;
// making one then is evaluating and writing bytes that compare as the values do. Whatever isn't
// certain to give FoxPro's bytes is a reason not to make keys at all: texts that a condition
// compares in another order, an order of letters that isn't known for the code page, a length that
// doesn't go with the type.

#include "drivers/foxpro/indexes/key_maker.h"

#include "drivers/foxpro/indexes/field_value.h"
#include "drivers/foxpro/indexes/general_order.h"

#include <algorithm>
#include <cstring>

namespace vantry::foxpro {
namespace {

constexpr int kCodePageOfGeneral = 1252;
constexpr std::string_view kGeneral = "GENERAL";
constexpr std::size_t kNumberKey = 8;
constexpr std::size_t kIntegerKey = 4;
constexpr std::uint64_t kSign = std::uint64_t{1} << 63;

bool IsOneField(const KeyExpression& expression, char type) {
    const auto* const field = expression.SingleField();
    return field != nullptr && field->type == type;
}

// Of a key that isn't a text.
// Only the field itself is kept in four bytes: what is computed from it is a double.
std::size_t SizeOf(const KeyExpression& expression) {
    if (expression.Type() == KeyType::Logical) {
        return 1;
    }
    return IsOneField(expression, 'I') ? kIntegerKey : kNumberKey;
}

}  // namespace

void PutNumberKey(double number, std::span<std::byte> out) {
    std::uint64_t bits = 0;
    if (number != 0) {  // there is one zero alone
        std::memcpy(&bits, &number, sizeof bits);
    }
    // A negative number is turned round as a whole, because its larger amounts come first; the sign
    // alone is turned in others, which puts them behind.
    bits = (bits & kSign) != 0 ? ~bits : bits | kSign;
    file::StoreBigU64(out, 0, bits);
}

KeyMaker::KeyMaker(const TagHeader& header, const TableLayout& layout, const LetterTable& letters)
    : nullable_((header.options & kTagNullable) != 0) {
    try {
        if (!header.damage.empty()) {
            throw KeyTrouble(header.damage);
        }
        if (header.kind == kKindBitmap) {
            throw KeyTrouble("it is a BINARY one");
        }
        expression_.emplace(header.expression, layout, letters);
        if (!header.filter.empty()) {
            filter_.emplace(header.filter, layout, letters);
        }
        Settle(header, layout);
        field_ = expression_->SingleField();
    } catch (const KeyTrouble& trouble) {
        // The table can still be read, and says why it takes no changes (RequireMaintainable).
        unsupported_ = trouble.what();
    }
}

void KeyMaker::Settle(const TagHeader& header, const TableLayout& layout) {
    const bool collated = header.kind == kKindCollation;
    if (!collated && header.kind > kKindMachine) {
        throw KeyTrouble("its kind " + std::to_string(header.kind) + " isn't known here");
    }
    if (filter_ && filter_->Type() != KeyType::Logical) {
        throw KeyTrouble("its condition " + header.filter + " isn't one");
    }
    const bool compares = expression_->ComparesTexts() || (filter_ && filter_->ComparesTexts());
    if (collated && compares) {
        throw KeyTrouble("it compares texts in the order " + header.collation);
    }
    const std::size_t length = header.key_length - (nullable_ ? 1 : 0);
    if (expression_->Type() == KeyType::Text) {
        form_ = collated ? Form::General : Form::Text;
        pad_ = collated ? std::byte{0} : std::byte{' '};
        if (collated && (header.collation != kGeneral || layout.code_page != kCodePageOfGeneral)) {
            throw KeyTrouble("its order is " + header.collation + " of code page " +
                             std::to_string(layout.code_page));
        }
        if (collated && expression_->SingleField() != nullptr &&
            expression_->SingleField()->binary) {
            throw KeyTrouble("its field is binary, and its order " + header.collation);
        }
        // Any length goes with a text, which is cut or padded to it.
        return;
    }
    pad_ = std::byte{0};
    form_ = expression_->Type() == KeyType::Logical ? Form::Logical
            : IsOneField(*expression_, 'I')         ? Form::Integer
            : IsOneField(*expression_, 'Y')         ? Form::Currency
                                                    : Form::Number;
    if (length != SizeOf(*expression_)) {
        throw KeyTrouble("its keys have " + std::to_string(length) +
                         " bytes, which doesn't go with its expression");
    }
}

std::vector<const Field*> KeyMaker::Fields() const {
    std::vector<const Field*> fields;
    for (const auto* expression : {&expression_, &filter_}) {
        for (const auto* field :
             *expression ? (*expression)->Fields() : std::span<const Field* const>()) {
            if (std::find(fields.begin(), fields.end(), field) == fields.end()) {
                fields.push_back(field);
            }
        }
    }
    return fields;
}

bool KeyMaker::Make(const RecordView& record, std::span<std::byte> out) const {
    if (filter_) {
        const auto holds = filter_->Evaluate(record);
        if (holds.null || !holds.logical) {
            return false;
        }
    }
    if (nullable_) {
        out[0] = kNullablePrefix;
        Put(record, out.subspan(1));
        return true;
    }
    Put(record, out);
    return true;
}

// NULL is zeros, also in the prefix; a tag that knows no NULL takes it for a blank value.
void KeyMaker::Put(const RecordView& record, std::span<std::byte> out) const {
    const auto value =
        field_ != nullptr ? FieldValue(*field_, record) : expression_->Evaluate(record);
    if (value.null && nullable_) {
        // `out` begins behind the prefix, so there is a byte of the key before it.
        std::fill(out.data() - 1, out.data() + out.size(), std::byte{0});
        return;
    }
    switch (form_) {
        case Form::Text: {
            const auto size = std::min(value.text.size(), out.size());
            if (size != 0) {
                std::memcpy(out.data(), value.text.data(), size);
            }
            std::fill(out.begin() + static_cast<std::ptrdiff_t>(size), out.end(), std::byte{' '});
            break;
        }
        case Form::General:
            GeneralKey(value.text, out);
            break;
        case Form::Number:
            PutNumberKey(value.number, out);
            break;
        case Form::Integer:
            file::StoreBigU32(
                out,
                0,
                static_cast<std::uint32_t>(static_cast<std::int32_t>(value.number)) ^ 0x80000000U);
            break;
        case Form::Currency: {
            // From the record: a double has too few digits for 19 of them.
            const auto amount = value.null ? 0 : file::Load<std::int64_t>(record.Bytes(*field_), 0);
            file::StoreBigU64(out, 0, static_cast<std::uint64_t>(amount) ^ kSign);
            break;
        }
        case Form::Logical:
            out[0] = static_cast<std::byte>(value.logical ? 'T' : 'F');
            break;
    }
}

void SettleNewHeader(TagHeader& header, const TableLayout& layout, const LetterTable& letters) {
    const KeyExpression expression(header.expression, layout, letters);
    std::size_t length = expression.Width();
    const bool text = expression.Type() == KeyType::Text;
    if (!text) {
        length = SizeOf(expression);
    }
    unsigned options = header.options & (kTagUnique | kTagCandidate);
    options |= kTagCompact | kTagCompound;
    options |= header.filter.empty() ? 0U : kTagFilter;
    header.kind = header.collation.empty() ? kKindMachine : kKindCollation;
    if (text && header.kind == kKindCollation) {
        // Two bytes a letter: one for its weight, and one for an accent or a second letter.
        length *= 2;
    }
    if (expression.HasNullableField()) {
        options |= kTagNullable;
        ++length;
    }
    if (text && expression.Width() == 0) {
        throw KeyTrouble("the length of " + header.expression + " isn't fixed");
    }
    if (length > kMaxKeyLength) {
        throw KeyTrouble("its keys would have " + std::to_string(length) +
                         " bytes, and keys have at most " + std::to_string(kMaxKeyLength));
    }
    header.options = static_cast<std::uint8_t>(options);
    header.key_length = length;
    EncodeTagHeader(header);
    // As if it had been read from a file: what could not be kept right later is refused when it is
    // made.
    if (const auto why = KeyMaker(header, layout, letters).Unsupported(); !why.empty()) {
        throw KeyTrouble(why);
    }
}

}  // namespace vantry::foxpro

#pragma once
// From the bytes of a field to a cell, by the type of its column. One reader a column; the kind of
// work is decided when it is made.

#include "data/made_texts.h"
#include "data/short_number.h"
#include "data/value.h"
#include "data/value_text.h"
#include "drivers/text/number_form.h"
#include "drivers/text/type_guess.h"
#include "text_format/byte_masks.h"
#include "text_format/encoding.h"
#include "text_format/row_splitter.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace vantry::text {

struct TextColumn {
    std::string name;
    ColumnType type = ColumnType::Text;
    bool guessed = false;
    std::uint32_t width = 0;  // of Text: characters, longer values don't fit; 0: all do
    int precision = 18;       // of Decimal
    int scale = 0;
    bool hexadecimal = false;            // bytes are written as 0x and digits
    std::optional<DatePicture> picture;  // of its own, before the file's
};

// What all columns of a file share.
struct FileForms {
    TextEncoding encoding;
    std::string qualifier;       // UTF-8
    bool fixed_columns = false;  // blanks fill the columns up
    ValueForms values;
};

class FieldReader {
public:
    FieldReader(const TextColumn& column, const FileForms& forms);

    // `bytes` are the field without its qualifiers, readable for 16 bytes more; `plain` says that
    // they are surely ASCII without NUL. The cell looks at `bytes` or into `made`. Unreadable if
    // the field isn't a value of the column's type.
    Cell Read(std::string_view bytes, FieldSpan field, bool plain, MadeTexts& made) {
        if (is_text_) {
            if (!cuts_ && (plain || (is_utf8_ ? IsPlainUtf8(bytes) : IsPlainText(bytes)))) {
                if (field.HasQualifiers()) {
                    return Cell::Text(Unqualified(bytes, field, made));
                }
                return bytes.empty() && !field.IsQualified() ? Cell::Null() : Cell::Text(bytes);
            }
            return ReadText(bytes, field, plain, made);
        }
        if (bytes.size() <= canonical_limit_) {
            std::string_view number = bytes;
            if (whole_ ? IsCanonicalWhole(number) : CutToCanonical(number)) {
                return Cell::NumberText(number);
            }
        }
        if (iso_dates_) {
            if (const auto date = ParseIsoDateTime(bytes)) {
                return Cell::FromDateTime(*date);
            }
        }
        return ReadOther(bytes, field, plain, made);
    }

    // The field as text, for messages.
    std::string ShownText(std::string_view bytes, FieldSpan field);
    // What a value of this column must be, as it stands behind "is not"; `shown` is the text that
    // isn't that.
    std::string Wanted(std::string_view shown) const;
    // Whether a value of the column may be too long for it.
    bool HasWidth() const { return column_.width > 0 && !forms_.fixed_columns; }

private:
    static bool IsCanonicalWhole(std::string_view text) {
        const std::size_t sign = !text.empty() && text.front() == '-' ? 1 : 0;
        if (text.size() == sign || (text[sign] == '0' && text.size() > 1)) {
            return false;
        }
        return AreDigits(text.substr(sign));  // a limit of ten characters keeps it short
    }
    Cell ReadText(std::string_view bytes, FieldSpan field, bool plain, MadeTexts& made);
    Cell ReadOther(std::string_view bytes, FieldSpan field, bool plain, MadeTexts& made);
    Cell ReadHexadecimal(std::string_view text, MadeTexts& made);
    Cell ReadValue(std::string_view text);
    Cell ReadInteger(std::string_view text) const;
    Cell ReadFloat(std::string_view text) const;
    Cell ReadCurrency(std::string_view text) const;
    Cell ReadDecimal(std::string_view text) const;
    Cell ReadDate(std::string_view text) const;
    std::string_view Unqualified(std::string_view utf8, FieldSpan field, MadeTexts& made);
    std::string_view Decode(std::string_view bytes, FieldSpan field, bool plain);

    TextColumn column_;
    const FileForms& forms_;
    bool is_text_ = false;
    bool is_utf8_ = false;             // what is split is UTF-8 already, or meant to be
    bool cuts_ = false;                // every text must be looked at: widths, fixed columns
    bool iso_dates_ = false;           // the form that needs no picture
    bool whole_ = false;               // fractions don't fit
    std::size_t canonical_limit_ = 0;  // so short a number fits if it is canonical; 0: never
    std::string scratch_;
};

}  // namespace vantry::text

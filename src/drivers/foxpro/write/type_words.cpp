// A field is made in three steps: the words at the end (NOCPTRANS, AUTOINC) are taken off, what is
// left names the type, and the numbers in brackets give its width. They mean the width in the file,
// sign and point included, as in FoxPro's own command; a driver that adds two places for them isn't
// followed, as sessions of the wizard name the width that they read. Easy to get wrong: sources
// give texts the width of 255, which no field has and a memo takes, and B has one number, which is
// decimals and no width.
#include "drivers/foxpro/write/type_words.h"

#include "drivers/foxpro/errors.h"

#include <algorithm>
#include <string>

namespace vantry::foxpro {
namespace {

constexpr std::string_view kBinaryWord = " NOCPTRANS";
constexpr std::string_view kAutoIncrementWord = " AUTOINC";
constexpr int kUsualNumberWidth = 10;
constexpr int kUsualDoubleDecimals = 2;
constexpr int kMaxDoubleDecimals = 18;

struct Word {
    std::string_view word;
    char type;
    bool binary = false;
};

// The letters, FoxPro's own words, and those that other databases have for the same.
constexpr Word kWords[] = {
    {"C", 'C'},
    {"CHAR", 'C'},
    {"CHARACTER", 'C'},
    {"NCHAR", 'C'},
    {"CHARBIN", 'C', true},
    {"V", 'V'},
    {"VARCHAR", 'V'},
    {"VARCHARBIN", 'V', true},
    {"CHARACTER VARYING", 'V'},
    {"NVARCHAR", 'V'},
    {"Q", 'Q'},
    {"VARBINARY", 'Q'},
    {"VARBIN", 'Q'},
    {"BINARY", 'Q'},
    {"N", 'N'},
    {"NUM", 'N'},
    {"NUMERIC", 'N'},
    {"DECIMAL", 'N'},
    {"NUMBER", 'N'},
    {"DEC", 'N'},
    {"BIGINT", 'N'},
    {"F", 'F'},
    {"FLOAT", 'F'},
    {"I", 'I'},
    {"INT", 'I'},
    {"INTEGER", 'I'},
    {"LONG", 'I'},
    {"SMALLINT", 'I'},
    {"TINYINT", 'I'},
    {"SHORT", 'I'},
    {"BYTE", 'I'},
    {"B", 'B'},
    {"DOUBLE", 'B'},
    {"DOUBLE PRECISION", 'B'},
    {"REAL", 'B'},
    {"SINGLE", 'B'},
    {"Y", 'Y'},
    {"CURRENCY", 'Y'},
    {"MONEY", 'Y'},
    {"L", 'L'},
    {"LOGICAL", 'L'},
    {"BOOLEAN", 'L'},
    {"BIT", 'L'},
    {"D", 'D'},
    {"DATE", 'D'},
    {"T", 'T'},
    {"DATETIME", 'T'},
    {"TIMESTAMP", 'T'},
    {"M", 'M'},
    {"MEMO", 'M'},
    {"TEXT", 'M'},
    {"MEMOBIN", 'M', true},
    {"G", 'G'},
    {"GENERAL", 'G'},
    {"P", 'G'},
    {"PICTURE", 'G'},
    {"W", 'W'},
    {"BLOB", 'W'},
    {"IMAGE", 'W'},
    {"LONGBINARY", 'W'},
};

class FieldMaker {
public:
    FieldMaker(const sql::ColumnDefinition& column, std::string_view table)
        : column_(column), table_(table), word_(column.type) {}

    // A key and a number that is handed out are never null, whatever the connection's default is.
    Field Make(bool null_by_default) {
        field_.binary = TakeEnd(kBinaryWord);
        field_.auto_increment = TakeEnd(kAutoIncrementWord);
        const auto* const found =
            std::find_if(std::begin(kWords), std::end(kWords), [this](const Word& known) {
                return known.word == word_;
            });
        if (found == std::end(kWords)) {
            Refuse("has the type '" + column_.type + "', which FoxPro tables don't have");
        }
        field_.type = found->type;
        field_.binary = field_.binary || found->binary;
        // Texts that no field of a record takes whole are memos: sources often give them the width
        // of 255, which is what their own kind has.
        if ((field_.type == 'C' || field_.type == 'V') &&
            column_.size > static_cast<int>(kMaxTextWidth)) {
            field_.type = 'M';
        }
        if (field_.binary && field_.type != 'C' && field_.type != 'V' && field_.type != 'M') {
            Refuse("can't be NOCPTRANS, as it holds no text");
        }
        if (field_.auto_increment && field_.type != 'I') {
            Refuse("can't be AUTOINC, as it isn't an integer");
        }
        SetLength();
        field_.nullable = !column_.not_null && !column_.primary_key && !field_.auto_increment &&
                          ((null_by_default && !column_.unique) || column_.null);
        return field_;
    }

private:
    [[noreturn]] void Refuse(const std::string& what) const {
        throw BadFieldDefinition(table_, column_.name, what);
    }

    bool TakeEnd(std::string_view end) {
        if (!word_.ends_with(end)) {
            return false;
        }
        word_.remove_suffix(end.size());
        return true;
    }

    // A number that no field has is refused rather than bent: the user would find out from lost
    // digits.
    int Between(std::optional<int> value, int usual, int least, int most, std::string_view what) {
        const int number = value.value_or(usual);
        if (number < least || number > most) {
            Refuse("has " + std::string(what) + " " + std::to_string(number) + ", which must be " +
                   std::to_string(least) + " to " + std::to_string(most));
        }
        return number;
    }

    void SetLength() {
        switch (field_.type) {
            case 'C':
            case 'V':
            case 'Q':
                field_.length = static_cast<std::size_t>(
                    Between(column_.size, 1, 1, static_cast<int>(kMaxTextWidth), "the width"));
                break;
            case 'N':
            case 'F':
                SetNumberLength();
                break;
            case 'B':
                field_.length = 8;
                field_.decimals = static_cast<std::size_t>(
                    Between(column_.size, kUsualDoubleDecimals, 0, kMaxDoubleDecimals, "decimals"));
                break;
            case 'Y':
                field_.decimals = kCurrencyScale;
                [[fallthrough]];
            case 'T':
            case 'D':
                field_.length = 8;
                break;
            case 'L':
                field_.length = 1;
                break;
            default:  // I, M, G, W
                field_.length = 4;
        }
        // AUTOINC borrows the two numbers: where to begin, and how far to the next.
        if (field_.auto_increment) {
            field_.next_value = static_cast<std::uint32_t>(
                Between(column_.size, 1, 0, INT32_MAX, "the next value"));
            field_.step =
                static_cast<std::uint8_t>(Between(column_.scale, 1, 1, UINT8_MAX, "the step"));
        }
    }

    // Decimals up to one less than the width: a number without a whole digit is what FoxPro allows,
    // too.
    void SetNumberLength() {
        const bool wide = word_ == "BIGINT";
        const int width = Between(column_.size,
                                  wide ? static_cast<int>(kMaxNumberWidth) : kUsualNumberWidth,
                                  1,
                                  static_cast<int>(kMaxNumberWidth),
                                  "the width");
        field_.length = static_cast<std::size_t>(width);
        field_.decimals = static_cast<std::size_t>(
            Between(column_.scale, 0, 0, std::max(width - 1, 0), "decimals"));
    }

    const sql::ColumnDefinition& column_;
    std::string_view table_;
    std::string_view word_;
    Field field_;
};

}  // namespace

Field FieldFor(const sql::ColumnDefinition& column, bool null_by_default, std::string_view table) {
    return FieldMaker(column, table).Make(null_by_default);
}

}  // namespace vantry::foxpro

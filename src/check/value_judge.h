#pragma once
// Whether a value arrives as it is: a value of a source field, the way by which a run carries it,
// and the column that takes it, give a grade and the reason. One judgement a value, without
// allocation for the usual ones: the check of a table passes every value through it.

#include "check/column_holding.h"
#include "data/code_page.h"
#include "data/short_number.h"
#include "data/utf.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vantry {

enum class Grade : std::uint8_t { Kept, Changed, Refused };

enum class Reason : std::uint8_t {
    None,
    NoType,          // CREATE refuses the column: the whole table
    NameLimit,       // so it does its name, or the number of columns
    Scale,           // places behind the point
    Range,           // too large, too small, too early
    FloatPrecision,  // digits that a binary fraction doesn't have
    Day,
    TimeOfDay,
    SecondFraction,
    Length,
    Padding,  // filled with blanks or zeros up to the length
    Null,     // becomes another value, or a text that is refused
    NotNull,  // the target takes none
    EmptyText,
    NoEmptyText,  // the target takes none
    CodePage,
    Blanks,     // at the ends of a text
    PushesOn,   // longer than its place in a line of fixed width, and not cut
    EndsField,  // so it does what follows by a delimiter in it
    EndsLine,   // and by a line break what goes before, too
    RunsOn,     // its closing sign is read as one of its own
    Displaced,  // of a value in whose line such a one stands
    Qualifier,  // a sign in the text that a reader of the file takes for its end
    Letters,    // T or F
    Truth,      // a number other than 0 and 1
    Digits,     // a number in another writing
    BlankText,  // an empty one that becomes 0 or the first day
    OtherDay,   // a number of days that the target counts from another one
    Writing,    // a value in another writing
    NotAValue,  // a text that is no number, date or truth
    Unreadable,
    RepeatedKey  // the last: kReasons counts by it
};
inline constexpr std::size_t kReasons = static_cast<std::size_t>(Reason::RepeatedKey) + 1;

struct Verdict {
    Grade grade = Grade::Kept;
    Reason reason = Reason::None;
};
constexpr Verdict kKept{};
constexpr Verdict Changed(Reason reason) {
    return {Grade::Changed, reason};
}
constexpr Verdict Refused(Reason reason) {
    return {Grade::Refused, reason};
}

// How a run carries the values of a table.
enum class Way : std::uint8_t {
    Statement,  // parameters
    Recordset,  // where a column is long or binary
    Batch,      // as text, a hundred rows at a time
    BatchRecordset,
    Delimited,
    FixedWidth
};

// A column on its way.
struct Carriage {
    Way way = Way::Statement;
    int type = 0;             // of the source's field
    bool text_field = false;  // of a text file: it stands between qualifiers
    std::size_t width = 0;    // of a text file of fixed width; 0: any
    int scale = 0;            // of the source's field
    bool is_cut = false;      // what is longer is cut there, else it moves what follows
};

class ColumnJudge {
public:
    ColumnJudge(Holding holding, const Carriage& carriage);

    // Another one for the same column, for another thread.
    ColumnJudge Copy() const { return {holding_, carriage_}; }

    Verdict operator()(const Cell& value);
    // Whether the verdict is surely that it is kept; false says nothing. For most values of a text
    // file, whose check is to cost a fraction of writing them.
    bool IsSurelyKept(const Cell& value) const {
        switch (value.Kind()) {
            case ValueKind::Text:
                return keeps_plain_text_ ? IsPlainLineText(value.AsText())
                                         : IsPlainShortText(value.AsText());
            case ValueKind::Int64:
                return keeps_values_ ||
                       (holding_.form == Form::Whole && value.AsInt64() >= holding_.low &&
                        value.AsInt64() <= holding_.high);
            case ValueKind::NumberText: {
                ShortNumber number;
                return keeps_values_ ||
                       (ReadShortNumber(value.AsText(), number) && IsSurelyHeld(number));
            }
            case ValueKind::Decimal:
                return keeps_values_ || IsSurelyHeld(value.AsDecimal());
            case ValueKind::Boolean:
            case ValueKind::DateTime:
                return keeps_values_;
            default:
                return false;  // infinities among the floating numbers
        }
    }

    const Holding& Target() const { return holding_; }
    void SetRequired(bool required) { holding_.required = required; }
    void SetNeverEmpty(bool never) { holding_.never_empty = never; }
    // What arrives in place of a value that is changed for `reason`; nothing where that can't be
    // said. The other in words.
    std::optional<Value> Stored(const Cell& value, Reason reason) const;
    std::string Arrives(const Cell& value, Reason reason) const;

private:
    Verdict JudgeNull() const;
    Verdict JudgeOther(const Cell& value);
    Verdict WithFewerDigits(Verdict verdict) const;
    Verdict JudgeNumber(const Cell& value);
    Verdict JudgeWhole(const Cell& value) const;
    // As the target rounds.
    std::optional<Decimal> RoundedTo(const Cell& value, int scale) const;
    Verdict JudgeExact(const Cell& value) const;
    Verdict JudgeDouble(const Cell& value) const;
    Verdict JudgeSingle(const Cell& value) const;
    Verdict JudgeMoment(const DateTime& moment) const;
    Verdict JudgeText(std::string_view text);
    Verdict JudgeBytes(std::string_view bytes) const;
    Verdict JudgeLine(const Cell& value);
    bool IsPlainLineText(std::string_view text) const {
        return !text.empty() && !text.starts_with(' ') && !text.ends_with(' ') &&
               std::memchr(text.data(), qualifier_, text.size()) == nullptr;
    }
    // Of a column of texts: no letter of it needs to be counted or looked up.
    bool IsPlainShortText(std::string_view text) const {
        return text.size() <= plain_text_bytes_ && !text.empty() && text.back() != ' ' &&
               (!page_ || IsAscii(text));
    }
    // Of a column of numbers.
    bool IsSurelyHeld(const ShortNumber& number) const {
        if (holding_.form == Form::Whole) {
            return number.scale == 0 && number.unscaled >= holding_.low &&
                   number.unscaled <= holding_.high;
        }
        // At most 16 digits on either side: the product stays within 128 bits.
        return holding_.form == Form::Exact && number.unscaled >= 0 &&
               number.scale <= holding_.scale && holding_.scale - number.scale < kShortTens &&
               static_cast<UInt128>(number.unscaled) *
                       kShortPowers[static_cast<std::size_t>(holding_.scale - number.scale)] <
                   most_;
    }
    bool IsSurelyHeld(const Decimal& number) const {
        return number.unscaled >= 0 && number.unscaled <= INT64_MAX &&
               IsSurelyHeld(ShortNumber{static_cast<std::int64_t>(number.unscaled), number.scale});
    }
    static constexpr int kShortTens = 19;
    static constexpr auto kShortPowers = [] {
        std::array<std::uint64_t, kShortTens> powers{1};
        for (std::size_t k = 1; k < powers.size(); ++k) {
            powers[k] = powers[k - 1] * 10;
        }
        return powers;
    }();
    bool InPage(std::string_view text);
    // As the column stores it.
    DateTime OnItsStep(DateTime moment) const;
    // In what the column's length counts.
    std::size_t LengthOf(std::string_view text) const;

    Holding holding_;
    Carriage carriage_;
    std::unique_ptr<CodePage> page_;
    std::string scratch_;
    std::int64_t units_;  // of a second that are carried: nanoseconds
    UInt128 most_ = 0;    // Exact: the first number that has too many digits, by the scale
    // Of a delimited text file: what isn't text is written as it reads back, and a text between
    // qualifiers of one byte is looked through for that byte and for blanks at its ends.
    bool keeps_values_ = false;
    bool keeps_plain_text_ = false;
    std::size_t plain_text_bytes_ = 0;  // a text that is no longer has no letter too many
    char qualifier_ = 0;
};

}  // namespace vantry

// The quick answers stand first and look at the value once: a whole number in its range, a text no
// longer than the column in bytes. What they can't say goes to the slow ones, which convert as the
// engines do; those of numbers are in number_judge. Easy to get wrong: MySQL gets nulls of texts as
// empty texts and dates without fractions; beside long columns it gets dates without their time,
// and for a null the word NULL.

#include "check/value_judge.h"

#include "check/server_conversion.h"
#include "core/session_state.h"
#include "data/ado_types.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <cmath>
#include <optional>
#include <utility>

namespace vantry {
namespace {

constexpr std::int64_t kNanosPerMilli = kNanosPerSecond / 1000;
constexpr std::int64_t kShortestFloat = 7;  // characters: -1e-308
UInt128 PowerOfTen(int exponent) {
    UInt128 power = 1;
    for (; exponent > 0; --exponent) {
        power *= 10;
    }
    return power;
}

bool Contains(std::string_view text, std::string_view part) {
    return !part.empty() && text.find(part) != std::string_view::npos;
}

// Between qualifiers a pair of them stands for one, so one at the end makes a pair with the sign
// that closes the field: unless another one has closed it by then, nothing does.
bool RunsOn(std::string_view text) {
    const auto sign = TextDestQual.size();
    for (auto at = text.find(TextDestQual); at != text.npos; at = text.find(TextDestQual, at)) {
        at += sign;
        if (at == text.size()) {
            return true;
        }
        if (!text.substr(at).starts_with(TextDestQual)) {
            return false;
        }
        at += sign;
    }
    return false;
}

}  // namespace

ColumnJudge::ColumnJudge(Holding holding, const Carriage& carriage)
    : holding_(std::move(holding)), carriage_(carriage), units_(holding_.step) {
    constexpr int kUtf8 = 65001;
    if (holding_.code_page != 0 && holding_.code_page != kUtf8) {
        page_ = std::make_unique<CodePage>(holding_.code_page);
    }
    if (carriage_.way == Way::Batch) {
        // A batch carries dates as texts, which have whole seconds.
        units_ = std::max(units_, kNanosPerSecond);
    }
    if (holding_.form == Form::Exact && holding_.scale >= 0) {
        // The next power of ten wouldn't fit into 128 bits.
        most_ = holding_.high > 0 ? static_cast<UInt128>(holding_.high) + 1
                                  : PowerOfTen(std::min(holding_.digits + holding_.scale, 38));
    }
    keeps_values_ =
        holding_.form == Form::Line && carriage_.way == Way::Delimited && carriage_.width == 0;
    keeps_plain_text_ = keeps_values_ && carriage_.text_field && !page_ && TextDestQual.size() == 1;
    qualifier_ = keeps_plain_text_ ? TextDestQual[0] : '\0';
    // A truth that travels as a letter needs a column of letters.
    if (carriage_.type == adBoolean && holding_.form == Form::Text && holding_.empty_is_null) {
        holding_.form = Form::Letter;
    }
    if (holding_.form == Form::Text && !holding_.pads) {
        plain_text_bytes_ =
            holding_.length > 0 ? static_cast<std::size_t>(holding_.length) : SIZE_MAX;
    }
}

Verdict ColumnJudge::operator()(const Cell& value) {
    switch (value.Kind()) {
        case ValueKind::Null:
            return JudgeNull();
        case ValueKind::Int64:
            if (holding_.form == Form::Whole && value.AsInt64() >= holding_.low &&
                value.AsInt64() <= holding_.high) {
                return kKept;
            }
            break;
        case ValueKind::Double:
        case ValueKind::Single:
            if (holding_.form == Form::Double &&
                (holding_.all_doubles ||
                 std::isfinite(value.Kind() == ValueKind::Double ? value.AsDouble()
                                                                 : value.AsSingle()))) {
                return kKept;
            }
            break;
        case ValueKind::DateTime:
            if (holding_.form == Form::Moment || holding_.form == Form::Day) {
                return JudgeMoment(value.AsDateTime());
            }
            break;
        case ValueKind::Text:
            if (holding_.form == Form::Text) {
                return JudgeText(value.AsText());
            }
            break;
        default:
            break;
    }
    return IsSurelyKept(value) ? kKept : JudgeOther(value);
}

Verdict ColumnJudge::JudgeNull() const {
    if (holding_.form == Form::Nothing) {
        return Refused(Reason::NoType);
    }
    switch (carriage_.way) {
        case Way::Batch:
            // A batch writes such a null as '', which a column of numbers or dates refuses.
            if (IsTextType(carriage_.type)) {
                return holding_.form == Form::Text || holding_.form == Form::Bytes
                           ? Changed(Reason::Null)
                           : Refused(Reason::Null);
            }
            break;
        case Way::BatchRecordset:
            if (IsDateType(carriage_.type)) {
                return holding_.form == Form::Text ? Changed(Reason::Null) : Refused(Reason::Null);
            }
            break;
        case Way::FixedWidth:
            // There is no blank form of a boolean in such a file: a null is written as False.
            return carriage_.type == adBoolean ? Changed(Reason::Null) : kKept;
        case Way::Delimited:
            return kKept;
        default:
            break;
    }
    if (holding_.form == Form::Letter || holding_.null_is_false) {
        return Changed(Reason::Null);
    }
    return holding_.required ? Refused(Reason::NotNull) : kKept;
}

Verdict ColumnJudge::JudgeOther(const Cell& value) {
    if (value.Kind() == ValueKind::Unreadable || value.Kind() == ValueKind::Unset) {
        return Refused(Reason::Unreadable);
    }
    if (holding_.converts) {
        if (const auto verdict = JudgeConversion(value, carriage_, holding_)) {
            return *verdict;
        }
    }
    switch (holding_.form) {
        case Form::Nothing:
            return Refused(Reason::NoType);
        case Form::Line:
            return JudgeLine(value);
        case Form::Letter:
            return Changed(Reason::Letters);
        case Form::Truth: {
            const auto truth = ToBoolean(value);
            if (!truth) {
                return Refused(Reason::NotAValue);
            }
            const auto number = value.Kind() == ValueKind::Boolean ? std::nullopt : ToDouble(value);
            return number && *number != 0 && std::abs(*number) != 1 ? Changed(Reason::Truth)
                                                                    : kKept;
        }
        case Form::Guid:
            return carriage_.type == adGUID ? kKept : Refused(Reason::NotAValue);
        case Form::Bytes:
            // What is long travels as bytes, and isn't converted.
            if (page_ && value.Kind() == ValueKind::Text && !IsLongType(carriage_.type) &&
                !IsAscii(value.AsText())) {
                return InPage(value.AsText()) ? Changed(Reason::Writing)
                                              : Refused(Reason::CodePage);
            }
            if (value.IsView()) {
                return JudgeBytes(value.AsText());
            }
            scratch_.clear();
            AppendText(value, scratch_);
            return WithFewerDigits(JudgeBytes(scratch_));
        case Form::Text:
            if (value.Kind() == ValueKind::Bytes) {
                return IsValidUtf8(value.AsText()) ? JudgeText(value.AsText())
                                                   : Refused(Reason::CodePage);
            }
            scratch_.clear();
            AppendText(value, scratch_);
            return WithFewerDigits(JudgeText(scratch_));
        case Form::Moment:
        case Form::Day: {
            const auto moment = ToDateTime(value);
            return moment ? JudgeMoment(*moment) : Refused(Reason::NotAValue);
        }
        default:
            return JudgeNumber(value);
    }
}

// Of what isn't a text, in scratch_. A server writes a floating number with as many digits as the
// column has room for; blanks behind a number leave it what it is.
Verdict ColumnJudge::WithFewerDigits(Verdict verdict) const {
    if (verdict.reason == Reason::Length && carriage_.way == Way::Batch &&
        scratch_.find('E') != std::string::npos && holding_.length >= kShortestFloat) {
        return Changed(Reason::Digits);
    }
    // In bytes its exponent has another form.
    if (verdict.grade == Grade::Kept && carriage_.way == Way::Batch &&
        holding_.form == Form::Bytes && scratch_.find('E') != std::string::npos) {
        return Changed(Reason::Writing);
    }
    return verdict.reason == Reason::Padding && holding_.form == Form::Text ? kKept : verdict;
}

Verdict ColumnJudge::JudgeMoment(const DateTime& moment) const {
    // Beside long columns a batch carries the day alone.
    if (!holding_.Contains({moment.day, carriage_.way == Way::BatchRecordset ? 0 : moment.nanos})) {
        return Refused(Reason::Range);
    }
    if (holding_.time_alone && moment.day != 0) {
        return Changed(Reason::Day);
    }
    if (holding_.with_distance) {
        return Changed(Reason::Writing);
    }
    if (moment.nanos == 0) {
        return kKept;
    }
    if (holding_.form == Form::Day || carriage_.way == Way::BatchRecordset) {
        return Changed(Reason::TimeOfDay);
    }
    const auto millis = moment.nanos / kNanosPerMilli % 10;
    const bool third = holding_.thirds && moment.nanos % kNanosPerMilli == 0 &&
                       (millis == 3 || millis == 7) && units_ == holding_.step;
    if (moment.nanos % units_ == 0 || third) {
        return kKept;
    }
    // Half a step and more would be the next one: behind the calendar's last there is none.
    const auto half = holding_.thirds ? kNanosPerSecond / 600 : units_ / 2;
    const bool past = moment.day == holding_.last_day && moment.nanos + half >= kNanosPerDay;
    return past && carriage_.way != Way::Batch ? Refused(Reason::Range)
                                               : Changed(Reason::SecondFraction);
}

bool ColumnJudge::InPage(std::string_view text) {
    if (!page_ || IsAscii(text)) {
        return true;
    }
    scratch_.clear();
    return !page_->AppendBytesStrictly(text, scratch_);
}

std::size_t ColumnJudge::LengthOf(std::string_view text) const {
    switch (holding_.length_in) {
        case LengthIn::Characters:
            return CountCodePoints(text);
        case LengthIn::Utf16Units:
            return CountUtf16Units(text);
        case LengthIn::Bytes:
            break;
    }
    if (!page_ || IsAscii(text)) {
        return text.size();
    }
    std::string bytes;
    page_->AppendBytes(text, bytes);
    return bytes.size();
}

Verdict ColumnJudge::JudgeText(std::string_view text) {
    if (text.empty()) {
        return holding_.never_empty                    ? Refused(Reason::NoEmptyText)
               : holding_.empty_is_null                ? Changed(Reason::EmptyText)
               : holding_.pads && holding_.length != 0 ? Changed(Reason::Padding)
                                                       : kKept;
    }
    if (page_ && !InPage(text)) {
        return holding_.page_loses ? Changed(Reason::CodePage) : Refused(Reason::CodePage);
    }
    const bool blank_end = text.back() == ' ';
    // No text has more letters than bytes: only those that are longer in bytes need to be counted.
    if (holding_.length != 0 && text.size() > static_cast<std::size_t>(holding_.length)) {
        auto counted = text;
        if (holding_.cuts_blanks) {
            counted = counted.substr(0, counted.find_last_not_of(' ') + 1);
        }
        if (LengthOf(counted) > static_cast<std::size_t>(holding_.length)) {
            return Refused(Reason::Length);
        }
    }
    if (holding_.pads && LengthOf(text) < static_cast<std::size_t>(holding_.length)) {
        return Changed(Reason::Padding);
    }
    return blank_end && holding_.cuts_blanks ? Changed(Reason::Blanks) : kKept;
}

Verdict ColumnJudge::JudgeBytes(std::string_view bytes) const {
    if (bytes.empty() && holding_.empty_is_null) {
        return Changed(Reason::EmptyText);
    }
    const auto most = static_cast<std::size_t>(holding_.length);
    if (most != 0 && bytes.size() > most) {
        return Refused(Reason::Length);
    }
    return holding_.pads && bytes.size() < most ? Changed(Reason::Padding) : kKept;
}

// ---- Text files. What is written is judged by whether a reader gets the same value from it.

Verdict ColumnJudge::JudgeLine(const Cell& value) {
    std::string_view text;
    if (value.IsView()) {
        text = value.AsText();
    } else {
        const auto number = value.Kind() == ValueKind::Double   ? value.AsDouble()
                            : value.Kind() == ValueKind::Single ? value.AsSingle()
                                                                : 0;
        if (!std::isfinite(number)) {
            return Changed(Reason::Digits);
        }
        if (carriage_.way != Way::FixedWidth) {
            return kKept;  // no such value has a delimiter in its text, and each reads back
        }
        scratch_.clear();
        AppendText(value, scratch_);
        text = scratch_;
    }
    if (value.Kind() == ValueKind::NumberText && carriage_.way != Way::FixedWidth) {
        return kKept;
    }
    if (carriage_.way == Way::FixedWidth) {
        // Numbers are trimmed and cut at their right ends: the file has another number then.
        const auto written = carriage_.is_cut ? Trimmed(text) : text;
        if (written.size() > carriage_.width && CountCodePoints(written) > carriage_.width) {
            return Changed(carriage_.is_cut ? Reason::Length : Reason::PushesOn);
        }
    }
    if (value.Kind() == ValueKind::NumberText || !value.IsView()) {
        return kKept;
    }
    if (value.Kind() == ValueKind::Text && !InPage(text)) {
        return Changed(Reason::CodePage);
    }
    const bool breaks = text.find_first_of("\r\n") != std::string_view::npos;
    if (carriage_.way == Way::FixedWidth) {
        // A break ends the record for whoever reads it: what follows would be other columns' text.
        return breaks ? Changed(Reason::EndsLine)
               : text.empty()
                   ? Changed(Reason::EmptyText)
                   : (Trimmed(text).size() != text.size() ? Changed(Reason::Blanks) : kKept);
    }
    // Between qualifiers nothing but the qualifier itself ends the field.
    if (carriage_.text_field && !TextDestQual.empty()) {
        if (Contains(text, TextDestQual)) {
            // Behind it the field is an open one.
            return breaks                          ? Changed(Reason::EndsLine)
                   : Contains(text, TextDestDelim) ? Changed(Reason::EndsField)
                   : RunsOn(Trimmed(text))         ? Changed(Reason::RunsOn)
                                                   : Changed(Reason::Qualifier);
        }
        return Trimmed(text).size() != text.size() ? Changed(Reason::Blanks) : kKept;
    }
    if (text.empty()) {
        return Changed(Reason::EmptyText);  // without qualifiers it reads as a null
    }
    if (breaks) {
        return Changed(Reason::EndsLine);
    }
    return Contains(text, TextDestDelim)  ? Changed(Reason::EndsField)
           : Contains(text, TextDestQual) ? Changed(Reason::Qualifier)
           : value.Kind() == ValueKind::Text && Trimmed(text).size() != text.size()
               ? Changed(Reason::Blanks)
               : kKept;
}

std::optional<Value> ColumnJudge::Stored(const Cell& value, Reason reason) const {
    switch (reason) {
        case Reason::Null:
            return holding_.form == Form::Text || holding_.form == Form::Bytes
                       ? Value(Cell::Text(""))
                   : holding_.form == Form::Letter ? Value(Cell::Text("F"))
                                                   : Value(Cell::Boolean(false));
        case Reason::EmptyText:
            return Value(Cell::Null());
        case Reason::Scale:
            if (const auto number = RoundedTo(value, std::max(holding_.scale, 0))) {
                return Value(Cell::FromDecimal(*number));
            }
            return Value(Cell::Int64(0));
        case Reason::FloatPrecision:
            if (const auto number = ToDouble(value)) {
                return Value(holding_.form == Form::Single
                                 ? Cell::Single(static_cast<float>(*number))
                                 : Cell::Double(*number));
            }
            return std::nullopt;
        case Reason::TimeOfDay:
            if (const auto moment = ToDateTime(value)) {
                return Value(Cell::FromDateTime({moment->day, 0}));
            }
            return std::nullopt;
        case Reason::SecondFraction:
            if (const auto moment = ToDateTime(value)) {
                return Value(Cell::FromDateTime(OnItsStep(*moment)));
            }
            return std::nullopt;
        case Reason::Letters:
            return Value(Cell::Text(ToBoolean(value).value_or(false) ? "T" : "F"));
        case Reason::Truth:
            return Value(Cell::Boolean(true));
        case Reason::BlankText:
            return holding_.form == Form::Moment || holding_.form == Form::Day
                       ? std::nullopt
                       : std::optional(Value(Cell::Int64(0)));
        default:
            return std::nullopt;
    }
}

// A batch's text and an Access file cut what they have no room for; other targets round it.
DateTime ColumnJudge::OnItsStep(DateTime moment) const {
    if (holding_.thirds && units_ == holding_.step) {
        const auto steps = (moment.nanos * 300 + kNanosPerSecond / 2) / kNanosPerSecond;
        moment.nanos = (steps * 10 + 1) / 3 * kNanosPerMilli;
    } else {
        const bool cuts = carriage_.way == Way::Batch || units_ == kNanosPerMilli;
        moment.nanos = (moment.nanos + (cuts ? 0 : units_ / 2)) / units_ * units_;
    }
    if (moment.nanos >= kNanosPerDay) {
        moment.nanos -= kNanosPerDay;
        ++moment.day;
    }
    return moment;
}

std::string ColumnJudge::Arrives(const Cell& value, Reason reason) const {
    const auto stored = Stored(value, reason);
    if (!stored) {
        return {};
    }
    if (stored->IsNull()) {
        return "Null";
    }
    return reason == Reason::Null && ToText(stored->AsCell()).empty() ? "an empty text"
                                                                      : ToText(stored->AsCell());
}

}  // namespace vantry

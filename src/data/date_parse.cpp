// Dates come in a handful of forms that fill whole columns, and in every other form now and then.
// So the two common ones, ISO and the padded local form, are read first, eight characters at a time
// by ReadPairs; all others go through a reader that takes a date apart piece by piece and then
// decides by the digits and the locale which piece is what. Easy to get wrong: a year of two
// digits, a version number (1.2.3) that looks like a date, and a text that is longer than its date,
// which is no date.

#include "data/text_scan.h"
#include "data/value_text.h"

#include <algorithm>

namespace vantry {
namespace {

constexpr int kFractionDigits = 9;
constexpr std::size_t kFullDateLength = 10;

// Reads a text from left to right; each Take moves on only if it finds what it looks for.
class Reader {
public:
    explicit Reader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

    bool AtEnd() const { return at_ == end_; }
    char Peek() const { return at_ == end_ ? '\0' : *at_; }
    bool Take(char c) {
        if (Peek() != c || AtEnd()) {
            return false;
        }
        ++at_;
        return true;
    }
    bool TakeBlanks() {
        const char* const from = at_;
        while (Peek() == ' ' || Peek() == '\t') {
            ++at_;
        }
        return at_ != from;
    }
    // A run of at most `most` digits; the run's length, 0 if there is none or it is longer.
    int TakeDigits(int most, std::int64_t& value) {
        const char* to = at_;
        std::int64_t read = 0;
        while (to != end_ && IsDigit(*to) && to - at_ < most) {
            read = read * 10 + DigitOf(*to++);
        }
        const auto count = static_cast<int>(to - at_);
        if (count == 0 || (to != end_ && IsDigit(*to))) {
            return 0;
        }
        at_ = to;
        value = read;
        return count;
    }
    std::string_view TakeLetters() {
        const char* const from = at_;
        while (!AtEnd() && IsLetter(*at_)) {
            ++at_;
        }
        return {from, static_cast<std::size_t>(at_ - from)};
    }

private:
    const char* at_;
    const char* end_;
};

// 1 to 12, or 0 if it is no month's full or three-letter English name.
int MonthOf(std::string_view word) {
    if (word.size() < kShortName) {
        return 0;
    }
    for (std::size_t i = 0; i < kMonthNames.size(); ++i) {
        const std::string_view name = kMonthNames[i];
        if ((word.size() == kShortName || word.size() == name.size()) &&
            StartsWithNoCase(name, word)) {
            return static_cast<int>(i) + 1;
        }
    }
    return 0;
}

// Nanoseconds of ".f" at the reader, 0 without one.
bool ReadFraction(Reader& reader, std::int64_t& nanos) {
    nanos = 0;
    if (!reader.Take('.')) {
        return true;
    }
    const int digits = reader.TakeDigits(kFractionDigits, nanos);
    for (int i = digits; i < kFractionDigits; ++i) {
        nanos *= 10;
    }
    return digits > 0;
}

// A one-digit minute or second would be a typing error: 1:5 could be 1:05 as well as 1:50.
// "h:mm[:ss[.f]][ AM|PM]" up to the end of the text.
std::optional<std::int64_t> ReadTime(Reader& reader) {
    std::int64_t hour = 0;
    std::int64_t minute = 0;
    std::int64_t second = 0;
    std::int64_t nanos = 0;
    if (reader.TakeDigits(2, hour) == 0 || !reader.Take(':') || reader.TakeDigits(2, minute) != 2) {
        return std::nullopt;
    }
    if (reader.Take(':') && (reader.TakeDigits(2, second) != 2 || !ReadFraction(reader, nanos))) {
        return std::nullopt;
    }
    reader.TakeBlanks();
    if (!reader.AtEnd()) {
        const std::string_view mark = reader.TakeLetters();
        const bool marked = mark.size() == 2 && LowerCase(mark[1]) == 'm' && reader.AtEnd();
        const char half = marked ? LowerCase(mark[0]) : '\0';
        if ((half != 'a' && half != 'p') || hour < 1 || hour > 12) {
            return std::nullopt;
        }
        hour = hour % 12 + (half == 'p' ? 12 : 0);
    }
    return NanosOf(
        static_cast<int>(hour), static_cast<int>(minute), static_cast<int>(second), nanos);
}

// A piece of a date: a number with the count of its digits, or a month's name.
struct Piece {
    std::int64_t value = 0;
    int digits = 0;
    bool is_name = false;
};

bool ReadPiece(Reader& reader, Piece& piece) {
    if (IsLetter(reader.Peek())) {
        piece.is_name = true;
        piece.value = MonthOf(reader.TakeLetters());
        return piece.value != 0;
    }
    piece.digits = reader.TakeDigits(4, piece.value);
    return piece.digits != 0;
}

// What stands between two pieces: '\0' if nothing of the kind. Beside a month's name blanks may
// join the separator, or be it.
char ReadSeparator(Reader& reader, const DateForm& form, bool beside_name) {
    const char c = reader.Peek();
    if (c == '-' || c == '/' || c == '.' || (c == form.separator && !IsDigit(c) && !IsLetter(c))) {
        reader.Take(c);
        if (beside_name) {
            reader.TakeBlanks();
        }
        return c;
    }
    if (beside_name) {
        const bool comma = reader.Take(',');
        if (reader.TakeBlanks() || comma) {
            return ' ';
        }
    }
    return '\0';
}

class DateReader {
public:
    DateReader(Reader& reader, const DateForm& form) : reader_(reader), form_(form) {}

    std::optional<std::int32_t> Read() {
        if (!ReadPiece(reader_, pieces_[0])) {
            return std::nullopt;
        }
        separator_ = ReadSeparator(reader_, form_, pieces_[0].is_name || NameFollows());
        if (separator_ == '\0' || !ReadPiece(reader_, pieces_[1])) {
            return std::nullopt;
        }
        const bool named = pieces_[0].is_name || pieces_[1].is_name;
        const char second = ReadSeparator(reader_, form_, named);
        if (second == '\0' || (!named && second != separator_) || !ReadPiece(reader_, pieces_[2])) {
            return std::nullopt;
        }
        return Arrange();
    }

    // Known once Read() has been called.
    // A "T" may stand before the time.
    bool YearFirst() const { return pieces_[0].digits == 4; }

private:
    bool NameFollows() const {
        Reader ahead = reader_;
        ahead.Take('-') || ahead.Take('/') || ahead.Take('.');
        ahead.TakeBlanks();
        return IsLetter(ahead.Peek());
    }

    std::optional<std::int32_t> Arrange() const {
        const auto& [first, second, third] = pieces_;
        if (third.is_name || (first.is_name && second.is_name)) {
            return std::nullopt;
        }
        if (first.is_name) {
            return Day(third, first, second);
        }
        if (first.digits == 4) {
            return Day(first, second, third);
        }
        if (second.is_name) {
            return Day(third, second, first);
        }
        // With points and a short year it could as well be a version number: only a locale that
        // writes its dates so makes it a date.
        if (separator_ == '.' && third.digits != 4 && form_.separator != '.') {
            return std::nullopt;
        }
        if (form_.order == DateOrder::YearMonthDay && third.digits != 4) {
            return Day(first, second, third);
        }
        return form_.order == DateOrder::DayMonthYear ? Day(third, second, first)
                                                      : Day(third, first, second);
    }

    static std::optional<std::int32_t> Day(const Piece& year,
                                           const Piece& month,
                                           const Piece& day) {
        if ((year.digits != 2 && year.digits != 4) || month.digits > 2 || day.digits > 2 ||
            day.is_name) {
            return std::nullopt;
        }
        auto full_year = static_cast<int>(year.value);
        if (year.digits == 2) {
            full_year += full_year < kFirstYearOf1900s ? 2000 : 1900;
        }
        return DayOf(full_year, static_cast<int>(month.value), static_cast<int>(day.value));
    }

    Reader& reader_;
    const DateForm& form_;
    std::array<Piece, 3> pieces_;
    char separator_ = '\0';
};

// What stands behind a date of ten characters: nothing, or a blank and the time.
std::optional<DateTime> WithTime(std::int32_t day, std::string_view text, bool with_t) {
    if (text.size() == kFullDateLength) {
        return DateTime{day, 0};
    }
    if (text[kFullDateLength] != ' ' && !(with_t && text[kFullDateLength] == 'T')) {
        return std::nullopt;
    }
    // A new value: one whose day had just been changed couldn't be loaded whole without waiting for
    // all stores before it.
    const auto time = ParseIsoTime(text.substr(kFullDateLength + 1));
    return time ? std::optional<DateTime>({day, time->nanos}) : std::nullopt;
}

// Just " hh:mm:ss AM".
std::optional<std::int64_t> ParseHalfDayTime(std::string_view text) {
    constexpr std::size_t kLength = 12;
    std::uint64_t pairs = 0;
    if (text.size() != kLength || text[0] != ' ' || text[9] != ' ' || LowerCase(text[11]) != 'm' ||
        !ReadPairs(text.data() + 1, "00:00:00", pairs)) {
        return std::nullopt;
    }
    const char half = LowerCase(text[10]);
    const int hour = PairAt(pairs, 0);
    if ((half != 'a' && half != 'p') || hour < 1 || hour > 12) {
        return std::nullopt;
    }
    return NanosOf(hour % 12 + (half == 'p' ? 12 : 0), PairAt(pairs, 3), PairAt(pairs, 6));
}

// The common case of the local forms, "01/05/2024 13:04:05"; nothing for all others, good or bad.
std::optional<DateTime> ParsePadded(std::string_view text, const DateForm& form) {
    if (text.size() < kFullDateLength ||
        (text[2] != '/' && text[2] != '.' && text[2] != '-' && text[2] != form.separator)) {
        return std::nullopt;
    }
    const std::array<char, 8> shape = {'0', '0', text[2], '0', '0', text[2], '0', '0'};
    std::uint64_t pairs = 0;
    const int year_end = TwoDigitsAt(text.data() + 8);
    if (year_end < 0 || !ReadPairs(text.data(), shape.data(), pairs)) {
        return std::nullopt;
    }
    const int year = PairAt(pairs, 6) * 100 + year_end;
    const auto day = form.order == DateOrder::DayMonthYear
                         ? DayOf(year, PairAt(pairs, 3), PairAt(pairs, 0))
                         : DayOf(year, PairAt(pairs, 0), PairAt(pairs, 3));
    if (!day) {
        return std::nullopt;
    }
    if (const auto value = WithTime(*day, text, false)) {
        return value;
    }
    const auto nanos = ParseHalfDayTime(text.substr(kFullDateLength));
    return nanos ? std::optional<DateTime>({*day, *nanos}) : std::nullopt;
}

}  // namespace

std::optional<DateTime> ParseIsoTime(std::string_view text) {
    constexpr std::size_t kWithSeconds = 8;
    constexpr std::string_view kNoSeconds = ":00";
    std::array<char, kWithSeconds> whole;
    const char* from = text.data();
    if (text.size() == kWithSeconds - kNoSeconds.size()) {
        std::copy(text.begin(), text.end(), whole.begin());
        std::copy(kNoSeconds.begin(), kNoSeconds.end(), whole.end() - kNoSeconds.size());
        from = whole.data();
    } else if (text.size() < kWithSeconds) {
        return std::nullopt;
    }
    std::uint64_t pairs = 0;
    if (!ReadPairs(from, "00:00:00", pairs)) {
        return std::nullopt;
    }
    std::int64_t nanos = 0;
    if (text.size() > kWithSeconds) {
        Reader rest(text.substr(kWithSeconds));
        if (!ReadFraction(rest, nanos) || !rest.AtEnd()) {
            return std::nullopt;
        }
    }
    const auto of_day = NanosOf(PairAt(pairs, 0), PairAt(pairs, 3), PairAt(pairs, 6), nanos);
    return of_day ? std::optional<DateTime>({0, *of_day}) : std::nullopt;
}

std::optional<DateTime> ParseIsoDateTime(std::string_view text) {
    std::uint64_t pairs = 0;
    if (text.size() < kFullDateLength || !ReadPairs(text.data(), "0000-00-", pairs)) {
        return std::nullopt;
    }
    const auto day = DayOf(
        PairAt(pairs, 0) * 100 + PairAt(pairs, 2), PairAt(pairs, 5), TwoDigitsAt(text.data() + 8));
    if (!day) {
        return std::nullopt;
    }
    return WithTime(*day, text, true);
}

std::optional<DateTime> ParseDateTime(std::string_view text) {
    return ParseDateTime(text, LocalDateForm());
}

std::optional<DateTime> ParseDateTime(std::string_view text, const DateForm& form) {
    text = TrimBlanks(text);
    if (const auto iso = ParseIsoDateTime(text)) {
        return iso;
    }
    if (const auto padded = ParsePadded(text, form)) {
        return padded;
    }
    Reader reader(text);
    // A copy: what turns out to be a date is read from its beginning.
    Reader time_alone = reader;
    if (const auto nanos = ReadTime(time_alone)) {
        return DateTime{0, *nanos};
    }
    DateReader date(reader, form);
    const auto day = date.Read();
    if (!day) {
        return std::nullopt;
    }
    if (reader.AtEnd()) {
        return DateTime{*day, 0};
    }
    if (!reader.TakeBlanks() && !(date.YearFirst() && reader.Take('T'))) {
        return std::nullopt;
    }
    const auto nanos = ReadTime(reader);
    return nanos ? std::optional<DateTime>({*day, *nanos}) : std::nullopt;
}

}  // namespace vantry

// Text functions. Positions and lengths count UTF-16 units, from 1, as these engines do: a
// character outside the basic plane counts two. Texts are UTF-8 here, so each position is
// translated, with a short way for ASCII. Easy to get wrong: a cut in the middle of such a
// character goes to its beginning, on both sides alike; searches without case compare folded texts,
// whose lengths in bytes differ from those of the text; and Null arguments never arrive.

#include "data/code_page.h"
#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/run/text_order.h"

#include <algorithm>
#include <charconv>

namespace vantry::sql {
namespace {

// The byte position of unit `index` (from 0), at most the text's size. Within a character of two
// units it is that of the character: texts that are cut at one place fit together again.
// A text of n bytes has at most n units: a larger index needs no count.
std::size_t ByteOf(std::string_view text, std::int64_t index) {
    if (index >= static_cast<std::int64_t>(text.size())) {
        return text.size();
    }
    const auto units = static_cast<std::size_t>(index);
    return IsAscii(text) ? units : PrefixOfUtf16Units(text, units).size();
}

std::string_view Units(std::string_view text, std::int64_t first, std::int64_t count) {
    const auto begin = ByteOf(text, first);
    const auto size = static_cast<std::int64_t>(text.size());
    // In this order, because first + count of a user's numbers may overflow.
    const auto end = count > size - first ? text.size() : ByteOf(text, first + count);
    return text.substr(begin, end - begin);
}

std::string_view FirstCharacter(std::string_view text) {
    std::size_t end = 0;
    if (!text.empty()) {
        NextCodePoint(text, end);
    }
    return text.substr(0, end);
}

void Left(FunctionCall& call) {
    const auto count = call.Whole(1);
    if (count < 0) {
        call.Refuse();
    }
    call.Return(Units(call.Text(0), 0, count));
}

void Right(FunctionCall& call) {
    const auto text = call.Text(0);
    const auto count = call.Whole(1);
    if (count < 0) {
        call.Refuse();
    }
    const auto length = static_cast<std::int64_t>(CountUtf16Units(text));
    call.Return(Units(text, std::max<std::int64_t>(0, length - count), length));
}

void Mid(FunctionCall& call) {
    const auto first = call.Whole(1);
    const auto count = call.count > 2 ? call.Whole(2) : std::int64_t{INT32_MAX};
    if (first < 1 || count < 0) {
        call.Refuse();
    }
    call.Return(Units(call.Text(0), first - 1, count));
}

void Len(FunctionCall& call) {
    call.Return(static_cast<std::int64_t>(CountUtf16Units(call.Text(0))));
}

void Trim(FunctionCall& call) {
    call.Return(Trimmed(call.Text(0)));
}

void TrimLeft(FunctionCall& call) {
    const auto text = call.Text(0);
    call.Return(text.substr(std::min(text.find_first_not_of(' '), text.size())));
}

void TrimRight(FunctionCall& call) {
    call.Return(WithoutTrailingBlanks(call.Text(0)));
}

void Upper(FunctionCall& call) {
    call.Return(std::string_view(UpperCased(call.Text(0))));
}

void Lower(FunctionCall& call) {
    call.Return(std::string_view(LowerCased(call.Text(0))));
}

// Character by character as comparisons do it, not by the rules for whole words.
std::string Folded(std::string_view text) {
    std::string folded;
    for (std::size_t k = 0; k < text.size();) {
        AppendUtf8(FoldedCase(NextCodePoint(text, k)), folded);
    }
    return folded;
}

// Whether a search goes without case: the given comparison (1 or 2 without, 0 exactly), or the
// dialect's own.
bool IgnoresCase(const FunctionCall& call, int argument) {
    return argument < call.count ? call.Whole(argument) != 0
                                 : call.session.GetDialect().text_ignores_case;
}

// InStr([start,] text, find [, compare]): the first place from `start` on; 0 if there is none.
void InStr(FunctionCall& call) {
    // The first argument may be left out, which only its kind tells.
    const bool has_start = call.count > 2 && !call.IsText(0);
    const auto start = has_start ? call.Whole(0) : 1;
    const int first = has_start ? 1 : 0;
    if (start < 1 || call.count < first + 2) {
        call.Refuse();
    }
    const std::string subject(call.Text(first));
    const std::string wanted(call.Text(first + 1));
    const bool fold = IgnoresCase(call, first + 2);
    const auto text = fold ? Folded(subject) : subject;
    const auto find = fold ? Folded(wanted) : wanted;
    const auto from = ByteOf(text, start - 1);
    const auto found =
        from >= text.size() && !text.empty() ? std::string::npos : text.find(find, from);
    const bool none = found == std::string::npos || text.empty();
    call.Return(none ? std::int64_t{0}
                     : static_cast<std::int64_t>(
                           CountUtf16Units(std::string_view(text).substr(0, found)) + 1));
}

// InStrRev(text, find [, start [, compare]])
void InStrRev(FunctionCall& call) {
    const std::string subject(call.Text(0));
    const std::string wanted(call.Text(1));
    const bool fold = IgnoresCase(call, 3);
    const auto text = fold ? Folded(subject) : subject;
    const auto find = fold ? Folded(wanted) : wanted;
    auto end = text.size();
    if (call.count > 2 && call.Whole(2) != -1) {
        if (call.Whole(2) < 1) {
            call.Refuse();
        }
        end = ByteOf(text, call.Whole(2));
    }
    const auto found = std::string_view(text).substr(0, end).rfind(find);
    const bool none = found == std::string::npos || text.empty();
    call.Return(none ? std::int64_t{0}
                     : static_cast<std::int64_t>(
                           CountUtf16Units(std::string_view(text).substr(0, found)) + 1));
}

std::string Repeated(const FunctionCall& call, std::string_view unit, std::int64_t count) {
    if (count < 0) {
        call.Refuse();
    }
    if (static_cast<std::size_t>(count) > kMaxMadeText / std::max<std::size_t>(unit.size(), 1)) {
        throw TextTooLong(call.entry.name, kMaxMadeText);
    }
    std::string text;
    // The limit was looked at before: this can't ask for more than 64 MB.
    text.reserve(unit.size() * static_cast<std::size_t>(count));
    for (std::int64_t k = 0; k < count; ++k) {
        text += unit;
    }
    return text;
}

void Space(FunctionCall& call) {
    call.Return(std::string_view(Repeated(call, " ", call.Whole(0))));
}

// String(count, character or its number)
void String(FunctionCall& call) {
    std::string unit;
    if (call.IsText(1)) {
        unit = FirstCharacter(call.Text(1));
        if (unit.empty()) {
            call.Refuse();
        }
    } else {
        // Numbers above 255 count from 0 again, as the engines have it.
        AppendUtf8(static_cast<char32_t>(call.Whole(1) & 0xFF), unit);
    }
    call.Return(std::string_view(Repeated(call, unit, call.Whole(0))));
}

void Reverse(FunctionCall& call) {
    const auto text = call.Text(0);
    std::u32string characters;
    for (std::size_t k = 0; k < text.size();) {
        characters += NextCodePoint(text, k);
    }
    std::string reversed;
    // By characters: half a pair turned over would be none.
    for (auto k = characters.rbegin(); k != characters.rend(); ++k) {
        AppendUtf8(*k, reversed);
    }
    call.Return(std::string_view(reversed));
}

// -1, 0, 1; the third argument as for InStr.
void StrComp(FunctionCall& call) {
    const std::string left(call.Text(0));
    const std::string right(call.Text(1));
    const int order = IgnoresCase(call, 2) ? CompareIgnoringCase(left, right) : left.compare(right);
    call.Return(std::int64_t{order < 0 ? -1 : order > 0 ? 1 : 0});
}

std::string ProperCased(std::string_view text) {
    std::string out;
    bool inside = false;
    for (std::size_t k = 0; k < text.size();) {
        const auto begin = k;
        NextCodePoint(text, k);
        const auto character = text.substr(begin, k - begin);
        out += inside ? LowerCased(character) : UpperCased(character);
        // Words end at blanks alone; an apostrophe doesn't begin one.
        inside = character != " " && character != "\t" && character != "\n" && character != "\r";
    }
    return out;
}

// 1 upper case, 2 lower case, 3 the first letter of each word; others change nothing here.
void StrConv(FunctionCall& call) {
    const auto text = call.Text(0);
    switch (call.Whole(1)) {
        case 1:
            return call.Return(std::string_view(UpperCased(text)));
        case 2:
            return call.Return(std::string_view(LowerCased(text)));
        case 3:
            return call.Return(std::string_view(ProperCased(text)));
        default:
            call.Refuse();
    }
}

void AscW(FunctionCall& call) {
    const auto text = call.Text(0);
    if (text.empty()) {
        call.Refuse();
    }
    std::size_t position = 0;
    call.Return(std::int64_t{NextCodePoint(text, position)});
}

// In the Windows code page; what isn't in it counts as "?".
void Asc(FunctionCall& call) {
    const auto text = call.Text(0);
    if (text.empty()) {
        call.Refuse();
    }
    // The machine's code page, because files and other programs number their characters by it.
    static thread_local const CodePage page(WindowsCodePageOfLocale());
    std::string bytes;
    page.AppendBytes(FirstCharacter(text), bytes);
    call.Return(std::int64_t{bytes.empty() ? '?' : static_cast<unsigned char>(bytes[0])});
}

void Chr(FunctionCall& call) {
    const auto number = call.Whole(0);
    if (number < 0 || number > 255) {
        call.Refuse();
    }
    static thread_local const CodePage page(WindowsCodePageOfLocale());
    const char byte = static_cast<char>(number);
    std::string text;
    page.AppendUtf8({&byte, 1}, text);
    call.Return(std::string_view(text));
}

void ChrW(FunctionCall& call) {
    auto number = call.Whole(0);
    if (number < 0) {
        // AscW gives the upper half as negative numbers to old scripts.
        number += 0x10000;  // the 16-bit number of the upper half
    }
    // Halves of a pair are no characters by themselves.
    if (number < 0 || number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF)) {
        call.Refuse();
    }
    std::string text;
    AppendUtf8(static_cast<char32_t>(number), text);
    call.Return(std::string_view(text));
}

// The number at the beginning of a text, blanks between its digits passed over; 0 if there is none.
void Val(FunctionCall& call) {
    std::string digits;
    for (const char c : call.Text(0)) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            continue;
        }
        if (std::string_view("0123456789.eE+-").find(c) == std::string_view::npos) {
            break;
        }
        digits += c;
    }
    if (!digits.empty() && digits.front() == '+') {
        digits.erase(0, 1);
    }
    double number = 0;
    // It reads as far as it is a number: "12-5" is 12.
    const auto result = std::from_chars(
        digits.data(), digits.data() + digits.size(), number, std::chars_format::general);
    call.Return(result.ec == std::errc() ? number : 0.0);
}

// Positive numbers with a blank where the sign would be.
// The blank keeps columns of numbers aligned in old reports.
void Str(FunctionCall& call) {
    std::string text(call.Text(0));
    if (!text.starts_with('-')) {
        text.insert(text.begin(), ' ');
    }
    call.Return(std::string_view(text));
}

void InBase(FunctionCall& call, int base) {
    const auto number = call.Whole(0);
    // Negative numbers show their two's complement in 32 bits.
    auto bits = static_cast<std::uint64_t>(number);
    if (number < 0 && number >= INT32_MIN) {
        bits &= 0xFFFFFFFF;
    }
    std::array<char, 32> buffer{};
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), bits, base).ptr;
    call.Return(std::string_view(
        UpperCased({buffer.data(), static_cast<std::size_t>(end - buffer.data())})));
}

void Hex(FunctionCall& call) {
    InBase(call, 16);
}

void Oct(FunctionCall& call) {
    InBase(call, 8);
}

constexpr std::size_t kMostBytesOfUnit = 3;

// Replace(text, find, by [, start [, count [, compare]]]); the text before `start` is dropped.
void Replace(FunctionCall& call) {
    const std::string text(call.count > 3
                               ? call.Text(0).substr(ByteOf(
                                     call.Text(0), std::max<std::int64_t>(1, call.Whole(3)) - 1))
                               : call.Text(0));
    const std::string find(call.Text(1));
    const std::string by(call.Text(2));
    auto left = call.count > 4 ? call.Whole(4) : -1;
    const bool fold = IgnoresCase(call, 5);
    if (find.empty()) {
        return call.Return(std::string_view(text));
    }
    const auto wanted = static_cast<std::int64_t>(CountUtf16Units(find));
    std::string out;
    for (std::size_t k = 0; k < text.size();) {
        const auto rest = std::string_view(text).substr(k);
        // No more of the rest than can be alike: looking at all of it each time takes minutes.
        const auto candidate =
            fold ? Units(rest.substr(0, kMostBytesOfUnit * find.size()), 0, wanted)
                 : rest.substr(0, find.size());
        const bool same =
            left != 0 && (fold ? CompareIgnoringCase(candidate, find) == 0 : candidate == find);
        if (same) {
            out += by;
            k += candidate.size();
            --left;
        } else {
            auto next = k;
            NextCodePoint(text, next);
            out.append(text, k, next - k);
            k = next;
        }
        if (out.size() > kMaxMadeText) {
            throw Overflow();
        }
    }
    call.Return(std::string_view(out));
}

constexpr FunctionEntry kText[] = {
    {"Left", 2, 2, "tn", 't', Left},
    {"Right", 2, 2, "tn", 't', Right},
    {"Mid", 2, 3, "tnn", 't', Mid},
    {"Len", 1, 1, "t", 'l', Len},
    {"InStr", 2, 4, "v", 'l', InStr},
    {"InStrRev", 2, 4, "ttnn", 'l', InStrRev},
    {"Trim", 1, 1, "t", 't', Trim},
    {"LTrim", 1, 1, "t", 't', TrimLeft},
    {"RTrim", 1, 1, "t", 't', TrimRight},
    {"UCase", 1, 1, "t", 't', Upper},
    {"LCase", 1, 1, "t", 't', Lower},
    {"String", 2, 2, "nv", 't', String},
    {"Space", 1, 1, "n", 't', Space},
    {"StrReverse", 1, 1, "t", 't', Reverse},
    {"StrComp", 2, 3, "ttn", 'l', StrComp},
    {"StrConv", 2, 3, "tn", 't', StrConv},
    {"Asc", 1, 1, "t", 'l', Asc},
    {"AscW", 1, 1, "t", 'l', AscW},
    {"Chr", 1, 1, "n", 't', Chr},
    {"ChrW", 1, 1, "n", 't', ChrW},
    {"Val", 1, 1, "t", 'n', Val},
    {"Str", 1, 1, "n", 't', Str},
    {"Hex", 1, 1, "n", 't', Hex},
    {"Oct", 1, 1, "n", 't', Oct},
    {"Replace", 3, 6, "tttn", 't', Replace},
};

}  // namespace

std::span<const FunctionEntry> TextFunctions() {
    return kText;
}

}  // namespace vantry::sql

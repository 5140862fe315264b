// Format(value [, picture]). A picture is cut into pieces first, literal text apart from symbols,
// and at ";" into sections for positive, negative, zero and Null; what its symbols are decides
// whether it is one for text, numbers or dates, then a formatter of that kind walks over the
// pieces. Easy to get wrong: digits that have no placeholder are written at the first one and none
// is lost, a comma groups only between placeholders and divides by a thousand at their end, and a
// value that isn't of the picture's kind comes out as it is. Dates are data/date_format's business.

#include "data/date_format.h"
#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace vantry::sql {
namespace {

// A picture may come from a column: its pieces are made anew for each row.
constexpr std::size_t kMaxPicture = 1000;
constexpr int kMaxPlaces = 30;

// Pictures hide what stands for itself in quotes and behind "\". The pieces look into `picture`.
std::vector<PicturePiece> Pieces(std::string_view picture) {
    std::vector<PicturePiece> pieces;
    for (std::size_t k = 0; k < picture.size();) {
        const auto begin = k;
        // A quote that isn't closed reaches to the end.
        if (picture[k] == '"') {
            const auto end = std::min(picture.find('"', k + 1), picture.size());
            pieces.push_back({0, picture.substr(k + 1, end - k - 1)});
            k = std::min(end + 1, picture.size());
            continue;
        }
        if (picture[k] == '\\' && k + 1 < picture.size()) {
            ++k;
            const auto escaped = k;
            NextCodePoint(picture, k);
            pieces.push_back({0, picture.substr(escaped, k - escaped)});
            continue;
        }
        NextCodePoint(picture, k);
        const auto text = picture.substr(begin, k - begin);
        pieces.push_back({text.size() == 1 ? text[0] : '\0', text});
    }
    return pieces;
}

std::vector<std::vector<PicturePiece>> Sections(const std::vector<PicturePiece>& pieces) {
    std::vector<std::vector<PicturePiece>> sections(1);
    for (const auto& piece : pieces) {
        if (piece.symbol == ';') {
            sections.emplace_back();
        } else {
            sections.back().push_back(piece);
        }
    }
    return sections;
}

bool HasAny(const std::vector<PicturePiece>& pieces, std::string_view symbols) {
    return std::any_of(pieces.begin(), pieces.end(), [&](const PicturePiece& piece) {
        return piece.symbol != 0 && symbols.find(piece.symbol) != std::string_view::npos;
    });
}

// The digits of |number| with `places` decimals, halves away from zero, as "123.45".
std::string FixedDigits(double number, int places) {
    const double magnitude = std::abs(number);
    // Rounded as the decimal that the user sees: the double of 2.675 is below the half.
    if (const auto decimal = ToDecimal(Cell::Double(magnitude))) {
        auto unscaled = static_cast<UInt128>(decimal->unscaled);
        int scale = decimal->scale;
        if (scale > places) {
            UInt128 unit = 1;
            for (int k = scale; k > places; --k) {
                unit *= 10;
            }
            unscaled = (unscaled + unit / 2) / unit;
            scale = places;
        }
        std::string text;
        AppendDecimal({static_cast<Int128>(unscaled), static_cast<std::uint8_t>(scale)}, text);
        if (scale == 0 && places > 0) {
            text += '.';
        }
        text.append(static_cast<std::size_t>(places - scale), '0');
        return text;
    }
    // Beyond the range of decimals: 10^308 with its places fits 400 characters.
    std::string text(400, '\0');
    text.resize(static_cast<std::size_t>(
        std::snprintf(text.data(), text.size(), "%.*f", places, magnitude)));
    return text;
}

// What a section of a number picture asks for.
struct NumberLayout {
    int whole_places = 0;  // placeholders before the point
    int least_whole = 0;   // of them from the first "0" on
    int decimals = 0;
    int least_decimals = 0;
    int exponent_digits = 0;
    bool exponent_sign = false;  // E+: a plus is written too
    bool grouped = false;
    double factor = 1;

    explicit NumberLayout(const std::vector<PicturePiece>& section) {
        bool behind_point = false;
        bool seen_zero = false;
        int commas = 0;
        for (std::size_t k = 0; k < section.size(); ++k) {
            const char c = section[k].symbol;
            if (c == '0' || c == '#') {
                if (exponent_digits < 0) {
                    continue;
                }
                if (behind_point) {
                    ++decimals;
                    least_decimals = c == '0' ? decimals : least_decimals;
                } else {
                    // "#,##0": commas between placeholders ask for groups.
                    grouped = grouped || (commas > 0 && whole_places > 0);
                    commas = 0;
                    ++whole_places;
                    seen_zero = seen_zero || c == '0';
                    least_whole += seen_zero ? 1 : 0;
                }
            } else if (c == '.') {
                behind_point = true;
                for (; commas > 0; --commas) {
                    factor /= 1000;
                }
            } else if (c == ',') {
                ++commas;
            } else if (c == '%') {
                factor *= 100;
            } else if ((c == 'E' || c == 'e') && k + 1 < section.size() &&
                       (section[k + 1].symbol == '+' || section[k + 1].symbol == '-')) {
                exponent_sign = section[k + 1].symbol == '+';
                // E+00: the zeros are the least digits of the exponent.
                for (k += 2; k < section.size() && section[k].symbol == '0'; ++k) {
                    ++exponent_digits;
                }
                --k;
            }
        }
        // "0,," is in millions.
        for (; commas > 0; --commas) {
            factor /= 1000;  // commas with no placeholder behind them, or before the point
        }
        decimals = std::min(decimals, kMaxPlaces);
        least_decimals = std::min(least_decimals, decimals);
    }
};

std::string ScientificText(double number, const NumberLayout& layout) {
    std::array<char, 64> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.*e", layout.decimals, std::abs(number));
    const std::string text = buffer.data();
    const auto e = text.find('e');
    const int exponent = std::stoi(text.substr(e + 1));
    auto digits = std::to_string(std::abs(exponent));
    while (static_cast<int>(digits.size()) < layout.exponent_digits) {
        digits.insert(digits.begin(), '0');
    }
    return text.substr(0, e) + "E" +
           (exponent < 0           ? "-"
            : layout.exponent_sign ? "+"
                                   : "") +
           digits;
}

std::string FormatSection(double number, const std::vector<PicturePiece>& section) {
    const NumberLayout layout(section);
    if (!std::isfinite(number * layout.factor)) {
        return ToText(Cell::Double(number * layout.factor));  // it has no digits to lay out
    }
    if (layout.exponent_digits > 0) {
        return ScientificText(number, layout);
    }
    // From here on the number is its digits; the sign is the caller's.
    const auto digits = FixedDigits(number * layout.factor, layout.decimals);
    const auto point = std::min(digits.find('.'), digits.size());
    auto whole = digits.substr(0, point);
    auto decimals = point < digits.size() ? digits.substr(point + 1) : std::string();
    // A number below 1 has a 0 before the point only where the picture has one: "#.00" gives ".50".
    if (whole == "0") {
        whole.clear();
    }
    while (static_cast<int>(whole.size()) < layout.least_whole) {
        whole.insert(whole.begin(), '0');
    }
    // "0.##" shows a decimal only where there is one.
    while (static_cast<int>(decimals.size()) > layout.least_decimals && decimals.ends_with('0')) {
        decimals.pop_back();
    }
    std::string out;
    std::size_t written = 0;
    const auto write_whole = [&](std::size_t until) {
        for (; written < until; ++written) {
            const auto left = whole.size() - written;
            if (layout.grouped && written > 0 && left % 3 == 0) {
                out += ',';
            }
            out += whole[written];
        }
    };
    int places_left = layout.whole_places;
    bool behind_point = false;
    for (const auto& piece : section) {
        if (piece.symbol == '0' || piece.symbol == '#') {
            if (!behind_point) {
                // The first placeholder takes all digits that have none of their own.
                --places_left;
                write_whole(whole.size() -
                            std::min(whole.size(), static_cast<std::size_t>(places_left)));
            }
        } else if (piece.symbol == '.' && !behind_point) {
            behind_point = true;
            write_whole(whole.size());
            out += '.';
            out += decimals;
        } else if (piece.symbol != ',') {
            out += piece.text;
        }
    }
    return out;
}

std::string FormatNumber(double number, const std::vector<PicturePiece>& pieces) {
    const auto sections = Sections(pieces);
    const auto& first = sections[0];
    if (number < 0) {
        // A section of their own shows negative numbers without a sign: "0;(0)".
        if (sections.size() > 1 && !sections[1].empty()) {
            return FormatSection(number, sections[1]);
        }
        const auto text = FormatSection(number, first);
        // -0.001 in "0.00" is 0.00, not -0.00.
        const bool zero = text.find_first_of("123456789") == std::string::npos;
        return zero ? text : "-" + text;
    }
    if (number == 0 && sections.size() > 2) {
        return FormatSection(number, sections[2].empty() ? first : sections[2]);
    }
    return FormatSection(number, first);
}

// @ a character or a blank, & a character or nothing, < lower case, > upper case, ! from the left.
std::string FormatText(std::string_view text, const std::vector<PicturePiece>& pieces) {
    const auto places = static_cast<std::size_t>(
        std::count_if(pieces.begin(), pieces.end(), [](const PicturePiece& piece) {
            return piece.symbol == '@' || piece.symbol == '&';
        }));
    const bool from_left = HasAny(pieces, "!");
    std::vector<std::string_view> characters;
    for (std::size_t k = 0; k < text.size();) {
        const auto begin = k;
        NextCodePoint(text, k);
        characters.push_back(text.substr(begin, k - begin));
    }
    // Placeholders are filled from the right unless "!" says otherwise.
    std::size_t empty_places =
        places > characters.size() && !from_left ? places - characters.size() : 0;
    std::size_t next = 0;
    std::size_t seen = 0;
    std::string out;
    for (const auto& piece : pieces) {
        if (piece.symbol == '@' || piece.symbol == '&') {
            ++seen;
            if (empty_places > 0 || next >= characters.size()) {
                empty_places -= empty_places > 0 ? 1 : 0;
                out += piece.symbol == '@' ? " " : "";
                continue;
            }
            out += characters[next++];
            while (seen == places && next < characters.size()) {
                out += characters[next++];  // the last place takes what is left
            }
        } else if (std::string_view("<>!").find(piece.symbol) == std::string_view::npos ||
                   piece.symbol == 0) {
            out += piece.text;
        }
    }
    // A picture without places changes the letters' case only.
    if (places == 0) {
        out += text;
    }
    return HasAny(pieces, "<") ? LowerCased(out) : HasAny(pieces, ">") ? UpperCased(out) : out;
}

// The picture that a name stands for.
std::optional<std::string_view> NamedPicture(std::string_view name) {
    static constexpr std::pair<std::string_view, std::string_view> kNames[] = {
        {"Currency", "$#,##0.00;($#,##0.00)"},
        {"Fixed", "0.00"},
        {"Standard", "#,##0.00"},
        {"Percent", "0.00%"},
        {"Scientific", "0.00E+00"},
        {"General Date", "c"},
        {"Long Date", "dddddd"},
        {"Medium Date", "dd-mmm-yy"},
        {"Short Date", "ddddd"},
        {"Long Time", "ttttt"},
        {"Medium Time", "hh:nn AM/PM"},
        {"Short Time", "hh:nn"},
        {"Yes/No", "\"Yes\";\"Yes\";\"No\""},
        {"True/False", "\"True\";\"True\";\"False\""},
        {"On/Off", "\"On\";\"On\";\"Off\""},
    };
    for (const auto& [known, picture] : kNames) {
        if (EqualsNoCase(known, name)) {
            return picture;
        }
    }
    return std::nullopt;
}

void FormatAs(FunctionCall& call, bool is_date) {
    const bool null = call.IsNull(0);
    std::string picture(call.count > 1 && !call.IsNull(1) ? call.Text(1) : "");
    if (picture.size() > kMaxPicture) {
        call.Refuse();
    }
    if (picture.empty() || EqualsNoCase(picture, "General Number")) {
        if (null) {
            return;
        }
        if (is_date) {
            std::string text;
            AppendDateTime(call.Date(0), text);
            return call.Return(std::string_view(text));
        }
        return call.Return(call.Text(0));
    }
    if (const auto named = NamedPicture(picture)) {
        picture = *named;
    }
    const auto pieces = Pieces(picture);
    if (null) {
        const auto sections = Sections(pieces);
        // The fourth section is for Null; without it Null stays Null.
        if (sections.size() > 3) {
            call.Return(std::string_view(FormatSection(0, sections[3])));
        }
        return;
    }
    // What the picture is for is seen by its symbols alone; "c" and "d" are a date's.
    const bool number_picture = HasAny(pieces, "0#%;");
    const bool text = call.IsText(0);
    if (HasAny(pieces, "@&<>!") || call.IsBlob(0)) {
        return call.Return(std::string_view(FormatText(call.Text(0), pieces)));
    }
    if (number_picture && !is_date) {
        const auto number = text ? ParseDouble(call.Text(0)) : std::optional(call.Number(0));
        return number ? call.Return(std::string_view(FormatNumber(*number, pieces)))
                      : call.Return(call.Text(0));
    }
    if (number_picture) {
        return call.Return(std::string_view(FormatNumber(ToSerial(call.Date(0)), pieces)));
    }
    const auto date = text ? ParseDateTime(call.Text(0)) : std::optional(call.Date(0));
    if (!date) {
        return call.Return(call.Text(0));
    }
    call.Return(std::string_view(FormatDateTime(*date, pieces, PictureElements::Extended)));
}

void Format(FunctionCall& call) {
    FormatAs(call, false);
}

void FormatOfDate(FunctionCall& call) {
    FormatAs(call, true);
}

constexpr FunctionEntry kFormat[] = {
    {"Format", 1, 4, "vtn", 't', Format, true},
    {"+formatdate", 1, 4, "vtn", 't', FormatOfDate, true},
};

}  // namespace

std::span<const FunctionEntry> FormatFunctions() {
    return kFormat;
}

}  // namespace vantry::sql

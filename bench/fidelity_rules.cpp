// What is prescribed as a loss is a short list, each with its reason in the type tables: MySQL gets
// whole numbers for single floats and decimals without places, an empty text for a null one where
// values travel as SQL text, and dates without their time beside long columns; Oracle gets letters
// for truth; a text file gets texts without the blanks around them; FoxPro gets whole numbers for
// single floats, and its texts of a fixed width have no blanks at their end. All else has to
// arrive.

#include "fidelity_rules.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"

#include <cmath>
#include <optional>

namespace vantry::bench {
namespace {

bool SameNumber(Meaning meaning, const Cell& sent, const Cell& found) {
    if (meaning == Meaning::Exact && found.Kind() != ValueKind::Double) {
        const auto a = ToDecimal(sent);
        const auto b = ToDecimal(found);
        return a && b && WithoutTrailingZeros(*a).unscaled == WithoutTrailingZeros(*b).unscaled &&
               WithoutTrailingZeros(*a).scale == WithoutTrailingZeros(*b).scale;
    }
    const auto a = ToDouble(sent);
    const auto b = ToDouble(found);
    if (a && b && sent.Kind() == ValueKind::Single) {
        return static_cast<float>(*b) == sent.AsSingle();  // 0.1 as a text is 0.1F
    }
    return a && b && *a == *b;
}

bool Same(Meaning meaning, const Cell& sent, const Cell& found) {
    if (sent.IsNull() || found.IsNull()) {
        return sent.IsNull() && found.IsNull();
    }
    switch (meaning) {
        case Meaning::Whole:
        case Meaning::Float:
        case Meaning::Exact:
            return SameNumber(meaning, sent, found);
        case Meaning::Truth: {
            const auto a = ToBoolean(sent);
            const auto b = ToBoolean(found);
            return a && b && *a == *b;
        }
        case Meaning::Moment: {
            const auto a = ToDateTime(sent);
            const auto b = ToDateTime(found);
            return a && b && a->day == b->day && a->nanos == b->nanos;
        }
        case Meaning::Text:
        case Meaning::Bytes:
            break;
    }
    return found.IsView() && found.AsText() == sent.AsText();
}

bool IsNumber(Meaning meaning) {
    return meaning == Meaning::Float || meaning == Meaning::Exact;
}

// What the type tables make of it; nothing where they leave it as it is.
std::optional<Value> PrescribedFor(const CellRoute& route, Meaning meaning, const Cell& sent) {
    if (route.target == "ORACLE" && meaning == Meaning::Truth && !sent.IsNull()) {
        return Value(Cell::Text(sent.AsBoolean() ? "T" : "F"));
    }
    const bool whole =
        EqualsNoCase(route.target_type, "Integer") || EqualsNoCase(route.target_type, "Decimal");
    if (route.target.starts_with("FOXPRO") && !sent.IsNull()) {
        if (meaning == Meaning::Text && EqualsNoCase(route.target_type, "Character")) {
            const auto text = sent.AsText();
            return Value(Cell::Text(text.substr(0, text.find_last_not_of(' ') + 1)));
        }
        if (IsNumber(meaning) && whole) {
            return Value(Cell::Double(std::round(*ToDouble(sent))));
        }
    }
    if (route.target != "MySQL") {
        return std::nullopt;
    }
    if (sent.IsNull()) {
        // Of a column that the source calls a text, whatever its values are.
        const bool text = EqualsNoCase(route.target_type, "Varchar");
        return text && !route.beside_long ? std::optional(Value(Cell::Text(""))) : std::nullopt;
    }
    if (IsNumber(meaning) && whole) {
        return Value(Cell::Double(std::round(*ToDouble(sent))));
    }
    if (meaning == Meaning::Moment && route.beside_long) {
        return Value(Cell::FromDateTime({ToDateTime(sent)->day, 0}));
    }
    return std::nullopt;
}

}  // namespace

Fidelity Judge(const CellRoute& route, Meaning meaning, const Cell& sent, const Cell& found) {
    if (Same(meaning, sent, found)) {
        return Fidelity::Exact;
    }
    const auto prescribed = PrescribedFor(route, meaning, sent);
    if (!prescribed) {
        return Fidelity::Unexpected;
    }
    const Cell& cell = prescribed->AsCell();
    const auto form = cell.Kind() == ValueKind::Text ? Meaning::Text : meaning;
    return Same(form, cell, found) ? Fidelity::Prescribed : Fidelity::Unexpected;
}

Fidelity JudgeText(const CellRoute& route,
                   Meaning meaning,
                   const Cell& sent,
                   std::string_view& text) {
    const auto take = [&](const std::string& wanted) {
        const bool there =
            text.starts_with(wanted) &&
            (text.size() == wanted.size() ||
             std::string_view("\t\r").find(text[wanted.size()]) != std::string::npos);
        text.remove_prefix(there ? wanted.size() : 0);
        return there;
    };
    if (sent.IsNull()) {
        return take("") ? Fidelity::Exact : Fidelity::Unexpected;
    }
    if (meaning == Meaning::Text) {
        const std::string words(sent.AsText());
        // Qualifiers inside a text aren't doubled; from text to text, memos have none around them.
        if (take('"' + words + '"')) {
            return Fidelity::Exact;
        }
        const bool bare_memos = route.source == "TEXT" && route.beside_long;
        if (bare_memos && take(words)) {
            // Reads back as it was, unless a reader takes a part of it for the field's end.
            const bool plain = !words.empty() && words == Trimmed(words) &&
                               words.find_first_of("\t\"\r\n") == std::string::npos;
            return plain ? Fidelity::Exact : Fidelity::Prescribed;
        }
        return take('"' + std::string(Trimmed(words)) + '"') ? Fidelity::Prescribed
                                                             : Fidelity::Unexpected;
    }
    if (meaning == Meaning::Bytes) {
        return take(std::string(sent.AsText())) ? Fidelity::Exact : Fidelity::Unexpected;
    }
    auto field = text.substr(0, text.find_first_of("\t\r"));
    text.remove_prefix(field.size());
    if (field.size() > 1 && field.front() == '"' && field.back() == '"') {
        field = field.substr(1, field.size() - 2);  // a column that the source calls a text
    }
    const Value found(Cell::Text(field));
    return Same(meaning, sent, found.AsCell()) ? Fidelity::Exact : Fidelity::Unexpected;
}

}  // namespace vantry::bench

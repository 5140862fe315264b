// Sentences made of counts and values. Easy to get wrong: an example of the types has no row, and a
// value that is refused arrives as nothing.

#include "check/check_text.h"

#include "core/route.h"
#include "data/utf.h"
#include "data/value_text.h"

#include <array>

namespace vantry {
namespace {

constexpr std::size_t kLongestShown = 40;

// By Reason.
constexpr std::array<std::string_view, kReasons> kReasonTexts = {
    "kept",
    "the target can't make this column",
    "the target doesn't take this name",
    "places behind the point are lost",
    "outside the range of the target",
    "digits that the target's binary numbers don't have",
    "the day is lost",
    "the time of day is lost",
    "parts of a second are lost",
    "longer than the target",
    "filled up to the target's length",
    "a null becomes another value",
    "the target takes no null",
    "an empty text becomes a null",
    "the target takes no empty text",
    "characters that the target's code page doesn't have",
    "blanks at the ends are lost",
    "longer than its place in the file, so that what follows in the line moves",
    "a delimiter in it, so that what follows in the line moves",
    "a line break in it, so that its row becomes two",
    "a sign at its end that leaves its field open, so that it goes on into what follows",
    "moved out of its place by another value of its line",
    "signs in it that end a field or a line of the file",
    "stored as a letter",
    "a number that is neither 0 nor 1",
    "written otherwise than its number",
    "an empty text becomes another value",
    "a number or a time that the target counts from another day",
    "written otherwise in the target",
    "no value of the target's type",
    "the source can't read it",
    "the key is there already",
};

std::string Count(std::int64_t count) {
    return CountInWords(static_cast<std::size_t>(count), "value", "values");
}

void Add(std::string& text, const std::string& part) {
    text += (text.empty() ? "" : ", ") + part;
}

}  // namespace

std::string_view GradeWord(Grade grade) {
    return grade == Grade::Kept ? "kept" : grade == Grade::Changed ? "changed" : "refused";
}

// Signs of ASCII: the runner prints them on whatever terminal it has.
std::string_view GradeMark(Grade grade) {
    return grade == Grade::Kept ? "=" : grade == Grade::Changed ? "~" : "x";
}

std::string_view ReasonText(Reason reason) {
    return kReasonTexts[static_cast<std::size_t>(reason)];
}

std::string ShownValue(const Cell& value) {
    if (value.IsNull()) {
        return "Null";
    }
    // There is no value to show; the reason says so.
    if (value.Kind() == ValueKind::Unreadable) {
        return {};
    }
    if (value.Kind() == ValueKind::Bytes) {
        return std::to_string(value.AsBytes().size()) + " bytes";
    }
    const std::string text = ToText(value);
    if (const auto letters = CountCodePoints(text); letters > kLongestShown) {
        std::size_t end = 0;
        // By letters and not by bytes: a cut within one would make the text invalid.
        for (std::size_t k = 0; k < kLongestShown / 2; ++k) {
            NextCodePoint(text, end);
        }
        return "\"" + text.substr(0, end) + "...\" of " + std::to_string(letters) + " characters";
    }
    return value.Kind() == ValueKind::Text ? "\"" + text + "\"" : text;
}

std::string FindingText(const Finding& finding) {
    const auto reason = finding.verdict.reason;
    std::string text;
    if (finding.count > 0) {
        text = Count(finding.count) + ": ";
    }
    text += ReasonText(reason);
    // Both are about the column: what stands as their value is the explanation.
    if (reason == Reason::NoType || reason == Reason::NameLimit) {
        return text + (finding.value.empty() ? "" : ": " + finding.value);
    }
    if (!finding.value.empty() || finding.row > 0) {
        text += finding.row > 0 ? "; the first in row " + std::to_string(finding.row) + ": "
                                : ", such as ";
        text += finding.value;
        if (!finding.arrives.empty()) {
            text += " arrives as " + finding.arrives;
        }
    }
    return text;
}

std::string ExtentText(const Extent& extent) {
    std::string text;
    if (extent.longest > 0) {
        Add(text, "longest " + std::to_string(extent.longest));
    }
    if (extent.least) {
        Add(text,
            ToText(Cell::Double(*extent.least)) + " to " + ToText(Cell::Double(*extent.most)));
    }
    if (extent.places > 0) {
        Add(text, CountInWords(static_cast<std::size_t>(extent.places), "place", "places"));
    }
    if (extent.earliest) {
        Add(text,
            ToText(Cell::FromDateTime(*extent.earliest)) + " to " +
                ToText(Cell::FromDateTime(*extent.latest)));
    }
    if (extent.nulls > 0) {
        Add(text, CountInWords(static_cast<std::size_t>(extent.nulls), "null", "nulls"));
    }
    return text;
}

std::string SummaryText(const TableCheck& check) {
    // Counts of a check that broke off would read like a verdict.
    if (!check.trouble.empty()) {
        return check.trouble;
    }
    std::size_t changed = 0;
    std::size_t refused = 0;
    for (const auto& column : check.columns) {
        // A column counts once, by the worst of its values, and its changed ones don't show beside
        // refused ones.
        const auto worst = column.Worst(check.with_data);
        changed += worst == Grade::Changed ? 1 : 0;
        refused += worst == Grade::Refused ? 1 : 0;
    }
    std::string text;
    if (refused > 0) {
        text = CountInWords(refused, "column has values that are", "columns have values that are") +
               " refused";
    }
    if (changed > 0) {
        Add(text,
            refused > 0
                ? std::to_string(changed) + " that are changed"
                : CountInWords(
                      changed, "column has values that are", "columns have values that are") +
                      " changed");
    }
    if (text.empty()) {
        text = "all columns are kept";
    }
    if (check.with_data) {
        text += "; " + std::to_string(check.rows) + (check.rows == 1 ? " row" : " rows") + " read";
    }
    return text + (check.whole ? "." : ", then cancelled.");
}

std::string TableText(const TableCheck& check) {
    std::string text = std::string(GradeMark(check.Worst())) + " " + check.source + " into " +
                       check.target + ": " + SummaryText(check) + "\n";
    for (const auto& column : check.columns) {
        // Where the rows were read, what the type might hold doesn't matter any more.
        const auto& findings = check.with_data ? column.data : column.types;
        for (const auto& finding : findings) {
            text += "    " + std::string(GradeMark(finding.verdict.grade)) + " " + column.source +
                    ", " + column.source_type + " into " + column.target_type + ": " +
                    std::string(GradeWord(finding.verdict.grade)) + ", " + FindingText(finding) +
                    "\n";
        }
    }
    for (const auto& remark : check.remarks) {
        text += "    " + remark + "\n";
    }
    return text;
}

}  // namespace vantry

// What all functions share, and the operators that SQLite lacks or has with other rules. A function
// never sees Null unless its entry says takes_null: SQLite's adapter answers Null for it before.
// Easy to get wrong: True is -1 here and 1 in SQLite, numbers are rounded half to even and not away
// from zero, and a text that SQLite would read as far as it is a number ("12abc" is 12) is refused.

#include "drivers/sql/functions/functions.h"

#include "data/letter_case.h"
#include "data/utf.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/parse/lexer.h"
#include "drivers/sql/run/text_order.h"

#include <cmath>

namespace vantry::sql {

std::string_view FunctionCall::Text(int k) const {
    // SQLite writes 15 digits of a double; this is the shortest form that reads back the same.
    if (sqlite3_value_type(arguments[k]) == SQLITE_FLOAT) {
        auto& text = text_forms_[static_cast<std::size_t>(k) % text_forms_.size()];
        text.clear();
        AppendDouble(sqlite3_value_double(arguments[k]), text);
        return text;
    }
    const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(arguments[k]));
    if (text == nullptr) {
        return {};
    }
    return {text, static_cast<std::size_t>(sqlite3_value_bytes(arguments[k]))};
}

double FunctionCall::Number(int k) const {
    if (IsText(k)) {
        if (const auto number = ParseDouble(Text(k))) {
            return *number;
        }
        // "True" and "Yes" are numbers to these engines, too.
        if (const auto truth = ParseBoolean(Text(k))) {
            return *truth ? -1 : 0;
        }
        throw TypeMismatch();
    }
    if (IsBlob(k)) {
        throw TypeMismatch();
    }
    return sqlite3_value_double(arguments[k]);
}

std::int64_t FunctionCall::Whole(int k) const {
    if (IsWhole(k)) {
        return sqlite3_value_int64(arguments[k]);
    }
    const auto number = RoundHalfEven(Number(k));
    // Written so that "not a number" is refused as well.
    if (!(number >= -9.2e18 && number <= 9.2e18)) {
        throw Overflow();
    }
    return static_cast<std::int64_t>(number);
}

std::int64_t FunctionCall::Within(int k, std::int64_t limit) const {
    const auto number = Whole(k);
    if (number < -limit || number > limit) {
        throw Overflow();
    }
    return number;
}

DateTime FunctionCall::Date(int k) const {
    if (IsText(k)) {
        const auto date = ParseDateTime(Text(k));
        if (!date) {
            throw TypeMismatch();
        }
        return *date;
    }
    const auto date = FromLinearDays(Number(k));
    if (!date) {
        throw Overflow();
    }
    return *date;
}

// SQLite copies the text: that of a local string lives no longer than the call.
void FunctionCall::Return(std::string_view text) const {
    if (text.size() > kMaxMadeText) {
        throw Overflow();
    }
    sqlite3_result_text64(context,
                          text.empty() ? "" : text.data(),
                          text.size(),
                          reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1}),
                          SQLITE_UTF8);
}

// SQLite would make Null of "not a number", and the row would lose its value without a word.
void FunctionCall::Return(double number) const {
    if (!std::isfinite(number)) {
        throw Overflow();
    }
    sqlite3_result_double(context, number);
}

void FunctionCall::Return(std::int64_t number) const {
    sqlite3_result_int64(context, number);
}

void FunctionCall::Return(bool truth) const {
    sqlite3_result_int(context, truth ? -1 : 0);
}

void FunctionCall::Return(const DateTime& date) const {
    sqlite3_result_double(context, LinearDays(date));
}

void FunctionCall::Refuse() const {
    const auto name = entry.name;
    throw InvalidCall(name.substr(name.starts_with('+') ? 1 : 0));
}

double RoundHalfEven(double number) {
    return std::nearbyint(number);  // the default rounding mode is half to even
}

namespace {

// Null counts as empty text; all Null is Null.
void Concatenate(FunctionCall& call) {
    std::string joined;
    bool any = false;
    for (int k = 0; k < call.count; ++k) {
        if (!call.IsNull(k)) {
            any = true;
            joined += call.Text(k);
        }
    }
    if (any) {
        call.Return(std::string_view(joined));
    }
}

void Divide(FunctionCall& call) {
    const double divisor = call.Number(1);
    if (divisor == 0) {
        throw DivisionByZero();
    }
    call.Return(call.Number(0) / divisor);
}

// Both operands are rounded before they are divided.
void DivideWhole(FunctionCall& call) {
    const auto divisor = call.Whole(1);
    if (divisor == 0) {
        throw DivisionByZero();
    }
    const auto number = call.Whole(0);
    // The one quotient that doesn't fit, on which the processor stops the program.
    if (number == INT64_MIN && divisor == -1) {
        throw Overflow();
    }
    call.Return(number / divisor);
}

void Modulo(FunctionCall& call) {
    const auto divisor = call.Whole(1);
    if (divisor == 0) {
        throw DivisionByZero();
    }
    // The remainder by -1 is computed with that same quotient.
    call.Return(divisor == -1 ? std::int64_t{0} : call.Whole(0) % divisor);
}

void Power(FunctionCall& call) {
    call.Return(std::pow(call.Number(0), call.Number(1)));
}

// Time is text length times pattern length at worst.
constexpr std::size_t kMaxPattern = 4000;

// The compiled pattern stays with the call when the pattern is a constant.
void Like(FunctionCall& call) {
    auto* pattern = static_cast<LikePattern*>(sqlite3_get_auxdata(call.context, 1));
    std::unique_ptr<LikePattern> made;
    if (pattern == nullptr) {
        if (call.Text(1).size() > kMaxPattern) {
            call.Refuse();
        }
        const auto& dialect = call.session.GetDialect();
        made = std::make_unique<LikePattern>(
            call.Text(1), dialect.kind == Dialect::Kind::Jet, dialect.text_ignores_case);
        pattern = made.get();
    }
    const bool matches = pattern->Matches(call.Text(0));
    sqlite3_result_int(call.context, matches ? 1 : 0);
    if (made) {
        sqlite3_set_auxdata(call.context, 1, made.release(), [](void* data) {
            std::unique_ptr<LikePattern>(static_cast<LikePattern*>(data)).reset();
        });
    }
}

// FoxPro's $: the left text within the right one, letter case and all.
void Contains(FunctionCall& call) {
    sqlite3_result_int(call.context,
                       call.Text(1).find(call.Text(0)) != std::string_view::npos ? 1 : 0);
}

// Whole numbers stay whole: as doubles, large ones would no longer be told apart.
void AsNumber(FunctionCall& call) {
    if (call.IsWhole(0)) {
        call.Return(call.Whole(0));
    } else if (call.IsText(0)) {
        if (const auto whole = ParseInt64(call.Text(0))) {
            call.Return(*whole);
        } else {
            call.Return(call.Number(0));
        }
    } else {
        call.Return(call.Number(0));
    }
}

void AsDate(FunctionCall& call) {
    if (call.IsText(0)) {
        call.Return(call.Date(0));
    } else {
        call.Return(call.Number(0));
    }
}

void AsText(FunctionCall& call) {
    if (call.IsBlob(0)) {
        throw TypeMismatch();
    }
    call.Return(call.Text(0));
}

void DateAsText(FunctionCall& call) {
    std::string text;
    AppendDateTime(call.Date(0), text);
    call.Return(std::string_view(text));
}

// A date's number has a fraction that counts away from zero before 1899-12-30.
void DateAsNumber(FunctionCall& call) {
    call.Return(ToSerial(call.Date(0)));
}

void NumberAsDate(FunctionCall& call) {
    const auto date = FromSerial(call.Number(0));
    if (!date) {
        throw Overflow();
    }
    call.Return(*date);
}

void WholeNumber(FunctionCall& call) {
    call.Return(call.Whole(0));
}

// The names are symbols, so that no user can write them.
constexpr FunctionEntry kOperators[] = {
    {"+concat", 1, 100, "t", 't', Concatenate, true},
    {"+divide", 2, 2, "n", 'n', Divide},
    {"+idivide", 2, 2, "n", 'l', DivideWhole},
    {"+modulo", 2, 2, "n", 'l', Modulo},
    {"+power", 2, 2, "n", 'n', Power},
    {"+like", 2, 2, "t", 'b', Like},
    {"+contains", 2, 2, "t", 'b', Contains},
    {"+number", 1, 1, "v", 'n', AsNumber},
    {"+date", 1, 1, "v", 'd', AsDate},
    {"+text", 1, 1, "v", 't', AsText},
    {"+datetext", 1, 1, "v", 't', DateAsText},
    {"+serial", 1, 1, "v", 'n', DateAsNumber},
    {"+linear", 1, 1, "v", 'd', NumberAsDate},
    {"+whole", 1, 1, "v", 'l', WholeNumber},
};

const FunctionEntry* FindIn(std::span<const FunctionEntry> entries, std::string_view name) {
    for (const auto& entry : entries) {
        if (EqualsNoCase(entry.name, name)) {
            return &entry;
        }
    }
    return nullptr;
}

}  // namespace

std::span<const FunctionEntry> OperatorFunctions() {
    return kOperators;
}

const FunctionEntry* FindFunction(std::string_view name, Dialect::Kind dialect) {
    if (dialect == Dialect::Kind::FoxPro) {
        if (const auto* entry = FindIn(FoxProFunctions(), name)) {
            return entry;
        }
    }
    for (const auto entries : {OperatorFunctions(),
                               TextFunctions(),
                               NumberFunctions(),
                               DateFunctions(),
                               FormatFunctions(),
                               AggregateFunctions(),
                               ExactFunctions()}) {
        if (const auto* entry = FindIn(entries, name)) {
            return entry;
        }
    }
    return nullptr;
}

std::string SqlName(const FunctionEntry& entry) {
    std::string name = "vy_" + LowerCased(entry.name);
    for (auto& c : name) {
        c = c == '+' ? 'o' : c;
    }
    // One name may mean different things in the two dialects; the session has one dialect.
    return name;
}

}  // namespace vantry::sql

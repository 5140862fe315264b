// Currency and long decimals: between their bytes (exact_number.h) and other values, and their
// arithmetic.

#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"

namespace vantry::sql {
namespace {

std::span<const std::byte> BytesOf(sqlite3_value* value) {
    const auto* data = static_cast<const std::byte*>(sqlite3_value_blob(value));
    return {data, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

// Nothing from 10^38 on.
std::optional<Decimal> DecimalAt(const FunctionCall& call, int k) {
    if (call.IsBlob(k)) {
        const auto bytes = BytesOf(call.arguments[k]);
        const auto decimal = DecimalOfBytes(bytes);
        if (!decimal && !BeyondDecimals(bytes)) {
            throw TypeMismatch();
        }
        return decimal;
    }
    if (call.IsText(k)) {
        if (const auto decimal = ParseDecimal(Trimmed(call.Text(k)))) {
            return decimal;
        }
    }
    return DecimalOf(call.IsWhole(k) ? Cell::Int64(call.Whole(k)) : Cell::Double(call.Number(k)));
}

void Exact(FunctionCall& call) {
    if (const auto decimal = DecimalAt(call, 0)) {
        return call.Return(*decimal);
    }
    if (call.IsBlob(0)) {
        return sqlite3_result_value(call.context, call.arguments[0]);
    }
    call.ReturnBytes(ExactBytes(call.Number(0)).Bytes());
}

// A whole number, or else a double: what all functions work with.
void Plain(FunctionCall& call) {
    if (call.IsBlob(0)) {
        if (const auto beyond = BeyondDecimals(BytesOf(call.arguments[0]))) {
            return call.Return(*beyond);
        }
    }
    const auto cell = Cell::FromDecimal(call.Exact(0));
    if (const auto whole = ToInt64(cell)) {
        return call.Return(*whole);
    }
    call.Return(ToDouble(cell).value_or(0));
}

void Text(FunctionCall& call) {
    std::string text;
    AppendDecimal(WithoutTrailingZeros(call.Exact(0)), text);
    call.Return(std::string_view(text));
}

// Pairs of a number and its sign, 1 or -1.
void Add(FunctionCall& call) {
    Decimal sum;
    for (int k = 0; k + 1 < call.count; k += 2) {
        auto number = call.Exact(k);
        if (call.Whole(k + 1) < 0) {
            number.unscaled = -number.unscaled;
        }
        const auto result = ExactSum(sum, number);
        if (!result) {
            throw Overflow();
        }
        sum = *result;
    }
    call.Return(sum);
}

void Multiply(FunctionCall& call) {
    auto product = call.Exact(0);
    for (int k = 1; k < call.count; ++k) {
        const auto result = ExactProduct(product, call.Exact(k));
        if (!result) {
            throw Overflow();
        }
        product = *result;
    }
    call.Return(product);
}

void Negate(FunctionCall& call) {
    auto number = call.Exact(0);
    number.unscaled = -number.unscaled;
    call.Return(number);
}

constexpr FunctionEntry kExact[] = {
    {"+exact", 1, 1, "v", 'v', Exact},
    {"+plain", 1, 1, "v", 'n', Plain},
    {"+exacttext", 1, 1, "v", 't', Text},
    {"+add", 2, 100, "v", 'v', Add},
    {"+multiply", 2, 100, "v", 'v', Multiply},
    {"+negate", 1, 1, "v", 'v', Negate},
};

}  // namespace

Decimal FunctionCall::Exact(int k) const {
    const auto decimal = DecimalAt(*this, k);
    if (!decimal) {
        throw Overflow();
    }
    return *decimal;
}

void FunctionCall::Return(const Decimal& number) const {
    ReturnBytes(ExactBytes(number).Bytes());
}

void FunctionCall::ReturnBytes(std::span<const std::byte> bytes) const {
    sqlite3_result_blob64(context,
                          bytes.data(),
                          bytes.size(),
                          reinterpret_cast<sqlite3_destructor_type>(std::intptr_t{-1}));
}

std::span<const FunctionEntry> ExactFunctions() {
    return kExact;
}

}  // namespace vantry::sql

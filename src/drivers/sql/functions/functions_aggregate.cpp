// Aggregates that SQLite lacks: the first and last value of a group, exact sums of decimals,
// spread; and "+only", which lets a subquery give one row at most. SQLite hands each group a piece
// of memory that begins as zeros; the state in it is a plain struct, because nothing would run a
// destructor when a statement ends in the middle. Easy to get wrong: values are valid for one step
// only, so what is kept is copied.

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/functions/functions.h"

#include <cmath>

namespace vantry::sql {
namespace {

// State lives in memory that SQLite zeroes; null when there was no step.
template <typename State>
State* StateOf(const FunctionCall& call, bool stepping) {
    return static_cast<State*>(
        sqlite3_aggregate_context(call.context, stepping ? static_cast<int>(sizeof(State)) : 0));
}

struct Kept {
    sqlite3_value* value;
    std::int64_t rows;
};

void KeepFirst(FunctionCall& call) {
    auto* state = StateOf<Kept>(call, true);
    if (state->rows++ == 0) {
        state->value = sqlite3_value_dup(call.arguments[0]);
    }
}

void KeepLast(FunctionCall& call) {
    auto* state = StateOf<Kept>(call, true);
    sqlite3_value_free(state->value);
    state->value = sqlite3_value_dup(call.arguments[0]);
}

void KeepOnly(FunctionCall& call) {
    if (StateOf<Kept>(call, true)->rows > 0) {
        throw ManyRowsInSubquery();
    }
    KeepFirst(call);
}

void FinishKept(FunctionCall& call) {
    auto* state = StateOf<Kept>(call, false);
    if (state != nullptr && state->value != nullptr) {
        sqlite3_result_value(call.context, state->value);
        sqlite3_value_free(state->value);
        state->value = nullptr;
    }
}

// Sum of decimals, exact whatever their order while the digits have room (38 of them); from there
// on that of the doubles.
struct RunningSum {
    std::int64_t rows;
    std::int64_t scale;
    std::uint64_t low;
    std::int64_t high;

    Decimal Get() const {
        return {static_cast<Int128>((static_cast<UInt128>(static_cast<std::uint64_t>(high)) << 64) |
                                    low),
                static_cast<std::uint8_t>(scale)};
    }
    void Set(const Decimal& sum) {
        low = static_cast<std::uint64_t>(static_cast<UInt128>(sum.unscaled));
        high = static_cast<std::int64_t>(sum.unscaled >> 64);
        scale = sum.scale;
    }
};

void AddExactly(FunctionCall& call) {
    if (call.IsNull(0)) {
        return;
    }
    auto* state = StateOf<RunningSum>(call, true);
    const auto number = call.Exact(0);
    auto sum = state->Get();
    if (sum.scale == number.scale) {
        constexpr auto kRoom = static_cast<Int128>(10'000'000'000'000'000'000ULL) *
                               1'000'000'000'000'000'000LL;  // 10^37
        const auto total = sum.unscaled + number.unscaled;   // each is below 10^38
        if (total < kRoom && total > -kRoom) {
            state->Set({total, sum.scale});
            ++state->rows;
            return;
        }
    }
    const auto total = ExactSum(sum, number);
    if (!total) {
        throw Overflow();
    }
    state->Set(*total);
    ++state->rows;
}

void FinishExactSum(FunctionCall& call) {
    const auto* state = StateOf<RunningSum>(call, false);
    if (state != nullptr && state->rows > 0) {
        call.Return(state->Get());
    }
}

// Mean and squares by the running method, which doesn't lose digits to large means.
struct Spread {
    std::int64_t rows;
    double mean;
    double squares;
};

void AddToSpread(FunctionCall& call) {
    if (call.IsNull(0)) {
        return;
    }
    auto* state = StateOf<Spread>(call, true);
    const double number = call.Number(0);
    // Welford's method: sums of squares of large numbers would cancel each other out.
    ++state->rows;
    const double delta = number - state->mean;
    state->mean += delta / static_cast<double>(state->rows);
    state->squares += delta * (number - state->mean);
}

template <bool kSample, bool kRoot>
void FinishSpread(FunctionCall& call) {
    const auto* state = StateOf<Spread>(call, false);
    const std::int64_t least = kSample ? 2 : 1;
    if (state == nullptr || state->rows < least) {
        return;  // Null
    }
    // By the number of rows for the whole, by one less for a sample.
    const double variance =
        state->squares / static_cast<double>(kSample ? state->rows - 1 : state->rows);
    call.Return(kRoot ? std::sqrt(variance) : variance);
}

constexpr FunctionEntry kAggregates[] = {
    {"First", 1, 1, "v", 'v', KeepFirst, true, FinishKept},
    {"Last", 1, 1, "v", 'v', KeepLast, true, FinishKept},
    {"+only", 1, 1, "v", 'v', KeepOnly, true, FinishKept},
    {"+sum", 1, 1, "v", 'v', AddExactly, true, FinishExactSum},
    {"StDev", 1, 1, "n", 'n', AddToSpread, true, FinishSpread<true, true>},
    {"StDevP", 1, 1, "n", 'n', AddToSpread, true, FinishSpread<false, true>},
    {"Var", 1, 1, "n", 'n', AddToSpread, true, FinishSpread<true, false>},
    {"VarP", 1, 1, "n", 'n', AddToSpread, true, FinishSpread<false, false>},
};

}  // namespace

std::span<const FunctionEntry> AggregateFunctions() {
    return kAggregates;
}

}  // namespace vantry::sql

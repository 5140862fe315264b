#pragma once
// The functions of the dialects and the operators that SQLite lacks, as SQLite functions. Values
// inside SQLite: text, whole and floating numbers, True as -1, dates as linear days, currency and
// long decimals as the bytes of exact_number.h.

#include "drivers/sql/run/session.h"
#include "drivers/sql/run/table_source.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vantry::sql {

// One call, or for aggregates one step.
struct FunctionCall {
    FunctionCall(Session& in_session,
                 const FunctionEntry& of_entry,
                 sqlite3_context* sqlite_context,
                 int argument_count,
                 sqlite3_value** values)
        : session(in_session),
          entry(of_entry),
          context(sqlite_context),
          count(argument_count),
          arguments(values) {}

    Session& session;
    const FunctionEntry& entry;
    sqlite3_context* context;
    int count;
    sqlite3_value** arguments;

    bool IsNull(int k) const { return sqlite3_value_type(arguments[k]) == SQLITE_NULL; }
    bool IsText(int k) const { return sqlite3_value_type(arguments[k]) == SQLITE_TEXT; }
    bool IsBlob(int k) const { return sqlite3_value_type(arguments[k]) == SQLITE_BLOB; }
    bool IsWhole(int k) const { return sqlite3_value_type(arguments[k]) == SQLITE_INTEGER; }
    std::string_view Text(int k) const;  // numbers in their text form
    double Number(int k) const;          // text is read as a number; throws TypeMismatch
    std::int64_t Whole(int k) const;     // rounded half to even; throws Overflow
    // The same; throws Overflow outside -limit to limit.
    std::int64_t Within(int k, std::int64_t limit) const;
    DateTime Date(int k) const;  // throws TypeMismatch, Overflow
    Decimal Exact(int k) const;  // of any number; throws Overflow from 10^38 on

    void Return(std::string_view text) const;
    void Return(double number) const;  // throws Overflow unless finite
    void Return(std::int64_t number) const;
    void Return(bool truth) const;
    void Return(const DateTime& date) const;
    void Return(const Decimal& number) const;
    void ReturnBytes(std::span<const std::byte> bytes) const;
    void Return(const char*) const = delete;  // would be taken for a bool
    // The argument isn't one that the function takes.
    [[noreturn]] void Refuse() const;  // throws InvalidCall

private:
    mutable std::array<std::string, 4> text_forms_;  // of numbers asked for as text
};

// `arguments` says what each must be, the last letter standing for all further ones: t text,
// n number, d date, b condition, v anything as it is. `result`: t text, n double, l Long, i
// Integer, d date, b boolean, c currency, s single, y byte, v as argument `result_of`. `exact`: the
// first argument may be in the form of exact_number.h, and so is a result of such a type; other
// functions get and give plain numbers.
struct FunctionEntry {
    std::string_view name;
    int least;
    int most;
    std::string_view arguments;
    char result;
    void (*run)(FunctionCall&);
    bool takes_null = false;
    void (*finish)(FunctionCall&) = nullptr;  // aggregates
    bool changes = false;                     // not the same at each call
    int result_of = 0;
    bool exact = false;
};

// Nothing if the dialect has no such function. Operators have names that no user can write.
const FunctionEntry* FindFunction(std::string_view name, Dialect::Kind dialect);
std::string SqlName(const FunctionEntry& entry);

// The tables that FindFunction looks in.
std::span<const FunctionEntry> OperatorFunctions();
std::span<const FunctionEntry> TextFunctions();
std::span<const FunctionEntry> NumberFunctions();
std::span<const FunctionEntry> DateFunctions();
std::span<const FunctionEntry> FormatFunctions();
std::span<const FunctionEntry> AggregateFunctions();
std::span<const FunctionEntry> ExactFunctions();
std::span<const FunctionEntry> FoxProFunctions();

// Shared by them.
inline constexpr std::size_t kMaxMadeText = 64'000'000;  // bytes of a function's result
double RoundHalfEven(double number);

}  // namespace vantry::sql

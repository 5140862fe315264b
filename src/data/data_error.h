#pragma once
// The one exception of the data layer: a number, a description in the data source's own words, and
// the source that spoke. Thrown by value, caught by const reference. Each driver builds its errors
// in the factory functions of its own errors.h; callers branch on the number, never on the text.

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace vantry {

// Error numbers that callers know (signed 32-bit values of the data-access interface).
inline constexpr int kErrUnspecified = -2147467259;  // 0x80004005: connection, file, anything else
inline constexpr int kErrSyntax = -2147217900;       // 0x80040E14: the statement isn't understood
inline constexpr int kErrNoSuchTable = -2147217865;  // 0x80040E37
inline constexpr int kErrMissingParameter =
    -2147217904;                                    // 0x80040E10: unknown column or unset parameter
inline constexpr int kErrConstraint = -2147217873;  // 0x80040E2F: a key or rule refuses the row
inline constexpr int kErrConversion = -2147217887;  // 0x80040E21: a value doesn't fit its column
inline constexpr int kErrTypeMismatch = -2147217913;   // 0x80040E07
inline constexpr int kErrFieldTooSmall = -2147217833;  // 0x80040E57
inline constexpr int kErrNoCurrentRow = 3021;  // reading before the first or after the last row
inline constexpr int kErrObjectClosed = 3704;  // an operation on an object that isn't open
inline constexpr int kErrInvalidArgument = 3001;
inline constexpr int kErrInUse = 3211;         // somebody else holds the file: worth another try
inline constexpr int kErrItemNotFound = 3265;  // no such item in a collection

class DataError : public std::exception {
public:
    DataError(int number, std::string description, std::string source = {})
        : number_(number), description_(std::move(description)), source_(std::move(source)) {}

    int Number() const { return number_; }
    const std::string& Description() const { return description_; }
    const std::string& Source() const { return source_; }
    // Rows that the data source had taken before and that this failure took back: a bulk load's
    // last ones.
    std::int64_t LostRows() const { return lost_rows_; }
    void SetLostRows(std::int64_t rows) { lost_rows_ = rows; }
    // Rows of the failed call that are in the data source all the same: none, unless a driver says
    // otherwise. Nothing when it can't be known, as when the connection broke off before the
    // answer.
    std::optional<std::int64_t> ArrivedRows() const { return arrived_rows_; }
    void SetArrivedRows(std::optional<std::int64_t> rows) { arrived_rows_ = rows; }
    // What the call writes to was taken away or replaced by somebody else: it isn't only this call
    // that failed, what went there before is gone, too, and further calls are pointless.
    bool TargetLost() const { return target_lost_; }
    void SetTargetLost() { target_lost_ = true; }
    const char* what() const noexcept override { return description_.c_str(); }

private:
    int number_;
    bool target_lost_ = false;
    std::int64_t lost_rows_ = 0;
    std::optional<std::int64_t> arrived_rows_ = 0;
    std::string description_;
    std::string source_;
};

}  // namespace vantry

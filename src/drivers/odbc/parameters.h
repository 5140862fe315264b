#pragma once
// The values of a prepared statement's parameters: cells of any kind, sent in the type that the
// parameter was given. Either one row, or several that are kept for one execution.

#include "data/driver.h"
#include "drivers/odbc/link.h"
#include "drivers/odbc/parameter_value.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::odbc {

class Parameters {
public:
    // At most `block_rows` rows are kept together.
    Parameters(const Link& link,
               const StatementHandle& statement,
               std::span<const ParameterInfo> infos,
               std::size_t block_rows);
    Parameters(const Parameters&) = delete;
    Parameters& operator=(const Parameters&) = delete;

    std::size_t Count() const { return slots_.size(); }

    // ---- One row, while none is kept

    // Small values are copied, long ones looked at until SendLongValues is done.
    void Set(std::size_t parameter, const Cell& value);
    // Whether a parameter that had a short value before has a long one now, since the last call.
    bool TakeTurnedLong() { return std::exchange(turned_long_, false); }
    // After an execution that asks for data: sends the long values in pieces. Returns the result of
    // the statement itself.
    SQLRETURN SendLongValues();

    // ---- Several rows

    Statement::Keeping Keep(std::span<const Cell> values);
    std::size_t Kept() const { return kept_; }
    void BindKept();
    // The first of them are done with.
    void DropKept(std::size_t rows);

private:
    struct Slot {
        ParameterInfo info;
        Former former;
        std::string data;  // the values, `width` apart
        std::size_t width = 0;
        std::vector<SQLLEN> lengths;
        std::string_view long_value;
        bool long_is_text = false;
        // Of the rows that are kept: how many aren't null, the most digits before a decimal's
        // point; and whether the row that is just being kept has a value.
        std::size_t kept_values = 0;
        std::size_t whole_digits = 0;
        bool new_value = false;
        // What the driver knows.
        Shape bound;
        const void* bound_data = nullptr;
        std::size_t bound_width = 0;
        const void* bound_lengths = nullptr;
    };

    static bool Agrees(const Slot& slot, const Encoded& encoded);
    static void Put(Slot& slot, std::size_t row, std::size_t rows, const Encoded& encoded);
    static void Widen(Slot& slot, std::size_t width, std::size_t rows);
    std::size_t MostWidth() const;
    void SetLong(Slot& slot, const Encoded& encoded);
    void Bind(Slot& slot, void* data);
    void SendInPieces(std::string_view value, bool is_text);

    const Link& link_;
    const StatementHandle& statement_;
    ValueEncoder encoder_;
    std::vector<Slot> slots_;
    std::size_t block_rows_;
    std::size_t kept_ = 0;
    bool turned_long_ = false;
    std::u16string units_;
};

}  // namespace vantry::odbc

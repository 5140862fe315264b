#pragma once
// A prepared statement of the server and the values of its parameters, which go over in the binary
// form: typed, never as part of the statement's text.

#include "data/driver.h"
#include "drivers/mysql/session.h"

#include <mysql.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::mysql {

class BoundStatement {
public:
    // `types`: one code of ado_types.h for each parameter, of the column or parameter that takes
    // the value. Throws DataError, also when the statement has another number of parameters.
    BoundStatement(std::shared_ptr<Session> session, std::string_view sql, std::vector<int> types);

    // One value a parameter, none Unset. Returns the count of rows affected. Throws DataError.
    std::int64_t Execute(std::span<const Cell> values);

private:
    struct Closer {
        void operator()(MYSQL_STMT* statement) const { mysql_stmt_close(statement); }
    };
    // Where the bytes of a value lie that doesn't point at its own.
    struct Slot {
        union {
            std::int64_t integer;
            float single;
            double number;
            MYSQL_TIME time;
        };
        unsigned long length = 0;
        std::string text;
        Slot() : time{} {}
    };

    void Bind(std::size_t parameter, const Cell& value);
    void BindView(std::size_t parameter, enum_field_types type, std::string_view bytes);
    void BindTextForm(std::size_t parameter, const Cell& value, enum_field_types type);
    void BindInteger(std::size_t parameter, std::uint64_t bits, bool is_unsigned);
    void BindDateTime(std::size_t parameter, const DateTime& value);
    void BindText(std::size_t parameter, std::string_view text);
    void SendLongData(std::span<const Cell> values);

    std::shared_ptr<Session> session_;
    std::unique_ptr<MYSQL_STMT, Closer> statement_;
    std::vector<int> types_;
    std::vector<Slot> slots_;
    std::vector<MYSQL_BIND> binds_;
};

}  // namespace vantry::mysql

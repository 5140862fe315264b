// Each value has to reach the server in a type that it turns into its column's without loss, and
// no value may be copied more than once. So cells are bound in their own kind and in place where
// that is right for the column, and as text or a number of the server's own where it isn't; values
// above 64 KB go ahead in pieces. Easy to get wrong: a bit column takes the characters of a number
// that comes as a string, a refused long value stays with the statement until it is reset, and the
// bytes of a cell may move when the connection's cursor makes room for this statement.

#include "drivers/mysql/bound_statement.h"

#include "data/cell_copies.h"
#include "data/value_text.h"
#include "drivers/mysql/errors.h"

#include <algorithm>
#include <utility>

namespace vantry::mysql {
namespace {

// Values above this size are sent ahead of the statement, in pieces of this size: the library would
// copy them into one packet otherwise. A server cuts the connection over a packet that is too long
// for it, while it refuses a value that is too long when all its pieces are there.
constexpr std::size_t kLongDataBytes = std::size_t{64} << 10;

MYSQL_TIME TimeOf(std::int64_t nanos) {
    const auto seconds = nanos / kNanosPerSecond;
    MYSQL_TIME time{};
    time.hour = static_cast<unsigned>(seconds / 3600);
    time.minute = static_cast<unsigned>(seconds / 60 % 60);
    time.second = static_cast<unsigned>(seconds % 60);
    time.second_part = static_cast<unsigned long>(nanos % kNanosPerSecond / 1000);  // microseconds
    time.time_type = MYSQL_TIMESTAMP_TIME;
    return time;
}

bool IsLong(const Cell& value) {
    return (value.Kind() == ValueKind::Text || value.Kind() == ValueKind::Bytes) &&
           value.AsBytes().size() > kLongDataBytes;
}

}  // namespace

BoundStatement::BoundStatement(std::shared_ptr<Session> session,
                               std::string_view sql,
                               std::vector<int> types)
    : session_(std::move(session)), types_(std::move(types)) {
    MYSQL* handle = session_->Idle();
    session_->BeStrict();
    const AnswerWatch::Wait wait(session_->Watch());
    statement_.reset(mysql_stmt_init(handle));
    if (!statement_) {
        throw session_->Failure();
    }
    if (mysql_stmt_prepare(statement_.get(), sql.data(), sql.size()) != 0) {
        throw session_->Failure(statement_.get());
    }
    const std::size_t count = mysql_stmt_param_count(statement_.get());
    if (count != types_.size()) {
        throw WrongParameterCount(count, types_.size());
    }
    slots_.resize(count);
    binds_.resize(count);
}

std::int64_t BoundStatement::Execute(std::span<const Cell> values) {
    if (values.size() != types_.size()) {
        throw WrongParameterCount(types_.size(), values.size());
    }
    CellCopies copies;
    if (session_->IsStreaming()) {
        // The values may look at the row of a cursor on this very connection, which moves when its
        // rows are taken into memory.
        values = copies.Take(values);
    }
    session_->Idle();
    for (std::size_t k = 0; k < values.size(); ++k) {
        Bind(k, values[k]);
    }
    if (!binds_.empty() && mysql_stmt_bind_param(statement_.get(), binds_.data()) != 0) {
        throw session_->Failure(statement_.get());
    }
    const AnswerWatch::Wait wait(session_->Watch());
    SendLongData(values);
    if (mysql_stmt_execute(statement_.get()) != 0) {
        const auto error = session_->Failure(statement_.get());
        if (std::any_of(values.begin(), values.end(), IsLong)) {
            // What was sent ahead, and the server's refusal of it, would stay with the statement.
            mysql_stmt_reset(statement_.get());
        }
        throw DataError(error);
    }
    const auto affected = static_cast<std::int64_t>(mysql_stmt_affected_rows(statement_.get()));
    mysql_stmt_free_result(statement_.get());
    if (mysql_warning_count(session_->Busy()) > 0) {
        session_->GetWarnings().RequireUnchanged(*session_, affected);
    }
    return affected;
}

void BoundStatement::SendLongData(std::span<const Cell> values) {
    for (std::size_t k = 0; k < values.size(); ++k) {
        if (!IsLong(values[k])) {
            continue;
        }
        auto rest = values[k].AsBytes();
        while (!rest.empty()) {
            const auto piece = rest.first(std::min(rest.size(), kLongDataBytes));
            rest = rest.subspan(piece.size());
            if (mysql_stmt_send_long_data(statement_.get(),
                                          static_cast<unsigned>(k),
                                          reinterpret_cast<const char*>(piece.data()),
                                          piece.size()) != 0) {
                const auto error = session_->Failure(statement_.get());
                mysql_stmt_reset(statement_.get());
                throw DataError(error);
            }
        }
    }
}

void BoundStatement::Bind(std::size_t parameter, const Cell& value) {
    auto& bind = binds_[parameter];
    auto& slot = slots_[parameter];
    bind = {};
    const int type = types_[parameter];
    const auto kind = value.Kind();
    if (IsTextType(type) && kind != ValueKind::Text && kind != ValueKind::Bytes &&
        kind != ValueKind::Null) {
        BindTextForm(parameter, value, MYSQL_TYPE_STRING);
        return;
    }
    switch (kind) {
        case ValueKind::Boolean:
            BindInteger(parameter, value.AsBoolean() ? 1 : 0, false);
            break;
        case ValueKind::Int64:
            BindInteger(parameter, static_cast<std::uint64_t>(value.AsInt64()), false);
            break;
        case ValueKind::UInt64:
            BindInteger(parameter, value.AsUInt64(), true);
            break;
        case ValueKind::Single:
            slot.single = value.AsSingle();
            bind.buffer_type = MYSQL_TYPE_FLOAT;
            bind.buffer = &slot.single;
            break;
        case ValueKind::Double:
            slot.number = value.AsDouble();
            bind.buffer_type = MYSQL_TYPE_DOUBLE;
            bind.buffer = &slot.number;
            break;
        case ValueKind::Decimal:
            BindTextForm(parameter, value, MYSQL_TYPE_NEWDECIMAL);
            break;
        case ValueKind::NumberText:
            // As a number and not as a string: a bit column would take the characters' bits.
            BindView(parameter, MYSQL_TYPE_NEWDECIMAL, value.AsText());
            break;
        case ValueKind::DateTime:
            BindDateTime(parameter, value.AsDateTime());
            break;
        case ValueKind::Text:
            BindText(parameter, value.AsText());
            break;
        case ValueKind::Bytes:
            // As text the server brings it into the column's own character set.
            BindView(
                parameter, IsTextType(type) ? MYSQL_TYPE_STRING : MYSQL_TYPE_BLOB, value.AsText());
            break;
        case ValueKind::Null:
        case ValueKind::Unset:
        case ValueKind::Unreadable:
            bind.buffer_type = MYSQL_TYPE_NULL;
            break;
    }
}

void BoundStatement::BindView(std::size_t parameter,
                              enum_field_types type,
                              std::string_view bytes) {
    auto& bind = binds_[parameter];
    bind.buffer_type = type;
    bind.buffer = const_cast<char*>(bytes.data());  // the library only reads it
    bind.buffer_length = bytes.size();
    slots_[parameter].length = bytes.size();
    bind.length = &slots_[parameter].length;
}

void BoundStatement::BindTextForm(std::size_t parameter, const Cell& value, enum_field_types type) {
    auto& text = slots_[parameter].text;
    text.clear();
    AppendText(value, text);
    BindView(parameter, type, text);
}

void BoundStatement::BindInteger(std::size_t parameter, std::uint64_t bits, bool is_unsigned) {
    auto& bind = binds_[parameter];
    slots_[parameter].integer = static_cast<std::int64_t>(bits);
    bind.buffer_type = MYSQL_TYPE_LONGLONG;
    bind.buffer = &slots_[parameter].integer;
    bind.is_unsigned = is_unsigned ? 1 : 0;
}

void BoundStatement::BindDateTime(std::size_t parameter, const DateTime& value) {
    auto& bind = binds_[parameter];
    auto& slot = slots_[parameter];
    slot.time = TimeOf(value.nanos);
    bind.buffer = &slot.time;
    if (types_[parameter] == adDBTime && value.day == 0) {
        bind.buffer_type = MYSQL_TYPE_TIME;
        return;
    }
    const auto date = CalendarOf(value.day);
    slot.time.year = static_cast<unsigned>(date.year);
    slot.time.month = static_cast<unsigned>(date.month);
    slot.time.day = static_cast<unsigned>(date.day);
    slot.time.time_type = MYSQL_TIMESTAMP_DATETIME;
    bind.buffer_type = MYSQL_TYPE_DATETIME;
}

// Text for a column of another type: the server reads numbers and its own dates by itself; a date
// as this machine writes it and the words of a boolean are ours to read.
void BoundStatement::BindText(std::size_t parameter, std::string_view text) {
    const int type = types_[parameter];
    if (type == adBoolean) {
        if (const auto flag = ParseBoolean(text)) {
            BindInteger(parameter, *flag ? 1 : 0, false);
            return;
        }
    }
    if (IsDateType(type) && !text.empty() && !ParseIsoDateTime(text) && !ParseIsoTime(text)) {
        if (const auto moment = ParseDateTime(text)) {
            BindDateTime(parameter, *moment);
            return;
        }
    }
    BindView(parameter, MYSQL_TYPE_STRING, text);
}

}  // namespace vantry::mysql

// Rows are read in the text form of the protocol, because the server writes it faster than we
// could turn its binary form into text; but it rounds a FLOAT to six digits there, so results with
// such a column come in the binary form. Easy to get wrong: which form is needed is known only from
// the columns, before the first row is on its way, hence the preparation that most statements
// throw away; and a value longer than its buffer is fetched a second time and the buffer bound anew
// before the next row.

#include "drivers/mysql/row_source.h"

#include "drivers/mysql/errors.h"

#include <mysqld_error.h>

#include <algorithm>
#include <utility>

namespace vantry::mysql {
namespace {

struct ResultCloser {
    void operator()(MYSQL_RES* result) const { mysql_free_result(result); }
};
using UniqueResult = std::unique_ptr<MYSQL_RES, ResultCloser>;

struct StatementCloser {
    void operator()(MYSQL_STMT* statement) const { mysql_stmt_close(statement); }
};
using UniqueStatement = std::unique_ptr<MYSQL_STMT, StatementCloser>;

std::vector<Column> DescribeAll(MYSQL_RES* result, unsigned bytes_per_character) {
    std::vector<Column> columns;
    for (unsigned k = 0; k < mysql_num_fields(result); ++k) {
        columns.push_back(Describe(*mysql_fetch_field_direct(result, k), bytes_per_character));
    }
    return columns;
}

class TextRows : public RowSource {
public:
    TextRows(Session& session, UniqueResult result)
        : session_(session), result_(std::move(result)) {}

    bool Fetch(std::span<RawField> fields) override {
        const AnswerWatch::Wait wait(session_.Watch());
        MYSQL_ROW row = mysql_fetch_row(result_.get());
        // End and failure look alike; only the error's number tells.
        if (row == nullptr) {
            if (mysql_errno(session_.Busy()) != 0) {
                throw session_.Failure();
            }
            DropFurtherResults(session_);  // a procedure gives its status behind its rows
            return false;
        }
        const unsigned long* lengths = mysql_fetch_lengths(result_.get());
        for (std::size_t k = 0; k < fields.size(); ++k) {
            fields[k] = {row[k], lengths[k]};
        }
        return true;
    }

private:
    Session& session_;
    UniqueResult result_;
};

// Floating-point numbers as they are, all else as the text that the other way would give.
class BinaryRows : public RowSource {
public:
    BinaryRows(Session& session, UniqueStatement statement, std::vector<Column>& columns)
        : session_(session),
          statement_(std::move(statement)),
          targets_(columns.size()),
          binds_(columns.size()) {
        for (std::size_t k = 0; k < columns.size(); ++k) {
            auto& form = columns[k].form;
            auto& target = targets_[k];
            auto& bind = binds_[k];
            bind = {};
            // These addresses stay good: neither vector grows any more.
            bind.length = &target.length;
            bind.is_null = &target.is_null;
            bind.error = &target.truncated;
            if (form == Form::Single || form == Form::Double) {
                const bool single = form == Form::Single;
                form = single ? Form::SingleBits : Form::DoubleBits;
                bind.buffer_type = single ? MYSQL_TYPE_FLOAT : MYSQL_TYPE_DOUBLE;
                target.buffer.resize(single ? sizeof(float) : sizeof(double));
            } else {
                bind.buffer_type = MYSQL_TYPE_STRING;
                target.buffer.resize(kFirstBufferBytes);
            }
            PointAtBuffer(k);
        }
        Bind();
    }

    bool Fetch(std::span<RawField> fields) override {
        const AnswerWatch::Wait wait(session_.Watch());
        const int status = mysql_stmt_fetch(statement_.get());
        if (status == MYSQL_NO_DATA) {
            return false;
        }
        if (status != 0 && status != MYSQL_DATA_TRUNCATED) {
            throw session_.Failure(statement_.get());
        }
        bool grown = false;
        for (std::size_t k = 0; k < fields.size(); ++k) {
            auto& target = targets_[k];
            if (target.is_null != 0) {
                fields[k] = {};
                continue;
            }
            // A first buffer for most values; it grows to the largest one that has come.
            if (target.length > target.buffer.size()) {
                FetchWhole(k);
                grown = true;
            }
            fields[k] = {target.buffer.data(), target.length};
        }
        if (grown) {
            Bind();
        }
        return true;
    }

private:
    static constexpr std::size_t kFirstBufferBytes = 256;

    struct Target {
        std::vector<char> buffer;
        unsigned long length = 0;
        my_bool is_null = 0;
        my_bool truncated = 0;
    };

    void PointAtBuffer(std::size_t column) {
        binds_[column].buffer = targets_[column].buffer.data();
        binds_[column].buffer_length = targets_[column].buffer.size();
    }

    void Bind() {
        if (mysql_stmt_bind_result(statement_.get(), binds_.data()) != 0) {
            throw session_.Failure(statement_.get());
        }
    }

    void FetchWhole(std::size_t column) {
        auto& target = targets_[column];
        target.buffer.resize(target.length);
        PointAtBuffer(column);
        if (mysql_stmt_fetch_column(
                statement_.get(), &binds_[column], static_cast<unsigned>(column), 0) != 0) {
            throw session_.Failure(statement_.get());
        }
    }

    Session& session_;
    UniqueStatement statement_;
    std::vector<Target> targets_;
    std::vector<MYSQL_BIND> binds_;
};

// The prepared statement if its result has a FLOAT column, else nothing. The one extra round trip
// is what it costs to know this before the rows are on their way.
UniqueStatement PrepareIfSingle(Session& session, std::string_view sql) {
    MYSQL* handle = session.Busy();
    const AnswerWatch::Wait wait(session.Watch());
    UniqueStatement statement(mysql_stmt_init(handle));
    if (!statement) {
        throw session.Failure();
    }
    if (mysql_stmt_prepare(statement.get(), sql.data(), sql.size()) != 0) {
        // What the server can't prepare goes the plain way.
        if (mysql_stmt_errno(statement.get()) == ER_UNSUPPORTED_PS) {
            return nullptr;
        }
        throw session.Failure(statement.get());
    }
    const UniqueResult columns(mysql_stmt_result_metadata(statement.get()));
    for (unsigned k = 0; columns && k < mysql_num_fields(columns.get()); ++k) {
        if (mysql_fetch_field_direct(columns.get(), k)->type == MYSQL_TYPE_FLOAT) {
            return statement;
        }
    }
    return nullptr;
}

OpenedRows OpenBinary(Session& session, UniqueStatement statement) {
    const AnswerWatch::Wait wait(session.Watch());
    if (mysql_stmt_execute(statement.get()) != 0) {
        throw session.Failure(statement.get());
    }
    const UniqueResult result(mysql_stmt_result_metadata(statement.get()));
    if (!result) {
        throw NotARowStatement();
    }
    OpenedRows opened{DescribeAll(result.get(), session.BytesPerCharacter()), nullptr};
    opened.rows = std::make_unique<BinaryRows>(session, std::move(statement), opened.columns);
    return opened;
}

OpenedRows OpenText(Session& session, std::string_view sql) {
    MYSQL* handle = session.Busy();
    session.Send(sql);
    UniqueResult result(mysql_use_result(handle));
    if (!result) {
        if (mysql_errno(handle) != 0) {
            throw session.Failure();
        }
        DropFurtherResults(session);
        throw NotARowStatement();
    }
    OpenedRows opened{DescribeAll(result.get(), session.BytesPerCharacter()), nullptr};
    opened.rows = std::make_unique<TextRows>(session, std::move(result));
    return opened;
}

}  // namespace

OpenedRows OpenRows(Session& session, std::string_view sql) {
    auto statement = PrepareIfSingle(session, sql);
    return statement ? OpenBinary(session, std::move(statement)) : OpenText(session, sql);
}

}  // namespace vantry::mysql

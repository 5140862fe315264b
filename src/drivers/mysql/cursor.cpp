// Rows stream from the server as long as nothing else is asked of its connection; then the rest
// goes into memory, as the bytes of the fields, which take less room than cells would. Easy to get
// wrong: the current row must stay readable through that, and a result that nobody reads to its end
// must not be fetched only to be thrown away.

#include "drivers/mysql/cursor.h"

#include "drivers/mysql/row_source.h"

#include <algorithm>
#include <new>
#include <utility>

namespace vantry::mysql {

MySqlCursor::MySqlCursor(std::shared_ptr<Session> session, std::string_view sql)
    : session_(std::move(session)) {
    session_->Idle();
    // A condition is the user's own text, in the server's own dialect.
    session_->ReadBackslashesAs(Backslash::Escape, sql);
    session_->AllowSlowReading();
    auto opened = OpenRows(*session_, sql);
    rows_ = std::move(opened.rows);
    for (auto& column : opened.columns) {
        infos_.push_back(std::move(column.info));
        forms_.push_back(column.form);
    }
    fields_.resize(infos_.size());
    cells_.resize(infos_.size());
    session_->BeginStream(this);
}

MySqlCursor::~MySqlCursor() {
    if (rows_) {
        // Billions of rows may be left.
        session_->Abandon(std::move(rows_));
    }
}

bool MySqlCursor::Next() {
    on_row_ = false;
    if (rows_) {
        on_row_ = FetchFromServer();
    } else if (!kept_.empty()) {
        current_ = std::move(kept_.front());
        kept_.pop_front();
        fields_ = current_.fields;
        on_row_ = true;
    } else if (failure_) {
        throw DataError(*failure_);
    }
    if (on_row_) {
        DecodeRow();
    }
    return on_row_;
}

bool MySqlCursor::FetchFromServer() {
    try {
        if (rows_->Fetch(fields_)) {
            return true;
        }
    } catch (const DataError& error) {
        failure_ = error;
    }
    rows_.reset();
    session_->EndStream();
    if (failure_) {
        throw DataError(*failure_);
    }
    return false;
}

void MySqlCursor::DecodeRow() {
    for (std::size_t k = 0; k < cells_.size(); ++k) {
        cells_[k] = Decode(forms_[k], fields_[k]);
    }
}

MySqlCursor::KeptRow MySqlCursor::Keep(std::span<const RawField> fields) const {
    KeptRow kept;
    std::size_t size = 0;
    for (const auto& field : fields) {
        size += field.size;
    }
    // One byte more, so that the bytes never lie in the object itself and stay where they are when
    // it moves.
    kept.bytes.reserve(std::max(size, sizeof(std::string)) + 1);
    for (const auto& field : fields) {
        const auto offset = kept.bytes.size();
        if (field.data != nullptr) {
            kept.bytes.append(field.data, field.size);
        }
        kept.fields.push_back(
            {field.data != nullptr ? kept.bytes.data() + offset : nullptr, field.size});
    }
    return kept;
}

void MySqlCursor::TakeRowsIntoMemory() {
    // The row that is being looked at goes first: reading on overwrites it.
    if (on_row_) {
        current_ = Keep(fields_);
        fields_ = current_.fields;
        DecodeRow();
    }
    std::vector<RawField> fields(fields_.size());
    try {
        while (rows_->Fetch(fields)) {
            kept_.push_back(Keep(fields));
        }
    } catch (const DataError& error) {
        failure_ = error;
    } catch (const std::bad_alloc&) {
        failure_ = DataError(kErrUnspecified,
                             "There is not enough memory for the rest of the rows: close the "
                             "recordset before the next statement on its connection.",
                             "MySQL");
    }
    rows_.reset();
}

}  // namespace vantry::mysql

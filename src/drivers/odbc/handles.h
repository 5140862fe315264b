#pragma once
// The driver manager's handles, freed with their owner. Members of a class stand in the order of
// their making: a statement goes before its connection, that before its environment.

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include <utility>

namespace vantry::odbc {

template <SQLSMALLINT kind>
class UniqueHandle {
public:
    UniqueHandle() = default;
    ~UniqueHandle() { Reset(); }
    UniqueHandle(UniqueHandle&& other) noexcept : raw_(std::exchange(other.raw_, nullptr)) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            Reset();
            raw_ = std::exchange(other.raw_, nullptr);
        }
        return *this;
    }

    // Null if the driver manager has none; the parent's diagnostics then say why.
    static UniqueHandle Allocate(SQLHANDLE parent) {
        UniqueHandle handle;
        if (!SQL_SUCCEEDED(SQLAllocHandle(kind, parent, &handle.raw_))) {
            handle.raw_ = nullptr;
        }
        return handle;
    }

    SQLHANDLE Get() const { return raw_; }  // stays ours
    explicit operator bool() const { return raw_ != nullptr; }
    void Reset() {
        if (raw_ == nullptr) {
            return;
        }
        if constexpr (kind == SQL_HANDLE_DBC) {
            SQLDisconnect(raw_);  // one that isn't connected says so, which is fine
        }
        SQLFreeHandle(kind, std::exchange(raw_, nullptr));
    }

private:
    SQLHANDLE raw_ = nullptr;
};

using EnvironmentHandle = UniqueHandle<SQL_HANDLE_ENV>;
using ConnectionHandle = UniqueHandle<SQL_HANDLE_DBC>;
using StatementHandle = UniqueHandle<SQL_HANDLE_STMT>;

// An environment that speaks ODBC 3: without this the codes of dates and times are others. Throws
// DataError when the driver manager can't.
EnvironmentHandle OpenEnvironment();

}  // namespace vantry::odbc

#pragma once
// One SQLite database in memory, for one statement: nothing is stored in it, it plans, filters,
// joins and sorts. It can't attach, open files or load code.

#include "drivers/sql/storage.h"

#include <sqlite3.h>

#include <exception>
#include <memory>
#include <optional>
#include <string>

namespace vantry::sql {

struct FunctionEntry;

class Session {
public:
    explicit Session(const Dialect& dialect);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    sqlite3* Handle() const { return handle_.get(); }
    const Dialect& GetDialect() const { return dialect_; }
    // Under the name that SqlName gives it.
    void AddFunction(const FunctionEntry& entry);
    // Gives a virtual table its columns; the one definition that is allowed here.
    int Declare(const std::string& create_table);

    // Keeps the exception in flight for the caller behind SQLite, whose code it must not cross.
    void Keep() { failure_ = std::current_exception(); }
    void Keep(DataError error) { failure_ = std::make_exception_ptr(std::move(error)); }
    // Throws what was kept, or what SQLite has to say about `code`.
    [[noreturn]] void Throw(int code);

    // The present time, the same within one run of the statement.
    const DateTime& Present();
    void ForgetPresent() { present_.reset(); }

private:
    struct Closer {
        void operator()(sqlite3* handle) const { sqlite3_close_v2(handle); }
    };
    // What SQLite hands back to our functions: this session and the entry.
    struct Bound;
    // Lets nothing but reading through.
    static int Authorize(
        void* session, int action, const char*, const char*, const char*, const char*);
    Dialect dialect_;
    bool declaring_ = false;
    std::vector<std::unique_ptr<Bound>> functions_;
    std::unique_ptr<sqlite3, Closer> handle_;
    std::exception_ptr failure_;
    std::optional<DateTime> present_;
};

}  // namespace vantry::sql

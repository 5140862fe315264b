// A statement's own SQLite: in memory, without tables of its own, with what could reach outside
// shut off (attaching, extensions, temporary files, writing), since statements come from users'
// saved sessions and are mixed with names from files. Exceptions of our functions and tables can't
// cross SQLite's C code: they are kept here and thrown again behind it. Easy to get wrong: an error
// text of SQLite's is a message of last resort, because it speaks of t0 and c3.

#include "drivers/sql/run/session.h"

#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/run/text_order.h"

namespace vantry::sql {
namespace {

std::string_view View(int size, const void* data) {
    return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
}

int CollateIgnoringCase(void*, int left_size, const void* left, int right_size, const void* right) {
    return CompareIgnoringCase(View(left_size, left), View(right_size, right));
}

int CollatePaddedIgnoringCase(
    void*, int left_size, const void* left, int right_size, const void* right) {
    return CompareIgnoringCase(WithoutTrailingBlanks(View(left_size, left)),
                               WithoutTrailingBlanks(View(right_size, right)));
}

int CollatePadded(void*, int left_size, const void* left, int right_size, const void* right) {
    return WithoutTrailingBlanks(View(left_size, left))
        .compare(WithoutTrailingBlanks(View(right_size, right)));
}

// Generous for any statement that a person writes, and far below what would take the memory.
void SetLimits(sqlite3* handle) {
    static constexpr std::pair<int, int> kLimits[] = {
        {SQLITE_LIMIT_SQL_LENGTH, 64'000'000},
        {SQLITE_LIMIT_EXPR_DEPTH, 1000},
        {SQLITE_LIMIT_COMPOUND_SELECT, 100},
        {SQLITE_LIMIT_VDBE_OP, 5'000'000},
        {SQLITE_LIMIT_ATTACHED, 0},
        {SQLITE_LIMIT_TRIGGER_DEPTH, 0},
        {SQLITE_LIMIT_WORKER_THREADS, 0},
    };
    for (const auto& [limit, value] : kLimits) {
        sqlite3_limit(handle, limit, value);
    }
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
    // Else an unknown name in double quotes would silently be a text.
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
}

}  // namespace

struct Session::Bound {
    Session* session;
    const FunctionEntry* entry;

    static FunctionCall Call(sqlite3_context* context, int count, sqlite3_value** arguments) {
        const auto* bound = static_cast<Bound*>(sqlite3_user_data(context));
        return {*bound->session, *bound->entry, context, count, arguments};
    }

    // Called for each row: nothing may be allocated here.
    static void Run(sqlite3_context* context, int count, sqlite3_value** arguments) {
        auto call = Call(context, count, arguments);
        if (!call.entry.takes_null) {
            for (int k = 0; k < count; ++k) {
                if (call.IsNull(k)) {
                    return;  // the result is Null unless something is set
                }
            }
        }
        Guarded(call, call.entry.run);
    }

    static void Step(sqlite3_context* context, int count, sqlite3_value** arguments) {
        auto call = Call(context, count, arguments);
        Guarded(call, call.entry.run);
    }

    static void Final(sqlite3_context* context) {
        auto call = Call(context, 0, nullptr);
        Guarded(call, call.entry.finish);
    }

    static void Guarded(FunctionCall& call, void (*run)(FunctionCall&)) {
        try {
            run(call);
        } catch (...) {
            call.session.Keep();
            // Only to make SQLite stop; what is told is the exception.
            sqlite3_result_error(call.context, "failed", -1);
        }
    }
};

// Only reading. A statement that SQLite itself would take for writing never gets there; this is
// the second lock on that door.
int Session::Authorize(
    void* session, int action, const char*, const char*, const char*, const char*) {
    return static_cast<Session*>(session)->declaring_ || action == SQLITE_SELECT ||
                   action == SQLITE_READ || action == SQLITE_FUNCTION
               ? SQLITE_OK
               : SQLITE_DENY;
}

int Session::Declare(const std::string& create_table) {
    declaring_ = true;
    const int code = sqlite3_declare_vtab(handle_.get(), create_table.c_str());
    declaring_ = false;
    return code;
}

Session::Session(const Dialect& dialect) : dialect_(dialect) {
    // Without its statistics SQLite takes no lock for each piece of memory. Refused where somebody
    // else in this process has started SQLite before, which does no harm.
    static const int configured = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
    static_cast<void>(configured);
    sqlite3* handle = nullptr;
    const int code = sqlite3_open_v2(
        // Without a mutex: a statement is used by one thread at a time.
        ":memory:",
        &handle,
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY | SQLITE_OPEN_NOMUTEX,
        nullptr);
    handle_.reset(handle);
    if (code != SQLITE_OK) {
        throw std::bad_alloc();
    }
    SetLimits(handle);
    // Sorting stays in memory: nobody's rows end up in a temporary file.
    sqlite3_exec(handle, "PRAGMA temp_store=MEMORY", nullptr, nullptr, nullptr);
    const bool folds = dialect_.text_ignores_case;
    sqlite3_create_collation_v2(
        handle, "VY", SQLITE_UTF8, nullptr, folds ? CollateIgnoringCase : CollatePadded, nullptr);
    sqlite3_create_collation_v2(handle,
                                "VYPAD",
                                SQLITE_UTF8,
                                nullptr,
                                folds ? CollatePaddedIgnoringCase : CollatePadded,
                                nullptr);
    sqlite3_set_authorizer(handle, Authorize, this);
}

Session::~Session() = default;

void Session::AddFunction(const FunctionEntry& entry) {
    functions_.push_back(std::make_unique<Bound>(Bound{this, &entry}));
    const bool aggregate = entry.finish != nullptr;
    // Deterministic functions of constants are worked out once a statement.
    sqlite3_create_function_v2(handle_.get(),
                               SqlName(entry).c_str(),
                               -1,
                               SQLITE_UTF8 | (entry.changes ? 0 : SQLITE_DETERMINISTIC),
                               functions_.back().get(),
                               aggregate ? nullptr : Bound::Run,
                               aggregate ? Bound::Step : nullptr,
                               aggregate ? Bound::Final : nullptr,
                               nullptr);
}

void Session::Throw(int code) {
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
    const std::string text = sqlite3_errmsg(handle_.get());
    switch (code & 0xFF) {
        case SQLITE_NOMEM:
            throw std::bad_alloc();
        // A text or blob beyond SQLite's limit.
        case SQLITE_TOOBIG:
            throw Overflow();
        default:
            if (text.find("too large") != std::string::npos ||
                text.find("overflow") != std::string::npos ||
                text.find("too many") != std::string::npos ||
                text.find("at most") != std::string::npos) {
                throw text.find("integer overflow") == std::string::npos ? TooComplex()
                                                                         : Overflow();
            }
            throw DataError(kErrSyntax, "The statement can't be run: " + text + ".");
    }
}

const DateTime& Session::Present() {
    if (!present_) {
        present_ = Now();
    }
    return *present_;
}

}  // namespace vantry::sql

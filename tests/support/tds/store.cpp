// SQLite does the work; types stay in its declarations, and every value of an INSERT passes
// InColumn, in a trigger that each table gets with its creation: it converts or refuses as the
// server would. On its way there SQLite would turn it into what it takes the declaration for, a
// number into a text for one, so an INSERT's parameters are wrapped in bytes with their kind; in
// other statements a decimal or a moment is a text with a sign before it. Easy to get wrong: the
// system tables have to be made anew for each statement that reads them, and views don't tell the
// types of expressions.

#include "support/tds/store.h"

#include "data/value_convert.h"
#include "data/value_text.h"
#include "support/tds/statement_text.h"

#include <sqlite3.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <regex>

namespace vantry::test::tds {
namespace {

constexpr char kErrorSign = '\1';  // no words of SQLite's begin with it
constexpr char kDecimalSign = '\1';
constexpr char kMomentSign = '\2';
constexpr char kTextSign = '\3';  // before a text that begins like one of these

// Before the kind and the content of a parameter in its wrapping: sixteen bytes that no value has.
constexpr std::string_view kWrapped = "\1a parameter is\2";

// Good as long as the bytes are.
Cell Unwrapped(std::string_view wrapped) {
    const auto kind = static_cast<ValueKind>(wrapped[kWrapped.size()]);
    const auto content = wrapped.substr(kWrapped.size() + 1);
    switch (kind) {
        case ValueKind::Boolean:
            return Cell::Boolean(content == "1");
        case ValueKind::Int64:
            return Cell::Int64(ParseInt64(content).value_or(0));
        case ValueKind::Double:
            return Cell::Double(ParseDouble(content).value_or(0));
        case ValueKind::Decimal:
            return Cell::FromDecimal(ParseDecimal(content).value_or(Decimal{}));
        case ValueKind::DateTime:
            return Cell::FromDateTime(ParseIsoDateTime(content).value_or(DateTime{}));
        case ValueKind::Bytes:
            return Cell::Bytes(std::as_bytes(std::span(content.data(), content.size())));
        default:
            return Cell::Text(content);
    }
}

Cell CellOf(sqlite3_value* value) {
    switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER:
            return Cell::Int64(sqlite3_value_int64(value));
        case SQLITE_FLOAT:
            return Cell::Double(sqlite3_value_double(value));
        case SQLITE_NULL:
            return Cell::Null();
        default:
            break;
    }
    const bool is_text = sqlite3_value_type(value) == SQLITE_TEXT;
    const auto* data = is_text ? reinterpret_cast<const char*>(sqlite3_value_text(value))
                               : static_cast<const char*>(sqlite3_value_blob(value));
    const std::string_view view(data, static_cast<std::size_t>(sqlite3_value_bytes(value)));
    if (!is_text && view.starts_with(kWrapped)) {
        return Unwrapped(view);
    }
    if (!is_text) {
        return Cell::Bytes(std::as_bytes(std::span(view.data(), view.size())));
    }
    if (view.starts_with(kDecimalSign)) {
        return Cell::FromDecimal(ParseDecimal(view.substr(1)).value_or(Decimal{}));
    }
    if (view.starts_with(kMomentSign)) {
        return Cell::FromDateTime(ParseIsoDateTime(view.substr(1)).value_or(DateTime{}));
    }
    return Cell::Text(view.starts_with(kTextSign) ? view.substr(1) : view);
}

std::string Signed(std::string_view text) {
    const bool looks_signed = text.starts_with(kDecimalSign) || text.starts_with(kMomentSign) ||
                              text.starts_with(kTextSign);
    return (looks_signed ? std::string(1, kTextSign) : std::string()).append(text);
}

// A value as it lies in its column.
void ReturnStored(sqlite3_context* context, const Type& type, const Cell& value) {
    const auto give = [&](std::string_view text) {
        sqlite3_result_text(context, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    };
    switch (value.Kind()) {
        case ValueKind::Null:
            sqlite3_result_null(context);
            break;
        case ValueKind::Int64:
            sqlite3_result_int64(context, value.AsInt64());
            break;
        case ValueKind::Double:
            sqlite3_result_double(context, value.AsDouble());
            break;
        case ValueKind::Bytes:
            sqlite3_result_blob(context,
                                value.AsBytes().data(),
                                static_cast<int>(value.AsBytes().size()),
                                SQLITE_TRANSIENT);
            break;
        case ValueKind::DateTime: {
            constexpr std::size_t kDay = 10;
            const int digits = type.kind == Kind::DateTime ? 3 : type.scale;
            const auto text = MomentText(value.AsDateTime(), digits);
            give(type.kind == Kind::Date   ? text.substr(0, kDay)
                 : type.kind == Kind::Time ? text.substr(kDay + 1)
                                           : text);
            break;
        }
        default:
            give(value.IsView() ? Signed(value.AsText()) : std::string());
            break;
        case ValueKind::Decimal: {
            std::string digits;  // all that the column has
            AppendDecimal(value.AsDecimal(), digits);
            give(digits);
            break;
        }
    }
}

// in_column('type', value)
void InColumnFunction(sqlite3_context* context, int, sqlite3_value** arguments) {
    const auto type =
        ParseType(reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]))).value_or(Type{});
    try {
        ReturnStored(context, type, InColumn(type, CellOf(arguments[1])).AsCell());
    } catch (const ServerError& error) {
        const auto text = kErrorSign + std::to_string(error.number) + " " + error.what();
        sqlite3_result_error(context, text.c_str(), static_cast<int>(text.size()));
    }
}

bool IsFloating(const Cell& value) {
    return value.Kind() == ValueKind::Single || value.Kind() == ValueKind::Double;
}

void BindWrapped(sqlite3_stmt* statement, int at, const Cell& value) {
    std::string bytes(kWrapped);
    const bool is_floating = IsFloating(value);
    bytes += static_cast<char>(is_floating ? ValueKind::Double : value.Kind());
    if (value.IsView()) {
        bytes += value.AsText();
    } else if (value.Kind() == ValueKind::Boolean) {
        bytes += value.AsBoolean() ? '1' : '0';
    } else if (is_floating) {
        std::array<char, 32> digits{};
        std::snprintf(digits.data(), digits.size(), "%.17g", ToDouble(value).value_or(0));
        bytes += digits.data();
    } else if (value.Kind() == ValueKind::DateTime) {
        bytes += MomentText(value.AsDateTime(), 9);
    } else if (value.Kind() == ValueKind::Decimal) {
        AppendDecimal(value.AsDecimal(), bytes);
    } else {
        bytes += std::to_string(ToInt64(value).value_or(0));
    }
    sqlite3_bind_blob(
        statement, at, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
}

void Bind(sqlite3_stmt* statement, int at, const Cell& value) {
    std::string text;
    switch (value.Kind()) {
        case ValueKind::Null:
            sqlite3_bind_null(statement, at);
            return;
        case ValueKind::Boolean:
            sqlite3_bind_int(statement, at, value.AsBoolean() ? 1 : 0);
            return;
        case ValueKind::Int64:
            sqlite3_bind_int64(statement, at, value.AsInt64());
            return;
        case ValueKind::Single:
        case ValueKind::Double:
            sqlite3_bind_double(statement, at, ToDouble(value).value_or(0));
            return;
        case ValueKind::Bytes:
            sqlite3_bind_blob(statement,
                              at,
                              value.AsBytes().empty()
                                  ? static_cast<const void*>("")
                                  : static_cast<const void*>(value.AsBytes().data()),
                              static_cast<int>(value.AsBytes().size()),
                              SQLITE_TRANSIENT);
            return;
        case ValueKind::Decimal:
            text = kDecimalSign;
            AppendDecimal(value.AsDecimal(), text);
            break;
        case ValueKind::DateTime:
            text = kMomentSign + MomentText(value.AsDateTime(), 9);
            break;
        default:
            text = Signed(value.AsText());
            break;
    }
    sqlite3_bind_text(statement, at, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// What of a result a column of `type` gives out.
Value Fetched(const Type& type, sqlite3_value* value) {
    const Cell cell = CellOf(value);
    if (cell.Kind() != ValueKind::Text) {
        return Value(cell);
    }
    const auto text = cell.AsText();
    if (type.kind == Kind::Decimal || type.kind == Kind::Money || type.kind == Kind::SmallMoney) {
        return Value(Cell::FromDecimal(ParseDecimal(text).value_or(Decimal{})));
    }
    if (type.kind == Kind::Time) {
        return Value(Cell::FromDateTime(ParseIsoTime(text).value_or(DateTime{})));
    }
    if (type.kind >= Kind::Date && type.kind != Kind::DateTimeOffset &&
        type.kind <= Kind::SmallDateTime) {
        return Value(Cell::FromDateTime(ParseIsoDateTime(text).value_or(DateTime{})));
    }
    return Value(cell);
}

// SQLite tells errors in words; the server's numbers and texts are made of them.
ServerError ServersError(const std::string& database,
                         std::string_view sql,
                         const std::string& words) {
    if (words.starts_with(kErrorSign)) {
        const auto blank = words.find(' ');
        return {std::stoi(words.substr(1, blank)), words.substr(blank + 1)};
    }
    const std::pair<const char*, ServerError> told[] = {
        {"no such table: (.*)",
         FirstWord(sql) == "DROP"
             ? ServerError(3701,
                           "Cannot drop the table '$1', because it does not exist or you do not "
                           "have permission.",
                           11)
             : ServerError(208, "Invalid object name '$1'.")},
        {"table [\\[\"]?(.*?)[\\]\"]? already exists",
         {2714, "There is already an object named '$1' in the database."}},
        // "t.c" or "t.a, t.b"
        {"UNIQUE constraint failed: ([^.]*)[.].*",
         {2627,
          "Violation of PRIMARY KEY constraint 'PK_$1'. Cannot insert duplicate key in object "
          "'dbo.$1'.",
          14}},
        {"NOT NULL constraint failed: ([^.]*)[.](.*)",
         {515,
          "Cannot insert the value NULL into column '$2', table '" + database +
              ".dbo.$1'; column does not allow nulls. INSERT fails."}},
        {"near \"(.*?)\".*", {102, "Incorrect syntax near '$1'.", 15}}};
    for (const auto& [pattern, error] : told) {
        if (std::smatch found; std::regex_match(words, found, std::regex(pattern))) {
            return {error.number, found.format(error.what()), error.severity};
        }
    }
    return {50000, words};
}

}  // namespace

void Store::Closer::operator()(sqlite3* database) const {
    sqlite3_close_v2(database);
}
void Store::Finalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

Store::Store() {
    AddDatabase("master");
}
Store::~Store() = default;

void Store::AddDatabase(const std::string& name) {
    const std::lock_guard lock(mutex_);
    auto& database = databases_[name];
    sqlite3* handle = nullptr;
    sqlite3_open(":memory:", &handle);
    database.handle.reset(handle);
    sqlite3_db_config(handle, SQLITE_DBCONFIG_MAINDBNAME, "dbo");
    sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_create_function(handle,
                            "in_column",
                            2,
                            SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                            nullptr,
                            InColumnFunction,
                            nullptr,
                            nullptr);
    Plain(database,
          "create temp table sysdatabases (name nvarchar(128), dbid smallint);"
          "create temp table sysobjects (name nvarchar(128), id int, uid smallint, type char(2));"
          "create temp table sysusers (uid smallint, name nvarchar(128));");
}

bool Store::HasDatabase(std::string_view name) const {
    const std::lock_guard lock(mutex_);
    return databases_.contains(name);
}

void Store::AddSchema(std::string_view database, const std::string& name) {
    const std::lock_guard lock(mutex_);
    auto& found = Find(database);
    Plain(found, "attach ':memory:' as [" + name + "]");
    found.schemas.push_back(name);
}

Store::Database& Store::Find(std::string_view name) {
    const auto found = databases_.find(name);
    if (found == databases_.end()) {
        throw ServerError(911, "Database '" + std::string(name) + "' does not exist.");
    }
    return found->second;
}

void Store::Plain(Database& database, const std::string& sql) {
    if (sqlite3_exec(database.handle.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw ServerError(50000, sqlite3_errmsg(database.handle.get()));
    }
}

void Store::FillSystemTables(Database& database) {
    std::string sql = "delete from sysdatabases; delete from sysobjects; delete from sysusers;";
    int number = 0;
    for (const auto& [name, other] : databases_) {
        sql += "insert into sysdatabases values ('" + name + "'," + std::to_string(++number) + ");";
    }
    int user = 0;
    for (const auto& schema : database.schemas) {
        const auto uid = std::to_string(++user);
        sql += "insert into sysusers values (" + uid + ",'" + schema + "');";
        sql += "insert into sysobjects select name, rowid, " + uid +
               ", case type when 'table' then 'U' else 'V' end from [" + schema +
               "].sqlite_master where type in ('table','view');";
    }
    sql += "insert into sysobjects values ('sysobjects',1,1,'S');";
    Plain(database, sql);
}

// A row version is the server's own, and stays.
void Store::ConvertInNewTables(Database& database) {
    std::string triggers;
    for (const auto& schema : database.schemas) {
        const auto of = "[" + schema + "]";
        const auto question =
            "select 'create trigger if not exists " + of +
            ".[in_'||m.name||'] after insert on ['||m.name||'] begin update ['||m.name||'] set '||"
            "group_concat('['||c.name||']=in_column('||quote(c.type)||',new.['||c.name||'])')||"
            "' where rowid=new.rowid; end;' from " +
            of +
            ".sqlite_master m, "
            "pragma_table_info(m.name,'" +
            schema +
            "') c where m.type='table' and "
            "c.type<>'timestamp' group by m.name";
        const auto append = [](void* text, int, char** values, char**) {
            *static_cast<std::string*>(text) += values[0];
            return 0;
        };
        sqlite3_exec(database.handle.get(), question.c_str(), append, &triggers, nullptr);
    }
    Plain(database, triggers);
}

Store::Prepared Store::Prepare(Database& database, std::string_view sql) {
    auto* handle = database.handle.get();
    const auto sent = ForSqlite(sql);
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(handle, sent.c_str(), static_cast<int>(sent.size()), &raw, nullptr) !=
        SQLITE_OK) {
        throw ServersError("", sql, sqlite3_errmsg(handle));
    }
    return Prepared(raw);
}

void Store::Check(std::string_view database, std::string_view sql) {
    const std::lock_guard lock(mutex_);
    Prepare(Find(database), sql);
}

Result Store::Run(std::string_view name, std::string_view sql, std::span<const Value> parameters) {
    const std::lock_guard lock(mutex_);
    auto& database = Find(name);
    auto* handle = database.handle.get();
    if (sql.find("sys") != std::string_view::npos) {
        FillSystemTables(database);
    }
    const auto statement = Prepare(database, sql);
    if (!statement) {
        return {};
    }
    const bool is_insert = FirstWord(sql) == "INSERT";
    for (std::size_t k = 0; k < parameters.size(); ++k) {
        const auto mark = "@P" + std::to_string(k + 1);
        const int at = sqlite3_bind_parameter_index(statement.get(), mark.c_str());
        const auto value = parameters[k].AsCell();
        if (at <= 0) {
            continue;
        }
        if (IsFloating(value) && !std::isfinite(ToDouble(value).value_or(0))) {
            throw ServerError(8023,
                              "The supplied value is not a valid instance of data type float.");
        }
        is_insert && !value.IsNull() ? BindWrapped(statement.get(), at, value)
                                     : Bind(statement.get(), at, value);
    }
    Result result;
    const int columns = sqlite3_column_count(statement.get());
    int state = sqlite3_step(statement.get());
    for (int k = 0; k < columns; ++k) {
        const char* declared = sqlite3_column_decltype(statement.get(), k);
        const auto type = declared == nullptr ? std::nullopt : ParseType(declared);
        const std::string_view heading = sqlite3_column_name(statement.get(), k);
        result.columns.push_back(
            {std::string(heading.find('(') == std::string_view::npos ? heading : ""),
             // Of an expression SQLite doesn't tell the type: it goes by its first value.
             type ? *type
                  : *ParseType(sqlite3_column_type(statement.get(), k) == SQLITE_INTEGER
                                   ? "int"
                                   : "nvarchar(4000)")});
    }
    for (; state == SQLITE_ROW; state = sqlite3_step(statement.get())) {
        auto& row = result.rows.emplace_back();
        for (int k = 0; k < columns; ++k) {
            const std::unique_ptr<sqlite3_value, void (*)(sqlite3_value*)> value(
                sqlite3_value_dup(sqlite3_column_value(statement.get(), k)), sqlite3_value_free);
            row.push_back(Fetched(result.columns[static_cast<std::size_t>(k)].type, value.get()));
        }
    }
    if (state != SQLITE_DONE) {
        throw ServersError(std::string(name), sql, sqlite3_errmsg(handle));
    }
    if (FirstWord(sql) == "CREATE") {
        ConvertInNewTables(database);
    }
    result.affected =
        columns > 0 ? static_cast<std::int64_t>(result.rows.size()) : sqlite3_changes64(handle);
    return result;
}

}  // namespace vantry::test::tds

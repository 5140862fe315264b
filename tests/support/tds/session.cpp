// A client is answered message by message; what a test wants to go wrong comes before the store is
// asked. Easy to get wrong: one message may hold many calls, of which each has its own end and only
// the last one says that there is no more; a call that fails has a status, too; and a statement
// that is refused while it is prepared is told twice.

#include "support/tds/session.h"

#include "data/ascii.h"
#include "data/connection_string.h"
#include "data/value_text.h"
#include "support/tds/statement_text.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace vantry::test::tds {
namespace {

// By number, where clients call them so.
constexpr std::array<std::pair<unsigned, std::string_view>, 4> kProcedures = {{
    {11, "sp_prepare"},
    {12, "sp_execute"},
    {13, "sp_prepexec"},
    {15, "sp_unprepare"},
}};
constexpr unsigned kByNumber = 0xFFFF;
constexpr unsigned kNextCall = 0xFF;
constexpr std::chrono::milliseconds kForever{3'600'000};

// From version 7.2 on requests begin with headers of their own.
Reader BehindHeaders(std::string_view bytes) {
    Reader in(bytes);
    const auto size = in.U32();
    in.Raw(size - 4);
    return in;
}

// Each byte was turned round by its halves and crossed with A5.
std::string PasswordOf(std::string_view hidden) {
    std::string bytes;
    for (const char c : hidden) {
        const auto crossed = static_cast<unsigned char>(c) ^ 0xA5U;
        bytes += static_cast<char>((crossed << 4 | crossed >> 4) & 0xFF);
    }
    return Reader::Utf8Of(bytes);
}

// Encryption isn't offered; everything else is as any server says it.
std::string PreloginAnswer() {
    return {
        "\0\0\x0B\0\6"
        "\1\0\x11\0\1"
        "\xFF"
        "\x0E\0\x03\xE8\0\0"
        "\x02",
        18};
}

bool ChangesRows(std::string_view sql) {
    const auto word = FirstWord(sql);
    return word == "INSERT" || word == "UPDATE" || word == "DELETE";
}

}  // namespace

struct Session::Call {
    std::string procedure;
    std::string database;  // empty: the session's
    std::string table;     // of a catalogue call
    std::vector<Value> parameters;
    bool last = true;

    std::string Text(std::size_t k) const {
        const bool there = k < parameters.size() && !parameters[k].IsNull();
        return there ? std::string(parameters[k].AsCell().AsText()) : std::string();
    }
    std::int32_t Number(std::size_t k) const {
        const bool there = k < parameters.size() && !parameters[k].IsNull();
        return there ? static_cast<std::int32_t>(parameters[k].AsCell().AsInt64()) : 0;
    }
    std::span<const Value> From(std::size_t k) const {
        return std::span(parameters).subspan(std::min(k, parameters.size()));
    }
};

Session::Session(TdsServer& server, Channel channel, unsigned number)
    : server_(server), channel_(channel), number_(number) {}

void Session::Serve() {
    while (!ends_) {
        const auto message = channel_.Receive();
        switch (message.kind) {
            case kPrelogin:
                channel_.Send(PreloginAnswer(), number_);
                break;
            case kLogin:
                ends_ = !LogIn(message.bytes);
                break;
            case kBatch:
                AnswerBatch(message.bytes);
                break;
            case kCall:
                AnswerCalls(message.bytes);
                break;
            case kAttention: {
                Writer out;
                PutDone(out, Done::Statement, kCancelled);
                channel_.Send(out.bytes, number_);
                break;
            }
            default:
                ends_ = true;
                break;
        }
    }
}

// ---- Login

bool Session::LogIn(std::string_view bytes) {
    const auto field = [&](std::size_t at) {
        Reader place(bytes.substr(at));
        const auto offset = place.U16();
        const auto units = place.U16();
        return bytes.substr(offset, 2 * std::size_t{units});
    };
    constexpr std::size_t kPacketSize = 8;
    constexpr std::size_t kUser = 40;
    constexpr std::size_t kPassword = 44;
    constexpr std::size_t kDatabase = 68;
    const auto packet_bytes =
        std::clamp<std::size_t>(Reader(bytes.substr(kPacketSize)).U32(), 512, 32767);
    const auto user = Reader::Utf8Of(field(kUser));
    const auto database = Reader::Utf8Of(field(kDatabase));
    Writer out;
    const ServerError refused(18456, "Login failed for user '" + user + "'.", 14);
    if (user != server_.Options().user ||
        PasswordOf(field(kPassword)) != server_.Options().password) {
        PutError(out, refused);
    } else if (!database.empty() && !server_.Databases().HasDatabase(database)) {
        PutError(out,
                 ServerError(4060,
                             "Cannot open database \"" + database +
                                 "\" requested by the login. The login failed.",
                             11));
        PutError(out, refused);
    } else {
        database_ = database.empty() ? database_ : database;
        PutSetting(out, Setting::Database, database_, "master");
        PutRemark(out, 5701, "Changed database context to '" + database_ + "'.");
        PutSetting(out, Setting::Collation, kCollation, {});
        PutSetting(out, Setting::Language, "us_english", "");
        PutRemark(out, 5703, "Changed language setting to us_english.");
        PutLoginDone(out);
        PutSetting(out, Setting::PacketSize, std::to_string(packet_bytes), "4096");
        PutDone(out, Done::Statement, 0);
        Answer(out);
        channel_.SetPacketSize(packet_bytes);
        return true;
    }
    PutDone(out, Done::Statement, kFailed);
    Answer(out);
    return false;
}

// ---- Statements

void Session::Answer(const Writer& out) {
    if (ends_) {
        return;  // the connection breaks off in place of the answer
    }
    channel_.Send(out.bytes, number_);
}

Result Session::RunOrFail(const std::string& sql, std::span<const Value> values) {
    server_.CountStatement();
    if (const auto fault = server_.TakeFault(sql)) {
        switch (fault->then) {
            case TdsFault::Then::Fail:
                throw fault->error;
            case TdsFault::Then::BreakOff:
                ends_ = true;
                return {};
            case TdsFault::Then::RunAndBreakOff:
                server_.Databases().Run(database_, sql, values);
                ends_ = true;
                return {};
            case TdsFault::Then::Hang:
                channel_.Speaks(kForever);
                return {};
        }
    }
    return server_.Databases().Run(database_, sql, values);
}

void Session::RunBatchStatement(const std::string& sql, bool last, Writer& out) {
    const auto result = RunOrFail(sql, {});
    if (!result.columns.empty()) {
        PutRows(out, result);
    }
    const bool counted = !result.columns.empty() || ChangesRows(sql);
    PutDone(out, Done::Statement, (last ? 0 : kMore) | (counted ? kCounted : 0), result.affected);
}

void Session::AnswerBatch(std::string_view bytes) {
    auto in = BehindHeaders(bytes);
    std::string units;
    while (!in.AtEnd()) {
        units += in.Raw(1);
    }
    server_.CountRequest();
    Writer out;
    std::string now;
    try {
        const auto statements = SplitBatch(Reader::Utf8Of(units));
        for (const auto& sql : statements) {
            now = sql;
            RunBatchStatement(sql, &sql == &statements.back(), out);
        }
    } catch (const ServerError& error) {
        PutError(out, error);
        if (ChangesRows(now)) {
            PutRemark(out, 3621, "The statement has been terminated.");
        }
        PutDone(out, Done::Statement, kFailed);
    }
    Answer(out);
}

// ---- Calls

Session::Call Session::TakeCall(Reader& in) const {
    Call call;
    const auto length = in.U16();
    if (length == kByNumber) {
        const auto number = in.U16();
        for (const auto& [known, name] : kProcedures) {
            call.procedure = known == number ? std::string(name) : call.procedure;
        }
    } else {
        call.procedure = in.Units(length);  // "[database]..name", too
        const auto dots = call.procedure.find("..");
        if (dots != std::string::npos) {
            call.database = Unquoted(call.procedure.substr(0, dots));
            call.procedure.erase(0, dots + 2);
        }
    }
    in.U16();  // options
    while (!in.AtEnd()) {
        if (in.Peek() == kNextCall) {
            in.U8();
            call.last = in.AtEnd();
            break;
        }
        const auto name = in.ShortText();
        in.U8();  // whether it is for output
        call.parameters.push_back(TakeParameter(in));
        if (EqualsNoCase(name, "@table_name")) {
            call.table = ToText(call.parameters.back().AsCell());
        }
    }
    return call;
}

void Session::AnswerCalls(std::string_view bytes) {
    auto in = BehindHeaders(bytes);
    server_.CountRequest();
    Writer out;
    for (bool last = false; !last && !ends_;) {
        auto call = TakeCall(in);
        last = call.last;
        RunCall(call, out);
    }
    Answer(out);
}

bool Session::PrepareText(const std::string& sql, Writer& out) {
    try {
        server_.Databases().Check(database_, sql);
        prepared_[++last_handle_] = sql;
        return true;
    } catch (const ServerError& error) {
        PutError(out, error);
        PutError(out, ServerError(8180, "Statement(s) could not be prepared."));
        return false;
    }
}

bool Session::RunPrepared(const std::string& sql, std::span<const Value> values, Writer& out) {
    try {
        const auto result = RunOrFail(sql, values);
        if (!result.columns.empty()) {
            PutRows(out, result);
        }
        const bool counted = !result.columns.empty() || ChangesRows(sql);
        PutDone(out, Done::InCall, kMore | (counted ? kCounted : 0), result.affected);
        return true;
    } catch (const ServerError& error) {
        PutError(out, error);
        if (ChangesRows(sql)) {
            PutRemark(out, 3621, "The statement has been terminated.");
        }
        PutDone(out, Done::InCall, kMore | kFailed);
        return false;
    }
}

void Session::RunCall(Call& call, Writer& out) {
    const auto is = [&](std::string_view name) { return EqualsNoCase(call.procedure, name); };
    bool good = true;
    std::int32_t handle = 0;
    if (is("sp_prepare") || is("sp_prepexec")) {
        constexpr std::size_t kText = 2;  // behind the handle and the parameters' types
        good = PrepareText(call.Text(kText), out);
        handle = good ? last_handle_ : 0;
        if (good && is("sp_prepexec")) {
            good = RunPrepared(call.Text(kText), call.From(kText + 1), out);
        }
    } else if (is("sp_execute")) {
        const auto found = prepared_.find(call.Number(0));
        if (found == prepared_.end()) {
            throw std::runtime_error("a call of a statement that isn't prepared");
        }
        good = RunPrepared(found->second, call.From(1), out);
    } else if (is("sp_unprepare")) {
        prepared_.erase(call.Number(0));
    } else if (is("sp_tables")) {
        ListTables(call.database.empty() ? database_ : call.database, out);
    } else if (is("sp_columns") || is("sp_pkeys") || is("sp_statistics")) {
        Describe(LowerAscii(call.procedure), call.table, out);
    } else {
        throw std::runtime_error("a call of " + call.procedure + ", which isn't here");
    }
    PutStatus(out, good ? 0 : 1);
    if (handle != 0) {
        PutHandle(out, handle);
    }
    PutDone(out, Done::Call, (call.last ? 0 : kMore) | (good ? 0 : kFailed));
}

// All of them: what clients ask besides is an owner or a name of any kind.
void Session::ListTables(const std::string& database, Writer& out) {
    auto result = server_.Databases().Run(
        database,
        "select u.name as o, s.name as n, s.type as t from sysobjects s, sysusers u where "
        "s.uid=u.uid order by s.type, u.name, s.name",
        {});
    const auto name_type = *ParseType("sysname");
    std::vector<std::vector<Value>> rows;
    for (const auto& row : result.rows) {
        const auto type = row[2].AsCell().AsText();
        rows.push_back({Value(Cell::Text(database)),
                        row[0],
                        row[1],
                        Value(Cell::Text(type.starts_with('U')   ? "TABLE"
                                         : type.starts_with('V') ? "VIEW"
                                                                 : "SYSTEM TABLE")),
                        Value(Cell::Null())});
    }
    result.columns = {{"TABLE_QUALIFIER", name_type},
                      {"TABLE_OWNER", name_type},
                      {"TABLE_NAME", name_type},
                      {"TABLE_TYPE", *ParseType("varchar(32)")},
                      {"REMARKS", *ParseType("varchar(254)")}};
    result.rows = std::move(rows);
    PutRows(out, result);
    PutDone(out, Done::InCall, kMore | kCounted, static_cast<std::int64_t>(result.rows.size()));
}

// One table's columns, primary key, or unique indexes, in the places that clients look at; what
// stands in the others is null.
void Session::Describe(const std::string& call, const std::string& table, Writer& out) {
    std::string literal = "'";
    for (const char c : table) {
        literal.append(c == '\'' ? 2 : 1, c);
    }
    literal += "' collate nocase";
    const std::string of = " from sysobjects s, sysusers u, ";
    const std::string where = " where s.uid=u.uid and s.type='U' and s.name=" + literal;
    const std::string declared = "replace(c.type,'_text','')";
    const std::string begin = "select '" + database_ + "', u.name, s.name, ";
    const std::string sql =
        call == "sp_columns"
            ? begin + "c.name, 12, substr(" + declared + ",1,instr(" + declared +
                  "||'(','(')-1), c.type, 0, 0, 10, case c.\"notnull\" or c.pk when 0 then 1 "
                  "else 0 end, null, c.dflt_value" +
                  of + "pragma_table_info(s.name) c" + where
        : call == "sp_pkeys"
            ? begin + "c.name, c.pk, 'PK_' || s.name" + of + "pragma_table_info(s.name) c" + where +
                  " and c.pk > 0"
            : begin + "0, s.name, i.name, 3, c.seqno + 1, c.name, 'A', null, null" + of +
                  "pragma_index_list(s.name) i, pragma_index_info(i.name) c" + where +
                  " and i.\"unique\"=1";
    auto result = server_.Databases().Run(database_, sql, {});
    const auto text = *ParseType("sysname");
    const auto number = *ParseType("smallint");
    for (std::size_t k = 0; k < result.columns.size(); ++k) {
        const bool is_number = call == "sp_columns" ? k == 4 || (k > 5 && k < 11)
                               : call == "sp_pkeys" ? k == 4
                                                    : k == 3 || k == 6 || k == 7 || k > 9;
        result.columns[k] = {"C" + std::to_string(k + 1), is_number ? number : text};
        for (auto& row : result.rows) {
            if (row[k].IsNull()) {
                continue;
            }
            const auto words = ToText(row[k].AsCell());
            if (const auto type = ParseType(words); is_number && type) {
                row[k].Assign(Cell::Int64(CharactersOf(*type)));
            } else if (is_number) {
                row[k].Assign(Cell::Int64(std::atoi(words.c_str())));
            } else {
                row[k].Assign(Cell::Text(words));
            }
        }
    }
    PutRows(out, result);
    PutDone(out, Done::InCall, kMore | kCounted, static_cast<std::int64_t>(result.rows.size()));
}

}  // namespace vantry::test::tds

#pragma once
// One client of the server, from its login to its end.
//
// Source of the facts: the published protocol document [MS-TDS], "Packet Data Stream Types" (2.2.6:
// LOGIN7, PRELOGIN, RPC request, SQLBatch) and the server's public list of messages.

#include "support/tds/messages.h"
#include "support/tds_server.h"

#include <map>
#include <string>

namespace vantry::test::tds {

class Session {
public:
    Session(TdsServer& server, Channel channel, unsigned number);

    // Until the client leaves or the test ends.
    void Serve();

private:
    bool LogIn(std::string_view bytes);
    void AnswerBatch(std::string_view bytes);
    void AnswerCalls(std::string_view bytes);
    void RunBatchStatement(const std::string& sql, bool last, Writer& out);
    struct Call;
    Call TakeCall(Reader& in) const;
    void RunCall(Call& call, Writer& out);
    // Runs a prepared statement's text; true when it went well.
    bool RunPrepared(const std::string& sql, std::span<const Value> values, Writer& out);
    bool PrepareText(const std::string& sql, Writer& out);
    void ListTables(const std::string& database, Writer& out);
    void Describe(const std::string& call, const std::string& table, Writer& out);
    Result RunOrFail(const std::string& sql, std::span<const Value> values);
    void Answer(const Writer& out);

    TdsServer& server_;
    Channel channel_;
    unsigned number_;
    std::string database_ = "master";
    std::map<std::int32_t, std::string> prepared_;
    std::int32_t last_handle_ = 0;
    bool ends_ = false;
};

}  // namespace vantry::test::tds

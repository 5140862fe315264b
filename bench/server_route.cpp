#include "server_route.h"

#include "core/data_access.h"
#include "data/calendar.h"
#include "data/value_convert.h"
#include "orders_data.h"
#include "route_session.h"
#include "support/private_postgres.h"
#include "support/tcp_relay.h"
#include "support/tds_server.h"
#include "support/temp_dir.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <utility>

namespace vantry::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kColumns =
    "id int, customer varchar(40), city varchar(30), price float, qty int, ordered ";

class Server {
public:
    explicit Server(bool sql_server) {
        if (sql_server) {
            tds_ = std::make_unique<test::TdsServer>();
        } else {
            postgres_ = std::make_unique<test::PrivatePostgres>();
            Execute(postgres_->ConnectionText(),
                    "create view user_tables as select 'ORDERS'::varchar(30) as table_name");
        }
        relay_ = std::make_unique<test::TcpRelay>(tds_ ? tds_->Port() : postgres_->Port());
    }

    test::TcpRelay& Relay() { return *relay_; }
    int Statements() { return tds_ ? tds_->TakeCounts().statements : -1; }
    std::string Text() const { return TextBy(relay_->Port()); }
    std::string Direct() const { return TextBy(tds_ ? tds_->Port() : postgres_->Port()); }
    void Empty() const {
        try {
            Execute(Direct(), "drop table orders");
        } catch (const DataError&) {  // the first time there is none
        }
        Execute(Direct(),
                "create table orders (" + std::string(kColumns) +
                    (tds_ ? "datetime, shipped bit, note nvarchar(100))"
                          : "timestamp, shipped varchar(5), note varchar(100))"));
    }
    void RequireRows(std::int64_t rows) const {
        Recordset found;
        found.Open("select count(*), count(distinct id) from orders", Direct());
        for (int k = 0; k < 2; ++k) {
            if (ToInt64(found.Fields()[k].Value()) != rows) {
                throw std::runtime_error("rows are missing in the target");
            }
        }
    }
    bool IsSqlServer() const { return tds_ != nullptr; }

private:
    static void Execute(const std::string& text, const std::string& sql) {
        Connection connection;
        connection.Open(text);
        connection.Execute(sql);
    }
    std::string TextBy(int port) const {
        if (!tds_) {
            return postgres_->ConnectionText(port);
        }
        auto text = tds_->ConnectionText();
        const auto own = "," + std::to_string(tds_->Port());
        return text.replace(text.find(own), own.size(), "," + std::to_string(port));
    }

    std::unique_ptr<test::TdsServer> tds_;
    std::unique_ptr<test::PrivatePostgres> postgres_;
    std::unique_ptr<test::TcpRelay> relay_;
};

struct Run {
    double seconds = 0;
    double statements = 0;   // per 1,000 rows, below 0: not known
    double round_trips = 0;  // likewise
};

template <typename Work>
Run Measured(Server& server, std::int64_t rows, Work&& work) {
    server.Empty();
    server.Statements();
    server.Relay().TakeRoundTrips();
    const auto start = Clock::now();
    work();
    Run run;
    run.seconds = std::chrono::duration<double>(Clock::now() - start).count();
    const auto per_thousand = 1000.0 / static_cast<double>(rows);
    run.statements = server.Statements() * per_thousand;
    run.round_trips = static_cast<double>(server.Relay().TakeRoundTrips()) * per_thousand;
    server.RequireRows(rows);
    return run;
}

// One execute a row, as a program would do it that takes no care.
void PlainLoop(const Server& server, std::int64_t rows) {
    vantry::Command command;
    command.ActiveConnection = server.Text();
    command.CommandText =
        "INSERT INTO orders (" + std::string(kColumnNames) + ") VALUES (?,?,?,?,?,?,?,?)";
    const std::pair<int, int> types[] = {{adInteger, 4},
                                         {adVarChar, 40},
                                         {adVarChar, 30},
                                         {adDouble, 8},
                                         {adInteger, 4},
                                         {adDBTimeStamp, 16},
                                         {adVarChar, 5},
                                         {adVarChar, 100}};
    for (const auto& [type, size] : types) {
        Parameter parameter;
        parameter.Type = type;
        parameter.Size = size;
        command.Parameters.Append(parameter);
    }
    Order order;
    for (std::int64_t id = 1; id <= rows; ++id) {
        MakeOrder(id, order);
        const DateTime moment{DayOf(order.year, order.month, order.day).value_or(0),
                              NanosOf(order.hour, order.minute, order.second).value_or(0)};
        const Cell cells[] = {Cell::Int64(order.id),
                              Cell::Text(order.customer),
                              Cell::Text(order.city),
                              Cell::Double(static_cast<double>(order.cents) / 100),
                              Cell::Int64(order.qty),
                              Cell::FromDateTime(moment),
                              Cell::Text(order.shipped ? "1" : "0"),
                              order.note ? Cell::Text(*order.note) : Cell::Null()};
        for (int k = 0; k < 8; ++k) {
            command.Parameters[k].SetValue(cells[k]);
        }
        command.Execute();
    }
}

void PrintLine(const char* what, const Run& run) {
    std::printf("  %-22s %8.3f s", what, run.seconds);
    if (run.statements >= 0) {
        std::printf("  %7.1f statements", run.statements);
    }
    std::printf("  %7.1f round trips per 1,000 rows\n", run.round_trips);
}

}  // namespace

bool IsServerRoute(std::string_view name) {
    return name == "csv-mssql" || name == "csv-odbc";
}

void MeasureServerRoute(const std::string& name, std::int64_t rows) {
    const test::TempDir folder;
    const Places places(folder.Path());
    std::filesystem::create_directory(places.SourceFolder());
    std::filesystem::create_directory(places.TargetFolder());
    WriteCsv(places.SourceCsv(), rows);
    DescribeSource(places);
    Server server(name == "csv-mssql");
    for (const int delay_ms : {1, 0}) {
        server.Relay().SetDelay(std::chrono::milliseconds(delay_ms));
        const auto loop = Measured(server, rows, [&] { PlainLoop(server, rows); });
        const auto target = server.IsSqlServer() ? Side::SqlServer : Side::Postgres;
        const auto ours =
            Measured(server, rows, [&] { RunRoute(Side::Csv, target, places, server.Text()); });
        std::printf("%s, %lld rows, %d ms each way: %.2f times the loop's speed\n",
                    name.c_str(),
                    static_cast<long long>(rows),
                    delay_ms,
                    loop.seconds / ours.seconds);
        PrintLine("ours", ours);
        PrintLine("loop of single rows", loop);
        std::fflush(stdout);
    }
}

}  // namespace vantry::bench

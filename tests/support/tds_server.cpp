#include "support/tds_server.h"

#include "data/value_text.h"
#include "support/loopback.h"
#include "support/tds/session.h"
#include "support/tds/statement_text.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace vantry::test {

TdsServer::TdsServer(TdsOptions options)
    : options_(std::move(options)), wake_(eventfd(0, EFD_CLOEXEC)) {
    for (const auto& name : options_.databases) {
        store_.AddDatabase(name);
    }
    const auto listener = Listen();
    listener_ = listener.socket;
    port_ = listener.port;
    acceptor_ = std::thread([this] { Accept(); });
}

TdsServer::~TdsServer() {
    const std::uint64_t one = 1;
    (void)!write(wake_, &one, sizeof one);
    acceptor_.join();
    Collect(true);
    close(listener_);
    close(wake_);
}

void TdsServer::Accept() {
    for (unsigned number = 51;; ++number) {  // as the server counts its users' sessions
        std::array<pollfd, 2> watched{{{listener_, POLLIN, 0}, {wake_, POLLIN, 0}}};
        poll(watched.data(), watched.size(), -1);
        if (watched[1].revents != 0) {
            return;
        }
        const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0) {
            continue;
        }
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        Collect(false);
        auto& client = clients_.emplace_back();
        client.socket = socket;
        client.thread = std::thread([this, &client, number] {
            try {
                tds::Session(*this, tds::Channel(client.socket, wake_), number).Serve();
            } catch (const std::exception& error) {
                std::fprintf(stderr, "tds_server: %s\n", error.what());
            }
            shutdown(client.socket, SHUT_RDWR);
            client.done = true;
        });
    }
}

void TdsServer::Collect(bool all) {
    clients_.remove_if([&](Client& client) {
        if (!all && !client.done) {
            return false;
        }
        client.thread.join();
        close(client.socket);
        return true;
    });
}

std::string TdsServer::ConnectionText(const std::string& database,
                                      const std::string& driver) const {
    const std::string head =
        driver.empty() ? "Provider=SQLOLEDB.1;Server=" : "Driver=" + driver + ";Server=";
    return head + "127.0.0.1," + std::to_string(port_) + ";uid=" + options_.user +
           ";pwd=" + options_.password + (database.empty() ? "" : ";Database=" + database);
}

void TdsServer::Run(const std::string& statements, const std::string& database) {
    for (const auto& sql : tds::SplitBatch(statements)) {
        store_.Run(database, sql, {});
    }
}

std::string TdsServer::Rows(const std::string& query, const std::string& database) {
    std::string text;
    for (const auto& row : store_.Run(database, query, {}).rows) {
        for (std::size_t k = 0; k < row.size(); ++k) {
            const Cell& cell = row[k].AsCell();
            text += k == 0 ? "" : "|";
            if (cell.IsNull()) {
                text += "Null";
            } else if (cell.Kind() == ValueKind::DateTime) {
                AppendIsoDateTime(cell.AsDateTime(), text);
            } else if (cell.Kind() == ValueKind::Decimal) {
                AppendDecimal(cell.AsDecimal(), text);
            } else {
                AppendText(cell, text);
            }
        }
        text += "\n";
    }
    return text;
}

void TdsServer::AddFault(TdsFault fault) {
    const std::lock_guard lock(mutex_);
    faults_.push_back(std::move(fault));
}

std::optional<TdsFault> TdsServer::TakeFault(const std::string& statement) {
    const std::lock_guard lock(mutex_);
    for (auto fault = faults_.begin(); fault != faults_.end(); ++fault) {
        if (statement.find(fault->words) == std::string::npos || fault->skip-- > 0) {
            continue;
        }
        fault->skip = 0;
        const auto taken = *fault;
        if (--fault->times <= 0) {
            faults_.erase(fault);
        }
        return taken;
    }
    return std::nullopt;
}

TdsCounts TdsServer::TakeCounts() {
    return {requests_.exchange(0), statements_.exchange(0)};
}

}  // namespace vantry::test

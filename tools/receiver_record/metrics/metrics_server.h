// Answers those who ask for the metrics, on a thread of its own: a few at a time, each for a few
// seconds at most, and none of them for a moment longer than the recorder runs.
//
//   Threads  the server's (owned; joined by the destructor) does everything after construction.
//   Errors   the constructor throws std::runtime_error, with a text for people, where the address
//            cannot be listened on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/manual_reset_event.h"
#include "receiver_record/metrics/metrics_address.h"
#include "receiver_record/metrics/tcp_server.h"

namespace receiver {

class MetricsServer final {
public:
    static constexpr size_t kMaxConnections = 8;  // more wait until one of them is over
    static constexpr uint64_t kMaxConnectionMs = 5000;

    // Makes the page; called on the server's thread, without a lock.
    using Page = std::function<std::string()>;

    MetricsServer(MetricsAddress address, Page page);
    ~MetricsServer();  // whoever is being served is cut off
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

    // Where the page is, with the port that the system has chosen if it was to.
    std::string Url() const;

private:
    struct Client {
        TcpConnection connection;
        uint64_t end;  // TickMs
        std::string received;
        std::string answer;
        size_t sent = 0;
        bool isAnswered = false;  // all is sent, and the client is to close
    };

    void Run();
    void Welcome();
    bool Serve(Client& client) const;  // false: it is over
    bool Receive(Client& client) const;
    bool Send(Client& client) const;
    static bool AwaitEnd(Client& client);
    void WaitForMore();

    const MetricsAddress address_;
    const Page page_;
    ManualResetEvent stop_;
    TcpServer server_;             // the server's thread's alone, but for its port
    std::vector<Client> clients_;  // the server's thread's alone
    uint64_t restsUntil_ = 0;      // TickMs: where the system took no more
    std::thread thread_;
};

}  // namespace receiver

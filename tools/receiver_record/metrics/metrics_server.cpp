#include "receiver_record/metrics/metrics_server.h"

#include <algorithm>
#include <array>
#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

#include "platform/clock.h"
#include "platform/thread_name.h"
#include "receiver_record/metrics/metrics_request.h"

namespace receiver {
namespace {

constexpr uint32_t kRestMs = 1000;  // when the system lacks descriptors or memory

TcpServer ListenAt(const MetricsAddress& address) {
    try {
        return TcpServer(address.host, address.port);
    } catch (const std::exception& e) {
        throw std::runtime_error("Cannot listen on " + MetricsUrl(address) + ": " + e.what());
    }
}

}  // namespace

MetricsServer::MetricsServer(MetricsAddress address, Page page)
    : address_(std::move(address)),
      page_(std::move(page)),
      server_(ListenAt(address_)),
      thread_([this] { Run(); }) {}

MetricsServer::~MetricsServer() {
    stop_.Signal();
    thread_.join();
}

std::string MetricsServer::Url() const {
    return MetricsUrl({address_.host, server_.Port()});
}

void MetricsServer::Run() {
    SetCurrentThreadName("record-metrics");
    while (!stop_.IsSignalled()) {
        try {
            Welcome();
            const bool wasFull = clients_.size() == kMaxConnections;
            const uint64_t now = TickMs();
            std::erase_if(clients_,
                          [&](Client& client) { return now >= client.end || !Serve(client); });
            // Who came while there was no room may not be told of again.
            if (wasFull && clients_.size() < kMaxConnections) continue;
            WaitForMore();
        } catch (const std::exception&) {  // no memory: who asks again may find some
            clients_.clear();
            stop_.Wait(kRestMs);
        }
    }
}

void MetricsServer::Welcome() {
    clients_.reserve(kMaxConnections);
    while (clients_.size() < kMaxConnections && TickMs() >= restsUntil_) {
        TcpServer::Arrival arrival = server_.Accept();
        if (arrival.isRefused) restsUntil_ = TickMs() + kRestMs;
        if (!arrival.connection) return;
        clients_.push_back({std::move(*arrival.connection), TickMs() + kMaxConnectionMs, "", ""});
    }
}

bool MetricsServer::Serve(Client& client) const {
    if (client.answer.empty() && !Receive(client)) return false;
    if (!client.answer.empty() && !client.isAnswered && !Send(client)) return false;
    return !client.isAnswered || AwaitEnd(client);
}

bool MetricsServer::Receive(Client& client) const {
    std::array<char, 2048> bytes;
    while (client.answer.empty()) {
        const std::optional<size_t> count = client.connection.Receive(bytes);
        if (!count) return true;
        if (*count == 0) return false;
        client.received.append(bytes.data(), *count);
        if (auto answer = AnswerMetricsRequest(client.received, page_)) {
            client.answer = std::move(*answer);
        }
    }
    return true;
}

bool MetricsServer::Send(Client& client) const {
    while (client.sent < client.answer.size()) {
        const std::optional<size_t> count =
            client.connection.Send(std::string_view(client.answer).substr(client.sent));
        if (!count) return true;
        if (*count == 0) return false;
        client.sent += *count;
    }
    client.connection.FinishSending();
    client.isAnswered = true;
    return true;
}

// A connection that is closed while bytes of its client are unread takes the answer with it.
bool MetricsServer::AwaitEnd(Client& client) {
    constexpr int kMaxPieces = 16;  // then it is the others' turn
    std::array<char, 2048> unwanted;
    for (int i = 0; i < kMaxPieces; ++i) {
        const std::optional<size_t> count = client.connection.Receive(unwanted);
        if (!count || *count == 0) return !count;
    }
    return true;
}

void MetricsServer::WaitForMore() {
    const bool hasRoom = clients_.size() < kMaxConnections;
    const bool isResting = TickMs() < restsUntil_;
    uint64_t deadline = hasRoom && isResting ? restsUntil_ : std::numeric_limits<uint64_t>::max();
    std::vector<TcpServer::Interest> interests;
    interests.reserve(clients_.size());
    for (const Client& client : clients_) {
        interests.push_back({&client.connection, !client.answer.empty() && !client.isAnswered});
        deadline = std::min(deadline, client.end);
    }
    server_.Wait(stop_, hasRoom && !isResting, interests, deadline);
}

}  // namespace receiver

#include "testing/http_station.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

#include "platform/text.h"

namespace receiver {
namespace {

constexpr size_t kMaxRequestBytes = 65536;

std::string ReceiveRequestHead(TcpSocket& socket) {
    std::string head;
    std::array<char, 2048> piece{};
    while (head.find("\r\n\r\n") == std::string::npos && head.size() < kMaxRequestBytes) {
        const size_t got = socket.Receive(piece.data(), piece.size());
        if (got == 0) return {};
        head.append(piece.data(), got);
    }
    return head;
}

std::string PathOf(const std::string& head) {
    const size_t start = head.find(' ');
    if (start == std::string::npos) return {};
    return head.substr(start + 1, head.find(' ', start + 1) - start - 1);
}

bool WantsMetadata(std::string_view head) {
    return ToLowerAscii(head).find("icy-metadata: 1") != std::string::npos;
}

// Titles first, then the empty block that says "unchanged".
std::string InterleaveMetadata(const std::string& audio, size_t interval,
                               const std::vector<std::string>& titles) {
    std::string body;
    size_t block = 0;
    for (size_t position = 0; position < audio.size(); position += interval) {
        const std::string piece = audio.substr(position, interval);
        body += piece;
        if (piece.size() < interval) break;
        std::string title;
        if (block < titles.size() && !titles[block].empty()) {
            title = "StreamTitle='" + titles[block] + "';";
        }
        title.resize((title.size() + 15) / 16 * 16);
        body.push_back(static_cast<char>(title.size() / 16));
        body += title;
        ++block;
    }
    return body;
}

std::string ResponseHead(const StationRoute& route, size_t bodyBytes, bool metadata) {
    std::string head = "HTTP/1.1 " + std::to_string(route.status) + " Scripted\r\n";
    head += "Content-Type: " + route.contentType + "\r\n";
    head += "Connection: close\r\n";
    // A live body has no length that could be told.
    if (route.framing == BodyFraming::kContentLength && !route.tuneIn) {
        head += "Content-Length: " + std::to_string(bodyBytes) + "\r\n";
    }
    if (route.framing == BodyFraming::kChunked) head += "Transfer-Encoding: chunked\r\n";
    if (!route.redirectTo.empty()) head += "Location: " + route.redirectTo + "\r\n";
    if (metadata) head += "icy-metaint: " + std::to_string(route.icyMetaInterval) + "\r\n";
    for (const auto& [name, value] : route.headers) head += name + ": " + value + "\r\n";
    return head + "\r\n";
}

std::string FramePiece(const StationRoute& route, std::string piece) {
    if (route.framing != BodyFraming::kChunked) return piece;
    std::array<char, 32> size{};
    std::snprintf(size.data(), size.size(), "%zx\r\n", piece.size());
    return size.data() + piece + "\r\n";
}

}  // namespace

HttpStation::HttpStation()
    : listener_(TcpSocket::ListenOnLoopback()),
      port_(listener_.Port()),
      acceptor_("the station's acceptor", [this] { AcceptConnections(); }) {}

HttpStation::~HttpStation() {
    std::list<Connection> connections;
    {
        MutexLock lock(mutex_);
        stopping_ = true;
        for (Connection& connection : connections_) connection.socket.ShutDown();
        changed_.notify_all();
    }
    TcpSocket::ConnectToLoopback(port_);  // a blocked accept returns on every platform
    acceptor_.Get();
    {
        MutexLock lock(mutex_);
        connections.swap(connections_);
    }
    for (Connection& connection : connections) connection.thread.Get();
}

void HttpStation::Serve(const std::string& path, StationRoute route) {
    MutexLock lock(mutex_);
    paths_[path] = {std::move(route), 0, 0};
}

std::string HttpStation::Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

void HttpStation::Release(const std::string& path, size_t bytes) {
    MutexLock lock(mutex_);
    size_t& released = paths_[path].released;
    released += std::min(bytes, std::numeric_limits<size_t>::max() - released);
    changed_.notify_all();
}

void HttpStation::ReleaseAll(const std::string& path) {
    Release(path, std::numeric_limits<size_t>::max());
}

size_t HttpStation::RequestCount() const {
    MutexLock lock(mutex_);
    return requests_;
}

std::vector<std::string> HttpStation::RequestHeads(const std::string& path) const {
    MutexLock lock(mutex_);
    const auto found = heads_.find(path);
    return found == heads_.end() ? std::vector<std::string>{} : found->second;
}

bool HttpStation::WaitForRequests(size_t count, uint32_t timeoutMs) {
    MutexLock lock(mutex_);
    const SteadyTime deadline = DeadlineIn(timeoutMs);
    while (requests_ < count) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
    return requests_ >= count;
}

bool HttpStation::WaitForStall(const std::string& path, uint32_t timeoutMs) {
    MutexLock lock(mutex_);
    const SteadyTime deadline = DeadlineIn(timeoutMs);
    while (paths_[path].stalls == 0) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
    return paths_[path].stalls > 0;
}

void HttpStation::AcceptConnections() {
    for (;;) {
        TcpSocket socket = listener_.Accept();
        MutexLock lock(mutex_);
        if (stopping_ || !socket.IsValid()) return;
        Connection& connection = connections_.emplace_back();
        connection.socket = std::move(socket);
        connection.thread =
            TestTask("a connection of the station", [this, &connection] { Answer(connection); });
    }
}

void HttpStation::Answer(Connection& connection) {
    const std::string head = ReceiveRequestHead(connection.socket);
    const std::string path = PathOf(head);
    StationRoute route;
    {
        MutexLock lock(mutex_);
        if (!head.empty()) {
            ++requests_;
            heads_[path].push_back(head);
        }
        changed_.notify_all();
        const auto found = paths_.find(path);
        if (found != paths_.end()) {
            route = found->second.route;
        } else {
            route.status = 404;
        }
    }
    if (!head.empty() && SendResponse(connection, path, route, WantsMetadata(head))) {
        connection.socket.FinishSending();
    }
    MutexLock lock(mutex_);
    connection.socket.Close();
}

bool HttpStation::SendResponse(Connection& connection, const std::string& path,
                               const StationRoute& route, bool wantsMetadata) {
    const bool metadata = wantsMetadata && route.icyMetaInterval > 0;
    const std::string body =
        metadata ? InterleaveMetadata(route.body, route.icyMetaInterval, route.icyTitles)
                 : route.body;
    std::string head = ResponseHead(route, body.size(), metadata);
    if (route.headStallAfter) head.resize(std::min(*route.headStallAfter, head.size()));
    if (!connection.socket.Send(head)) return false;
    if (route.headStallAfter) {
        Stall(path);
        return false;
    }
    const bool sent =
        route.tuneIn ? SendLive(connection, route) : SendBody(connection, path, route, body);
    if (!sent) return false;
    return route.framing != BodyFraming::kChunked || connection.socket.Send("0\r\n\r\n");
}

bool HttpStation::SendBody(Connection& connection, const std::string& path,
                           const StationRoute& route, const std::string& body) {
    const size_t fault =
        std::min({route.stallAfter.value_or(body.size()), route.resetAfter.value_or(body.size()),
                  route.closeAfter.value_or(body.size()), body.size()});
    for (size_t position = 0; position < fault;) {
        size_t end = std::min(position + route.pieceBytes, fault);
        if (route.gated) {
            const auto gate = WaitForGate(path, position);
            if (!gate) return false;
            end = std::min(end, *gate);
        }
        if (!connection.socket.Send(FramePiece(route, body.substr(position, end - position)))) {
            return false;
        }
        position = end;
    }
    if (route.stallAfter == fault) Stall(path);
    if (route.resetAfter == fault) {
        MutexLock lock(mutex_);
        connection.socket.Reset();
    }
    if (route.closeAfter == fault) connection.socket.FinishSending();
    return !route.stallAfter && !route.resetAfter && !route.closeAfter;
}

bool HttpStation::SendLive(Connection& connection, const StationRoute& route) {
    const LiveBody body = route.tuneIn();
    for (std::string piece = body(); !piece.empty(); piece = body()) {
        if (!connection.socket.Send(FramePiece(route, std::move(piece)))) return false;
    }
    return true;
}

std::optional<size_t> HttpStation::WaitForGate(const std::string& path, size_t position) {
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    MutexLock lock(mutex_);
    while (!stopping_ && paths_[path].released <= position) {
        if (!lock.WaitUntil(changed_, deadline)) GiveUp("nobody has released " + path, kMaxHoldMs);
    }
    if (stopping_) return std::nullopt;
    return paths_[path].released;
}

void HttpStation::Stall(const std::string& path) {
    MutexLock lock(mutex_);
    ++paths_[path].stalls;
    changed_.notify_all();
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    while (!stopping_) {
        if (!lock.WaitUntil(changed_, deadline)) {
            GiveUp("nobody has ended the stall of " + path, kMaxHoldMs);
        }
    }
}

}  // namespace receiver

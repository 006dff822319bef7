// A radio station on loopback: an HTTP server that answers each path as a test scripts it,
// with the faults of real networks, or broadcasts live.
//
//   Units    body positions are bytes as they stand in the body, ICY metadata included,
//            framing excluded.
//   Threads  any; each connection is served by a thread of the station's, joined by the
//            destructor, which also ends every stall.
//   Errors   the constructor throws std::runtime_error. A stall or a gate that nobody has ended
//            after kMaxHoldMs ends the program.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/thread_safety.h"
#include "testing/tcp_socket.h"
#include "testing/test_task.h"

namespace receiver {

enum class BodyFraming {
    kContentLength,
    kChunked,
    kUntilClose,  // neither; the end of the connection is the end of the body
};

// Gives the next piece of a body, when it is due; an empty one is the end. One listener's own,
// called on its connection's thread.
using LiveBody = std::function<std::string()>;

struct StationRoute {
    int status = 200;
    std::string contentType = "application/octet-stream";
    std::vector<std::pair<std::string, std::string>> headers;  // further ones
    std::string body;
    std::function<LiveBody()> tuneIn;  // instead of `body`: called once for each listener
    BodyFraming framing = BodyFraming::kContentLength;
    std::string redirectTo;      // with a 30x status
    size_t icyMetaInterval = 0;  // metadata after so many bytes; 0 for none
    // One for each block of metadata, the empty ones unchanged.
    std::vector<std::string> icyTitles = {"Evening programme"};
    size_t pieceBytes = 8192;              // per send and per chunk
    bool gated = false;                    // the body comes only as the test releases it
    std::optional<size_t> headStallAfter;  // nothing more after so many bytes of the head
    std::optional<size_t> stallAfter;      // nothing more after so many bytes of the body
    std::optional<size_t> resetAfter;      // connection reset after so many bytes of the body
    std::optional<size_t> closeAfter;      // end of the connection there, too early
};

class HttpStation final {
public:
    HttpStation();
    ~HttpStation();
    HttpStation(const HttpStation&) = delete;
    HttpStation& operator=(const HttpStation&) = delete;

    // Paths start with "/"; an unknown one gets 404. Replaces an earlier route.
    void Serve(const std::string& path, StationRoute route) EXCLUDES(mutex_);
    std::string Url(const std::string& path) const;  // http://127.0.0.1:port/path
    uint16_t Port() const { return port_; }

    // For gated routes: lets so many further bytes of the body out, on every connection.
    void Release(const std::string& path, size_t bytes) EXCLUDES(mutex_);
    void ReleaseAll(const std::string& path) EXCLUDES(mutex_);

    size_t RequestCount() const EXCLUDES(mutex_);
    // What was asked for the path, head by head.
    std::vector<std::string> RequestHeads(const std::string& path) const EXCLUDES(mutex_);
    // True once so many requests have come in all, of any path.
    bool WaitForRequests(size_t count, uint32_t timeoutMs) EXCLUDES(mutex_);
    // True once a response to the path has reached its stall.
    bool WaitForStall(const std::string& path, uint32_t timeoutMs) EXCLUDES(mutex_);

private:
    struct Path {
        StationRoute route;
        size_t released = 0;
        size_t stalls = 0;
    };
    struct Connection {
        TcpSocket socket;  // closed under mutex_ only
        TestTask<void> thread;
    };

    void AcceptConnections() EXCLUDES(mutex_);
    void Answer(Connection& connection) EXCLUDES(mutex_);
    // False when the connection was ended on purpose or has failed.
    bool SendResponse(Connection& connection, const std::string& path, const StationRoute& route,
                      bool wantsMetadata) EXCLUDES(mutex_);
    bool SendBody(Connection& connection, const std::string& path, const StationRoute& route,
                  const std::string& body) EXCLUDES(mutex_);
    // The position up to which the body may go; waits at least for one byte beyond `position`.
    std::optional<size_t> WaitForGate(const std::string& path, size_t position) EXCLUDES(mutex_);
    void Stall(const std::string& path) EXCLUDES(mutex_);
    static bool SendLive(Connection& connection, const StationRoute& route);

    TcpSocket listener_;
    const uint16_t port_;
    mutable Mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Path> paths_ GUARDED_BY(mutex_);
    std::list<Connection> connections_ GUARDED_BY(mutex_);
    size_t requests_ GUARDED_BY(mutex_) = 0;
    std::map<std::string, std::vector<std::string>> heads_ GUARDED_BY(mutex_);
    bool stopping_ GUARDED_BY(mutex_) = false;
    TestTask<void> acceptor_;
};

}  // namespace receiver

#include "testing/http_station.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

#include "testing/patience.h"

namespace receiver {
namespace {

// All that the station answers.
std::string Fetch(const HttpStation& station, const std::string& path) {
    TcpSocket socket = TcpSocket::ConnectToLoopback(station.Port());
    EXPECT_TRUE(socket.Send("GET " + path + " HTTP/1.1\r\n\r\n"));
    std::string answer;
    std::array<char, 1024> piece{};
    while (const size_t got = socket.Receive(piece.data(), piece.size())) {
        answer.append(piece.data(), got);
    }
    return answer;
}

std::string BodyOf(const std::string& answer) {
    const size_t head = answer.find("\r\n\r\n");
    return head == std::string::npos ? "(no head)" : answer.substr(head + 4);
}

TEST(HttpStation, EachListenerToALiveRouteHasABodyOfItsOwn) {
    HttpStation station;
    StationRoute route;
    route.framing = BodyFraming::kUntilClose;
    route.tuneIn = [] {
        return [count = 0]() mutable {
            return count == 3 ? std::string() : "piece " + std::to_string(++count) + ";";
        };
    };
    station.Serve("/live", route);
    EXPECT_EQ(BodyOf(Fetch(station, "/live")), "piece 1;piece 2;piece 3;");
    EXPECT_EQ(BodyOf(Fetch(station, "/live")), "piece 1;piece 2;piece 3;");
}

TEST(HttpStation, ALiveBodyIsSentInChunksAndEnds) {
    HttpStation station;
    StationRoute route;
    route.framing = BodyFraming::kChunked;
    route.tuneIn = [] {
        return [sent = false]() mutable {
            return std::exchange(sent, true) ? std::string() : std::string("abc");
        };
    };
    station.Serve("/live", route);
    EXPECT_EQ(BodyOf(Fetch(station, "/live")), "3\r\nabc\r\n0\r\n\r\n");
}

TEST(HttpStation, AnUnknownPathIsNotFound) {
    HttpStation station;
    EXPECT_TRUE(Fetch(station, "/nothing").starts_with("HTTP/1.1 404 "));
}

TEST(HttpStation, EndingEndsAStall) {
    HttpStation station;
    StationRoute route;
    route.body = "abcdef";
    route.stallAfter = 3;
    station.Serve("/stalled", route);
    TcpSocket socket = TcpSocket::ConnectToLoopback(station.Port());
    ASSERT_TRUE(socket.Send("GET /stalled HTTP/1.1\r\n\r\n"));
    EXPECT_TRUE(station.WaitForStall("/stalled", kPatienceMs));
}

}  // namespace
}  // namespace receiver

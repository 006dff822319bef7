#include "receiver_record/metrics/metrics_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "platform/clock.h"
#include "testing/tcp_socket.h"

namespace receiver {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kRequest = "GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n";

std::string ReadToTheEnd(TcpSocket& socket) {
    std::string text;
    char buffer[4096];
    while (const size_t count = socket.Receive(buffer, sizeof buffer)) text.append(buffer, count);
    return text;
}

uint16_t PortOf(const std::string& url) {
    const size_t colon = url.rfind(':');
    return static_cast<uint16_t>(std::stoul(url.substr(colon + 1)));
}

class MetricsServerTest : public testing::Test {
protected:
    void Start(const std::string& page = "page 1\n") {
        server_ = std::make_unique<MetricsServer>(MetricsAddress{"127.0.0.1", 0},
                                                  [page] { return page; });
        port_ = PortOf(server_->Url());
    }
    TcpSocket Connect() const { return TcpSocket::ConnectToLoopback(port_); }
    std::string Scrape() const {
        TcpSocket socket = Connect();
        if (!socket.Send(kRequest)) return "nothing was sent";
        return ReadToTheEnd(socket);
    }
    // Whether it ends before the time of those who are connected does.
    bool EndsAtOnce() {
        const uint64_t begin = TickMs();
        server_.reset();
        return TickMs() - begin < MetricsServer::kMaxConnectionMs;
    }

    std::unique_ptr<MetricsServer> server_;
    uint16_t port_ = 0;
};

}  // namespace

TEST_F(MetricsServerTest, WhoAsksGetsThePageOfThatMoment) {
    int asked = 0;
    server_ = std::make_unique<MetricsServer>(
        MetricsAddress{"127.0.0.1", 0}, [&] { return "page " + std::to_string(++asked) + "\n"; });
    port_ = PortOf(server_->Url());
    EXPECT_THAT(Scrape(), EndsWith("\r\n\r\npage 1\n"));
    EXPECT_THAT(Scrape(), EndsWith("\r\n\r\npage 2\n"));
}

TEST_F(MetricsServerTest, TheUrlNamesThePortThatTheSystemChose) {
    Start();
    EXPECT_NE(port_, 0);
    EXPECT_EQ(server_->Url(), "http://127.0.0.1:" + std::to_string(port_) + "/metrics");
}

TEST_F(MetricsServerTest, APortThatIsTakenIsRefused) {
    Start();
    try {
        const MetricsServer second({"127.0.0.1", port_}, [] { return std::string(); });
        FAIL() << "two servers on one port";
    } catch (const std::runtime_error& e) {
        EXPECT_THAT(e.what(), StartsWith("Cannot listen on " + server_->Url() + ": "));
    }
    EXPECT_THAT(Scrape(), EndsWith("page 1\n"));
}

TEST_F(MetricsServerTest, AnAddressThatIsNotThisMachinesIsRefused) {
    EXPECT_THROW(MetricsServer({"192.0.2.1", 0}, [] { return std::string(); }), std::runtime_error);
}

TEST_F(MetricsServerTest, ThePortIsFreeAgainAfterwards) {
    Start();
    EXPECT_THAT(Scrape(), EndsWith("page 1\n"));
    server_.reset();
    const MetricsServer second({"127.0.0.1", port_}, [] { return std::string("page 2\n"); });
    EXPECT_THAT(Scrape(), EndsWith("page 2\n"));
}

TEST_F(MetricsServerTest, ARequestMayComeInPieces) {
    Start();
    TcpSocket socket = Connect();
    for (const char c : kRequest) ASSERT_TRUE(socket.Send(std::string_view(&c, 1)));
    EXPECT_THAT(ReadToTheEnd(socket), EndsWith("page 1\n"));
}

TEST_F(MetricsServerTest, BytesBehindTheRequestDoNotTakeTheAnswerAway) {
    Start();
    TcpSocket socket = Connect();
    ASSERT_TRUE(socket.Send("POST /metrics HTTP/1.1\r\n\r\n" + std::string(100000, 'x')));
    EXPECT_THAT(ReadToTheEnd(socket), StartsWith("HTTP/1.1 405 "));
}

TEST_F(MetricsServerTest, AClientThatSaysNothingKeepsNobodyWaiting) {
    Start();
    const TcpSocket silent = Connect();
    EXPECT_THAT(Scrape(), EndsWith("page 1\n"));
}

TEST_F(MetricsServerTest, AClientThatReadsNothingKeepsNobodyWaiting) {
    Start(std::string(64U << 20, 'x'));
    TcpSocket stuck = Connect();
    ASSERT_TRUE(stuck.Send(kRequest));
    TcpSocket other = Connect();
    ASSERT_TRUE(other.Send("GET / HTTP/1.1\r\n\r\n"));
    EXPECT_THAT(ReadToTheEnd(other), StartsWith("HTTP/1.1 404 "));
    EXPECT_TRUE(EndsAtOnce());
}

TEST_F(MetricsServerTest, AClientThatHangsIsCutOff) {
    Start();
    TcpSocket silent = Connect();
    EXPECT_EQ(ReadToTheEnd(silent), "");  // returns when the server closes
    EXPECT_THAT(Scrape(), EndsWith("page 1\n"));
}

TEST_F(MetricsServerTest, ClientsThatLeaveAreForgotten) {
    Start();
    for (size_t i = 0; i < 3 * MetricsServer::kMaxConnections; ++i) {
        TcpSocket leaving = Connect();
        ASSERT_TRUE(leaving.Send("GET"));
        if (i % 2 == 0) leaving.Reset();
    }
    EXPECT_THAT(Scrape(), EndsWith("page 1\n"));
}

TEST_F(MetricsServerTest, WhoFindsNoRoomIsServedWhenThereIsSome) {
    Start();
    std::vector<TcpSocket> silent;
    silent.reserve(MetricsServer::kMaxConnections);
    for (size_t i = 0; i < MetricsServer::kMaxConnections; ++i) silent.push_back(Connect());
    TcpSocket waiting = Connect();
    ASSERT_TRUE(waiting.Send(kRequest));
    silent.pop_back();
    EXPECT_THAT(ReadToTheEnd(waiting), EndsWith("page 1\n"));
}

TEST_F(MetricsServerTest, TheEndWaitsForNobody) {
    Start();
    std::vector<TcpSocket> silent;
    silent.reserve(MetricsServer::kMaxConnections);
    for (size_t i = 0; i < MetricsServer::kMaxConnections; ++i) silent.push_back(Connect());
    ASSERT_TRUE(silent.front().Send("GET /metrics"));
    EXPECT_TRUE(EndsAtOnce());
    EXPECT_EQ(ReadToTheEnd(silent.front()), "");
}

TEST_F(MetricsServerTest, APageThatCannotBeMadeCostsItsClientTheConnection) {
    bool isMade = false;
    server_ = std::make_unique<MetricsServer>(MetricsAddress{"127.0.0.1", 0}, [&]() -> std::string {
        if (!std::exchange(isMade, true)) throw std::bad_alloc();
        return "page 2\n";
    });
    port_ = PortOf(server_->Url());
    EXPECT_EQ(Scrape(), "");
    EXPECT_THAT(Scrape(), EndsWith("page 2\n"));
}

}  // namespace receiver

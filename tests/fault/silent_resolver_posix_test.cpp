// A name server that takes every question and answers none: the system's resolver waits for it
// for minutes, in a call that nothing can interrupt. Only the receiver sees it, in a mount
// namespace of its own.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/clock.h"
#include "platform/unique_fd_posix.h"
#include "testing/playlist.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr char kSilentUrl[] = "http://radio.example/a.wav";
constexpr uint32_t kForeverMs = 60000;  // longer than a test's patience

// At the port of name servers, on a loopback address of its own.
class SilentNameServer final {
public:
    SilentNameServer() : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(53);
        for (int last = 1; last < 255 && !bound_; ++last) {
            address_ = "127.38.53." + std::to_string(last);
            inet_pton(AF_INET, address_.c_str(), &address.sin_addr);
            bound_ =
                bind(socket_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        }
        const timeval patience{kPatienceMs / 1000, 0};
        setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    bool IsBound() const { return bound_; }
    const std::string& Address() const { return address_; }
    bool WaitForQuestion() {
        char question[512];
        return recv(socket_.Get(), question, sizeof question, 0) > 0;
    }

private:
    const UniqueFd socket_;
    std::string address_;
    bool bound_ = false;
};

class SilentResolverTest : public testing::Test {
protected:
    void SetUp() override {
        if (!server_.IsBound()) GTEST_SKIP() << "no right to the port of name servers";
        const std::string servers = folder_.File("resolv.conf");
        WriteFileBytes(servers,
                       "nameserver " + server_.Address() + "\noptions timeout:30 attempts:5\n");
        const std::string order = folder_.File("nsswitch.conf");
        WriteFileBytes(order, "hosts: files dns\n");
        launcher_ = {"unshare",
                     "-m",
                     "sh",
                     "-c",
                     "mount --bind " + servers + " /etc/resolv.conf && mount --bind " + order +
                         " /etc/nsswitch.conf && exec \"$@\"",
                     "sh"};
        if (!CanLaunch()) GTEST_SKIP() << "no mount namespaces here";
        ReceiverDriver::Options options;
        options.launcher = launcher_;
        receiver_ = std::make_unique<ReceiverDriver>(options);
        receiver_->Introduce();
    }

    bool CanLaunch() const {
        std::vector<std::string> arguments(launcher_.begin() + 1, launcher_.end());
        arguments.emplace_back("true");
        ChildProcess probe(launcher_.front(), arguments, ChildProcess::ErrorStream::kNull);
        return probe.WaitForExit(TickMs() + kPatienceMs) == 0;
    }
    json Prepare(const std::string& url, uint32_t ioTimeoutMs) {
        const ReferenceFile start{"start", "start", folder_.File("start.wav")};
        WriteWavFile(start.path, broadcast_.startJingle);
        json prepare = PrepareCommand("s", url, {start}, 1000, 0);
        prepare["ioTimeoutMs"] = ioTimeoutMs;
        return prepare;
    }
    void ServeText(const std::string& path, const std::string& text) {
        StationRoute route;
        route.contentType = "application/vnd.apple.mpegurl";
        route.body = text;
        station_.Serve(path, route);
    }
    void ExpectOpenFails(const std::string& url) {
        const Recording recording = Record(*receiver_, Prepare(url, 500));
        EXPECT_EQ(recording.finished["reason"], "error");
        EXPECT_EQ(recording.finished["message"], "Network source Open failed");
        EXPECT_EQ(recording.finished["buffer"]["error"], 30);
    }
    void ExpectCleanSession() {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kWav);
        route.body = WavBytes(broadcast_.audio);
        station_.Serve("/clean", route);
        EXPECT_EQ(
            Record(*receiver_, Prepare(station_.Url("/clean"), kForeverMs)).finished["reason"],
            "eof");
    }
    void StartLookup() {
        ASSERT_EQ(receiver_->Ask(Prepare(kSilentUrl, kForeverMs))["type"], "ACK");
        ASSERT_TRUE(server_.WaitForQuestion());
    }

    const Broadcast broadcast_ = MakeBroadcast(22050, 1);
    const TempFolder folder_;
    SilentNameServer server_;
    HttpStation station_;
    std::vector<std::string> launcher_;
    std::unique_ptr<ReceiverDriver> receiver_;
};

}  // namespace

TEST_F(SilentResolverTest, TheOpenEndsAtItsTimeOutAndTheNextSessionRuns) {
    ExpectOpenFails(kSilentUrl);
    ExpectCleanSession();
    receiver_->Shutdown();
}

TEST_F(SilentResolverTest, SoItDoesForANameBehindARedirect) {
    StationRoute away;
    away.status = 302;
    away.redirectTo = kSilentUrl;
    station_.Serve("/away", away);
    ExpectOpenFails(station_.Url("/away"));
}

TEST_F(SilentResolverTest, SoItDoesForANameInAPlaylist) {
    ServeText("/radio.m3u8", MakePlaylist({"http://radio.example/a.aac"}));
    ExpectOpenFails(station_.Url("/radio.m3u8"));
}

TEST_F(SilentResolverTest, SoItDoesForTheNameOfAKey) {
    ServeText("/radio.m3u8", MakePlaylist({"/a.aac"}, "https://radio.example/key"));
    ExpectOpenFails(station_.Url("/radio.m3u8"));
}

TEST_F(SilentResolverTest, ACancelTakesEffectDuringTheLookupAndHelloIsAnswered) {
    StartLookup();
    EXPECT_EQ(receiver_->Ask({{"type", "CANCEL"}, {"sessionId", "s"}})["type"], "ACK");
    EXPECT_EQ(receiver_->Ask({{"type", "HELLO"}})["type"], "WELCOME");
    EXPECT_EQ(receiver_->WaitFor("FINISHED")["reason"], "cancelled");
    EXPECT_EQ(receiver_->Ask({{"type", "HELLO"}})["type"], "WELCOME");
    ExpectCleanSession();
}

TEST_F(SilentResolverTest, AShutdownDoesNotWaitForTheLookup) {
    StartLookup();
    receiver_->Shutdown();
}

TEST_F(SilentResolverTest, ATerminationDoesNotWaitForTheLookup) {
    StartLookup();
    receiver_->Process().Terminate();
    receiver_->ExpectCleanEnd();
    EXPECT_NE(receiver_->LogText().find("HOST_STOPPED"), std::string::npos);
}

TEST_F(SilentResolverTest, AnEarlierLookupThatStillHangsDelaysNoEndEither) {
    ExpectOpenFails(kSilentUrl);
    ExpectOpenFails(kSilentUrl);
    receiver_->Process().Terminate();
    receiver_->ExpectCleanEnd();
}

// One try of a second: the lookup ends by itself while the receiver lives on.
TEST_F(SilentResolverTest, ALookupThatEndsAtLastLeavesNoThreadAndNoDescriptor) {
    WriteFileBytes(folder_.File("resolv.conf"),
                   "nameserver " + server_.Address() + "\noptions timeout:1 attempts:1\n");
    const long pid = static_cast<long>(receiver_->Process().ProcessId());
    ExpectCleanSession();  // what the libraries keep for good
#ifdef __SANITIZE_THREAD__
    const size_t idle = 2;  // the sanitizer has one of its own
#else
    const size_t idle = 1;
#endif
    const auto waitForThreads = [&](size_t count) {
        const uint64_t deadline = TickMs() + kPatienceMs;
        while (ThreadsOf(pid) != count && TickMs() < deadline) {
            receiver_->Ask({{"type", "HELLO"}});
        }
        EXPECT_EQ(ThreadsOf(pid), count);
    };
    waitForThreads(idle);
    const size_t descriptors = DescriptorsOf(pid).size();
    for (int i = 0; i < 5; ++i) ExpectOpenFails(kSilentUrl);
    EXPECT_GT(ThreadsOf(pid), idle);
    waitForThreads(idle);
    EXPECT_EQ(DescriptorsOf(pid).size(), descriptors);
}

}  // namespace receiver

// What a receiver does of its own accord while it listens. Everything is a rate over a window
// that is measured, not assumed: on a busy machine the rates fall, they never rise.
#include <chrono>
#include <cmath>
#include <fstream>

#include "platform/manual_reset_event.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr uint32_t kWindowMs = 2000;
constexpr size_t kPieceBytes = 4410;  // 25 ms of what is broadcast here: 40 pieces a second
constexpr double kPiecesPerSecond = 40;
constexpr double kRateOfPoll = 20;  // a session is looked at every 50 ms
constexpr double kRoom = 30;        // for what is now and then, and for what a library needs

double Seconds(std::chrono::steady_clock::duration time) {
    return std::chrono::duration<double>(time).count();
}

// Pieces of a WAV file that are handed out when they have been heard.
LiveBody PlayLive(const std::string& body, const ManualResetEvent& never) {
    return [&body, &never, at = size_t{0}, begin = std::chrono::steady_clock::now()]() mutable {
        const size_t early = 4 * kPieceBytes;  // for the receiver to know the format by
        const auto due =
            begin + std::chrono::microseconds(at <= early ? 0 : (at - early) * 25000 / kPieceBytes);
        const auto rest = std::chrono::duration_cast<std::chrono::milliseconds>(
            due - std::chrono::steady_clock::now());
        if (rest.count() > 0) never.Wait(static_cast<uint32_t>(rest.count()));
        const std::string piece = body.substr(std::min(at, body.size()), kPieceBytes);
        at += kPieceBytes;
        return piece;
    };
}

class FrugalityTest : public testing::Test {
protected:
    FrugalityTest()
        : body_(WavBytes(MakeMusic(1, 44100, 2, 60 * 44100))),
          callCount_(folder_.File("calls")),
          jingle_(folder_.File("jingle.wav")) {
        WriteFileBytes(callCount_, std::string(8, '\0'));
        WriteWavFile(jingle_, MakeMusic(2, 44100, 2, 10 * 44100));
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kWav);
        route.tuneIn = [this] { return PlayLive(body_, never_); };
        station_.Serve("/live", std::move(route));
        ReceiverDriver::Options options;
        options.launcher = {"/usr/bin/env", "LD_PRELOAD=" COUNTING_CALLS_LIBRARY,
                            "CALL_COUNT_FILE=" + callCount_,
                            // It must otherwise be the first library of all.
                            "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=1"};
        receiver_ = std::make_unique<ReceiverDriver>(options);
        receiver_->Introduce();
    }

    struct Rates {
        double wakeUps = 0;  // of all threads together
        double calls = 0;
    };
    Rates Measure() {
        const auto pid = static_cast<long>(receiver_->Process().ProcessId());
        const auto begin = std::chrono::steady_clock::now();
        const uint64_t wakeUps = VoluntarySwitchesOf(pid);
        const uint64_t calls = Calls();
        never_.Wait(kWindowMs);
        const auto wakeUpsNow = static_cast<double>(VoluntarySwitchesOf(pid) - wakeUps);
        const auto callsNow = static_cast<double>(Calls() - calls);
        const double seconds = Seconds(std::chrono::steady_clock::now() - begin);
        return {wakeUpsNow / seconds, callsNow / seconds};
    }
    uint64_t Calls() const {
        uint64_t calls = 0;
        std::ifstream(callCount_, std::ios::binary).read(reinterpret_cast<char*>(&calls), 8);
        return calls;
    }
    void Scan() {
        json prepare = PrepareCommand("s", station_.Url("/live"), {{"jingle", "start", jingle_}});
        prepare["report"] = {"cause"};
        ASSERT_EQ(receiver_->Ask(prepare)["type"], "ACK");
        receiver_->WaitFor("CONNECTED");
    }

    const std::string body_;
    const TempFolder folder_;
    const std::string callCount_;
    const std::string jingle_;
    const ManualResetEvent never_;
    HttpStation station_;
    std::unique_ptr<ReceiverDriver> receiver_;
};

}  // namespace

TEST_F(FrugalityTest, WithAClientAndNoSessionNothingHappens) {
    const uint64_t before = Calls();
    EXPECT_EQ(receiver_->Ask({{"type", "HELLO"}})["type"], "WELCOME");
    EXPECT_GE(Calls() - before, 3u);  // read, answered, logged: what is counted is counted
    const Rates rates = Measure();
    EXPECT_LT(rates.wakeUps, 10);
    EXPECT_LT(rates.calls, kRoom);
    receiver_->Shutdown();
}

// The filler wakes for a piece, the main thread for its poll, nobody else.
TEST_F(FrugalityTest, ASessionThatScansWakesForWhatArrivesAndForItsPoll) {
    Scan();
    const Rates rates = Measure();
    EXPECT_LT(rates.wakeUps, kPiecesPerSecond + kRateOfPoll + kRoom);
    receiver_->Ask({{"type", "CANCEL"}, {"sessionId", "s"}});
    receiver_->Shutdown();
}

// A wait and a read for a piece; three calls for a poll.
TEST_F(FrugalityTest, ASessionThatScansCallsTheSystemForWhatArrivesAndForItsPoll) {
    Scan();
    const Rates rates = Measure();
    EXPECT_GT(rates.calls, 0);
    EXPECT_LT(rates.calls, 2 * kPiecesPerSecond + 3 * kRateOfPoll + kRoom);
    receiver_->Ask({{"type", "CANCEL"}, {"sessionId", "s"}});
    receiver_->Shutdown();
}

}  // namespace receiver

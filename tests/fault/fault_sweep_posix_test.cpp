// One session after another in one receiver, in each of which one call of the system fails: the
// first of a thread, the second, and so on until the thread needs no more. Each session is over
// with what its own failure is called, or gets over it; what was heard of it is right; the session
// after it is as good as new; and nothing is left of either.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ostream>

#include "fault/failing_calls_posix.h"
#include "platform/clock.h"
#include "testing/process_probe_posix.h"
#include "testing/receiver_fixture.h"
#include "wire/messages.h"
#include "wire/pcm1_record.h"
#include "wire/rejections.h"

namespace receiver {

using namespace std::string_literals;
using nlohmann::json;

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr char kMain[] = "ReceiverHost";
constexpr char kSession[] = "session";
constexpr char kFiller[] = "filler";
constexpr char kConnect[] = "connect";

// Shorter than up to the outro's end: whether a reader at the live edge hears of it in time is
// chance.
constexpr uint32_t kProgrammeMs = 1200;
constexpr size_t kProgrammeSamples = 52920;

// How a session ended that FINISHED does not tell of.
constexpr char kUnseen[] = "over while the client had no connection";
constexpr char kGone[] = "gone with the receiver";
constexpr char kInterrupted[] = "eof, interrupted";

constexpr char kNoThread[] = "Resource temporarily unavailable";
constexpr char kNoMemory[] = "std::bad_alloc";
constexpr char kAudioFailed[] = "Audio connection or source ended with an error (pipe=";

using Outcomes = std::vector<std::string>;

// However far the session has come when its source fails.
Outcomes SourceFailures() {
    return {kFinishedSourceOpen,     kFinishedStoppedDetecting,   kFinishedStartNotFound,
            kFinishedPcmUnavailable, kFinishedStoppedBeforeReady, kInterrupted};
}

Outcomes With(Outcomes outcomes, const Outcomes& others) {
    outcomes.insert(outcomes.end(), others.begin(), others.end());
    return outcomes;
}

struct Sweep {
    const char* name;
    FaultKind kind;
    const char* thread;
    // From one call that fails to the next; 1 for all when FAULT_SWEEP is in the environment.
    int64_t step;
    // Besides "eof": FINISHED's message, a rejection's, or one of the above.
    Outcomes outcomes;
};

void PrintTo(const Sweep& sweep, std::ostream* stream) {
    *stream << sweep.name;
}

// FFTW, FFmpeg and the JSON library's destructors end the process in some places where they get
// no memory. Nothing of ours does.
bool IsLibrarysFault(const std::string& callers) {
    std::istringstream lines(callers);
    for (std::string object, offset, name; lines >> object >> offset >> name;) {
        for (const char* library :
             {"libfftw3", "libavformat", "libavcodec", "libavutil", "libswresample"}) {
            if (object.find(library) != object.npos) return true;
        }
        if (!object.ends_with("ReceiverHost")) continue;
        ChildProcess names("addr2line", {"-Cfie", object, offset});
        const std::string text = names.ReadAllOutput(TickMs() + kPatienceMs).value_or("");
        for (const char* destructor : {"::~basic_json()", "::json_value::destroy("}) {
            if (text.find(destructor) != text.npos) return true;
        }
    }
    return false;
}

// What FFmpeg reads of a stream to get to know it, it loses without a word when it gets no memory:
// the stream, or the reference, begins later.
bool LosesTheBeginning(const std::string& callers) {
    return callers.find("avformat_find_stream_info") != callers.npos;
}

class FaultSweepTest : public testing::TestWithParam<Sweep> {
protected:
    FaultSweepTest();

    void StartReceiver();
    // Returns how the session ended; what was heard of it is in taken_.
    std::string RunSession();
    void ExpectCleanSession();
    void ExpectNothingLeft();
    // The receiver has ended, as it may only within a library.
    void ExpectLibrarysFault();

private:
    bool Reconnect();
    void TakeAudio(const std::string& uri);
    // What a message says of the session's end; nothing while it goes on.
    std::optional<std::string> Heed(const json& message);

protected:
    TempFolder folder_;
    HttpStation station_;
    FailingCalls calls_;
    std::optional<ReceiverDriver> receiver_;
    size_t descriptors_ = 0;  // of the receiver between two sessions
    size_t threads_ = 0;      // likewise: one, and a sanitizer's own
    json prepare_;
    int sessions_ = 0;
    std::string sessionId_;  // of the last one
    std::vector<int16_t> programme_;
    std::vector<int16_t> taken_;
    bool hasAudio_ = false;      // its client has tried
    bool sourceFailed_ = false;  // as the audio's last record says
};

FaultSweepTest::FaultSweepTest() {
    const auto music = [](uint64_t seed, uint32_t ms) {
        return MakeMusic(seed, 22050, 1, FramesOf(22050, ms));
    };
    const Broadcast broadcast =
        MakeBroadcast(music(1, 100), music(2, 650), music(3, 350), music(4, 650), music(5, 200));
    StationRoute route;
    route.contentType = MimeTypeOf(AudioCoding::kWav);
    route.body = WavBytes(broadcast.audio);
    station_.Serve("/radio", route);
    WriteWavFile(folder_.File("start.wav"), broadcast.startJingle);
    WriteWavFile(folder_.File("end.wav"), broadcast.endJingle);
    prepare_ = PrepareCommand(
        "s", station_.Url("/radio"),
        {{"start", "start", folder_.File("start.wav")}, {"end", "end", folder_.File("end.wav")}},
        kProgrammeMs, 0);
}

void FaultSweepTest::StartReceiver() {
    receiver_.emplace(calls_.Options());
    receiver_->Introduce();
    ASSERT_EQ(RunSession(), "eof");
    ASSERT_EQ(taken_.size(), kProgrammeSamples);
    programme_ = taken_;
    ExpectCleanSession();
    const Patience patience("the last session's end");
    while (!receiver_->Ask({{"type", kCommandHello}})["active"].is_null()) patience.Check();
    const long pid = static_cast<long>(receiver_->Process().ProcessId());
    descriptors_ = DescriptorsOf(pid).size();
    threads_ = ThreadsOf(pid);
    if (!kSanitized) {
        ASSERT_EQ(threads_, 1u);
    }
}

bool FaultSweepTest::Reconnect() {
    constexpr uint32_t kStepMs = 100;
    receiver_->Disconnect();
    RawControlClient& client = receiver_->Control();
    const Patience patience("a receiver that listens or is gone");
    while (!client.Connect(receiver_->Uri(), kStepMs)) {
        if (receiver_->Process().WaitForExit(0)) return false;
        patience.Check();
    }
    client.SendFrame(R"({"requestId":"h","type":"HELLO","version":1})");
    return true;
}

void FaultSweepTest::TakeAudio(const std::string& uri) {
    if (std::exchange(hasAudio_, true)) return;  // READY and WELCOME may both tell
    RawAudioClient audio;
    // One that was cut off before the header comes again, as long as somebody listens.
    for (int i = 0; i < 3; ++i) {
        if (!audio.Connect(uri, 0)) break;
        if (!audio.ReadHeader()) continue;
        if (audio.ReadToEnd()) audio.Acknowledge();
        sourceFailed_ = audio.LastRecord().type == kPcm1SourceFailed;
        break;
    }
    taken_ = audio.Pcm();
}

std::optional<std::string> FaultSweepTest::Heed(const json& message) {
    const std::string type = message["type"];
    // An event of the session before, which had been seen to be over without it.
    if (message.value("sessionId", sessionId_) != sessionId_) return std::nullopt;
    if (type == kReplyRejected) {
        // Whatever was acknowledged before: a session that was rejected is not there.
        if (message["message"] != kRejectedActiveSession) {
            EXPECT_EQ(receiver_->Ask({{"type", kCommandHello}})["active"], nullptr);
        }
        return message["message"];
    }
    if (type == kReplyWelcome) {
        const json& active = message["active"];
        if (active.is_null() || active["state"] == kStateFinished) return kUnseen;
        if (active.contains("uri")) TakeAudio(active["uri"]);
    }
    if (type == kEventReady) TakeAudio(message["uri"]);
    if (type != kEventFinished) return std::nullopt;
    if (message["reason"] != kReasonEof) return message["message"];
    // A failure that comes while the last frames are waited for is told by the audio alone.
    return sourceFailed_ || message["program"]["reason"] == kEndInterrupted ? kInterrupted : "eof";
}

std::string FaultSweepTest::RunSession() {
    json prepare = prepare_;
    sessionId_ = "s" + std::to_string(++sessions_);
    prepare.update({{"requestId", "p" + sessionId_}, {"sessionId", sessionId_}, {"version", 1}});
    taken_.clear();
    hasAudio_ = false;
    sourceFailed_ = false;
    receiver_->Control().SendFrame(prepare.dump());
    const Patience patience("the end of a session");
    while (true) {
        patience.Check();
        if (const auto body = receiver_->Control().Receive()) {
            if (const auto outcome = Heed(json::parse(*body))) return *outcome;
        } else if (!Reconnect()) {
            return kGone;
        }
    }
}

void FaultSweepTest::ExpectCleanSession() {
    // A session is still active until the host has seen its end, and that the last fault has cost
    // the connection may be seen only now.
    const Patience patience("a session from beginning to end");
    std::string outcome = RunSession();
    while (outcome == kRejectedActiveSession || outcome == kUnseen) {
        patience.Check();
        outcome = RunSession();
    }
    EXPECT_EQ(outcome, "eof");
    EXPECT_TRUE(taken_ == programme_);
}

void FaultSweepTest::ExpectNothingLeft() {
    const long pid = static_cast<long>(receiver_->Process().ProcessId());
    const Patience patience("the last session's end");
    while (!receiver_->Ask({{"type", kCommandHello}})["active"].is_null()) patience.Check();
    EXPECT_EQ(DescriptorsOf(pid).size(), descriptors_);
    EXPECT_EQ(ThreadsOf(pid), threads_);
    for (const auto& entry :
         std::filesystem::directory_iterator("/tmp/corvadel-" + std::to_string(geteuid()))) {
        EXPECT_EQ(entry.path().string().find(receiver_->InstanceId()), std::string::npos) << entry;
    }
}

void FaultSweepTest::ExpectLibrarysFault() {
    receiver_->Forget();
    EXPECT_THAT(receiver_->Process().WaitForExit(TickMs() + kPatienceMs).value_or(-1),
                testing::AnyOf(128 + SIGABRT, 128 + SIGSEGV, 128 + SIGFPE, 1));
    EXPECT_TRUE(IsLibrarysFault(calls_.Callers()));
}

}  // namespace

TEST_P(FaultSweepTest, EachFaultEndsAsItIsCalledAndLeavesNothing) {
    const Sweep& sweep = GetParam();
    if (kSanitized && sweep.kind == FaultKind::kAllocation) {
        GTEST_SKIP() << "a sanitizer has an allocator of its own";
    }
    const int64_t step = std::getenv("FAULT_SWEEP") != nullptr ? 1 : sweep.step;
    const Outcomes expected = With(sweep.outcomes, {"eof"});
    StartReceiver();
    int64_t number = 1;
    while (!HasFailure()) {
        SCOPED_TRACE("call " + std::to_string(number));
        calls_.FailNext(sweep.kind, number, sweep.thread);
        const std::string outcome = RunSession();
        calls_.Stop();
        if (!calls_.HasHappened()) break;
        SCOPED_TRACE(calls_.Function() + "\n" + calls_.Callers());
        const bool losesBeginning =
            sweep.kind == FaultKind::kAllocation && LosesTheBeginning(calls_.Callers());
        if (!losesBeginning || outcome != kFinishedReferenceShort) {
            EXPECT_THAT(expected, testing::Contains(outcome));
        }
        // All of the programme, or its beginning.
        if (outcome == "eof") {
            EXPECT_EQ(taken_.size(), programme_.size());
        }
        ASSERT_LE(taken_.size(), programme_.size());
        if (!losesBeginning) {
            EXPECT_TRUE(std::equal(taken_.begin(), taken_.end(), programme_.begin()));
        }
        if (outcome == kGone) {
            ExpectLibrarysFault();
            StartReceiver();
        } else {
            ExpectCleanSession();
            ExpectNothingLeft();
        }
        number += step;
    }
    EXPECT_GT(number, 1) << "the thread has no such call";
}

INSTANTIATE_TEST_SUITE_P(
    Calls, FaultSweepTest,
    testing::Values(
        Sweep{"DescriptorsOfMain",
              FaultKind::kDescriptor,
              kMain,
              1,
              {"Could not create pipe cancellation event"}},
        Sweep{"DescriptorsOfTheSession",
              FaultKind::kDescriptor,
              kSession,
              1,
              {kFinishedReferenceOpen, kFinishedAudioListen, kAudioFailed + "4)"s}},
        Sweep{"DescriptorsOfTheConnection",
              FaultKind::kDescriptor,
              kConnect,
              1,
              {kFinishedSourceOpen}},
        Sweep{"ThreadsOfMain", FaultKind::kThread, kMain, 1, {kNoThread}},
        Sweep{"ThreadsOfTheSession", FaultKind::kThread, kSession, 1, {kNoThread}},
        Sweep{"ThreadsOfTheFiller", FaultKind::kThread, kFiller, 1, {kFinishedSourceOpen}},
        Sweep{"WritesOfMain", FaultKind::kWrite, kMain, 1, {kUnseen}},
        Sweep{"WritesOfTheSession", FaultKind::kWrite, kSession, 29, {kAudioFailed + "109)"s}},
        Sweep{"WritesOfTheConnection", FaultKind::kWrite, kConnect, 1, {kFinishedSourceOpen}},
        Sweep{"SocketsOfMain", FaultKind::kSocket, kMain, 1, {kUnseen}},
        Sweep{"SocketsOfTheSession",
              FaultKind::kSocket,
              kSession,
              1,
              {kFinishedReferenceOpen, kFinishedReferenceDecode, kFinishedAudioListen}},
        Sweep{"SocketsOfTheFiller", FaultKind::kSocket, kFiller, 1, SourceFailures()},
        Sweep{"SocketsOfTheConnection", FaultKind::kSocket, kConnect, 1, {kFinishedSourceOpen}},
        Sweep{"WaitsOfTheSession", FaultKind::kWait, kSession, 1, {kAudioFailed + "8)"s}},
        Sweep{"WaitsOfTheFiller", FaultKind::kWait, kFiller, 1, SourceFailures()},
        Sweep{"WaitsOfTheConnection", FaultKind::kWait, kConnect, 1, {kFinishedSourceOpen}},
        Sweep{"FilesOfMain", FaultKind::kFile, kMain, 1, {kRejectedReferenceMissing}},
        Sweep{"FilesOfTheSession",
              FaultKind::kFile,
              kSession,
              1,
              {kFinishedReferenceOpen, kFinishedAudioListen}},
        Sweep{"MemoryOfMain", FaultKind::kAllocation, kMain, 97, {kNoMemory, kUnseen, kGone}},
        Sweep{"MemoryOfTheSession",
              FaultKind::kAllocation,
              kSession,
              97,
              {kNoMemory, kFinishedReferenceOpen, kFinishedReferenceDecode, kFinishedAudioListen,
               kAudioFailed + "8)"s, kUnseen, kGone}},
        Sweep{"MemoryOfTheFiller", FaultKind::kAllocation, kFiller, 97,
              With(SourceFailures(), {kGone})},
        Sweep{"MemoryOfTheConnection",
              FaultKind::kAllocation,
              kConnect,
              37,
              {kFinishedSourceOpen, kGone}}),
    [](const auto& sweep) { return std::string(sweep.param.name); });

}  // namespace receiver

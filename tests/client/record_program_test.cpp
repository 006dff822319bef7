// ReceiverClient::RecordProgram against the built receiver: what reaches the sink, to the frame,
// and how it ends.
#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "client/station_fixture.h"
#include "receiver_client/receiver_client.h"
#include "receiver_client/receiver_process.h"
#include "testing/test_task.h"

namespace receiver {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLong(kPatienceMs);

class RecordProgramTest : public StationTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(
            process_.Start(ReceiverDriver::ProgramPath(), folder_.File("receiver.log"), kLong))
            << process_.LastError().text;
        ASSERT_TRUE(client_.Connect(process_.ControlUri(), kLong)) << client_.LastError().text;
    }

    // From the jingle to the end of the outro, at most a minute.
    PrepareRequest Request() const {
        PrepareRequest request;
        request.sessionId = "s";
        request.url = Url();
        request.references = {{"jingle", Role::kStart, Jingle()}, {"outro", Role::kEnd, Outro()}};
        request.program = ProgramLimits{60000, 0};
        return request;
    }
    // Without bounds, of a station that falls silent in the programme: it does not end by itself.
    PrepareRequest RequestThatStalls() {
        StationRoute route;
        route.stallAfter = BodyBytes(broadcast_.endJingleFrame);
        Serve(route);
        PrepareRequest request = Request();
        request.program.reset();
        return request;
    }
    ProgramSink Sink() {
        ProgramSink sink;
        sink.begin = [this](const PcmFormat& format) {
            format_ = format;
            return true;
        };
        sink.write = [this](std::span<const std::byte> pcm) {
            const size_t before = written_.size();
            written_.resize(before + pcm.size() / sizeof(int16_t));
            std::memcpy(written_.data() + before, pcm.data(), pcm.size());
            return true;
        };
        sink.event = [this](const Event& event) { events_.push_back(event.type); };
        return sink;
    }
    std::vector<int16_t> Broadcasted(uint64_t frames) const {
        return Slice(broadcast_.audio, broadcast_.startJingleFrame, static_cast<size_t>(frames))
            .samples;
    }
    void ExpectCleanEndOfReceiver() {
        EXPECT_TRUE(client_.Shutdown(kLong)) << client_.LastError().text;
        EXPECT_EQ(process_.WaitForExit(kLong), 0);
    }

    Cancellation cancellation_;
    ReceiverProcess process_{cancellation_};
    ReceiverClient client_{cancellation_};
    PcmFormat format_;
    std::vector<int16_t> written_;
    std::vector<std::string> events_;
};

}  // namespace

// The sink reads at the live edge, and so is sent more than the programme.
TEST_F(RecordProgramTest, WritesNotAFrameBeyondTheOutro) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    station_.Release(kPath, BodyBytes(broadcast_.endJingleFrame));
    ProgramSink sink = Sink();
    const auto write = sink.write;
    sink.write = [&](std::span<const std::byte> pcm) {
        station_.ReleaseAll(kPath);
        return write(pcm);
    };
    const ProgramResult result = client_.RecordProgram(Request(), sink);
    EXPECT_TRUE(result.complete) << result.error.text;
    EXPECT_EQ(result.error.kind, ErrorKind::kNone);
    EXPECT_EQ(format_.channels, 2);
    ASSERT_TRUE(result.program);
    EXPECT_EQ(result.program->reason, "outro");
    EXPECT_EQ(result.frames, result.program->endSample - result.program->startSample);
    EXPECT_EQ(written_, Broadcasted(result.frames));
    ASSERT_TRUE(result.session);
    EXPECT_EQ(result.session->reason, "eof");
    EXPECT_EQ(events_.front(), "CONNECTED");
    EXPECT_EQ(events_.back(), "FINISHED");
    ExpectCleanEndOfReceiver();
}

TEST_F(RecordProgramTest, WithoutBoundsWritesUpToTheSourcesEnd) {
    Serve();
    PrepareRequest request = Request();
    request.program.reset();
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_TRUE(result.complete) << result.error.text;
    EXPECT_FALSE(result.program);
    EXPECT_EQ(result.frames, broadcast_.audio.Frames() - broadcast_.startJingleFrame);
    EXPECT_EQ(written_, Broadcasted(result.frames));
}

TEST_F(RecordProgramTest, ARequestToCancelEndsItCleanly) {
    const PrepareRequest request = RequestThatStalls();
    ProgramSink sink = Sink();
    TestTask<void> canceller;
    const auto write = sink.write;
    sink.write = [&](std::span<const std::byte> pcm) {
        if (!canceller.IsRunning()) {
            canceller = TestTask<void>("the canceller", [this] { client_.RequestCancel("s"); });
        }
        return write(pcm);
    };
    const ProgramResult result = client_.RecordProgram(request, sink);
    canceller.Get();
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.error.kind, ErrorKind::kCancelled);
    ASSERT_TRUE(result.session);
    EXPECT_EQ(result.session->reason, "cancelled");
    EXPECT_GT(result.frames, 0u);
    EXPECT_EQ(written_, Broadcasted(result.frames));
    ExpectCleanEndOfReceiver();
}

TEST_F(RecordProgramTest, ACancelThatCameFirstLeavesNoAudio) {
    Serve();
    client_.RequestCancel("s");
    const ProgramResult result = client_.RecordProgram(Request(), Sink());
    EXPECT_EQ(result.error.kind, ErrorKind::kCancelled);
    ASSERT_TRUE(result.session);
    EXPECT_EQ(result.session->reason, "cancelled");
    ExpectCleanEndOfReceiver();
}

TEST_F(RecordProgramTest, ASinkThatWantsNoMoreEndsTheSession) {
    const PrepareRequest request = RequestThatStalls();
    ProgramSink sink = Sink();
    sink.write = [](std::span<const std::byte>) { return false; };
    const ProgramResult result = client_.RecordProgram(request, sink);
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.error.kind, ErrorKind::kCancelled);
    EXPECT_EQ(result.frames, 0u);
    ExpectCleanEndOfReceiver();
}

TEST_F(RecordProgramTest, WhatTheSinkThrowsArrivesAfterTheSession) {
    const PrepareRequest request = RequestThatStalls();
    ProgramSink sink = Sink();
    sink.write = [](std::span<const std::byte>) -> bool { throw std::length_error("full"); };
    EXPECT_THROW(client_.RecordProgram(request, sink), std::length_error);
    const auto welcome = client_.Hello(kLong);
    ASSERT_TRUE(welcome) << client_.LastError().text;
    if (welcome->active) {
        EXPECT_EQ(welcome->active->state, "FINISHED");
    }
    ExpectCleanEndOfReceiver();
}

TEST_F(RecordProgramTest, ASourceThatBreaksOffIsToldApartFromItsEnd) {
    StationRoute route;
    route.closeAfter = BodyBytes(broadcast_.endJingleFrame);
    Serve(route);
    PrepareRequest request = Request();
    request.program.reset();
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_FALSE(result.complete);
    EXPECT_TRUE(result.sourceFailed);
    EXPECT_EQ(result.error.kind, ErrorKind::kSessionFailed);
    EXPECT_GT(result.frames, 0u);
    EXPECT_EQ(written_, Broadcasted(result.frames));
}

TEST_F(RecordProgramTest, ThePreRollIsWrittenAndTheEndStaysExact) {
    Serve();
    PrepareRequest request = Request();
    request.program = ProgramLimits{2000, 0};
    request.preRollMs = 300;
    request.lookBackMs = 1000;
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_TRUE(result.complete) << result.error.text;
    ASSERT_TRUE(result.startSample && result.servedSample && result.session);
    EXPECT_EQ(*result.servedSample, *result.startSample - 13230);
    EXPECT_EQ(result.frames, 88200u + 13230u);
    EXPECT_EQ(written_, Slice(broadcast_.audio, *result.servedSample, result.frames).samples);
    EXPECT_EQ(result.session->servedSample, result.servedSample);
    EXPECT_TRUE(MissingAdditions(request, *result.session).empty());
}

TEST_F(RecordProgramTest, AProgrammeThatStartsNowNeedsNoReference) {
    Serve();
    PrepareRequest request = Request();
    request.references.clear();
    request.startNow = true;
    request.program = ProgramLimits{1000, 0};
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_TRUE(result.complete) << result.error.text;
    EXPECT_EQ(result.servedSample, 0u);
    EXPECT_EQ(written_, Slice(broadcast_.audio, 0, 44100).samples);
}

// The first connection breaks off within the programme; the next one begins anew.
TEST_F(RecordProgramTest, AConnectionThatComesBackIsToldAndLeavesNoTrace) {
    StationRoute route;
    route.framing = BodyFraming::kUntilClose;
    const std::string body = WavBytes(broadcast_.audio);
    const size_t broken = BodyBytes(broadcast_.programmeFrame);
    const auto listeners = std::make_shared<std::atomic<int>>(0);
    route.tuneIn = [=] {
        const size_t end = (*listeners)++ == 0 ? broken : body.size();
        return [=, at = size_t{0}]() mutable {
            std::string piece = body.substr(at, std::min<size_t>(end - at, 4096));
            at += piece.size();
            return piece;
        };
    };
    Serve(route);
    PrepareRequest request = Request();
    request.program = ProgramLimits{3000, 0};
    request.reconnectMs = 30000;
    request.report.cause = true;
    ProgramSink sink = Sink();
    std::optional<ResumedEvent> resumed;
    sink.event = [&](const Event& event) {
        if (const auto* told = std::get_if<ResumedEvent>(&event.body)) resumed = *told;
    };
    const ProgramResult result = client_.RecordProgram(request, sink);
    EXPECT_TRUE(result.complete) << result.error.text;
    EXPECT_EQ(written_, Broadcasted(3 * 44100));
    ASSERT_TRUE(resumed && resumed->cause && result.session);
    EXPECT_EQ(resumed->resumption.lostFrames, 0u);
    EXPECT_TRUE(resumed->resumption.exact);
    ASSERT_EQ(result.session->gaps.size(), 1u);
    EXPECT_EQ(result.session->gaps[0].sample, resumed->resumption.sample);
}

TEST_F(RecordProgramTest, WhatTheServerAnswersIsTheCause) {
    PrepareRequest request = Request();
    request.report.cause = true;
    request.http.userAgent = "Radio/1";
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_EQ(result.error.kind, ErrorKind::kSessionFailed);
    ASSERT_TRUE(result.session && result.session->cause);
    EXPECT_EQ(result.session->cause->kind, "http");
    EXPECT_EQ(result.session->cause->status, 404u);
    ASSERT_EQ(station_.RequestHeads(kPath).size(), 1u);
    EXPECT_NE(station_.RequestHeads(kPath)[0].find("User-Agent: Radio/1"), std::string::npos);
}

TEST_F(RecordProgramTest, ARefusalIsTold) {
    Serve();
    PrepareRequest request = Request();
    request.sessionId = "not an id";
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_EQ(result.error.kind, ErrorKind::kRejected);
    EXPECT_EQ(result.error.text, "Invalid sessionId");
}

TEST_F(RecordProgramTest, AnEndWithoutAStartIsTheSessionsFailure) {
    Serve();
    PrepareRequest request = Request();
    request.references.front().path = folder_.File("other.wav");
    WriteWavFile(request.references.front().path, MakeNoise(4711, 22050, 1, 22050));
    const ProgramResult result = client_.RecordProgram(request, Sink());
    EXPECT_EQ(result.error.kind, ErrorKind::kSessionFailed);
    EXPECT_EQ(result.error.text, "Start reference not found before source ended or failed");
    EXPECT_FALSE(result.format);
}

TEST_F(RecordProgramTest, ACancellationEndsItAtOnce) {
    StationRoute route;
    route.stallAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    ProgramSink sink = Sink();
    sink.event = [this](const Event&) { cancellation_.Cancel(); };
    const ProgramResult result = client_.RecordProgram(Request(), sink);
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.error.kind, ErrorKind::kCancelled);
}

class OwnReceiverTest : public StationTest {};

// SIGTERM or Ctrl+Break would do, too: the log's last record shows that it was not killed.
TEST_F(OwnReceiverTest, AReceiverThatWasJustShutDownEndsByItself) {
    const Cancellation cancellation;
    {
        ReceiverProcess process(cancellation);
        ASSERT_TRUE(process.Start(ReceiverDriver::ProgramPath(), folder_.File("own.log"), kLong));
        ReceiverClient client(cancellation);
        ASSERT_TRUE(client.Connect(process.ControlUri(), kLong));
        ASSERT_TRUE(client.Shutdown(kLong));
    }
    EXPECT_NE(LogText("own_").find("RECEIVER HOST_STOPPED"), std::string::npos);
}

TEST_F(OwnReceiverTest, SoDoesOneThatNobodyShutDown) {
    const Cancellation cancellation;
    ReceiverProcess process(cancellation);
    ASSERT_TRUE(process.Start(ReceiverDriver::ProgramPath(), folder_.File("own.log"), kLong));
    process = ReceiverProcess(cancellation);
    EXPECT_NE(LogText("own_").find("RECEIVER HOST_STOPPED"), std::string::npos);
}

}  // namespace receiver

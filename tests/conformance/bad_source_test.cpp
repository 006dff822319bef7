// Sources and references that fail: each has its one answer, and the receiver goes on.
#include <gmock/gmock.h>

#include "platform/clock.h"
#include "testing/receiver_fixture.h"

namespace receiver {

using nlohmann::json;

namespace {

class BadSourceTest : public ReceiverTest {
protected:
    BadSourceTest() : broadcast_(MakeBroadcast(44100, 2)) {}

    json Prepare(const std::string& url) {
        json prepare = PrepareCommand("s", url, SaveJingles(broadcast_), 60000, 0);
        prepare["ioTimeoutMs"] = 1000;
        return prepare;
    }

    // A source that cannot be opened: FINISHED, and nothing else.
    void ExpectOpenFails(const std::string& url, uint32_t ioTimeoutMs = 10000) {
        json prepare = Prepare(url);
        prepare["ioTimeoutMs"] = ioTimeoutMs;
        const Recording recording = Record(receiver_, prepare);
        ExpectSoundEvents(recording, true);
        EXPECT_THAT(recording.EventTypes(), testing::ElementsAre("FINISHED"));
        EXPECT_EQ(recording.finished["reason"], "error");
        EXPECT_EQ(recording.finished["message"], "Network source Open failed");
        EXPECT_EQ(recording.finished["buffer"]["error"], 30);
        EXPECT_EQ(recording.finished["buffer"]["finished"], true);
        ExpectCleanSession();
    }

    // A source that fails while it is scanned. The worker or the host's poll sees it first; the
    // poll also while a worker that has seen it is on its way to the end.
    void ExpectFailsWhileScanning(const json& prepare) {
        const Recording recording = Record(receiver_, prepare);
        ExpectSoundEvents(recording, true);
        EXPECT_EQ(recording.finished["reason"], "error");
        EXPECT_EQ(recording.finished["buffer"]["error"], 30);
        const std::vector<json> errors = recording.All("SOURCE_ERROR");
        const std::string seenByWorker = "Start reference not found before source ended or failed";
        if (errors.empty()) {
            EXPECT_EQ(recording.finished["message"], seenByWorker);
        } else {
            EXPECT_EQ(errors[0]["error"], 30);
            EXPECT_EQ(errors[0]["canDrain"], false);
            EXPECT_EQ(recording.finished["sourceError"], 30);
            EXPECT_THAT(recording.finished["message"],
                        testing::AnyOf("Session stopped during detection", seenByWorker));
        }
        ExpectCleanSession();
    }

    static bool IsStall(const json& error) { return error == 30 || error == 1460; }

    void ExpectReferenceFails(const std::string& bytes, const std::string& message) {
        const ReferenceFile bad{"bad", "start", folder_.File("bad.wav")};
        WriteFileBytes(bad.path, bytes);
        const Recording recording =
            Record(receiver_, PrepareCommand("s", station_.Url("/never-asked-for"), {bad}));
        EXPECT_THAT(recording.EventTypes(), testing::ElementsAre("FINISHED"));
        EXPECT_EQ(recording.finished["reason"], "error");
        EXPECT_EQ(recording.finished["message"], message);
        EXPECT_FALSE(recording.finished.contains("buffer"));
        EXPECT_EQ(station_.RequestCount(), 0u);
        ExpectCleanSession();
    }

    const Broadcast broadcast_;
};

}  // namespace

TEST_F(BadSourceTest, NobodyListensAtTheAddress) {
    ExpectOpenFails("http://127.0.0.1:1/");
}

TEST_F(BadSourceTest, TheUrlHasNoHost) {
    ExpectOpenFails("http://");
}

TEST_F(BadSourceTest, TheUrlHasAnImpossiblePort) {
    ExpectOpenFails("http://127.0.0.1:99999/");
}

TEST_F(BadSourceTest, TheStationAnswers404) {
    ExpectOpenFails(station_.Url("/nothing"));
}

TEST_F(BadSourceTest, TheStationAnswers500) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.status = 500;
    ExpectOpenFails(ServeAll(std::move(route)));
}

TEST_F(BadSourceTest, TheStationRedirectsInACircle) {
    StationRoute route;
    route.status = 302;
    route.redirectTo = kPath;
    ExpectOpenFails(ServeAll(std::move(route)));
}

TEST_F(BadSourceTest, ARedirectLeadsToALocalFile) {
    const ReferenceFile local = SaveReference("local", "start", broadcast_.audio);
    StationRoute route;
    route.status = 302;
    route.redirectTo = "file://" + local.path;
    ExpectOpenFails(ServeAll(std::move(route)));
}

TEST_F(BadSourceTest, TheBodyIsNoAudio) {
    StationRoute route;
    route.contentType = "text/html";
    for (int i = 0; i < 500; ++i) route.body += "<p>The stream has moved; please tune in later.\n";
    ExpectOpenFails(ServeAll(std::move(route)));
}

TEST_F(BadSourceTest, TheBodyIsEmpty) {
    ExpectOpenFails(ServeAll({}));
}

TEST_F(BadSourceTest, TheHeadNeverComes) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.headStallAfter = 0;
    const uint64_t before = TickMs();
    ExpectOpenFails(ServeAll(std::move(route)), /*ioTimeoutMs=*/300);
    EXPECT_GE(TickMs() - before, 300u);
}

TEST_F(BadSourceTest, TheHeadBreaksOff) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.headStallAfter = 20;
    ExpectOpenFails(ServeAll(std::move(route)), /*ioTimeoutMs=*/300);
}

TEST_F(BadSourceTest, TheBodyNeverComes) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.stallAfter = 0;
    ExpectOpenFails(ServeAll(std::move(route)), /*ioTimeoutMs=*/300);
}

TEST_F(BadSourceTest, TheConnectionIsResetBeforeTheBody) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.resetAfter = 0;
    ExpectOpenFails(ServeAll(std::move(route)));
}

TEST_F(BadSourceTest, TheStreamStallsBeforeTheStart) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.stallAfter = 44 + broadcast_.startJingleFrame * 4;
    const uint64_t before = TickMs();
    ExpectFailsWhileScanning(Prepare(ServeAll(std::move(route))));
    EXPECT_GE(TickMs() - before, 1000u);
}

TEST_F(BadSourceTest, TheConnectionIsResetBeforeTheStart) {
    StationRoute route = WavRoute(broadcast_.audio);
    route.resetAfter = 44 + broadcast_.startJingleFrame * 4;
    ExpectFailsWhileScanning(Prepare(ServeAll(std::move(route))));
}

TEST_F(BadSourceTest, TheStreamEndsBeforeTheStart) {
    const Recording recording = Record(
        receiver_,
        Prepare(ServeAll(WavRoute(Slice(broadcast_.audio, 0, broadcast_.startJingleFrame)))));
    ExpectSoundEvents(recording, true);
    EXPECT_THAT(recording.EventTypes(), testing::ElementsAre("CONNECTED", "FINISHED"));
    EXPECT_EQ(recording.finished["reason"], "error");
    EXPECT_EQ(recording.finished["message"],
              "Start reference not found before source ended or failed");
    EXPECT_EQ(recording.finished["buffer"]["error"], 0);
    ExpectCleanSession();
}

TEST_F(BadSourceTest, OnlyTheEndJingleIsHeard) {
    const TestPcm audio = Slice(broadcast_.audio, broadcast_.programmeFrame,
                                broadcast_.audio.Frames() - broadcast_.programmeFrame);
    const Recording recording = Record(receiver_, Prepare(ServeAll(WavRoute(audio))));
    ExpectSoundEvents(recording, true);
    EXPECT_GE(recording.All("DETECTED").size(), 1u);
    EXPECT_TRUE(recording.All("PROGRAM_END").empty());
    EXPECT_EQ(recording.finished["message"],
              "Start reference not found before source ended or failed");
}

TEST_F(BadSourceTest, TheStreamStallsWhileItIsServed) {
    StationRoute route = WavRoute(broadcast_.audio);
    const TestPcm decoded = Decode(route.body);
    route.stallAfter = 44 + broadcast_.endJingleFrame * 4;
    const Recording recording = Record(receiver_, Prepare(ServeAll(std::move(route))));
    ExpectSoundEvents(recording, true);
    // The network's time-out and the buffer's end in either order.
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_TRUE(recording.end.type == 2 || recording.end.type == 3);
    const uint64_t start = recording.ready["sourceSample"];
    EXPECT_TRUE(recording.pcm == decoded.Range(start, start + recording.pcm.size() / 2));
    EXPECT_TRUE(IsStall(recording.finished["buffer"]["error"]));
    // A worker that is done before the host looks again leaves nothing to report.
    for (const json& error : recording.All("SOURCE_ERROR")) {
        EXPECT_EQ(error["canDrain"], true);
        EXPECT_TRUE(IsStall(error["error"]));
    }
    ExpectCleanSession();
}

TEST_F(BadSourceTest, AReferenceIsEmpty) {
    ExpectReferenceFails("", "Reference Open failed");
}

TEST_F(BadSourceTest, AReferenceIsAText) {
    ExpectReferenceFails("It is a text, and a reference should be a recording.\n",
                         "Reference Open failed");
}

TEST_F(BadSourceTest, AReferenceHasNoSamples) {
    ExpectReferenceFails(WavBytes(MakeSilence(22050, 1, 0)), "Reference too short");
}

TEST_F(BadSourceTest, AReferenceIsOneSampleTooShort) {
    ExpectReferenceFails(WavBytes(MakeMusic(3, 22050, 1, 12325)), "Reference too short");
}

TEST_F(BadSourceTest, AReferenceOf12326SamplesIsLongEnough) {
    const ReferenceFile shortest = SaveReference("short", "start", MakeMusic(3, 22050, 1, 12326));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", "http://127.0.0.1:1/", {shortest}));
    EXPECT_EQ(recording.finished["message"], "Network source Open failed");
}

TEST_F(BadSourceTest, AReferenceIsDeletedWhileTheOneBeforeItIsLoaded) {
    const ReferenceFile slow = SaveReference("slow", "start", MakeSilence(8000, 1, 8000 * 300));
    const ReferenceFile gone = SaveReference("gone", "end", broadcast_.endJingle);
    ASSERT_EQ(receiver_.Ask(PrepareCommand("s", "http://127.0.0.1:1/", {slow, gone}))["type"],
              "ACK");
    std::filesystem::remove(gone.path);
    EXPECT_EQ(receiver_.WaitFor("FINISHED")["message"], "Reference Open failed");
    ExpectCleanSession();
}

}  // namespace receiver

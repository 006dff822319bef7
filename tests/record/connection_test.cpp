// What becomes of a recording when the station is lost, damaged, or not there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>

#include "platform/clock.h"
#include "record_run.h"
#include "testing/audio_encoder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

using testing::HasSubstr;

class ConnectionTest : public testing::Test, public RecordRun {
protected:
    // Each listener is served the next one of these, and the last one again and again.
    void ServeInTurn(const std::vector<std::string>& bodies) {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kMp3);
        route.framing = BodyFraming::kUntilClose;
        const auto listeners = std::make_shared<std::atomic<size_t>>(0);
        route.tuneIn = [bodies, listeners] {
            const std::string body = bodies[std::min((*listeners)++, bodies.size() - 1)];
            return [body, at = size_t{0}]() mutable {
                const std::string piece = body.substr(std::min(at, body.size()), 4096);
                at += piece.size();
                return piece;
            };
        };
        station_.Serve("/live", route);
    }
    void ServeWhole(const std::string& body) {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kMp3);
        route.body = body;
        station_.Serve("/live", route);
    }
    std::vector<std::string> ToTheOutro() const {
        return {"--end", folder_.File("outro.wav"), "-o", OutputFile()};
    }
    std::string Said() const { return testing::PrintToString(Errors()); }
};

}  // namespace

TEST_F(ConnectionTest, ALostConnectionLeavesNoTraceInTheRecording) {
    const std::string body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    ServeWhole(body);
    ASSERT_EQ(Execute(ToTheOutro()), 0) << Said();
    const std::vector<int16_t> unbroken = Recorded();
    std::filesystem::remove(OutputFile());
    std::filesystem::remove(OutputFile() + ".json");

    ServeInTurn({body.substr(0, body.size() * 6 / 10), body.substr(body.size() * 3 / 10)});
    ASSERT_EQ(Execute(ToTheOutro()), 0) << Said();
    EXPECT_EQ(Recorded(), unbroken);
    EXPECT_THAT(Said(), HasSubstr("Connection lost for "));
    EXPECT_THAT(Said(), HasSubstr(", nothing is missing"));
    ASSERT_EQ(Sidecar()["gaps"].size(), 1u);
    EXPECT_EQ(Sidecar()["gaps"][0]["lostFrames"], 0);
    EXPECT_EQ(Sidecar()["outcome"], "complete");
}

TEST_F(ConnectionTest, WithoutReconnectingALostConnectionIsTheEnd) {
    const std::string body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    ServeInTurn({body.substr(0, body.size() * 6 / 10), body.substr(body.size() * 3 / 10)});
    EXPECT_EQ(Execute({"--reconnect", "0", "--max", "1m", "-o", OutputFile()}), 4) << Said();
    EXPECT_EQ(Sidecar()["message"], "The connection to the station was broken off");
    EXPECT_EQ(station_.RequestCount(), 1u);
}

TEST_F(ConnectionTest, DamageInTheProgrammeHasAnExitCodeOfItsOwn) {
    std::string body = EncodeAudio(broadcast_.audio, AudioCoding::kMp3);
    body.erase(body.size() / 2, 3001);
    ServeWhole(body);
    EXPECT_EQ(Execute(ToTheOutro()), 7) << Said();
    EXPECT_EQ(Sidecar()["outcome"], "complete-with-gaps");
    EXPECT_EQ(Sidecar()["reason"], "outro");
    EXPECT_EQ(Sidecar()["damage"].size(), 1u);
    EXPECT_THAT(Said(), HasSubstr("Complete, but 1 place is damaged: ended by the end recording"));
}

TEST_F(ConnectionTest, AStationThatIsNotThereYetIsTriedAgain) {
    station_.Serve("/live", {.status = 503});
    ChildProcess process(RecordProgram(), Arguments(ToTheOutro()),
                         ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(WaitForErrorLine(process, "it is tried again for up to 5m"));
    Serve();
    const std::string further = process.ReadAllErrors(TickMs() + kRunPatienceMs).value_or("");
    EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 0) << further;
    EXPECT_EQ(Sidecar()["outcome"], "complete");
    // It has been said, and is still so.
    EXPECT_THAT(further, testing::Not(HasSubstr("Waiting for")));
}

TEST_F(ConnectionTest, NowNeedsNoStart) {
    Serve();
    ChildProcess process(RecordProgram(),
                         {station_.Url("/live"), "--now", "--max", "1s", "-o", OutputFile()},
                         ChildProcess::ErrorStream::kCapture);
    EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 0)
        << process.ReadAllErrors(TickMs()).value_or("");
    EXPECT_EQ(Sidecar()["startSample"], 0);
    EXPECT_EQ(Recorded(), Slice(broadcast_.audio, 0, 44100).samples);
}

TEST_F(ConnectionTest, WhatIsSaidToTheStationIsSentAndShownNowhere) {
    Serve();
    ASSERT_EQ(Execute({"--user-agent", "Radio/1", "--header", "X-Key: sesame", "--max", "1s", "-v",
                       "-o", OutputFile()}),
              0)
        << Said();
    const std::string head = station_.RequestHeads("/live").at(0);
    EXPECT_THAT(head, HasSubstr("User-Agent: Radio/1"));
    EXPECT_THAT(head, HasSubstr("X-Key: sesame"));
    EXPECT_EQ(Said().find("sesame"), std::string::npos);
    EXPECT_EQ(Sidecar().dump().find("sesame"), std::string::npos);
}

struct Failure {
    const char* name;
    StationRoute route;
    const char* text;
    size_t requests = 1;
};

class FailureTest : public ConnectionTest, public testing::WithParamInterface<Failure> {};

TEST_P(FailureTest, IsSaidInPlainWordsAtOnce) {
    station_.Serve("/live", GetParam().route);
    EXPECT_EQ(Execute({"-o", OutputFile()}), 4) << Said();
    EXPECT_THAT(Errors().back(), HasSubstr(GetParam().text));
    EXPECT_EQ(station_.RequestCount(), GetParam().requests);
}

INSTANTIATE_TEST_SUITE_P(
    Stations, FailureTest,
    testing::Values(
        Failure{"WantsAPassword", {.status = 401}, "asks for a user's name and password"},
        Failure{"LetsNobodyIn", {.status = 403}, "does not let this listener in"},
        Failure{"HasNoSuchPage", {.status = 404}, "There is nothing at this address"},
        Failure{"ServesAPage",
                {.contentType = "text/html", .body = "<html><body>Listen!</body></html>"},
                "it may be that of a web page",
                2}),  // it might have been a playlist
    [](const auto& failure) { return failure.param.name; });

}  // namespace receiver

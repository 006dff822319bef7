// A session that is brought to one of the stages of its life and held there.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/raw_audio_client.h"
#include "testing/receiver_fixture.h"

namespace receiver {

// Where a session can be held so that a stop meets it there.
enum class Stage {
    kLoadingReferences,
    kOpeningSource,
    kProbingSource,
    kScanning,
    kReady,
    kServing
};

class SessionLifeTest : public ReceiverTest {
protected:
    nlohmann::json Cancel(const std::string& sessionId = "s") {
        return receiver_.Ask({{"type", "CANCEL"}, {"sessionId", sessionId}});
    }

    // Starts session "s" and brings it to the stage, where it stays.
    void Reach(Stage stage) {
        const Broadcast broadcast = MakeBroadcast(44100, 2);
        StationRoute route = WavRoute(broadcast.audio);
        std::vector<ReferenceFile> references = SaveJingles(broadcast);
        if (stage == Stage::kLoadingReferences) {
            // Long enough to be in the works for seconds, and eight of them.
            const TestPcm hour = MakeSilence(8000, 1, 8000u * 3600);
            references.front() = SaveReference("long", "start", hour);
            for (int i = 0; i < 7; ++i) {
                references.push_back({"more" + std::to_string(i), "end", references[0].path});
            }
        }
        if (stage == Stage::kOpeningSource) route.headStallAfter = 0;
        if (stage == Stage::kProbingSource) route.stallAfter = 20;
        if (stage == Stage::kScanning) {
            // No jingle, and more than the 512 KiB that FFmpeg may want before it has opened it.
            route = WavRoute(MakeNoise(1006, 44100, 2, FramesOf(44100, 8000)));
            route.stallAfter = route.body.size() / 2;
        }
        const std::string url = stage >= Stage::kReady ? ServeHalf(route) : ServeAll(route);
        ASSERT_EQ(receiver_.Ask(PrepareCommand("s", url, references, 60000, 0))["type"], "ACK");
        if (stage == Stage::kOpeningSource || stage == Stage::kProbingSource ||
            stage == Stage::kScanning) {
            ASSERT_TRUE(station_.WaitForStall(kPath, kPatienceMs));
        }
        if (stage == Stage::kScanning) receiver_.WaitFor("CONNECTED");
        if (stage >= Stage::kReady) {
            const nlohmann::json ready = receiver_.WaitFor("READY");
            if (stage == Stage::kServing) {
                ASSERT_TRUE(audio_.Connect(ready["uri"]) && audio_.ReadHeader() &&
                            audio_.ReadRecord());
            }
        }
    }

    void ExpectCancelled(const nlohmann::json& finished) {
        EXPECT_EQ(finished["reason"], "cancelled");
        EXPECT_EQ(finished["state"], "FINISHED");
        EXPECT_EQ(finished["canDrain"], false);
        EXPECT_FALSE(finished.contains("uri"));
    }

    static const char* MessageOf(Stage stage) {
        switch (stage) {
            case Stage::kLoadingReferences:
                return "Cancelled during reference loading";
            case Stage::kOpeningSource:
            case Stage::kProbingSource:
                return "Network source Open failed";
            case Stage::kScanning:
                return "Session stopped during detection";
            case Stage::kReady:
            case Stage::kServing:
                return "Audio connection or source ended with an error (pipe=995)";
        }
        return "";
    }

    RawAudioClient audio_;
};

// Instantiated in session_life_test.cpp.
class EveryStageTest : public SessionLifeTest, public testing::WithParamInterface<Stage> {};

}  // namespace receiver

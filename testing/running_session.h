// A session on a scripted source, and the client of its audio pipe.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "testing/patience.h"
#include "testing/raw_audio_client.h"
#include "testing/scripted_source.h"
#include "testing/session_fixture.h"

namespace receiver {

class SessionTest : public testing::Test {
protected:
    static constexpr uint64_t kStart = 1000;  // where the start reference is heard
    static constexpr uint64_t kOneSecond = 44100;

    SessionTest() : program_(MakeRequest(Files())) {}

    static const ReferenceFiles& Files() {
        static const ReferenceFiles files;
        return files;
    }

    void Create() {
        session_ = std::make_unique<ReceiverSession>(program_, audioUri_, events_.Sink(),
                                                     source_.Factory());
    }
    void Start() {
        if (!session_) Create();
        session_->Start();
    }
    void AskForProgram(uint32_t maximumMs, uint32_t fadeMs) {
        program_.maximumMs = maximumMs;
        program_.fadeMs = fadeMs;
    }
    // Up to READY, with `frames` of the stream delivered after the start reference is heard.
    void StartAndReachReady(uint64_t frames) {
        source_.Match(MatchAt(kStartReference, kStart));
        source_.Deliver(frames);
        Start();
        ASSERT_FALSE(events_.WaitFor("READY").is_null());
    }
    // Takes the whole stream from the audio pipe and acknowledges it.
    void TakeStream() {
        ASSERT_TRUE(client_.Connect(audioUri_));
        ASSERT_TRUE(client_.ReadHeader());
        ASSERT_TRUE(client_.ReadToEnd());
        ASSERT_TRUE(client_.Acknowledge());
    }
    // Polls as the host does until the buffer has seen its source end or fail.
    void WaitUntilSourceEnded() {
        const Patience patience("the end of the source");
        while (session_->Snapshot()["buffer"]["finished"] == false) {
            patience.Check();
            events_.WaitForNews();
        }
        session_->PollSource();
    }
    nlohmann::json Finished() { return events_.WaitFor("FINISHED"); }
    std::string State() const { return session_->Snapshot()["state"]; }

    PreparedProgram program_;
    const std::string audioUri_ = UniqueAudioUri();
    EventLog events_;
    ScriptedSource source_;
    RawAudioClient client_;
    std::unique_ptr<ReceiverSession> session_;  // last: its threads use the others
};

}  // namespace receiver

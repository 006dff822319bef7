// A session's state without a session: a test reports what the host, the worker and the source
// would, and sees the events.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "session/session_state.h"
#include "testing/patience.h"

namespace receiver {

class SessionStateTest : public testing::Test {
protected:
    using State = SessionStatus::State;
    using Reason = SessionStatus::Reason;
    using Names = std::vector<std::string>;

    static constexpr uint64_t kStart = 1000;  // where the start reference is heard
    static constexpr uint64_t kSecond = 44100;
    static constexpr uint64_t kEndLength = 5000;  // of the end reference
    static constexpr uint32_t kSourceFailed = 30;

    // The places of the request's references, in its list.
    enum : uint64_t { kStartReference, kEndReference, kOtherReference };

    static DetectorMatch MatchAt(uint64_t referenceIndex, uint64_t sample) {
        return {.referenceIndex = referenceIndex,
                .sample = sample,
                .observedAfterSample = sample + 7,
                .ber = 0.0625};
    }

    static SessionState::Statistics Running(uint64_t nextSample) {
        SessionState::Statistics stats;
        stats.nextSample = nextSample;
        return stats;
    }

    static SessionState::Statistics Ended(uint64_t nextSample, uint32_t error = 0) {
        SessionState::Statistics stats = Running(nextSample);
        stats.finished = true;
        stats.error = error;
        return stats;
    }

    void Create(uint32_t maximumMs = 0, uint32_t fadeMs = 0) {
        PreparedProgram program;
        program.sessionId = "s-1";
        program.maximumMs = maximumMs;
        program.fadeMs = fadeMs;
        program.references = {{"the-start", ReferenceRole::kStart, ""},
                              {"the-end", ReferenceRole::kEnd, ""},
                              {"the-other", ReferenceRole::kOther, ""}};
        state_.emplace(program, "pcm-pipe://audio", [this](nlohmann::json event) {
            if (sinkFails_) throw std::runtime_error("no room");
            events_.push_back(std::move(event));
        });
        state_->SetReferenceLengths({100, kEndLength, 100});
    }
    void Connect() {
        if (!state_) Create();
        ASSERT_TRUE(state_->AnnounceConnected());
    }
    // READY, with the start reference heard at kStart.
    void ReachReady() {
        Connect();
        state_->NoteMatch(MatchAt(kStartReference, kStart));
        ASSERT_TRUE(state_->AnnounceReady(kStart, kStart));
    }
    void Finish(Reason reason = Reason::kEof, const std::string& message = "") {
        state_->Finish({reason, message}, std::nullopt);
    }

    std::vector<std::string> Types() const {
        std::vector<std::string> types;
        for (const nlohmann::json& event : events_) types.push_back(event["type"]);
        return types;
    }
    State Now() const { return state_->GetStanding().state; }

    std::vector<nlohmann::json> events_;
    bool sinkFails_ = false;
    std::optional<SessionState> state_;
};

}  // namespace receiver

#include "host/event_filter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace receiver {
namespace {

using State = SessionStatus::State;
using Reason = SessionStatus::Reason;
using Types = std::vector<std::string>;

const Types kAll = {"CONNECTED", "DETECTED", "PROGRAM_END", "READY", "SOURCE_ERROR", "FINISHED"};

// Those of all types that still reach the client.
Types Passing(const std::optional<SessionState::Standing>& session) {
    Types passing;
    for (const std::string& type : kAll) {
        if (!IsOvertaken(type, session)) passing.push_back(type);
    }
    return passing;
}

const Types kAllButReady = {"CONNECTED", "DETECTED", "PROGRAM_END", "SOURCE_ERROR", "FINISHED"};

}  // namespace

TEST(EventFilter, EverythingOfARunningSessionPasses) {
    for (const State state : {State::kPreparing, State::kScanning, State::kReady, State::kOpened}) {
        EXPECT_EQ(Passing({{state, {}}}), kAll) << static_cast<int>(state);
    }
}

TEST(EventFilter, EverythingOfASessionThatIsGonePasses) {
    EXPECT_EQ(Passing(std::nullopt), kAll);
}

TEST(EventFilter, AfterACancelOnlyFinishedPasses) {
    EXPECT_EQ(Passing({{State::kCancelling, {}}}), Types{"FINISHED"});
    EXPECT_EQ(Passing({{State::kFinished, Reason::kCancelled}}), Types{"FINISHED"});
}

TEST(EventFilter, AfterAFailedSourceReadyDoesNotPass) {
    EXPECT_EQ(Passing({{State::kStopping, {}}}), kAllButReady);
}

TEST(EventFilter, AfterAnEndOfItsOwnReadyDoesNotPass) {
    EXPECT_EQ(Passing({{State::kFinished, Reason::kEof}}), kAllButReady);
    EXPECT_EQ(Passing({{State::kFinished, Reason::kError}}), kAllButReady);
}

}  // namespace receiver

#include "receiver_record/control/cause_texts.h"

#include <gtest/gtest.h>

#include "wire/messages.h"

namespace receiver {
namespace {

Cause Of(const char* kind, const std::string& text = "why") {
    return {kind, text, {}, {}};
}

Cause Http(uint32_t status, const std::string& text) {
    return {kCauseHttp, text, status, {}};
}

std::string Said(const Cause& cause) {
    const Verdict verdict = DecideByCause(cause, {});
    EXPECT_EQ(verdict.exitCode, ExitCode::kSourceError) << cause.kind;
    return verdict.message;
}

}  // namespace

TEST(CauseTexts, TheServersAnswerIsSaidWithWhatItMeans) {
    EXPECT_EQ(Said(Http(401, "the server answers 401 Unauthorized")),
              "The station asks for a user's name and password "
              "(the server answers 401 Unauthorized)");
    EXPECT_EQ(Said(Http(403, "a")), "The station does not let this listener in (a)");
    EXPECT_EQ(Said(Http(404, "a")), "There is nothing at this address (a)");
    EXPECT_EQ(Said(Http(410, "a")), "There is nothing at this address (a)");
    EXPECT_EQ(Said(Http(429, "a")), "The station has been asked too often (a)");
    EXPECT_EQ(Said(Http(503, "a")), "The station is out of order, or full (a)");
    EXPECT_EQ(Said(Http(400, "a")), "The station refuses the request (a)");
}

TEST(CauseTexts, EveryOtherFailureOfTheSourceHasItsWords) {
    EXPECT_EQ(Said(Of(kCauseNameLookup)), "There is no such host, or no name server answers: why");
    EXPECT_EQ(Said(Of(kCauseRefused)), "No server answers at the station's host: why");
    EXPECT_EQ(Said(Of(kCauseUnreachable)), "There is no way to the station: why");
    EXPECT_EQ(Said(Of(kCauseTls)), "The station cannot be trusted: why");
    EXPECT_EQ(Said(Of(kCauseTimeout)).rfind("The station did not answer in time", 0), 0u);
    EXPECT_NE(Said(Of(kCauseNotAudio)).find("web page"), std::string::npos);
    EXPECT_EQ(Said(Of(kCauseReset)), "The connection to the station was broken off");
    EXPECT_EQ(Said(Of(kCauseOther)), "The source failed: why");
    EXPECT_EQ(Said(Of("of a later receiver")), "The source failed: why");
}

TEST(CauseTexts, AnUnfitRecordingIsNamedByItsFile) {
    Cause cause = Of(kCauseReference, "it is too short");
    cause.referenceId = "b";
    const Verdict verdict =
        DecideByCause(cause, {{"a", Role::kStart, "/x/a.wav"}, {"b", Role::kEnd, "/x/b.wav"}});
    EXPECT_EQ(verdict.exitCode, ExitCode::kUsage);
    EXPECT_EQ(verdict.message,
              "The recording to listen for /x/b.wav cannot be used: it is too short");
}

TEST(CauseTexts, WhatIsNotTheSourcesFaultHasAnotherExitCode) {
    EXPECT_EQ(DecideByCause(Of(kCauseMemory), {}).exitCode, ExitCode::kFailure);
    EXPECT_EQ(DecideByCause(Of(kCauseAudioPipe), {}).exitCode, ExitCode::kFailure);
    EXPECT_EQ(DecideByCause(Of(kCauseEnded), {}).exitCode, ExitCode::kStartNotFound);
}

}  // namespace receiver

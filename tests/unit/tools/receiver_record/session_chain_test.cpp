#include "receiver_record/session_chain.h"

#include <gtest/gtest.h>

#include "wire/messages.h"

namespace receiver {
namespace {

Match Heard(const std::string& id, Role role, uint64_t sample) {
    Match match;
    match.referenceId = id;
    match.role = role;
    match.sample = sample;
    match.observedAfterSample = sample + 100;
    return match;
}

// A recording that began at sample 10000, of which 5000 frames had come.
SessionRecord Before() {
    SessionRecord session;
    session.state = "RECORDING";
    session.startSample = 10000;
    session.servedSample = 9000;
    session.matches = {Heard("start", Role::kStart, 10000)};
    session.notes.Add(TitleEvent{.sample = 10000, .title = "News"});
    session.notes.Add(StationEvent{.sample = 0, .name = "Radio"});
    return session;
}

// What takes its place: its sample 3000 follows on frame 5000.
SessionRecord Newest() {
    SessionRecord session;
    session.state = "RECORDING";
    session.startSample = 0;
    session.servedSample = 0;
    session.audioUri = "pcm-pipe://second";
    session.matches = {Heard("end", Role::kEnd, 3500)};
    session.notes.Add(TitleEvent{.sample = 4000, .title = "Weather"});
    return session;
}

SourceResumption Joint(uint64_t lostFrames) {
    SourceResumption joint;
    joint.sample = 5000;
    joint.repeatedFrames = 3000;
    joint.lostFrames = lostFrames;
    joint.exact = true;
    return joint;
}

}  // namespace

TEST(SessionChain, OneSessionIsTheRecording) {
    const SessionChain chain;
    EXPECT_FALSE(chain.IsContinued());
    EXPECT_TRUE(chain.IsPlaced());
    const SessionRecord whole = chain.Whole(Newest());
    EXPECT_EQ(whole.matches.at(0).sample, 3500u);
    EXPECT_EQ(whole.startSample, 0u);
}

TEST(SessionChain, WhatTheSecondSessionHearsStandsInTheFirstOnesSamples) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    EXPECT_TRUE(chain.IsContinued());
    chain.Place(Joint(0), Newest());
    const SessionRecord whole = chain.Whole(Newest());
    EXPECT_EQ(whole.startSample, 10000u);
    EXPECT_EQ(whole.servedSample, 9000u);
    ASSERT_EQ(whole.matches.size(), 2u);
    EXPECT_EQ(whole.matches[1].sample, 9000u + 5000 + 500);
    EXPECT_EQ(whole.matches[1].observedAfterSample, 9000u + 5000 + 600);
    EXPECT_EQ(whole.notes.Station(), "Radio");
    EXPECT_EQ(whole.notes.TitleAt(9000 + 5000 + 999), "News");
    EXPECT_EQ(whole.notes.TitleAt(9000 + 5000 + 1000), "Weather");
}

TEST(SessionChain, SilenceMovesWhatFollowsIt) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    chain.Place(Joint(44100), Newest());
    EXPECT_EQ(chain.Whole(Newest()).matches.at(1).sample, 9000u + 5000 + 44100 + 500);
}

TEST(SessionChain, BeforeItsPlaceIsKnownTheSecondSessionHasHeardNothing) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    EXPECT_FALSE(chain.IsPlaced());
    EXPECT_EQ(chain.Whole(Newest()).matches.size(), 1u);
    Event event;
    event.body = DetectedEvent{Heard("end", Role::kEnd, 3500)};
    EXPECT_TRUE(std::holds_alternative<UnknownEvent>(chain.InRecording(event).body));
    chain.Place(Joint(0), Newest());
    EXPECT_EQ(std::get<DetectedEvent>(chain.InRecording(event).body).match.sample,
              9000u + 5000 + 500);
}

TEST(SessionChain, AThirdSessionGoesOnWhereTheSecondDid) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    chain.Place(Joint(0), Newest());
    chain.Continue(chain.Whole(Newest()), "it died again");
    EXPECT_FALSE(chain.IsPlaced());
    EXPECT_EQ(chain.Whole(Newest()).matches.size(), 2u);
    chain.Place(Joint(0), Newest());
    EXPECT_EQ(chain.Whole(Newest()).matches.size(), 3u);
}

TEST(SessionChain, AJointIsToldAndKeptInTheRecordingsSamples) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    const Event event = chain.Note(Joint(7), "second");
    EXPECT_EQ(event.type, kEventResumed);
    EXPECT_EQ(event.sessionId, "second");
    const auto& told = std::get<ResumedEvent>(event.body);
    EXPECT_EQ(told.resumption.sample, 14000u);
    EXPECT_EQ(told.resumption.lostFrames, 7u);
    EXPECT_EQ(told.cause.value().text, "it died");
    EXPECT_NE(event.raw.find("\"sample\":14000"), std::string::npos) << event.raw;
    ASSERT_EQ(chain.Whole(Newest()).notes.Resumptions().size(), 1u);
    EXPECT_EQ(chain.Whole(Newest()).notes.Resumptions()[0].sample, 14000u);
}

TEST(SessionChain, WhereNothingHadComeTheBeginningIsCalledDamaged) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    chain.PlaceFirst(Newest());
    const SessionRecord whole = chain.Whole(Newest());
    EXPECT_EQ(whole.matches.at(1).sample, 9000u + 3500);
    ASSERT_EQ(whole.notes.Damages().size(), 1u);
    EXPECT_EQ(whole.notes.Damages()[0].sample, 9000u);
}

TEST(SessionChain, UntilThereIsAudioAgainTheRecordingIsAsItWas) {
    SessionChain chain;
    chain.Continue(Before(), "it died");
    const SessionRecord whole = chain.Whole(SessionRecord{});
    EXPECT_EQ(whole.state, "RECORDING");
    EXPECT_TRUE(whole.connected);
    EXPECT_FALSE(whole.finished);
}

}  // namespace receiver

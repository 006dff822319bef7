// A source that is cut into pieces for several threads is heard as the detector hears it in
// one pass.
#include "receiver_scan/source/heard_audio.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <tuple>

#include "detect/detector_audio_file.h"
#include "detect/fingerprint_stream.h"
#include "receiver_scan/listen/matches.h"
#include "receiver_scan/source/opened_source.h"
#include "testing/audio_generator.h"
#include "testing/memory_audio_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

HeardAudio HearPcm(const TestPcm& pcm, size_t pieceWords, unsigned threads, int32_t endResult = 0) {
    MemoryAudioFile file(pcm);
    file.endResult = endResult;
    EXPECT_TRUE(file.Open("x"));
    HearingOptions options;
    options.pieceWords = pieceWords;
    options.threads = threads;
    return Hear(file, options);
}

ScanReference ReferenceOf(const TestPcm& mono22050) {
    ScanReference reference;
    reference.id = "r";
    FingerprintStream stream;
    stream.SetUp();
    stream.AppendWords(mono22050.samples.data(), mono22050.samples.size(), reference.print.words);
    reference.print.sampleCount = mono22050.samples.size();
    return reference;
}

// What CDetectorAudioFile tells when it is read as the receiver reads.
std::vector<DetectorMatch> DetectorMatches(const TestPcm& pcm,
                                           const std::vector<ScanReference>& references) {
    std::vector<DetectorMatch> matches;
    std::vector<ReferenceFingerprint> prints;
    for (const ScanReference& reference : references) prints.push_back(reference.print);
    CDetectorAudioFile detector(
        std::make_unique<MemoryAudioFile>(pcm), std::move(prints),
        [&](const DetectorMatch& match) { matches.push_back(match); }, kBerThreshold);
    EXPECT_TRUE(detector.Open("x"));
    std::vector<char> block(kDefaultBlockBytes);
    while (detector.Read(block.data(), kDefaultBlockBytes) > 0) {
    }
    return matches;
}

using Told = std::tuple<uint64_t, uint64_t, uint64_t, double>;
std::vector<Told> ToldOf(const std::vector<DetectorMatch>& matches) {
    std::vector<Told> told;
    for (const DetectorMatch& match : matches) {
        told.emplace_back(match.referenceIndex, match.sample, match.observedAfterSample, match.ber);
    }
    return told;
}

}  // namespace

TEST(HeardAudio, TheWordsOfPiecesOfAnySizeAreThoseOfOnePass) {
    const TestPcm pcm = MakeMusic(1, kRate, 2, 5 * kRate);
    const HeardAudio whole = HearPcm(pcm, 1000000, 1);
    ASSERT_EQ(whole.words.size(), 371u);
    for (const size_t pieceWords : {1u, 2u, 7u, 80u, 370u, 371u}) {
        for (const unsigned threads : {1u, 3u}) {
            const HeardAudio heard = HearPcm(pcm, pieceWords, threads);
            EXPECT_EQ(heard.words, whole.words) << pieceWords << " " << threads;
            EXPECT_EQ(heard.frameAt, whole.frameAt) << pieceWords << " " << threads;
            EXPECT_EQ(heard.observedAfter, whole.observedAfter) << pieceWords << " " << threads;
        }
    }
}

TEST(HeardAudio, MatchesAreThoseOfTheDetectorAlsoWhereAPieceEnds) {
    // A jingle at every offset to a border of pieces of 40 words, half a second.
    const TestPcm jingle = MakeMusic(2, kRate, 2, kRate);
    std::vector<TestPcm> parts;
    for (size_t i = 0; i < 9; ++i) {
        parts.push_back(MakeMusic(100 + i, kRate, 2, FramesOf(kRate, 700) + i * 2503));
        parts.push_back(jingle);
    }
    const TestPcm pcm = Concatenate(parts);
    const std::vector<ScanReference> references = {
        ReferenceOf(MakeMusic(2, kAnalysisRate, 1, kAnalysisRate)),
        ReferenceOf(MakeMusic(104, kAnalysisRate, 1, FramesOf(kAnalysisRate, 700)))};
    const std::vector<DetectorMatch> expected = DetectorMatches(pcm, references);
    ASSERT_GE(expected.size(), 10u);
    for (const size_t pieceWords : {1u, 40u, 41u, 2000u}) {
        const HeardAudio heard = HearPcm(pcm, pieceWords, 2);
        EXPECT_EQ(ToldOf(FindMatches(heard, references)), ToldOf(expected)) << pieceWords;
    }
}

TEST(HeardAudio, ACandidateAtTheEndIsToldUnlessTheSourceFailed) {
    const TestPcm pcm = Concatenate({MakeMusic(5, kRate, 2, kRate), MakeMusic(2, kRate, 2, kRate)});
    const std::vector<ScanReference> references = {
        ReferenceOf(MakeMusic(2, kAnalysisRate, 1, kAnalysisRate))};
    const HeardAudio ended = HearPcm(pcm, 50, 2);
    EXPECT_EQ(ended.end, HearingEnd::kSourceEnded);
    const std::vector<DetectorMatch> told = FindMatches(ended, references);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0].observedAfterSample, pcm.Frames());

    const HeardAudio failed = HearPcm(pcm, 50, 2, -1);
    EXPECT_EQ(failed.end, HearingEnd::kSourceFailed);
    EXPECT_EQ(failed.frames, pcm.Frames());
    EXPECT_TRUE(FindMatches(failed, references).empty());
}

TEST(HeardAudio, ItHearsNoMoreFramesThanItIsAskedTo) {
    MemoryAudioFile file(MakeMusic(1, kRate, 2, 2 * kRate));
    ASSERT_TRUE(file.Open("x"));
    HearingOptions options;
    options.maxFrames = kRate + 1;
    std::vector<uint64_t> progress;
    options.onProgress = [&](uint64_t frames) { progress.push_back(frames); };
    const HeardAudio heard = Hear(file, options);
    EXPECT_EQ(heard.frames, kRate + 1u);
    EXPECT_EQ(heard.end, HearingEnd::kStopped);
    ASSERT_EQ(progress.size(), 22u);  // blocks of 2048 frames
    EXPECT_EQ(progress.front(), 2048u);
    EXPECT_EQ(progress.back(), kRate + 1u);
}

TEST(HeardAudio, ItStopsWhenItIsToldTo) {
    MemoryAudioFile file(MakeMusic(1, kRate, 2, kRate));
    ASSERT_TRUE(file.Open("x"));
    HearingOptions options;
    int asked = 0;
    options.stopRequested = [&] { return ++asked == 3; };
    const HeardAudio heard = Hear(file, options);
    EXPECT_EQ(heard.end, HearingEnd::kStopped);
    EXPECT_EQ(heard.frames, 2 * 2048u);
}

TEST(HeardAudio, TheLevelOfEachWordIsThatOfItsTime) {
    const TestPcm pcm = Concatenate({MakeSilence(kRate, 1, kRate), MakeTone(kRate, 1, kRate, 1000),
                                     MakeSilence(kRate, 1, kRate)});
    const HeardAudio heard = HearPcm(pcm, 33, 2);
    ASSERT_EQ(heard.levels.size(), heard.words.size());
    EXPECT_EQ(heard.levels[40].peak, 0.0f);
    EXPECT_NEAR(heard.levels[120].peak, 0.5, 0.01);
    EXPECT_NEAR(heard.levels[120].rms, 0.5 / std::sqrt(2.0), 0.01);
    EXPECT_EQ(heard.levels[200].peak, 0.0f);
}

TEST(HeardAudio, WhatTheReceiverRefusesIsASourceError) {
    MemoryAudioFile file(MakeSilence(kRate, 9, 100));
    ASSERT_TRUE(file.Open("x"));
    EXPECT_THROW(Hear(file), SourceError);
}

TEST(HeardAudio, ASourceShorterThanAFrameHasNoWords) {
    const HeardAudio heard = HearPcm(MakeSilence(kRate, 1, 1000), 10, 2);
    EXPECT_EQ(heard.frames, 1000u);
    EXPECT_TRUE(heard.words.empty());
}

}  // namespace receiver

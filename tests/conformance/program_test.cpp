// Whole programs over HTTP, compared with the decoded stream sample by sample.
#include "testing/receiver_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace receiver {

using nlohmann::json;

namespace {

uint64_t Sample(const json& value) {
    return value.get<uint64_t>();
}

// The start and the end that the DETECTED events call for.
uint64_t FirstStartOf(const Recording& recording) {
    for (const json& match : recording.All("DETECTED")) {
        if (match["role"] == "start") return Sample(match["sample"]);
    }
    throw std::runtime_error("no start was detected");
}

uint64_t OutroEndOf(const Recording& recording, uint64_t start, uint64_t length) {
    uint64_t end = UINT64_MAX;
    for (const json& match : recording.All("DETECTED")) {
        if (match["role"] != "end" || Sample(match["sample"]) < start) continue;
        end = std::min(end, Sample(match["sample"]) + length);
    }
    return end;
}

uint64_t Distance(uint64_t a, uint64_t b) {
    return a > b ? a - b : b - a;
}

class ProgramTest : public ReceiverTest {
protected:
    // What was served is the decoded stream from start to end with the fade announced last.
    void ExpectExactProgram(const Recording& recording, const TestPcm& stream) {
        const json program = recording.finished.value("program", json());
        ASSERT_TRUE(program.is_object()) << recording.finished;
        EXPECT_EQ(program["startSample"], recording.ready["sourceSample"]);
        const std::vector<int16_t> expected =
            WithFade(stream.Range(Sample(program["startSample"]), Sample(program["endSample"])),
                     stream.channels, Sample(program["fadeFrames"]));
        ExpectSamples(recording, stream, expected);
        EXPECT_EQ(recording.finished["reason"], "eof");
        EXPECT_EQ(recording.end.type, 2u);
        EXPECT_EQ(recording.end.status, 0u);
    }

    void ExpectSamples(const Recording& recording, const TestPcm& stream,
                       const std::vector<int16_t>& expected) {
        ASSERT_EQ(recording.pcm.size(), expected.size());
        const auto different =
            std::mismatch(expected.begin(), expected.end(), recording.pcm.begin());
        EXPECT_EQ(different.first, expected.end())
            << "first difference at value " << different.first - expected.begin();
        const json& buffer = recording.finished["buffer"];
        EXPECT_EQ(Sample(buffer["blockAlign"]), 2u * static_cast<unsigned>(stream.channels));
        EXPECT_EQ(Sample(buffer["readBytes"]),
                  (Sample(buffer["readSample"]) - Sample(recording.ready["sourceSample"])) *
                      Sample(buffer["blockAlign"]));
        EXPECT_GE(Sample(buffer["readBytes"]), expected.size() * 2);
    }

    void ExpectHeader(const Recording& recording, int channels) {
        ASSERT_TRUE(recording.header.has_value());
        EXPECT_EQ(recording.header->magic, 0x314D4350u);
        EXPECT_EQ(recording.header->version, 1u);
        EXPECT_EQ(recording.header->headerBytes, 40u);
        EXPECT_EQ(recording.header->sampleRate, 44100u);
        EXPECT_EQ(recording.header->channels, channels);
        EXPECT_EQ(recording.header->bitsPerSample, 16u);
        EXPECT_EQ(recording.header->reserved, 0u);
        EXPECT_EQ(recording.header->lengthFrames, 0xFFFFFFFFFFFFFFFFu);
        EXPECT_NE(recording.header->streamToken, 0u);
    }
};

struct StreamCase {
    AudioCoding coding;
    int rate, channels;
    BodyFraming framing;
    size_t icyMetaInterval;
};

std::string NameOfCase(const testing::TestParamInfo<StreamCase>& info) {
    const StreamCase& stream = info.param;
    const char* framing = stream.framing == BodyFraming::kChunked         ? "Chunked"
                          : stream.framing == BodyFraming::kContentLength ? "WithLength"
                                                                          : "UntilClose";
    return std::string(NameOf(stream.coding)) + std::to_string(stream.rate) +
           (stream.channels == 1 ? "Mono" : "Stereo") + framing +
           (stream.icyMetaInterval != 0 ? "Icy" : "");
}

std::vector<StreamCase> AllStreamCases() {
    std::vector<StreamCase> cases;
    for (const AudioCoding coding : kAllAudioCodings) {
        for (const int rate : {22050, 32000, 44100, 48000}) {
            for (const int channels : {1, 2}) {
                if (coding == AudioCoding::kOggOpus && rate != 48000) continue;
                if (!IsLossless(coding) && rate == 22050) continue;
                // The ways to frame a body take turns.
                const auto framing = static_cast<BodyFraming>(cases.size() % 3);
                const size_t interval = coding == AudioCoding::kMp3 && channels == 2 ? 8000 : 0;
                cases.push_back({coding, rate, channels, framing, interval});
            }
        }
    }
    return cases;
}

class EveryStreamTest : public ProgramTest, public testing::WithParamInterface<StreamCase> {};

}  // namespace

TEST_P(EveryStreamTest, ServesTheDecodedStreamFromTheStartJingleToTheEndOfTheEndJingle) {
    const StreamCase& stream = GetParam();
    const Broadcast broadcast = MakeBroadcast(stream.rate, stream.channels);
    const std::vector<ReferenceFile> jingles = SaveJingles(broadcast);
    StationRoute route;
    route.contentType = MimeTypeOf(stream.coding);
    route.body = EncodeAudio(broadcast.audio, stream.coding);
    route.framing = stream.framing;
    route.icyMetaInterval = stream.icyMetaInterval;
    const TestPcm decoded = Decode(route.body);

    const Recording recording = Record(
        receiver_, PrepareCommand("s", ServeHalf(std::move(route)), jingles, 60000, 700), [this] {
            ReleaseRest();
            WaitUntilOutroIsKnown();
        });

    ExpectSoundEvents(recording, /*withProgram=*/true);
    ExpectHeader(recording, stream.channels);
    const uint64_t start = Sample(recording.ready["sourceSample"]);
    EXPECT_EQ(start, FirstStartOf(recording));
    const uint64_t codecDelay = IsLossless(stream.coding) ? 0 : 2 * 1152;
    EXPECT_LE(Distance(start, broadcast.SampleOf(broadcast.startJingleFrame)),
              kHopSamples + codecDelay);

    const std::vector<json> ends = recording.All("PROGRAM_END");
    ASSERT_GE(ends.size(), 2u);
    EXPECT_EQ(ends.front()["program"], (json{{"startSample", start},
                                             {"endSample", start + 60 * kStreamRate},
                                             {"sampleRate", 44100},
                                             {"fadeFrames", 700 * kStreamRate / 1000},
                                             {"reason", "maximum"}}));
    EXPECT_EQ(ends.back()["program"],
              (json{{"startSample", start},
                    {"endSample", OutroEndOf(recording, start, OutroLength(jingles[1].path))},
                    {"sampleRate", 44100},
                    {"fadeFrames", 0},
                    {"reason", "outro"}}));
    ExpectExactProgram(recording, decoded);
}

INSTANTIATE_TEST_SUITE_P(Streams, EveryStreamTest, testing::ValuesIn(AllStreamCases()), NameOfCase);

TEST_F(ProgramTest, EventsComeInTheOrderOfTheBroadcast) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    const Recording recording = Record(
        receiver_,
        PrepareCommand("s", ServeHalf(WavRoute(broadcast.audio)), SaveJingles(broadcast), 60000, 0),
        [this] { ReleaseRest(); });
    std::vector<std::string> types = recording.EventTypes();
    // A jingle may match at a few neighbouring positions; the end then stays.
    types.erase(std::unique(types.begin(), types.end()), types.end());
    EXPECT_THAT(types, testing::ElementsAre("CONNECTED", "DETECTED", "PROGRAM_END", "READY",
                                            "DETECTED", "PROGRAM_END", "FINISHED"));
}

TEST_F(ProgramTest, AReaderAtTheLiveEdgeGetsWhatHadPassedWhenTheEndWasFound) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    const Recording recording =
        Record(receiver_,
               PrepareCommand("s", ServeHalf(std::move(route)), SaveJingles(broadcast), 60000, 0),
               [this] { ReleaseRest(); });
    ExpectSoundEvents(recording, true);
    EXPECT_EQ(recording.finished["reason"], "eof");
    const uint64_t start = Sample(recording.ready["sourceSample"]);
    const uint64_t served = start + recording.pcm.size() / 2;
    EXPECT_GE(served, Sample(recording.finished["program"]["endSample"]));
    for (const json& match : recording.All("DETECTED")) {
        if (match["role"] != "end") continue;
        EXPECT_LE(served, Sample(match["observedAfterSample"]));
        break;
    }
    EXPECT_TRUE(recording.pcm == decoded.Range(start, served));
}

TEST_F(ProgramTest, TheMaximumEndsTheProgramWithTheFadeToTheLastBit) {
    for (const int channels : {1, 2}) {
        const Broadcast broadcast = MakeBroadcast(44100, channels);
        StationRoute route = WavRoute(broadcast.audio);
        const TestPcm decoded = Decode(route.body);
        const Recording recording =
            Record(receiver_,
                   PrepareCommand("s", ServeAll(std::move(route)),
                                  {SaveReference("a", "start", broadcast.startJingle)}, 2000, 777));
        ExpectSoundEvents(recording, true);
        ASSERT_EQ(recording.All("PROGRAM_END").size(), 1u);
        const uint64_t start = Sample(recording.ready["sourceSample"]);
        EXPECT_EQ(recording.finished["program"],
                  (json{{"startSample", start},
                        {"endSample", start + 88200},
                        {"sampleRate", 44100},
                        {"fadeFrames", 34265},  // 777 * 44.1, without its fraction
                        {"reason", "maximum"}}));
        ExpectExactProgram(recording, decoded);
    }
}

TEST_F(ProgramTest, AFadeIsAtMostAsLongAsTheProgram) {
    const Broadcast broadcast = MakeBroadcast(44100, 1);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    const Recording recording =
        Record(receiver_,
               PrepareCommand("s", ServeAll(std::move(route)),
                              {SaveReference("a", "start", broadcast.startJingle)}, 1000, 3600000));
    EXPECT_EQ(recording.finished["program"]["fadeFrames"], 44100);
    ExpectExactProgram(recording, decoded);
    EXPECT_EQ(recording.pcm.size(), 44100u);
    EXPECT_EQ(recording.pcm.back(), 0);
}

TEST_F(ProgramTest, ALimitOfAnHourIsCountedInSixtyFourBits) {
    const Broadcast broadcast = MakeBroadcast(44100, 1);
    const Recording recording = Record(receiver_,
                                       PrepareCommand("s", ServeHalf(WavRoute(broadcast.audio)),
                                                      SaveJingles(broadcast), 3600000, 3600000),
                                       [this] { ReleaseRest(); });
    const json first = recording.All("PROGRAM_END").front()["program"];
    EXPECT_EQ(Sample(first["endSample"]) - Sample(first["startSample"]), 3600u * 44100u);
    EXPECT_EQ(first["fadeFrames"], 3600u * 44100u);
}

TEST_F(ProgramTest, ASourceThatEndsFirstEndsTheProgramWithAFade) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(Slice(broadcast.audio, 0, broadcast.endJingleFrame));
    const TestPcm decoded = Decode(route.body);
    const Recording recording =
        Record(receiver_,
               PrepareCommand("s", ServeAll(std::move(route)), SaveJingles(broadcast), 60000, 500),
               [this] { WaitUntilSourceFinished(); });
    ExpectSoundEvents(recording, true);
    const uint64_t start = Sample(recording.ready["sourceSample"]);
    EXPECT_EQ(recording.finished["program"], (json{{"startSample", start},
                                                   {"endSample", decoded.Frames()},
                                                   {"sampleRate", 44100},
                                                   {"fadeFrames", 22050},
                                                   {"reason", "source_ended"}}));
    EXPECT_TRUE(recording.All("SOURCE_ERROR").empty());
    ExpectExactProgram(recording, decoded);
}

TEST_F(ProgramTest, ASourceThatBreaksOffAfterReadyIsDrainedToItsLastSample) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    route.resetAfter = 44 + broadcast.endJingleFrame * 4;
    const Recording recording = [&] {
        const json prepare =
            PrepareCommand("s", ServeHalf(std::move(route)), SaveJingles(broadcast), 60000, 500);
        return Record(receiver_, prepare, [&] {
            ReleaseRest();
            WaitUntilSourceErrorIsKnown();
        });
    }();
    ExpectSoundEvents(recording, true);
    const std::vector<json> errors = recording.All("SOURCE_ERROR");
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0]["error"], 30);
    EXPECT_EQ(errors[0]["canDrain"], true);
    EXPECT_EQ(errors[0]["buffer"]["finished"], true);
    EXPECT_EQ(errors[0]["sourceEndSample"], errors[0]["buffer"]["nextSample"]);

    const json& program = recording.finished["program"];
    EXPECT_EQ(program["reason"], "interrupted");
    EXPECT_EQ(program["endSample"], errors[0]["sourceEndSample"]);
    EXPECT_EQ(program["fadeFrames"], 22050);
    EXPECT_EQ(recording.finished["sourceError"], 30);
    EXPECT_EQ(recording.finished["sourceEndSample"], errors[0]["sourceEndSample"]);
    EXPECT_EQ(recording.finished["buffer"]["error"], 30);
    ExpectExactProgram(recording, decoded);
    ExpectCleanSession();
}

TEST_F(ProgramTest, WithoutBoundsTheStreamIsServedToItsEnd) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    const Recording recording =
        Record(receiver_, PrepareCommand("s", ServeAll(std::move(route)), SaveJingles(broadcast)));
    ExpectSoundEvents(recording, /*withProgram=*/false);
    EXPECT_EQ(recording.finished["reason"], "eof");
    EXPECT_EQ(recording.end.type, 2u);
    ExpectHeader(recording, 2);
    ExpectSamples(recording, decoded,
                  decoded.Range(Sample(recording.ready["sourceSample"]), decoded.Frames()));
    const json& buffer = recording.finished["buffer"];
    EXPECT_EQ(buffer["finished"], true);
    EXPECT_EQ(buffer["blocks"], 0);
    EXPECT_EQ(buffer["availableBytes"], 0);
    EXPECT_EQ(buffer["nextSample"], decoded.Frames());
}

TEST_F(ProgramTest, WithoutBoundsABrokenSourceEndsTheStreamWithTheFailedRecord) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    route.resetAfter = 44 + broadcast.endJingleFrame * 4;
    const Recording recording =
        Record(receiver_, PrepareCommand("s", ServeHalf(std::move(route)), SaveJingles(broadcast)),
               [this] {
                   ReleaseRest();
                   WaitUntilSourceErrorIsKnown();
               });
    ExpectSoundEvents(recording, /*withProgram=*/false);
    EXPECT_EQ(recording.end.type, 3u);
    EXPECT_EQ(recording.end.status, 30u);
    EXPECT_EQ(recording.finished["reason"], "error");
    EXPECT_EQ(recording.finished["message"],
              "Audio connection or source ended with an error (pipe=0)");
    EXPECT_EQ(recording.finished["sourceError"], 30);
    ExpectSamples(recording, decoded,
                  decoded.Range(Sample(recording.ready["sourceSample"]),
                                Sample(recording.finished["buffer"]["nextSample"])));
    ExpectCleanSession();
}

TEST_F(ProgramTest, AnEndJingleBeforeTheStartDoesNotEndTheProgram) {
    const Broadcast first = MakeBroadcast(44100, 1);
    const TestPcm audio = Concatenate({first.endJingle, first.audio});
    StationRoute route = WavRoute(audio);
    const TestPcm decoded = Decode(route.body);
    const std::vector<ReferenceFile> jingles = SaveJingles(first);
    const Recording recording =
        Record(receiver_, PrepareCommand("s", ServeAll(std::move(route)), jingles, 60000, 0),
               [this] { WaitUntilOutroIsKnown(); });
    ExpectSoundEvents(recording, true);
    EXPECT_EQ(recording.All("DETECTED").front()["role"], "end");
    EXPECT_LT(recording.All("DETECTED").front()["sample"], recording.ready["sourceSample"]);
    EXPECT_EQ(recording.finished["program"]["endSample"],
              OutroEndOf(recording, Sample(recording.ready["sourceSample"]),
                         OutroLength(jingles[1].path)));
    ExpectExactProgram(recording, decoded);
}

TEST_F(ProgramTest, OtherReferencesAreReportedAndChangeNothing) {
    const Broadcast broadcast = MakeBroadcast(44100, 1);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    const std::vector<ReferenceFile> references = {
        SaveReference("noise-like", "other", Slice(broadcast.audio, 4000, 40000)),
        SaveReference("s2", "start", broadcast.startJingle),
        SaveReference("o2", "other", broadcast.endJingle)};
    const Recording recording =
        Record(receiver_, PrepareCommand("s", ServeAll(std::move(route)), references, 5000, 100));
    ExpectSoundEvents(recording, true);
    std::vector<std::string> ids;
    for (const json& match : recording.finished["matches"]) {
        if (ids.empty() || ids.back() != match["referenceId"]) ids.push_back(match["referenceId"]);
    }
    EXPECT_THAT(ids, testing::Contains("noise-like"));
    EXPECT_EQ(recording.finished["program"]["reason"], "maximum");
    ExpectExactProgram(recording, decoded);
}

TEST_F(ProgramTest, EveryBlockSizeServesTheSameProgram) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    const std::string url = ServeAll(std::move(route));
    std::vector<int16_t> first;
    for (const int blockBytes : {4, 4097, 1048576}) {
        SCOPED_TRACE(blockBytes);
        json prepare = PrepareCommand("s", url, SaveJingles(broadcast), 60000, 0);
        prepare["blockBytes"] = blockBytes;
        const Recording recording = Record(receiver_, prepare, [this] { WaitUntilOutroIsKnown(); });
        ExpectSoundEvents(recording, true);
        ExpectExactProgram(recording, decoded);
        if (first.empty()) first = recording.pcm;
        EXPECT_TRUE(recording.pcm == first);
    }
}

TEST_F(ProgramTest, ARedirectedStreamIsFollowed) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    ServeAll(std::move(route));
    for (const int status : {301, 302, 303, 307, 308}) {
        SCOPED_TRACE(status);
        StationRoute redirect;
        redirect.status = status;
        redirect.redirectTo = status == 302 ? station_.Url(kPath) : kPath;
        station_.Serve("/moved", redirect);
        const Recording recording =
            Record(receiver_,
                   PrepareCommand("s", station_.Url("/moved"), SaveJingles(broadcast), 60000, 0));
        ExpectExactProgram(recording, decoded);
    }
}

TEST_F(ProgramTest, TheStartIsFoundInThirtyTwoReferences) {
    const Broadcast broadcast = MakeBroadcast(44100, 1);
    StationRoute route = WavRoute(broadcast.audio);
    const TestPcm decoded = Decode(route.body);
    std::vector<ReferenceFile> references;
    for (int i = 0; i < 31; ++i) {
        references.push_back(
            SaveReference("other" + std::to_string(i), "start",
                          MakeMusic(5000u + static_cast<unsigned>(i), 22050, 1, 22050)));
    }
    references.push_back(SaveReference("right", "start", broadcast.startJingle));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", ServeAll(std::move(route)), references, 2000, 0));
    EXPECT_EQ(recording.All("DETECTED").front()["referenceId"], "right");
    ExpectExactProgram(recording, decoded);
}

}  // namespace receiver

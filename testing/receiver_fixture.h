// A receiver with an introduced client, and a station for it to listen to.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/audio_encoder.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/patience.h"
#include "testing/receiver_driver.h"
#include "testing/recording.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

class ReceiverTest : public testing::Test {
protected:
    void SetUp() override { receiver_.Introduce(); }

    ReferenceFile SaveReference(const std::string& id, const std::string& role,
                                const TestPcm& pcm) {
        ReferenceFile reference{id, role, folder_.File(id + ".wav")};
        WriteWavFile(reference.path, pcm);
        return reference;
    }
    // "start" and "end", the two jingles.
    std::vector<ReferenceFile> SaveJingles(const Broadcast& broadcast) {
        return {SaveReference("start", "start", broadcast.startJingle),
                SaveReference("end", "end", broadcast.endJingle)};
    }

    // Puts the body on the air at /radio, up to the middle of the programme; the rest comes
    // with ReleaseRest.
    std::string ServeHalf(StationRoute route) {
        const size_t half = route.body.size() / 2;
        route.gated = true;
        station_.Serve(kPath, std::move(route));
        station_.Release(kPath, half);
        return station_.Url(kPath);
    }
    void ReleaseRest() { station_.ReleaseAll(kPath); }
    std::string ServeAll(StationRoute route) {
        station_.Serve(kPath, std::move(route));
        return station_.Url(kPath);
    }
    // A WAV file: its bytes lie where the samples do.
    static StationRoute WavRoute(const TestPcm& pcm) {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kWav);
        route.body = WavBytes(pcm);
        return route;
    }

    TestPcm Decode(const std::string& body) {
        const std::string path = folder_.File("stream");
        WriteFileBytes(path, body);
        return DecodeStream(path);
    }

    // The session's snapshot, as HELLO shows it.
    nlohmann::json Snapshot() { return receiver_.Ask({{"type", "HELLO"}})["active"]; }
    // Asks until the snapshot is as wanted: for changes that no event tells.
    void WaitForSnapshot(const std::string& what,
                         const std::function<bool(const nlohmann::json&)>& isAsWanted) {
        const Patience patience(what);
        while (!isAsWanted(Snapshot())) patience.Check();
    }
    // Until the receiver has taken in all that the source sends.
    void WaitUntilSourceFinished() {
        WaitForSnapshot("the end of the source", [](const auto& snapshot) {
            return snapshot.at("buffer").at("finished").template get<bool>();
        });
    }
    // A reader that is done before the host looks again would leave the error unreported.
    void WaitUntilSourceErrorIsKnown() {
        WaitForSnapshot("the source's error",
                        [](const auto& snapshot) { return snapshot.contains("sourceError"); });
    }
    // A reader at the live edge has passed the end of the outro when its match is reported;
    // one that comes after that gets not a sample more than the program.
    void WaitUntilOutroIsKnown() {
        WaitForSnapshot("the outro", [](const auto& snapshot) {
            return snapshot.contains("program") &&
                   snapshot["program"].value("reason", nlohmann::json()) == "outro";
        });
    }
    void WaitUntilNoSession() {
        WaitForSnapshot("the end of the session",
                        [](const auto& snapshot) { return snapshot.is_null(); });
    }

    // A short session from start to end, to show that the receiver is as good as new.
    void ExpectCleanSession(const std::string& sessionId = "clean") {
        SCOPED_TRACE("the session afterwards");
        const Broadcast broadcast = MakeBroadcast(22050, 1);
        StationRoute route = WavRoute(broadcast.audio);
        station_.Serve("/clean", route);
        const Recording recording = Record(
            receiver_,
            PrepareCommand(sessionId, station_.Url("/clean"), SaveJingles(broadcast), 60000, 0));
        ExpectSoundEvents(recording, /*withProgram=*/true);
        EXPECT_EQ(recording.finished["reason"], "eof");
        EXPECT_EQ(recording.finished["program"]["reason"], "outro");
        const TestPcm stream = Decode(route.body);
        EXPECT_TRUE(recording.pcm == stream.Range(recording.ready["sourceSample"],
                                                  recording.finished["program"]["endSample"]));
    }

    static constexpr char kPath[] = "/radio";

    TempFolder folder_;
    HttpStation station_;
    ReceiverDriver receiver_;
};

}  // namespace receiver

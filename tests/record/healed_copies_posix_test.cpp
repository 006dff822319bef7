// Two recordings of one broadcast, each of which lacks something else, put together by
// receiver-plan.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/executable_path.h"
#include "record_run.h"
#include "testing/audio_encoder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class HealedCopiesTest : public testing::Test, public RecordRun {
protected:
    HealedCopiesTest() : stream_(EncodeAudio(broadcast_.audio, AudioCoding::kMp3)) {
        ServeStream(stream_);
        EXPECT_EQ(ExecuteToTheOutro(), 0);
        unbroken_ = Recorded();
    }

    void ServeStream(const std::string& body) {
        StationRoute route;
        route.contentType = MimeTypeOf(AudioCoding::kMp3);
        route.body = body;
        station_.Serve("/live", route);
    }
    int ExecuteToTheOutro() {
        return Execute({"--end", folder_.File("outro.wav"), "--force", "-o", OutputFile()});
    }
    std::string Percent(size_t from, size_t to) const {
        return stream_.substr(stream_.size() * from / 100, stream_.size() * (to - from) / 100);
    }
    // The recording of a station that sends this; its sidecar says that something is lacking.
    std::string CopyOf(const std::string& name, const std::string& body) {
        ServeStream(body);
        EXPECT_EQ(ExecuteToTheOutro(), 7) << testing::PrintToString(Errors());
        EXPECT_NE(Recorded(), unbroken_);
        fs::rename(OutputFile(), folder_.File(name));
        fs::rename(OutputFile() + ".json", folder_.File(name + ".json"));
        return folder_.File(name);
    }
    // Puts them together in the place of a recording.
    void Heal(const std::string& a, const std::string& b) {
        ChildProcess process((ExecutableDirectory() / "receiver-plan").string(),
                             {"heal", a, b, "-o", OutputFile()},
                             ChildProcess::ErrorStream::kCapture);
        EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 0)
            << process.ReadAllErrors(TickMs()).value_or("")
            << process.ReadAllOutput(TickMs()).value_or("");
    }

    const std::string stream_;
    std::vector<int16_t> unbroken_;
};

}  // namespace

TEST_F(HealedCopiesTest, DamageAtDifferentTimesLeavesNoTrace) {
    const std::string a = CopyOf("a.wav", Percent(0, 40) + Percent(42, 100));
    const std::string b = CopyOf("b.wav", Percent(0, 60) + Percent(62, 100));
    Heal(a, b);
    EXPECT_EQ(Recorded(), unbroken_);
}

}  // namespace receiver

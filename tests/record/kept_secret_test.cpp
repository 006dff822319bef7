// What a URL holds beside the station's address lets somebody in, and recordings are passed on.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "platform/clock.h"
#include "record_run.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

const std::string kSecret = "hush";

class KeptSecretTest : public testing::Test, public RecordRun {
protected:
    int ExecuteWith(const std::string& url, std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {url, "--start", folder_.File("jingle.wav")});
        ChildProcess process(RecordProgram(), arguments, ChildProcess::ErrorStream::kCapture);
        const uint64_t deadline = TickMs() + kRunPatienceMs;
        said_ = process.ReadAllErrors(deadline).value_or("") +
                process.ReadAllOutput(deadline).value_or("");
        return process.WaitForExit(deadline).value_or(-1);
    }
    // All that there is below the test's folder.
    void ExpectNoFileHasIt() const {
        size_t files = 0;
        for (const auto& entry : fs::recursive_directory_iterator(folder_.Path())) {
            if (!entry.is_regular_file()) continue;
            std::ostringstream text;
            text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            EXPECT_EQ(text.str().find(kSecret), std::string::npos) << entry.path();
            ++files;
        }
        EXPECT_GT(files, 3u);
    }
    std::string Url() const {
        return "http://me:" + kSecret + "@127.0.0.1:" + std::to_string(station_.Port()) +
               "/live?key=" + kSecret + "#" + kSecret;
    }

    std::string said_;
};

}  // namespace

TEST_F(KeptSecretTest, IsInNoTagNoSidecarNoLogAndNoMessage) {
    Serve({}, "/live?key=" + kSecret);
    ASSERT_EQ(ExecuteWith(Url(), {"--max", "2s", "-v", "--json", "-o", OutputFile()}), 0) << said_;
    EXPECT_THAT(said_, Not(HasSubstr(kSecret)));
    EXPECT_THAT(said_, HasSubstr("Waiting for " + station_.Url("/live")));
    EXPECT_EQ(Sidecar()["source"], station_.Url("/live"));
    ExpectNoFileHasIt();
}

TEST_F(KeptSecretTest, IsInNoMessageOfARecordingThatFails) {
    EXPECT_EQ(ExecuteWith(Url(), {"-v", "--json", "-o", OutputFile()}), 4) << said_;
    EXPECT_THAT(said_, Not(HasSubstr(kSecret)));
}

TEST_F(KeptSecretTest, IsInNoMessageAboutTheCommandLine) {
    const std::vector<std::vector<std::string>> mistakes = {
        {"-o", "a.wav", Url()},
        {"-o", "a.wav", "me:" + kSecret + "@radio"},
        {"-o", "a.wav", "--end", Url()},
        {"-o", "a.wav", "--wait", Url()},
        {"-o", Url()}};
    for (const std::vector<std::string>& mistake : mistakes) {
        EXPECT_EQ(ExecuteWith(Url(), mistake), 2) << said_;
        EXPECT_THAT(said_, Not(HasSubstr(kSecret)));
    }
    EXPECT_EQ(ExecuteWith("me:" + kSecret + "@radio/live?key=" + kSecret, {"-o", "a.wav"}), 2);
    EXPECT_THAT(said_, Not(HasSubstr(kSecret)));
}

}  // namespace receiver

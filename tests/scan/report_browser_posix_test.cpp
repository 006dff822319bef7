// The report in a real browser: Chromium without a window.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>

#include "scan_run.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

struct Page {
    std::string document;  // as it is once its scripts have run
    std::string errors;
    std::map<std::string, std::string> facts;  // what the page says of itself: data-...
};

class ReportBrowserTest : public testing::Test {
protected:
    // 40 s with the jingle at 10 s, under a voice at 25 s.
    static void SetUpTestSuite() {
        folder_ = std::make_unique<TempFolder>();
        const TestPcm jingle = MakeTune(7, kRate, 1, 2 * kRate);
        const TestPcm voiced = MixedAt(jingle, MakeVoice(3, kRate, 1, jingle.Frames()), 0, 0);
        WriteWavFile(folder_->File("jingle.wav"), jingle);
        WriteWavFile(folder_->File("other.wav"), MakeTune(8, kRate, 1, 2 * kRate));
        const std::string source = folder_->File("<b id=hostile>&'\"x.wav");
        WriteWavFile(source, Concatenate({MakeTune(20, kRate, 1, 10 * kRate), jingle,
                                          MakeTune(21, kRate, 1, 13 * kRate), voiced,
                                          MakeTune(22, kRate, 1, 13 * kRate)}));
        const ScanRun run =
            RunScan({"listen", source, "--start", folder_->File("jingle.wav"), "--other",
                     folder_->File("other.wav"), "--report", folder_->File("page.html")});
        ASSERT_EQ(run.exitCode, 0) << run.errors;
    }
    static void TearDownTestSuite() { folder_.reset(); }

    static Page Load(const std::string& address) {
        // Within a container Chromium's own sandbox cannot be set up.
        ChildProcess process("chromium",
                             {"--headless", "--no-sandbox", "--disable-gpu", "--disable-extensions",
                              "--user-data-dir=" + folder_->File("profile"),
                              "--window-size=1200,900", "--enable-logging=stderr", "--dump-dom",
                              "file://" + folder_->File("page.html") + address},
                             ChildProcess::ErrorStream::kCapture);
        const uint64_t deadline = TickMs() + 4 * kPatienceMs;
        Page page;
        page.document = process.ReadAllOutput(deadline).value_or("");
        page.errors = process.ReadAllErrors(deadline).value_or("");
        EXPECT_EQ(process.WaitForExit(deadline).value_or(-1), 0) << page.errors;
        const std::string head = page.document.substr(0, page.document.find("<head>"));
        static const std::regex fact("data-([a-z]+)=\"([^\"]*)\"");
        for (std::sregex_iterator at(head.begin(), head.end(), fact), end; at != end; ++at) {
            page.facts[(*at)[1]] = (*at)[2];
        }
        return page;
    }

    static std::unique_ptr<TempFolder> folder_;
};

std::unique_ptr<TempFolder> ReportBrowserTest::folder_;

}  // namespace

TEST_F(ReportBrowserTest, ItDrawsEveryCurveAndMarkWithoutAnError) {
    Page page = Load("");
    EXPECT_EQ(page.facts["state"], "ready") << page.errors;
    EXPECT_EQ(page.errors.find("CONSOLE"), std::string::npos) << page.errors;
    EXPECT_EQ(page.facts["curves"], "2");
    EXPECT_EQ(page.facts["marks"], "2");  // one heard, one nearly
    EXPECT_EQ(page.facts["from"], "0.000");
    EXPECT_EQ(page.facts["to"], "40.000");
    static const std::regex canvas("<figure[^>]*>.*?<canvas[^>]*role=\"img\"");
    EXPECT_TRUE(std::regex_search(page.document, canvas));
    EXPECT_EQ(page.document.find("<b id=\"hostile\""), std::string::npos);
}

TEST_F(ReportBrowserTest, AnAddressShowsItsStretchOfTimeAndTheMarksInIt) {
    Page page = Load("#t=20-30");
    EXPECT_EQ(page.facts["state"], "ready") << page.errors;
    EXPECT_EQ(page.facts["from"], "20.000");
    EXPECT_EQ(page.facts["to"], "30.000");
    EXPECT_EQ(page.facts["marks"], "1");
    EXPECT_EQ(page.errors.find("CONSOLE"), std::string::npos) << page.errors;
}

}  // namespace receiver

// The pages in a real browser.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <regex>

#include "scan_run.h"
#include "testing/page_in_browser_posix.h"
#include "testing/sound_effects.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

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

    static BrowserPage Load(const std::string& address) {
        return LoadPage(folder_->File("page.html"), address);
    }

    static std::unique_ptr<TempFolder> folder_;
};

std::unique_ptr<TempFolder> ReportBrowserTest::folder_;

}  // namespace

TEST_F(ReportBrowserTest, ItDrawsEveryCurveAndMarkWithoutAnError) {
    BrowserPage page = Load("");
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
    BrowserPage page = Load("#t=20-30");
    EXPECT_EQ(page.facts["state"], "ready") << page.errors;
    EXPECT_EQ(page.facts["from"], "20.000");
    EXPECT_EQ(page.facts["to"], "30.000");
    EXPECT_EQ(page.facts["marks"], "1");
    EXPECT_EQ(page.errors.find("CONSOLE"), std::string::npos) << page.errors;
}

TEST(DiscoveryBrowser, ThePageShowsEveryTimeWithoutAnErrorOrAScript) {
    const TempFolder folder;
    const TestPcm jingle = MakeTune(7, kRate, 1, 3 * kRate);
    const std::string source = folder.File("<b id=hostile>&'\"x.wav");
    WriteWavFile(source, Concatenate({MakeTune(20, kRate, 1, 10 * kRate), jingle,
                                      MakeTune(21, kRate, 1, 13 * kRate), jingle,
                                      MakeTune(22, kRate, 1, 6 * kRate)}));
    const std::string file = folder.File("page.html");
    const ScanRun run = RunScan({"discover", source, "--report", file});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const BrowserPage page = LoadPage(file, "#jingle-01");
    EXPECT_EQ(page.errors.find("CONSOLE"), std::string::npos) << page.errors;
    static const std::regex mark("<rect class=\"heard[^>]*>");
    EXPECT_EQ(std::distance(std::sregex_iterator(page.document.begin(), page.document.end(), mark),
                            std::sregex_iterator()),
              2);
    EXPECT_NE(page.document.find("<b>jingle-01</b>"), std::string::npos) << page.document;
    EXPECT_EQ(page.document.find("<b id=\"hostile\""), std::string::npos);
    EXPECT_EQ(page.document.find("<script"), std::string::npos);
}

}  // namespace receiver

// The pages of receiver-plan in a real browser.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <string>

#include "plan/plan_run.h"
#include "testing/page_in_browser_posix.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

size_t Count(const std::string& document, const char* pattern) {
    const std::regex expression(pattern);
    return static_cast<size_t>(
        std::distance(std::sregex_iterator(document.begin(), document.end(), expression),
                      std::sregex_iterator()));
}

}  // namespace

TEST(PlanReportBrowser, TheWeekHasABarForEveryRunWithoutAnErrorOrAScript) {
    const TempFolder folder;
    const std::string plan = folder.File("<b id=hostile>&'\"x.toml");
    std::ofstream(plan) << "[stations.one]\nurl = \"http://radio.example/\"\nzone = \"UTC\"\n"
                           "[programs.evening]\nstation = \"one\"\nwhen = \"18:25\"\nmax = \"1h\"\n"
                           "folder = \"f\"\n[programs.night]\nstation = \"one\"\n"
                           "when = \"Mon 23:30\"\nmax = \"1h\"\nfolder = \"f\"\n"
                           "[programs.late]\nstation = \"one\"\nwhen = \"Mon 23:45\"\n"
                           "max = \"10m\"\nfolder = \"f\"\n";
    const std::string file = folder.File("week.html");
    const PlanRun run = RunPlan({"check", plan, "--from", "2026-03-30", "--report", file});
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const BrowserPage page = LoadPage(file, "");
    EXPECT_EQ(page.errors.find("CONSOLE"), std::string::npos) << page.errors;
    EXPECT_EQ(Count(page.document, "<section class=\"day\">"), 7u);
    EXPECT_EQ(Count(page.document, "<div class=\"run[^\"]*\""), 7u + 2u + 1u);
    EXPECT_EQ(Count(page.document, "<div class=\"run thin on\""), 1u);
    EXPECT_EQ(Count(page.document, "<rect class=\"peak\""), 1u);
    EXPECT_EQ(page.document.find("<b id=\"hostile\""), std::string::npos);
    EXPECT_EQ(page.document.find("<script"), std::string::npos);
    EXPECT_EQ(RunPlan({"check", plan, "--report", file}).exitCode, 6);
}

TEST(PlanReportBrowser, TheStatusHasARowForEveryRunWithoutAnErrorOrAScript) {
    const TempFolder folder;
    const std::string recording = folder.File("<b id=hostile>&'\"x.flac");
    std::ofstream(recording) << "audio";
    std::ofstream(recording + ".json")
        << R"({"complete":false,"outcome":"failure","message":"<b id=hostile></ul>",)"
        << R"("startedAt":"2026-03-30T18:00:00.000Z","finishedAt":"2026-03-30T19:00:00.000Z"})";
    const std::string whole = folder.File("whole.flac");
    std::ofstream(whole) << "audio";
    std::ofstream(whole + ".json")
        << R"({"complete":true,"outcome":"complete","message":"",)"
        << R"("startedAt":"2026-03-30T18:00:00.000Z","finishedAt":"2026-03-30T19:00:00.000Z"})";
    std::ofstream(folder.File("unread.wav.json")) << "{";
    const std::string file = folder.File("status.html");
    const PlanRun run = RunPlan(
        {"status", folder.Path().string(), "--from", "2026-03-30", "--days", "1", "--html", file});
    ASSERT_EQ(run.exitCode, 3) << run.errors;
    const BrowserPage page = LoadPage(file, "");
    EXPECT_EQ(page.errors.find("CONSOLE"), std::string::npos) << page.errors;
    EXPECT_EQ(Count(page.document, "<td class=\"state bad\">damaged</td>"), 1u);
    EXPECT_EQ(Count(page.document, "<td class=\"state well\">complete</td>"), 1u);
    EXPECT_EQ(Count(page.document, "<ul class=\"verdicts\">"), 2u);  // the damage, the note
    EXPECT_EQ(page.document.find("<b id=\"hostile\""), std::string::npos);
    EXPECT_EQ(page.document.find("<script"), std::string::npos);
}

}  // namespace receiver

#include "receiver_scan/listen/result_text.h"

#include <gtest/gtest.h>

#include "small_result.h"

namespace receiver {

TEST(ResultText, MatchesNearMissesVerdictsAndTheProgramme) {
    const std::vector<std::string> expected = {
        "aircheck.mp3: 00:00:10.000 heard, 2 channels",
        "",
        "TIME          SAMPLE  RECORDING  ROLE   BER     MARGIN   THE RECEIVER",
        "00:00:01.000  44104   opening    start  0.0125  +0.1275  starts the programme",
        "",
        "Near misses:",
        "TIME          SAMPLE  RECORDING  ROLE  BER     MARGIN   PROBABLY",
        "00:00:05.000  220520  closing    end   0.2188  -0.0787  its first 0.5 s are something "
        "else: a beginning that is cut off, or another version",
        "",
        "opening (start): heard once",
        "closing (end): not heard, but nearly",
        "The programme: from 00:00:01.000 (sample 44104) to 00:00:06.000 (sample 264604), "
        "00:00:05.000 long; it has its maximum length, after a fade of 1.0 s"};
    EXPECT_EQ(ResultLines(SmallResult()), expected);
}

TEST(ResultText, NothingHeardIsSaidPlainly) {
    ScanResult result = SmallResult();
    result.judgement = {};
    result.views[1].misses.clear();
    result.views[1].best = BestOffset{3, 0.45};
    result.heard.end = HearingEnd::kSourceFailed;
    const std::vector<std::string> lines = ResultLines(result);
    EXPECT_EQ(lines[0], "aircheck.mp3: 00:00:10.000 heard, 2 channels; then the source failed");
    EXPECT_EQ(lines[2], "No recording was heard.");
    EXPECT_EQ(lines[5],
              "closing (end): not heard; the nearest place is 00:00:00.037 with a BER of 0.4500. "
              "It is the wrong file, or was not broadcast in this time");
    EXPECT_EQ(lines.back(), "No programme: no start recording was heard");
}

TEST(ResultText, NothingOfASourceSteersTheTerminal) {
    ScanResult result = SmallResult();
    result.source = "a\x1b[2J\nb.mp3";
    EXPECT_EQ(ResultLines(result)[0].rfind("a?[2J?b.mp3: ", 0), 0u);
}

}  // namespace receiver

#include "receiver_record/record_report.h"

#include <gtest/gtest.h>

#include <set>

#include "unit/tools/receiver_record/complete_report.h"

namespace receiver {

TEST(RecordReport, EveryExitCodeHasAnOutcomeOfItsOwn) {
    std::set<std::string> outcomes;
    for (int code = 0; code <= 6; ++code) {
        if (code == static_cast<int>(ExitCode::kUsage)) continue;  // nothing is recorded then
        outcomes.insert(OutcomeName(static_cast<ExitCode>(code)));
    }
    EXPECT_EQ(outcomes.size(), 6u);
}

TEST(RecordReport, TimesAreUtcInIsoForm) {
    const std::string now = UtcNow();
    ASSERT_EQ(now.size(), 24u);
    EXPECT_EQ(now[10], 'T');
    EXPECT_EQ(now.back(), 'Z');
}

TEST(RecordReport, TheReasonIsTheProgramsOnlyWhenItIsComplete) {
    RecordReport report = CompleteReport();
    EXPECT_EQ(EndReason(report), "outro");
    report.exitCode = ExitCode::kSourceError;
    EXPECT_EQ(EndReason(report), "source-error");
    report = CompleteReport();
    report.program.reset();
    EXPECT_EQ(EndReason(report), "source_ended");
}

}  // namespace receiver

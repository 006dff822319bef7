// The alerts, tried by Prometheus' own tool on made series, and its opinion of the page. Where it
// is not installed (scripts/install-packages rules), nothing can be shown.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "receiver_record/metrics/metrics_text.h"
#include "testing/patience.h"
#include "testing/temp_folder.h"
#include "unit/tools/receiver_record/metrics/whole_metrics.h"

namespace receiver {
namespace {

constexpr int kNotInstalled = 127;

// By a shell, for what is read from standard input.
int RunShell(const std::string& command, std::string& output) {
    ChildProcess process("/bin/sh", {"-c", command + " 2>&1"});
    const uint64_t deadline = TickMs() + kMaxHoldMs;
    output = process.ReadAllOutput(deadline).value_or("");
    return process.WaitForExit(deadline).value_or(-1);
}

class MonitoringRulesTest : public testing::Test {
protected:
    void SetUp() override {
        std::string output;
        if (RunShell("promtool --version", output) == kNotInstalled) {
            GTEST_SKIP() << "promtool is not installed";
        }
    }
    // In packaging/monitoring.
    static void ExpectGood(const std::string& command) {
        std::string output;
        EXPECT_EQ(RunShell("cd '" SOURCE_PATH "/packaging/monitoring' && " + command, output), 0)
            << command << "\n"
            << output;
    }
};

}  // namespace

TEST_F(MonitoringRulesTest, TheAlertsAreWellFormed) {
    ExpectGood("promtool check rules receiver-record.rules.yml");
}

TEST_F(MonitoringRulesTest, TheAlertsGoOffWhenTheyShallAndOnlyThen) {
    ExpectGood("promtool test rules receiver-record.rules.test.yml");
}

TEST_F(MonitoringRulesTest, ThePageIsAsPrometheusWantsIt) {
    const TempFolder folder;
    std::ofstream(folder.File("news.prom")) << MetricsText(WholeMetrics());
    ExpectGood("promtool check metrics < '" + folder.File("news.prom") + "'");
}

}  // namespace receiver

// docs/monitoring.md, the alerts and the dashboard, against the metrics that there are.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "docs/document_text.h"
#include "receiver_record/metrics/metrics_text.h"
#include "unit/tools/receiver_record/metrics/whole_metrics.h"

namespace receiver {
namespace {

const std::filesystem::path kTree(SOURCE_PATH);
const std::filesystem::path kMonitoring = kTree / "packaging/monitoring";

std::set<std::string> Set(const std::vector<std::string>& found) {
    return {found.begin(), found.end()};
}

// With their types, as in "gaps_total counter".
std::set<std::string> Metrics(const char* pattern) {
    return Set(AllOf(MetricsText(WholeMetrics()), pattern));
}

constexpr const char* kMetricName = "\\breceiver_record_([a-z_]+)";

void ExpectKnown(const std::set<std::string>& named) {
    const std::set<std::string> known = Metrics("# TYPE receiver_record_([a-z_]+) ");
    for (const std::string& name : named) EXPECT_TRUE(known.contains(name)) << name;
}

}  // namespace

TEST(Monitoring, TheDocumentListsEveryMetricAndItsType) {
    const std::string document = TextOf(kTree / "docs/monitoring.md");
    std::set<std::string> listed;
    for (const std::string& row : AllOf(document, "\n\\| (`[a-z_]+` \\| (?:gauge|counter))")) {
        listed.insert(AllOf(row, "`([a-z_]+)`").front() + AllOf(row, "\\|( [a-z]+)").front());
    }
    EXPECT_EQ(listed, Metrics("# TYPE receiver_record_([a-z_]+ [a-z]+)"));
}

TEST(Monitoring, TheAlertsAskForMetricsThatThereAre) {
    const auto named = Set(AllOf(TextOf(kMonitoring / "receiver-record.rules.yml"), kMetricName));
    EXPECT_GE(named.size(), 8u);
    ExpectKnown(named);
}

TEST(Monitoring, EveryAlertIsDescribedAndTried) {
    const auto alerts =
        Set(AllOf(TextOf(kMonitoring / "receiver-record.rules.yml"), "- alert: (\\w+)"));
    EXPECT_GE(alerts.size(), 10u);
    EXPECT_EQ(Set(AllOf(TextOf(kTree / "docs/monitoring.md"), "`(ReceiverRecord\\w+)`")), alerts);
    EXPECT_EQ(Set(AllOf(TextOf(kMonitoring / "receiver-record.rules.test.yml"),
                        "alertname: (\\w+)\\s+exp_alerts:\\s+- exp_labels")),
              alerts);
}

TEST(Monitoring, EveryPanelOfTheDashboardAsksForMetricsThatThereAre) {
    const auto dashboard =
        nlohmann::json::parse(TextOf(kMonitoring / "receiver-record.dashboard.json"));
    std::set<std::string> named;
    std::set<int> ids;
    for (const nlohmann::json& panel : dashboard["panels"]) {
        EXPECT_TRUE(ids.insert(panel["id"].get<int>()).second) << panel["title"];
        EXPECT_FALSE(panel["targets"].empty()) << panel["title"];
        for (const nlohmann::json& target : panel["targets"]) {
            const auto found = Set(AllOf(target["expr"].get<std::string>(), kMetricName));
            EXPECT_EQ(found.size(), 1u) << target;
            named.insert(found.begin(), found.end());
        }
    }
    EXPECT_GE(named.size(), 12u);
    ExpectKnown(named);
}

}  // namespace receiver

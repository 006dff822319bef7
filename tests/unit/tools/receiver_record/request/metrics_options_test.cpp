#include "receiver_record/request/metrics_options.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace receiver {
namespace {

std::string RefusalOf(const MetricsValues& values) {
    try {
        CheckMetrics(values);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "";
}

}  // namespace

TEST(MetricsOptions, NobodyIsToldUnlessAskedFor) {
    EXPECT_FALSE(CheckMetrics({}).IsWanted());
    EXPECT_TRUE(CheckMetrics({.address = ":9101"}).IsWanted());
    EXPECT_TRUE(CheckMetrics({.file = "a.prom"}).IsWanted());
}

TEST(MetricsOptions, TheFileNamesTheRecorderUnlessItHasAName) {
    EXPECT_EQ(CheckMetrics({.file = "folder/news.prom"}).id, "news");
    EXPECT_EQ(CheckMetrics({.file = "folder/news.prom", .id = "evening"}).id, "evening");
    EXPECT_EQ(CheckMetrics({.address = ":9101"}).id, "");
    EXPECT_EQ(CheckMetrics({.address = ":9101", .id = "evening"}).id, "evening");
}

TEST(MetricsOptions, AnAddressHasAPort) {
    const MetricsOptions options = CheckMetrics({.address = "0.0.0.0:9101"});
    ASSERT_TRUE(options.address);
    EXPECT_EQ(options.address->host, "0.0.0.0");
    EXPECT_EQ(options.address->port, 9101);
    EXPECT_EQ(RefusalOf({.address = "radio"}),
              "--metrics: \"radio\" is not HOST:PORT, [ADDRESS]:PORT or :PORT");
}

// The node exporter passes over all others.
TEST(MetricsOptions, TheFilesNameEndsAsTheNodeExporterWantsIt) {
    EXPECT_EQ(RefusalOf({.file = "news.txt"}),
              "--metrics-file: the name of news.txt does not end in .prom");
    EXPECT_NE(RefusalOf({.file = ".prom"}), "");
    EXPECT_NE(RefusalOf({.file = "news.prom/"}), "");
}

TEST(MetricsOptions, ANameIsALineOfText) {
    EXPECT_EQ(RefusalOf({.address = ":1", .id = "the \"evening\" news"}), "");
    const std::string refusal = "--metrics-id: at most 80 bytes of text in one line are possible";
    EXPECT_EQ(RefusalOf({.address = ":1", .id = "a\nb"}), refusal);
    EXPECT_EQ(RefusalOf({.address = ":1", .id = "\xff"}), refusal);
    EXPECT_EQ(RefusalOf({.address = ":1", .id = std::string(81, 'a')}), refusal);
    EXPECT_EQ(RefusalOf({.address = ":1", .id = std::string(80, 'a')}), "");
    EXPECT_EQ(RefusalOf({.id = "news"}),
              "--metrics-id: there is no --metrics and no --metrics-file");
}

}  // namespace receiver

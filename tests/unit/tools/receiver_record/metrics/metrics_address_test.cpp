#include "receiver_record/metrics/metrics_address.h"

#include <gtest/gtest.h>

namespace receiver {
namespace {

// What the text is taken for, as a URL; empty where it is refused.
std::string UrlOf(const std::string& text) {
    const std::optional<MetricsAddress> address = ParseMetricsAddress(text);
    return address ? MetricsUrl(*address) : "";
}

}  // namespace

TEST(MetricsAddress, AHostHasAPort) {
    EXPECT_EQ(UrlOf("0.0.0.0:9101"), "http://0.0.0.0:9101/metrics");
    EXPECT_EQ(UrlOf("recorder-1.example:80"), "http://recorder-1.example:80/metrics");
    EXPECT_EQ(UrlOf("localhost:0"), "http://localhost:0/metrics");
}

TEST(MetricsAddress, APortAloneIsThisMachinesOwn) {
    EXPECT_EQ(UrlOf(":9101"), "http://127.0.0.1:9101/metrics");
    EXPECT_EQ(UrlOf("9101"), "http://127.0.0.1:9101/metrics");
}

TEST(MetricsAddress, AnAddressWithColonsStandsInBrackets) {
    EXPECT_EQ(UrlOf("[::1]:9101"), "http://[::1]:9101/metrics");
    EXPECT_EQ(UrlOf("[fe80::1%eth0]:9101"), "http://[fe80::1%eth0]:9101/metrics");
    EXPECT_EQ(UrlOf("::1:9101"), "");
    EXPECT_EQ(UrlOf("[localhost]:9101"), "");
    EXPECT_EQ(UrlOf("[]:9101"), "");
    EXPECT_EQ(UrlOf("[::1:9101"), "");
}

TEST(MetricsAddress, APortIsANumberOf16Bits) {
    EXPECT_EQ(UrlOf("65535"), "http://127.0.0.1:65535/metrics");
    EXPECT_EQ(UrlOf("65536"), "");
    EXPECT_EQ(UrlOf("localhost:"), "");
    EXPECT_EQ(UrlOf("localhost:http"), "");
    EXPECT_EQ(UrlOf("localhost:-1"), "");
    EXPECT_EQ(UrlOf("localhost:000080"), "");
    EXPECT_EQ(UrlOf("localhost"), "");
    EXPECT_EQ(UrlOf(""), "");
}

TEST(MetricsAddress, AUrlIsNone) {
    EXPECT_EQ(UrlOf("http://localhost:9101"), "");
    EXPECT_EQ(UrlOf("user@localhost:9101"), "");
    EXPECT_EQ(UrlOf("local host:9101"), "");
}

}  // namespace receiver

#include "receiver_record/metrics/metrics_request.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace receiver {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::optional<std::string> Answer(const std::string& received) {
    return AnswerMetricsRequest(received, [] { return std::string("page 1\n"); });
}

// Of a whole request with this first line.
std::string AnswerTo(const std::string& line) {
    return Answer(line + "\r\nHost: a\r\n\r\n").value_or("nothing");
}

}  // namespace

TEST(MetricsRequest, AScrapeGetsThePage) {
    const std::string answer = AnswerTo("GET /metrics HTTP/1.1");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(answer,
                HasSubstr("\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Length: 7\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\npage 1\n"));
    EXPECT_EQ(AnswerTo("GET /metrics HTTP/1.0"), answer);
    EXPECT_EQ(AnswerTo("GET /metrics?target=a HTTP/1.1"), answer);
}

TEST(MetricsRequest, NothingIsAnsweredBeforeTheHeadIsWhole) {
    const std::string request = "GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n";
    for (size_t size = 0; size < request.size(); ++size) {
        EXPECT_EQ(Answer(request.substr(0, size)), std::nullopt) << size;
    }
    EXPECT_NE(Answer(request), std::nullopt);
}

TEST(MetricsRequest, ThereIsNoOtherPage) {
    for (const std::string path : {"/", "/metrics/", "/metrics2", "/metric", "*", "//metrics"}) {
        EXPECT_THAT(AnswerTo("GET " + path + " HTTP/1.1"), StartsWith("HTTP/1.1 404 ")) << path;
    }
}

TEST(MetricsRequest, NothingElseCanBeDoneWithThePage) {
    for (const std::string method : {"POST", "HEAD", "DELETE", "get"}) {
        const std::string answer = AnswerTo(method + " /metrics HTTP/1.1");
        EXPECT_THAT(answer, StartsWith("HTTP/1.1 405 ")) << method;
        EXPECT_THAT(answer, HasSubstr("\r\nAllow: GET\r\n")) << method;
    }
}

TEST(MetricsRequest, WhatIsNoRequestIsRefused) {
    for (const std::string line :
         {"", "GET", "GET /metrics", "/metrics HTTP/1.1", " /metrics HTTP/1.1",
          "GET /metrics HTTP/2", "GET  HTTP/1.1", "\x16\x03\x01"}) {
        EXPECT_THAT(AnswerTo(line), StartsWith("HTTP/1.1 400 ")) << line;
    }
}

TEST(MetricsRequest, ARequestWithoutAnEndIsRefused) {
    const std::string line = "GET /metrics HTTP/1.1\r\n";
    const std::string most(kMaxMetricsRequestBytes - 1 - line.size(), 'x');
    EXPECT_EQ(Answer(line + most), std::nullopt);
    EXPECT_THAT(Answer(line + most + "x").value_or(""), StartsWith("HTTP/1.1 431 "));
}

TEST(MetricsRequest, ThePageIsOnlyMadeForWhoGetsIt) {
    int made = 0;
    const auto page = [&made] {
        ++made;
        return std::string();
    };
    AnswerMetricsRequest("GET / HTTP/1.1\r\n\r\n", page);
    AnswerMetricsRequest("POST /metrics HTTP/1.1\r\n\r\n", page);
    AnswerMetricsRequest("GET /metrics HTTP/1.1\r\n", page);
    EXPECT_EQ(made, 0);
    AnswerMetricsRequest("GET /metrics HTTP/1.1\r\n\r\n", page);
    EXPECT_EQ(made, 1);
}

}  // namespace receiver

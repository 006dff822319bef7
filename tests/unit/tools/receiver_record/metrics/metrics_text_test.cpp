#include "receiver_record/metrics/metrics_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <sstream>

#include "unit/tools/receiver_record/metrics/whole_metrics.h"

namespace receiver {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> Lines(const RecordMetrics& metrics) {
    std::istringstream text(MetricsText(metrics));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

}  // namespace

TEST(MetricsText, EverySampleSaysWhoseItIs) {
    for (const std::string& line : Lines(WholeMetrics())) {
        if (line.front() == '#') continue;
        EXPECT_THAT(line, HasSubstr("{id=\"news\",stream=\"radio.example\""));
    }
    RecordMetrics nameless = WholeMetrics();
    nameless.id.clear();
    EXPECT_THAT(Lines(nameless),
                Contains("receiver_record_gaps_total{stream=\"radio.example\"} 2"));
}

TEST(MetricsText, EveryFigureIsThere) {
    const std::string who = "id=\"news\",stream=\"radio.example\"";
    const std::string jingle = ",reference=\"jingle\",role=\"start\"} ";
    const std::vector<std::string> lines = Lines(WholeMetrics());
    for (const std::string& expected : {
             "info{" + who + ",version=\"" RECEIVER_VERSION "\"} 1",
             "start_time_seconds{" + who + "} 1700000000.25",
             "state{" + who + ",state=\"recording\"} 1",
             "state{" + who + ",state=\"scanning\"} 0",
             "exit_code{" + who + "} 7",
             "stream_seconds_total{" + who + "} 3600.125",
             "buffer_seconds{" + who + "} 0.5",
             "reconnections_total{" + who + "} 3",
             "outage_seconds_total{" + who + "} 4.5",
             "gaps_total{" + who + "} 2",
             "lost_seconds_total{" + who + "} 1.5",
             "damages_total{" + who + "} 1",
             "matches_total{" + who + jingle + "2",
             "matches_total{" + who + ",reference=\"outro\",role=\"end\"} 0",
             "last_match_timestamp_seconds{" + who + jingle + "1700000001",
             "last_match_bit_error_ratio{" + who + jingle + "0.0625",
             "last_match_margin_ratio{" + who + jingle + "0.07750000000000001",
             "program_position_seconds{" + who + "} 12.5",
             "program_length_seconds{" + who + "} 1800",
             "written_seconds_total{" + who + "} 12",
             "written_bytes_total{" + who + "} 4294967296",
             "recordings_total{" + who + ",outcome=\"complete\"} 4",
             "recordings_total{" + who + ",outcome=\"source-error\"} 1",
             "recordings_total{" + who + ",outcome=\"failure\"} 0",
             "last_complete_timestamp_seconds{" + who + "} 1700000003",
             "last_recording_info{" + who + ",outcome=\"source-error\",reason=\"source-error\"} 1",
             "last_recording_exit_code{" + who + "} 4",
             "last_recording_seconds{" + who + "} 60",
             "last_recording_end_timestamp_seconds{" + who + "} 1700000002",
         }) {
        EXPECT_THAT(lines, Contains("receiver_record_" + expected));
    }
}

TEST(MetricsText, WhatIsNotKnownIsLeftOut) {
    RecordMetrics metrics;
    metrics.stream = "radio.example";
    const std::string text = MetricsText(metrics);
    for (const char* name : {"buffer_seconds", "program_position", "program_length", "matches",
                             "last_match", "last_complete", "last_recording", "exit_code"}) {
        EXPECT_THAT(text, Not(HasSubstr(name)));
    }
    RecordMetrics unheard = metrics;
    unheard.references = {{"jingle", Role::kStart, 0, std::nullopt}};
    EXPECT_THAT(Lines(unheard), Not(Contains(StartsWith("receiver_record_last_match"))));
}

TEST(MetricsText, ExactlyOneStateHolds) {
    for (const RecorderState state : kAllRecorderStates) {
        RecordMetrics metrics;
        metrics.state = state;
        int held = 0;
        for (const std::string& line : Lines(metrics)) {
            if (!line.starts_with("receiver_record_state{")) continue;
            const bool isThis =
                line.find(std::string("\"") + RecorderStateName(state) + "\"") != std::string::npos;
            EXPECT_TRUE(line.ends_with(isThis ? "} 1" : "} 0")) << line;
            held += line.ends_with("} 1") ? 1 : 0;
        }
        EXPECT_EQ(held, 1) << RecorderStateName(state);
    }
}

TEST(MetricsText, LabelsAreEscaped) {
    RecordMetrics metrics;
    metrics.id = "a\"b\\c\nd";
    metrics.stream = "radio.example";
    EXPECT_THAT(MetricsText(metrics), HasSubstr("{id=\"a\\\"b\\\\c\\nd\",stream="));
}

// As Prometheus wants them: https://prometheus.io/docs/instrumenting/writing_exporters
TEST(MetricsText, NamesAndTypesKeepTheConventions) {
    std::set<std::string> described, typed;
    std::string name, type;
    for (const std::string& line : Lines(WholeMetrics())) {
        std::smatch parts;
        if (std::regex_match(line, parts, std::regex("# HELP (receiver_record_[a-z_]+) (.+\\.)"))) {
            EXPECT_TRUE(described.insert(parts[1]).second) << line;
            name = parts[1];
        } else if (std::regex_match(line, parts, std::regex("# TYPE ([a-z_]+) (counter|gauge)"))) {
            EXPECT_TRUE(typed.insert(parts[1]).second) << line;
            EXPECT_EQ(parts[1], name);
            type = parts[2];
            EXPECT_EQ(name.ends_with("_total"), type == "counter") << line;
        } else {
            EXPECT_TRUE(std::regex_match(
                line, std::regex(name + "\\{([a-z]+=\"[^\"]*\",?)+\\} [0-9.e+-]+")))
                << line;
        }
    }
    EXPECT_EQ(described, typed);
    EXPECT_GE(typed.size(), 20u);
}

}  // namespace receiver

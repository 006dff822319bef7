#include "receiver_record/output/recording_tags.h"

#include <algorithm>

namespace receiver {
namespace {

// A session can have hundreds of matches; the file beside the audio has them all.
constexpr size_t kMaxMatches = 20;

std::string MatchList(const std::vector<Match>& matches) {
    std::string list;
    const size_t shown = std::min(matches.size(), kMaxMatches);
    for (size_t i = 0; i < shown; ++i) {
        const Match& match = matches[i];
        list += std::string(list.empty() ? "" : ", ") + RoleName(match.role) + std::string(" ") +
                match.referenceId + " at sample " + std::to_string(match.sample) +
                " (bit error rate " + FormatBer(match.ber) + ")";
    }
    if (shown < matches.size()) {
        list += ", and " + std::to_string(matches.size() - shown) + " more";
    }
    return list;
}

}  // namespace

RecordingTags MakeTags(const RecordReport& report) {
    std::string comment = "Recorded from " + report.url;
    RecordingTags tags = {{"date", report.startedAt},
                          {"encoded_by", "receiver-record"},
                          {"source", report.url},
                          {"started_at", report.startedAt}};
    if (report.startSample) {
        const std::string title = report.notes.TitleAt(*report.startSample);
        if (!title.empty()) tags.emplace_back("title", title);
    }
    if (!report.notes.Station().empty()) {
        tags.emplace_back("publisher", report.notes.Station());
    }
    if (!report.programStartedAt.empty()) {
        tags.emplace_back("program_started_at", report.programStartedAt);
    }
    if (report.startSample) {
        const std::string start = std::to_string(*report.startSample);
        tags.emplace_back("start_sample", start);
        comment += ", from sample " + start;
    }
    if (!report.finishedAt.empty() && report.startSample) {
        const std::string end = std::to_string(*report.startSample + report.frames);
        tags.emplace_back("end_sample", end);
        tags.emplace_back("reason", EndReason(report));
        tags.emplace_back("finished_at", report.finishedAt);
        comment += " to " + end + ", ended by " + EndReason(report) + ", " + report.startedAt +
                   " to " + report.finishedAt;
    }
    if (const std::string losses = DescribeLosses(report.notes); !losses.empty()) {
        tags.emplace_back("gaps", losses);
        comment += "; " + losses;
    }
    if (!report.matches.empty()) {
        tags.emplace_back("matches", MatchList(report.matches));
        comment += "; heard " + MatchList(report.matches);
    }
    tags.emplace_back("comment", comment);
    return tags;
}

}  // namespace receiver

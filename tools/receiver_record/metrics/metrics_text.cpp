#include "receiver_record/metrics/metrics_text.h"

#include <prometheus/client_metric.h>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <array>
#include <utility>

#include "command_line/tool_version.h"
#include "detect/detector_match.h"
#include "receiver_record/record_report.h"

namespace receiver {
namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

constexpr std::array kOutcomes{ExitCode::kComplete,    ExitCode::kGaps,
                               ExitCode::kSourceError, ExitCode::kStartNotFound,
                               ExitCode::kInterrupted, ExitCode::kOutputError,
                               ExitCode::kFailure};

// All samples have the labels of the recorder before their own.
class Families {
public:
    explicit Families(Labels common) : common_(std::move(common)) {}

    void Begin(prometheus::MetricType type, const char* name, const char* help) {
        prometheus::MetricFamily& family = families_.emplace_back();
        family.name = std::string("receiver_record_") + name;
        family.help = help;
        family.type = type;
    }
    void Add(double value, const Labels& labels = {}) {
        prometheus::ClientMetric metric;
        for (const Labels* of : {&common_, &labels}) {
            for (const auto& [name, text] : *of) metric.label.push_back({name, text});
        }
        const bool isCounter = families_.back().type == prometheus::MetricType::Counter;
        (isCounter ? metric.counter.value : metric.gauge.value) = value;
        families_.back().metric.push_back(std::move(metric));
    }
    void Counter(const char* name, const char* help, double value) {
        Begin(prometheus::MetricType::Counter, name, help);
        Add(value);
    }
    // Without a value there is no such family.
    void Gauge(const char* name, const char* help, std::optional<double> value) {
        if (!value) return;
        Begin(prometheus::MetricType::Gauge, name, help);
        Add(*value);
    }
    std::string Text() const { return prometheus::TextSerializer().Serialize(families_); }

private:
    const Labels common_;
    std::vector<prometheus::MetricFamily> families_;
};

Labels CommonLabels(const RecordMetrics& metrics) {
    Labels labels;
    if (!metrics.id.empty()) labels.emplace_back("id", metrics.id);
    labels.emplace_back("stream", metrics.stream);
    return labels;
}

void AddState(const RecordMetrics& metrics, Families& families) {
    using prometheus::MetricType;
    families.Begin(MetricType::Gauge, "info", "The version of receiver-record.");
    families.Add(1, {{"version", ToolVersion()}});
    families.Gauge("start_time_seconds", "When the recorder began, in Unix time.",
                   metrics.startTime);
    families.Begin(MetricType::Gauge, "state", "What the recorder does: 1 for one of the states.");
    for (const RecorderState state : kAllRecorderStates) {
        families.Add(state == metrics.state ? 1 : 0, {{"state", RecorderStateName(state)}});
    }
    families.Gauge("exit_code", "With what the recorder ended; absent while it runs.",
                   metrics.exitCode ? std::optional<double>(static_cast<double>(*metrics.exitCode))
                                    : std::nullopt);
}

void AddStream(const RecordMetrics& metrics, Families& families) {
    families.Counter("stream_seconds_total", "Audio of the station that has come.",
                     metrics.streamSeconds);
    families.Gauge("buffer_seconds", "Audio that the receiver holds ready.", metrics.bufferSeconds);
    families.Counter("reconnections_total", "Times that the stream was lost and came back.",
                     static_cast<double>(metrics.reconnections));
    families.Counter("outage_seconds_total", "How long the stream was lost, before it came back.",
                     metrics.outageSeconds);
    families.Counter("gaps_total", "Times that audio was missing when the stream came back.",
                     static_cast<double>(metrics.gaps));
    families.Counter("lost_seconds_total", "Audio that is missing, and silence in its place.",
                     metrics.lostSeconds);
    families.Counter("damages_total", "Places of the stream that could not be decoded.",
                     static_cast<double>(metrics.damages));
}

void AddMatches(const std::vector<ReferenceMetrics>& references, Families& families) {
    using prometheus::MetricType;
    if (references.empty()) return;
    const auto labels = [](const ReferenceMetrics& reference) {
        return Labels{{"reference", reference.id}, {"role", RoleName(reference.role)}};
    };
    families.Begin(MetricType::Counter, "matches_total",
                   "Times that a recording that is listened for was heard.");
    for (const ReferenceMetrics& reference : references) {
        families.Add(static_cast<double>(reference.matches), labels(reference));
    }
    const auto addLast = [&](const char* name, const char* help, auto value) {
        families.Begin(MetricType::Gauge, name, help);
        for (const ReferenceMetrics& reference : references) {
            if (reference.last) families.Add(value(*reference.last), labels(reference));
        }
    };
    using Heard = ReferenceMetrics::Heard;
    addLast("last_match_timestamp_seconds", "When it was last heard, in Unix time.",
            [](const Heard& heard) { return heard.time; });
    addLast("last_match_bit_error_ratio", "Share of its bits that differed when last heard.",
            [](const Heard& heard) { return heard.ber; });
    addLast("last_match_margin_ratio",
            "How much more might have differed; below 0 it is not heard.",
            [](const Heard& heard) { return kBerThreshold - heard.ber; });
}

void AddRecordings(const RecordMetrics& metrics, Families& families) {
    using prometheus::MetricType;
    families.Gauge("program_position_seconds",
                   "How much of the programme has come; absent before it begins.",
                   metrics.programSeconds);
    families.Gauge("program_length_seconds",
                   "How long the programme is; absent while its end is not known.",
                   metrics.programLength);
    families.Counter("written_seconds_total", "Audio that was given to the encoder.",
                     metrics.writtenSeconds);
    families.Counter("written_bytes_total", "What was written to files or standard output.",
                     static_cast<double>(metrics.writtenBytes));
    families.Begin(MetricType::Counter, "recordings_total", "Recordings that ended, and how.");
    for (const ExitCode outcome : kOutcomes) {
        const auto ended = metrics.recordings.find(OutcomeName(outcome));
        families.Add(ended == metrics.recordings.end() ? 0 : static_cast<double>(ended->second),
                     {{"outcome", OutcomeName(outcome)}});
    }
    families.Gauge("last_complete_timestamp_seconds",
                   "When a recording was last complete, in Unix time.", metrics.lastCompleteTime);
    if (!metrics.lastRecording) return;
    const RecordMetrics::LastRecording& last = *metrics.lastRecording;
    families.Begin(MetricType::Gauge, "last_recording_info", "How the last recording ended.");
    families.Add(1, {{"outcome", OutcomeName(last.exitCode)}, {"reason", last.endReason}});
    families.Gauge("last_recording_exit_code", "As receiver-record's own, of the last recording.",
                   static_cast<double>(last.exitCode));
    families.Gauge("last_recording_seconds", "How long the last recording is.", last.seconds);
    families.Gauge("last_recording_end_timestamp_seconds",
                   "When the last recording ended, in Unix time.", last.endTime);
}

}  // namespace

const char* RecorderStateName(RecorderState state) {
    switch (state) {
        case RecorderState::kStarting:
            return "starting";
        case RecorderState::kConnecting:
            return "connecting";
        case RecorderState::kScanning:
            return "scanning";
        case RecorderState::kRecording:
            return "recording";
        case RecorderState::kDraining:
            return "draining";
        case RecorderState::kStopping:
            return "stopping";
        case RecorderState::kFinishing:
            return "finishing";
        case RecorderState::kWaiting:
            return "waiting";
        case RecorderState::kEnded:
            break;
    }
    return "ended";
}

std::string MetricsText(const RecordMetrics& metrics) {
    Families families(CommonLabels(metrics));
    AddState(metrics, families);
    AddStream(metrics, families);
    AddMatches(metrics.references, families);
    AddRecordings(metrics, families);
    return families.Text();
}

}  // namespace receiver

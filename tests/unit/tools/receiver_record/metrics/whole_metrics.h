// Metrics of which nothing is missing.
#pragma once

#include "receiver_record/metrics/record_metrics.h"

namespace receiver {

inline RecordMetrics WholeMetrics() {
    RecordMetrics metrics;
    metrics.id = "news";
    metrics.stream = "radio.example";
    metrics.startTime = 1700000000.25;
    metrics.state = RecorderState::kRecording;
    metrics.bufferSeconds = 0.5;
    metrics.programSeconds = 12.5;
    metrics.programLength = 1800;
    metrics.streamSeconds = 3600.125;
    metrics.writtenSeconds = 12;
    metrics.writtenBytes = 4294967296;
    metrics.reconnections = 3;
    metrics.outageSeconds = 4.5;
    metrics.gaps = 2;
    metrics.lostSeconds = 1.5;
    metrics.damages = 1;
    metrics.references = {{"jingle", Role::kStart, 2, ReferenceMetrics::Heard{0.0625, 1700000001}},
                          {"outro", Role::kEnd, 0, std::nullopt}};
    metrics.recordings = {{"complete", 4}, {"source-error", 1}};
    metrics.lastRecording = {ExitCode::kSourceError, "source-error", 60, 1700000002};
    metrics.lastCompleteTime = 1700000003;
    metrics.exitCode = ExitCode::kGaps;
    return metrics;
}

}  // namespace receiver

// Makes the metrics of a run out of what the recorder sees at each of its steps. Counters only
// grow: what a session or a recording counts from 0 is added to what was counted before. Pure.
//
//   Units    frames of the stream, bytes; `now` in seconds of the Unix clock.
//   Threads  one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "receiver_record/metrics/record_metrics.h"
#include "receiver_record/output/audio_progress.h"
#include "receiver_record/record_report.h"
#include "receiver_record/session_record.h"

namespace receiver {

// One recording after another, as the recorder sees the one that is being made.
struct RecordMoment {
    SessionRecord session;
    AudioProgress audio;        // nothing has come of it before there is any
    uint64_t writtenBytes = 0;  // of this recording
    bool isStopping = false;
    bool isWaiting = false;    // before the next attempt
    bool isContinued = false;  // another session's recording goes on in this one
};

class MetricsGathering final {
public:
    MetricsGathering(std::string id, const std::string& url,
                     const std::vector<Reference>& references, double now);

    void BeginRecording();
    // Another session of the same recording; `isContinued` as in the moments that follow.
    void BeginSession(bool isContinued);
    void Note(const RecordMoment& moment, double now);
    void NoteBuffer(const BufferStatistics& buffer);
    void EndRecording(const RecordReport& report, double now);
    void End(ExitCode exitCode);

    const RecordMetrics& Metrics() const { return metrics_; }

private:
    // The sum of what several counters showed, each of which began at 0.
    class Tally {
    public:
        void Restart() { last_ = 0; }
        void See(uint64_t value) {
            total_ += value >= last_ ? value - last_ : value;
            last_ = value;
        }
        uint64_t Total() const { return total_; }

    private:
        uint64_t total_ = 0;
        uint64_t last_ = 0;
    };

    void NoteMatches(const std::vector<Match>& matches, double now);
    void NoteAudio(const RecordMoment& moment);
    void NoteStream(const StreamTotals& totals);

    RecordMetrics metrics_;
    std::vector<Tally> matches_;  // of the references
    Tally stream_, written_, bytes_, reconnections_, outage_, gaps_, lost_, damages_;
    uint64_t received_ = 0;  // of this session's stream, as far as it was told
};

// Without user, password, port and path.
std::string HostOf(const std::string& url);

}  // namespace receiver

// Gathers what the status line shows. Pure but for the meter, which falls from call to call.
//
//   Units    times ms (TickMs).
//   Threads  one.
#pragma once

#include <string>

#include "receiver_record/display/status_line.h"
#include "receiver_record/output/audio_progress.h"
#include "receiver_record/session_record.h"

namespace receiver {

class LiveStatus final {
public:
    LiveStatus() { status_.state = kShownStarting; }

    void SetSession(const SessionRecord& session, bool stopping);
    // As the receiver has told just now.
    void SetBuffer(const BufferStatistics& buffer, uint64_t now);
    // The receiver is asked seldom: until the next time the stream is taken to come at the pace
    // that it had, and the buffer to hold what came of it and was not fetched. After SetAudio.
    void SetTime(uint64_t now);
    // `peak` is the highest sample since the last call, 0..1. After SetSession.
    void SetAudio(const AudioProgress& audio, double peak);

    const RecordStatus& Status() const { return status_; }

private:
    RecordStatus status_;
    std::optional<uint64_t> programFrames_;
    bool isLive_ = true;        // the session goes on, and its source with it
    uint64_t audioFrames_ = 0;  // received
    BufferStatistics told_;     // valid once toldAt_ is not 0
    uint64_t toldAt_ = 0;
    uint64_t audioFramesThen_ = 0;
    double pace_ = 1;  // seconds of the stream in a second
};

}  // namespace receiver

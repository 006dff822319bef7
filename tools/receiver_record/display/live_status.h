// Gathers what the status line shows. Pure but for the meter, which falls from call to call.
//
//   Threads  one.
#pragma once

#include <string>

#include "receiver_record/display/status_line.h"
#include "receiver_record/output/audio_progress.h"
#include "receiver_record/session_record.h"

namespace receiver {

class LiveStatus final {
public:
    LiveStatus() { status_.state = "STARTING"; }

    void SetSession(const SessionRecord& session, bool stopping);
    void SetBuffer(const BufferStatistics& buffer);
    // `peak` is the highest sample since the last call, 0..1. After SetSession.
    void SetAudio(const AudioProgress& audio, double peak);

    const RecordStatus& Status() const { return status_; }

private:
    RecordStatus status_;
    std::optional<uint64_t> programFrames_;
};

}  // namespace receiver

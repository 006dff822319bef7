// The programme cut out of the stream: begins where its source stands, ends where
// the boundary callback says, and fades the last frames. The end may move while
// the programme is read, so the callback is asked before and after every read.
//
//   Units    positions are source frames.
//   Threads  one at a time; the callback runs inside Read, without locks of ours.
//   Errors   the constructor throws std::runtime_error "Invalid prepared program
//            format" unless the source is open and delivers 16-bit PCM. An empty
//            callback makes Read throw std::bad_function_call.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "audio/audio_file.h"

namespace receiver {

struct ReceiverProgramBoundary {
    uint64_t end;         // first frame that is no longer part of the programme
    uint64_t fadeFrames;  // before the end; 0 for none
};

class CReceiverProgramAudioFile final : public CAudioFile {
public:
    using BoundaryCallback = std::function<ReceiverProgramBoundary()>;

    // The source stands at startSample; it is not owned and outlives the object.
    CReceiverProgramAudioFile(CAudioFile& source, uint64_t startSample, BoundaryCallback boundary);

    BOOL Open(const std::string&) override { return 0; }  // open from construction
    BOOL Close() override;                                // leaves the source alone
    int32_t Read(void* buffer, uint32_t count) override;  // whole frames only
    BOOL Seek(float position) override;  // 1 only for 0 while nothing has been read
    bool IsOpen() const override { return open_ != 0; }

private:
    CAudioFile& source_;
    const uint64_t startSample_;
    uint64_t position_;
    const BoundaryCallback boundary_;
    WAVEFORMATEX record_;
};

}  // namespace receiver

// Serves an audio file to the one client of an audio pipe, as a "PCM1" stream
// (wire/pcm1_record.h), and tells whether the client took all of it.
#pragma once

#include <cstdint>
#include <functional>

#include "audio/audio_file.h"
#include "pipe/pcm_pipe.h"

namespace receiver {

struct PcmStreamOptions {
    uint64_t lengthFrames;      // goes into the header as it is
    uint32_t framesPerChunk;    // nonzero, at most 1048576 bytes' worth
    uint32_t pacingMs;          // least time between the starts of two chunks; 0 for none
    uint32_t ioTimeoutMs;       // for each write and for the acknowledgement
    uint32_t connectTimeoutMs;  // for the client to come; 0 means ioTimeoutMs
};

// Blocks until the stream is acknowledged, the client or the source fails, or the
// endpoint's cancellation is signalled; runs wholly on the calling thread.
//   endpoint     listening; its LastError() keeps the cause of a failure
//   source       open, 16-bit PCM; its Read may block
//   onConnected  called once, on this thread and without locks, when the client has
//                come and before the header is sent; may be empty
// True when the whole stream was delivered: acknowledged correctly (also after a
// failed source), or the client hung up after the end record of a source that
// ended normally.
bool ServePcmStream(CPcmPipe& endpoint, CAudioFile& source, const PcmStreamOptions& options,
                    std::function<void()> onConnected);

}  // namespace receiver

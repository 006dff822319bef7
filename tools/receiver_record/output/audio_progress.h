// How far the audio of a recording has come. Plain data.
#pragma once

#include <cstdint>
#include <string>

#include "receiver_client/pcm1_reader.h"

namespace receiver {

enum class AudioEnd {
    kRunning,
    kComplete,      // the receiver sent all of the programme
    kSourceFailed,  // all that there was before the source failed
    kLost,          // the pipe broke, or what came was no audio stream
    kOutputFailed,
};

struct AudioProgress {
    AudioEnd end = AudioEnd::kRunning;
    PcmFormat format;             // valid once framesQueued is not 0
    uint64_t framesReceived = 0;  // of the stream, the programme or not
    uint64_t framesQueued = 0;    // of the programme, as far as it is known
    uint64_t framesWritten = 0;   // of them, given to the encoder
    std::string failure;          // for kLost and kOutputFailed
    bool playable = false;        // valid after Finish: there is a file that can be played
};

}  // namespace receiver

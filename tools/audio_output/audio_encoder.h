// Turns PCM into an audio file of one of the output formats, in a sink.
//
//   Units    a frame is one sample of every channel, interleaved, of 16 bits; of 32 where the
//            format stores more (OutputFormat::TakesWidePcm).
//   Threads  one at a time.
//   Errors   the constructor throws std::runtime_error with a text for people; Write
//            and Finish answer false, and FailureText() tells why.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audio_output/output_format.h"
#include "audio_output/recording_sink.h"

namespace receiver {

using RecordingTags = std::vector<std::pair<std::string, std::string>>;

class AudioEncoder final {
public:
    // Writes the file's head. The sink outlives the object.
    AudioEncoder(const OutputFormat& format, uint32_t sampleRate, uint16_t channels,
                 const RecordingTags& tags, RecordingSink& sink);
    ~AudioEncoder();
    AudioEncoder(const AudioEncoder&) = delete;
    AudioEncoder& operator=(const AudioEncoder&) = delete;

    // After a failure nothing more is taken.
    bool Write(const void* pcm, size_t frames);
    // Makes the file whole: with all that was written, or after a failed Write with what
    // reached the sink before it. True when the file can be played.
    bool Finish();

    std::string FailureText() const;

private:
    class Encoder;
    std::unique_ptr<Encoder> encoder_;
};

}  // namespace receiver

// A recording sink as FFmpeg's output, which remembers up to where everything has
// reached the sink. Private to audio_output/.
//
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "audio/ffmpeg.h"
#include "audio_output/recording_sink.h"

namespace receiver {

class SinkIo final {
public:
    explicit SinkIo(RecordingSink& sink);  // throws std::runtime_error

    AVIOContext* Context() const { return context_.get(); }
    // Hands on what FFmpeg has buffered. False once a write has failed.
    bool Flush();
    // After a failure: forgets what was written since the last good Flush, there and
    // here, so that the file can be closed there. False for a sink that cannot seek.
    bool RewindToGood();
    const std::string& FailureText() const { return failure_; }

private:
    struct ContextDeleter {
        void operator()(AVIOContext* context) const;
    };

    // FFmpeg calls one of these, by its version.
    static int WritePacket(void* self, const uint8_t* data, int size);
    static int WritePacket(void* self, uint8_t* data, int size);
    static int64_t Seek(void* self, int64_t offset, int whence);

    RecordingSink& sink_;
    std::unique_ptr<AVIOContext, ContextDeleter> context_;
    uint64_t position_ = 0;
    uint64_t size_ = 0;
    uint64_t good_ = 0;      // all before it is in the sink
    bool dropping_ = false;  // FFmpeg's leftovers go nowhere
    std::string failure_;
};

}  // namespace receiver

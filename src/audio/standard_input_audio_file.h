// What comes on standard input, as a decoder reads a file: whatever FFmpeg understands. It
// has no length and does not seek.
//
//   Threads  as the decoder. One object at a time: there is one standard input.
//   Errors   as the decoder.
#pragma once

#include <string>

#include "audio/ffmpeg_streaming_decoder.h"

struct AVIOContext;

namespace receiver {

class StandardInputAudioFile final : public CFFmpegStreamingDecoder {
public:
    StandardInputAudioFile() = default;
    ~StandardInputAudioFile() override;

    BOOL Close() override;  // leaves standard input itself open
    BOOL Seek(float) override { return 0; }

protected:
    int ConfigureInput(AVFormatContext* context, AVDictionary** options) override;
    bool ComputesLength() const override { return false; }

private:
    AVIOContext* stream_ = nullptr;  // while open; FFmpeg leaves it to us
};

}  // namespace receiver

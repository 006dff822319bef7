// The container beneath a decoder: opens a file or URL with FFmpeg, chooses its first
// audio stream, hands out the packets of that stream and moves within it. Private to audio/.
//
//   Units    timestamps count the chosen stream's time base.
//   Threads  one at a time.
//   Errors   Open answers with a kDecoderError... code, NextPacket with FFmpeg's.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "audio/decoder_errors.h"
#include "audio/ffmpeg.h"

namespace receiver {

class MediaInput final {
public:
    // Gets the new context and an empty dictionary before anything is opened; a negative
    // FFmpeg error code ends the opening.
    using Configure = std::function<int(AVFormatContext* context, AVDictionary** options)>;

    // `path` is in the ANSI code page. kDecoderErrorNone, or why it is still closed. Calls
    // `configure` at most once and does not keep it.
    uint32_t Open(const std::string& path, const Configure& configure);
    void Close();

    // All below: while open.

    // Lets FFmpeg skip the packets of every stream but the chosen one.
    void DiscardOtherStreams();
    // 0 and the chosen stream's next packet, which is the caller's to unreference, or a
    // negative FFmpeg error code (AVERROR_EOF at the end) and a blank one.
    int NextPacket(AVPacket* packet);
    // `flags` are FFmpeg's. False when the input cannot go there.
    bool Seek(int64_t timestamp, int flags);

    const AVFormatContext& Context() const { return *context_; }
    AVFormatContext& Context() { return *context_; }
    const AVStream& Stream() const { return *context_->streams[streamIndex_]; }
    AVStream& Stream() { return *context_->streams[streamIndex_]; }

private:
    uint32_t ChooseStream(AVFormatContext* context);

    InputContextPtr context_;
    int streamIndex_ = -1;
};

}  // namespace receiver

// The decoded frames of an input's audio stream, one after the other. Private to audio/.
//
//   Threads  one at a time.
//   Errors   Open answers with a kDecoderError... code, Next with FFmpeg's. What the
//            decoder refuses is left out: a damaged packet is not the end of a stream. What
//            there is no memory for is: AVERROR(ENOMEM), until Restart.
#pragma once

#include <cstdint>

#include "audio/ffmpeg.h"
#include "audio/media_input.h"
#include "audio/packet_pace.h"
#include "audio/stream_watch.h"

namespace receiver {

class FrameSource final {
public:
    explicit FrameSource(MediaInput& input) : input_(input) {}

    // The input is open. After a failure, what was opened stays until Close.
    // `watch`, if any, is told what passes, and outlives what is opened.
    uint32_t Open(StreamWatch* watch = nullptr);
    void Close();

    // All below: while open.

    // 0 when Frame() is the next one, otherwise a negative error code, the input's or ENOMEM.
    int Next();
    const AVFrame& Frame() const { return *frame_; }
    void ReleaseFrame();  // lets go of its samples; the next Next does so, too
    void Restart();       // forgets what was fed, after a seek
    const AVCodecContext& Codec() const { return *codec_; }
    // Of what has arrived and is in no packet that the decoder has had yet; 0 where that cannot
    // be told.
    double SecondsAhead() const;

private:
    uint32_t OpenCodec();
    int SendPacket();

    MediaInput& input_;
    StreamWatch* watch_ = nullptr;
    CodecContextPtr codec_;
    FramePtr frame_;    // reused for every decoded frame
    PacketPtr packet_;  // reused for every read packet
    PacketPace pace_;
    bool outOfMemory_ = false;
};

}  // namespace receiver

// Seeks that are exact to the sample: directly where the input allows it, otherwise to an
// earlier point and from there forward by decoding. Private to audio/.
//
//   Units    seconds; rates in Hz.
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <string_view>

#include "audio/decoded_pcm.h"
#include "audio/frame_source.h"
#include "audio/media_input.h"

namespace receiver {

// PCM inputs can be entered at any sample; a path that says ".wav", in whatever case, is
// taken to be one.
bool SeeksDirectly(AVCodecID codec, std::string_view path);

struct SeekRequest {
    double seconds;         // finite
    bool direct;            // see SeeksDirectly
    double preRollSeconds;  // how far before the target decoding starts, unless direct
    double outputRate;
};

struct SeekOutcome {
    bool done;        // also when the input ends before the target
    uint32_t error;   // kDecoderError..., which a frame that cannot be converted leaves, too
    double position;  // what the next read starts with; the target where that is unknown
};

class SampleSeek final {
public:
    SampleSeek(MediaInput& input, FrameSource& frames, DecodedPcm& pcm)
        : input_(input), frames_(frames), pcm_(pcm) {}

    // All three are open. The PCM from the target on is kept in `pcm`, or comes with the
    // next frame.
    SeekOutcome To(const SeekRequest& request);

private:
    bool MoveInput(double seconds, double timeBase);
    SeekOutcome DecodeForward(const SeekRequest& request, double start, double timeBase);

    MediaInput& input_;
    FrameSource& frames_;
    DecodedPcm& pcm_;
};

}  // namespace receiver

// How long an input is, in bytes of the PCM that it decodes to: by what its container
// says, or by a count of its packets where that is asked for or says what cannot be.
// Private to audio/.
#pragma once

#include <cstdint>

#include "audio/media_input.h"

namespace receiver {

// Truncates; what no length can be becomes the nearest that can.
uint64_t LengthOfDuration(uint32_t bytesPerSecond, double seconds);

// For an input without a duration: a fixed stretch of its compressed bytes, and 1 MiB where
// not even their rate is known. It says "some", not how much.
uint64_t LengthWithoutDuration(int64_t bitsPerSecond);

// Whether a file of that size is so much larger than its streams' bit rate explains that
// the duration must be wrong. Sizes and rates below 1 are unknown, and nothing is doubted.
bool IsDurationDoubtful(double seconds, int64_t fileBytes, double bitsPerSecond);

// The sum of the declared bit rates of all audio and video; 0 when one of them declares none.
double DeclaredBitRate(const AVFormatContext& context);

// Sums the durations of the stream's packets, from the first to the last, and leaves the
// input at its start. kDecoderErrorNone, -OutOfMemory or -Seek.
uint32_t MeasureDuration(MediaInput& input, double* seconds);

// The length by `exact` measurement or else by the best that is known without reading all.
// kDecoderErrorNone, or why a measurement failed.
uint32_t FindLength(MediaInput& input, uint32_t bytesPerSecond, bool exact, uint64_t* bytes);

}  // namespace receiver

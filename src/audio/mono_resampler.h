// Mono 16-bit PCM from one rate to another: the bridge from the stream's rate to
// the detector's analysis rate.
//
//   Units    sample counts are mono samples; rates Hz.
//   Threads  one at a time.
//   Errors   counts below 0 are FFmpeg error codes.
#pragma once

#include <cstdint>
#include <memory>

namespace receiver {

class MonoResampler final {
public:
    MonoResampler();
    ~MonoResampler();
    MonoResampler(const MonoResampler&) = delete;
    MonoResampler& operator=(const MonoResampler&) = delete;

    bool Open(uint32_t inputRate, uint32_t outputRate);  // starts afresh
    void Close();

    // The most samples that Convert can give for so much more input.
    int OutputBound(int inputSamples) const;
    // Returns the samples written to `output`.
    int Convert(const int16_t* input, int inputSamples, int16_t* output, int outputCapacity);
    // What is still held inside after the last input; 0 when nothing is left.
    int Drain(int16_t* output, int outputCapacity);

private:
    struct Context;
    std::unique_ptr<Context> context_;
};

}  // namespace receiver

// Interleaved 16-bit PCM from one rate to another, all channels kept. What is fed is one
// signal: pieces of any size give the same samples.
//
//   Units    frames; rates Hz.
//   Threads  one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace receiver {

class PcmRateConverter final {
public:
    PcmRateConverter();
    ~PcmRateConverter();
    PcmRateConverter(PcmRateConverter&&) noexcept;
    PcmRateConverter& operator=(PcmRateConverter&&) noexcept;

    bool Open(uint32_t inputRate, uint32_t outputRate, uint16_t channels);  // starts afresh
    // Appends what comes out. False without memory.
    bool Convert(const int16_t* samples, size_t frames, std::vector<uint8_t>& output);

private:
    struct Context;
    std::unique_ptr<Context> context_;
    uint16_t channels_ = 0;
};

}  // namespace receiver

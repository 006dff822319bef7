// The one live line of a recording, cut to the width of the terminal. Pure.
//
//   Units  times ms.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace receiver {

struct RecordStatus {
    std::string state;                 // "SCANNING", "RECORDING", ...
    std::optional<uint64_t> streamMs;  // how much of the stream has been received
    std::optional<uint64_t> bufferMs;  // what the receiver holds ready
    std::optional<double> peak;        // 0..1
    std::string matchId;               // of the last match; empty before one
    double matchBer = 0;
    std::optional<uint64_t> programMs;    // how much of the programme has come
    std::optional<uint64_t> remainingMs;  // to the programme's end
};

// At most `width` columns, ASCII, without a line feed: where room is short everything
// becomes brief first, and then what matters most is kept.
std::string RenderStatusLine(const RecordStatus& status, size_t width);

// What the meter shows next: it rises at once and falls by 2 dB a step, because the
// audio comes in bursts with nothing between them.
double NextMeterPeak(double shown, double peak);

// "#####---" over 60 dB, one sign for every step of `columns`.
std::string RenderLevelMeter(double peak, size_t columns);

}  // namespace receiver

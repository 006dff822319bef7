// A live station on a clock of its own, which runs only while somebody waits for it: hours of
// listening take no time, and every arrival is where the test says.
//
//   Units    frames of what is on the air, which begins at kSignOnMs; times are ms.
//   Threads  one at a time.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>

#include "audio/reconnecting_audio_file.h"
#include "testing/audio_generator.h"

namespace receiver {

class SimulatedStation final {
public:
    static constexpr uint64_t kSignOnMs = 1000000;

    // What becomes of an attempt to connect.
    struct Visit {
        bool refused = false;
        std::optional<uint32_t> retryAfterSeconds;
        uint64_t openingMs = 20;  // until it is open or has been refused
        double burstSeconds = 4;
        std::optional<uint64_t> frames;  // delivered until it breaks off
        uint64_t spoiltFrames = 0;       // the last of these are wrong
        int32_t result = -1;             // of the Read that breaks off
        uint64_t stallMs = 0;            // that it takes
        uint64_t pieceFrames = 256;      // that are sent at a time
        bool fromTheStart = false;       // of the audio, at the speed of time
        bool atOnce = false;             // from the start, as fast as it is read, and ends
        const TestPcm* other = nullptr;  // instead of the station's audio
        // What the stream's time stamps say at the first frame of the air, in seconds.
        std::optional<double> timeOnAir;
        bool countsAnew = false;  // they are 0 at the connection's first frame
        // Frames are given in packets of so many, when all of one have come; what has come of the
        // next one is told.
        uint64_t packetFrames = 1;
    };

    explicit SimulatedStation(const TestPcm& audio) : audio_(audio) {}  // which outlives it

    // For the attempts in this order; those after them are as a Visit is by default.
    std::deque<Visit> plan;
    std::function<void()> onWait;  // before the clock runs

    uint64_t NowMs() const { return nowUs_ / 1000; }
    void Wait(uint64_t ms) { RunTo(nowUs_ + ms * 1000); }
    const TestPcm& Audio() const { return audio_; }
    // One past the frame that is on the air.
    uint64_t LiveEdge() const;

    // The object outlives what uses these.
    ReconnectTiming Timing(double random = 0.5);
    ConnectionFactory Factory(std::shared_ptr<CFFmpegNetworkCancellation> cancellation);
    std::deque<uint64_t> attemptsMs;       // when each began
    std::deque<ConnectionFormat> formats;  // that each was asked for

private:
    class Connection;

    void RunTo(uint64_t us);

    const TestPcm& audio_;
    uint64_t nowUs_ = kSignOnMs * 1000;
};

}  // namespace receiver

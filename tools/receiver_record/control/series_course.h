// How a series of recordings goes on after each of them. Pure.
//
//   Units  times ms.
#pragma once

#include <cstdint>
#include <optional>

#include "receiver_record/exit_code.h"

namespace receiver {

// What one recording came to.
struct TurnEnd {
    ExitCode exitCode = ExitCode::kFailure;
    bool hasRecorded = false;   // there is a file
    bool hasConnected = false;  // the source was open
    bool sourceEnded = false;   // and came to its end
    bool isStopped = false;     // by the user, the time that was set, or the end of patience
};

class SeriesCourse final {
public:
    static constexpr uint64_t kMaxPauseMs = 60000;

    // The pause before the next recording; nothing when the series is over.
    std::optional<uint64_t> After(const TurnEnd& end);
    // The user ended it, be it between two recordings: told like an interruption in one of them,
    // unless the series is over by a failure.
    void Interrupt();
    // Valid once it is over.
    ExitCode Result() const { return result_; }
    uint64_t Recorded() const { return recorded_; }

private:
    ExitCode result_ = ExitCode::kComplete;
    uint64_t recorded_ = 0;
    bool hasConnected_ = false;
    uint64_t pauseMs_ = 0;
};

}  // namespace receiver

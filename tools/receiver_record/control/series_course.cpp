#include "receiver_record/control/series_course.h"

#include <algorithm>

namespace receiver {
namespace {

constexpr uint64_t kFirstPauseMs = 1000;
// A source that ends is a file, or a station that goes off the air.
constexpr uint64_t kEndedPauseMs = 5000;

// Of what may happen to a programme without ending the series.
int Badness(ExitCode code) {
    if (code == ExitCode::kSourceError) return 2;
    return code == ExitCode::kGaps ? 1 : 0;
}

bool MayGoOn(ExitCode code) {
    return code == ExitCode::kComplete || code == ExitCode::kGaps ||
           code == ExitCode::kSourceError || code == ExitCode::kStartNotFound;
}

}  // namespace

std::optional<uint64_t> SeriesCourse::After(const TurnEnd& end) {
    hasConnected_ = hasConnected_ || end.hasConnected;
    if (end.hasRecorded) {
        ++recorded_;
        if (Badness(end.exitCode) > Badness(result_)) result_ = end.exitCode;
    }
    if (!MayGoOn(end.exitCode) || !hasConnected_) {
        result_ = end.exitCode;
        return {};
    }
    if (end.isStopped) {
        if (recorded_ == 0) result_ = end.exitCode;
        return {};
    }
    if (end.exitCode == ExitCode::kComplete || end.exitCode == ExitCode::kGaps) {
        pauseMs_ = 0;
        return end.sourceEnded ? kEndedPauseMs : 0;
    }
    pauseMs_ = pauseMs_ == 0 ? kFirstPauseMs : std::min(pauseMs_ * 2, kMaxPauseMs);
    return pauseMs_;
}

void SeriesCourse::Interrupt() {
    if (MayGoOn(result_)) result_ = ExitCode::kInterrupted;
}

}  // namespace receiver

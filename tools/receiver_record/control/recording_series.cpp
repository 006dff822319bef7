#include "receiver_record/control/recording_series.h"

#include <algorithm>
#include <ctime>
#include <optional>

#include "platform/clock.h"
#include "receiver_record/control/receiver_link.h"
#include "receiver_record/control/recorder.h"
#include "receiver_record/control/series_course.h"
#include "wire/messages.h"

namespace receiver {
namespace {

bool IsOver(const std::optional<std::time_t>& until) {
    return until && std::time(nullptr) >= *until;
}

// Whether it is to go on.
bool Pause(uint64_t ms, const ManualResetEvent& interrupted,
           const std::optional<std::time_t>& until) {
    if (until) {
        const std::time_t left = *until - std::min(*until, std::time(nullptr));
        ms = std::min(ms, static_cast<uint64_t>(left) * 1000);
    }
    return !interrupted.Wait(static_cast<uint32_t>(ms)) && !IsOver(until);
}

}  // namespace

ExitCode RunRecordings(const RecordOptions& options, const ManualResetEvent& interrupted,
                       RecordConsole& console, RecordMonitor& monitor) {
    std::optional<std::time_t> until;
    if (options.schedule.until) until = NextTimeOf(*options.schedule.until, GetLocalTimeNow());
    ReceiverLink link(options, interrupted);
    SeriesCourse course;
    for (;;) {
        Recorder recorder(options, interrupted, console, monitor, link,
                          {.number = course.Recorded() + 1, .until = until});
        const ExitCode exitCode = recorder.Run();
        if (!options.schedule.repeat) return exitCode;
        const RecordReport& report = recorder.Report();
        const auto pause = course.After(
            {.exitCode = exitCode,
             .hasRecorded = !report.output.empty(),
             .hasConnected = recorder.HasConnected(),
             .sourceEnded = CameToItsEnd(report) && EndReason(report) == kEndSourceEnded,
             .isStopped = interrupted.IsSignalled() || IsOver(until) ||
                          (options.waitMs && exitCode == ExitCode::kStartNotFound)});
        if (!pause || !Pause(*pause, interrupted, until)) break;
    }
    if (interrupted.IsSignalled()) course.Interrupt();
    console.Info(std::to_string(course.Recorded()) + (course.Recorded() == 1
                                                          ? " programme was recorded"
                                                          : " programmes were recorded"));
    return course.Result();
}

}  // namespace receiver

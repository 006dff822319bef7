// The report of a recording that went well.
#pragma once

#include "receiver_record/record_report.h"

namespace receiver {

inline RecordReport CompleteReport() {
    RecordReport report;
    report.exitCode = ExitCode::kComplete;
    report.url = "http://radio/";
    report.output = "a.wav";
    report.format = {44100, 2};
    report.frames = 88200;
    report.startSample = 44100;
    report.program = Program{44100, 132300, 44100, 0, "outro"};
    report.matches = {{"jingle", Role::kStart, 44100, 50000, 0.0123}};
    return report;
}

}  // namespace receiver

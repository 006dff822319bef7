#include "receiver_record/record_report.h"

#include <chrono>
#include <cstdio>

#include "wire/messages.h"

namespace receiver {

const char* OutcomeName(ExitCode code) {
    switch (code) {
        case ExitCode::kComplete:
            return "complete";
        case ExitCode::kStartNotFound:
            return "start-not-found";
        case ExitCode::kSourceError:
            return "source-error";
        case ExitCode::kInterrupted:
            return "interrupted";
        case ExitCode::kOutputError:
            return "output-error";
        case ExitCode::kGaps:
            return "complete-with-gaps";
        case ExitCode::kUsage:
        case ExitCode::kFailure:
            break;
    }
    return "failure";
}

std::string FormatBer(double ber) {
    char text[24];
    std::snprintf(text, sizeof(text), "%.4f", ber);
    return text;
}

bool CameToItsEnd(const RecordReport& report) {
    return report.exitCode == ExitCode::kComplete || report.exitCode == ExitCode::kGaps;
}

std::string EndReason(const RecordReport& report) {
    if (!CameToItsEnd(report)) return OutcomeName(report.exitCode);
    if (report.untilReached) return kEndUntil;
    return report.program ? report.program->reason : kEndSourceEnded;
}

std::string UtcNow() {
    return UtcBefore(0);
}

std::string UtcBefore(uint64_t ms) {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now()) - milliseconds(ms);
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(now - day);
    char text[64];
    std::snprintf(
        text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
        static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
        static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
    return text;
}

}  // namespace receiver

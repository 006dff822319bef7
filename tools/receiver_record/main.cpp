// receiver-record: records one programme of a stream to a file.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <utility>

#include "command_line/terminal.h"
#include "platform/clock.h"
#include "platform/console_control.h"
#include "platform/output_stream.h"
#include "platform/standard_streams.h"
#include "receiver_record/control/recording_series.h"
#include "receiver_record/display/record_console.h"
#include "receiver_record/display/record_texts.h"
#include "receiver_record/display/reference_warnings.h"
#include "receiver_record/display/status_display.h"
#include "receiver_record/display/text_queue.h"
#include "receiver_record/metrics/record_monitor.h"
#include "receiver_record/request/record_options.h"

namespace receiver {
namespace {

std::string TimeStamp() {
    const LocalTime now = GetLocalTimeNow();
    char text[40];
    std::snprintf(text, sizeof(text), "%04u-%02u-%02u %02u:%02u:%02u", now.year, now.month, now.day,
                  now.hour, now.minute, now.second);
    return text;
}

StatusDisplay::Settings DisplaySettings() {
    const char* const noColour = std::getenv("NO_COLOR");
    StatusDisplay::Settings settings;
    settings.timeStamp = TimeStamp;
    settings.width = EnableTerminalControl() ? TerminalWidth : [] { return size_t{0}; };
    settings.colour = noColour == nullptr || *noColour == '\0';
    return settings;
}

int Run(const RecordOptions& options) {
    ManualResetEvent interrupted;
    const ConsoleControl control(interrupted);
    TextQueue::Settings forPeople{"record-errors", DroppedLinesNote};
    TextQueue::Settings forPrograms{"record-json", DroppedEventsNote};
    forPrograms.flushMs = 5000;  // the last line tells what became of the recording
    TextQueue errors(OpenStandardError(), std::move(forPeople));
    std::optional<TextQueue> json;
    if (options.json) json.emplace(OpenStandardOutput(), std::move(forPrograms));
    StatusDisplay display(errors, DisplaySettings());
    RecordConsole console(options, display, json ? &*json : nullptr);
    const auto warn = [&](const std::string& line) { console.Warning(line); };
    std::optional<RecordMonitor> monitor;
    try {
        monitor.emplace(options, warn);
    } catch (const std::runtime_error& e) {
        console.Warning(std::string("receiver-record: ") + e.what());
        return static_cast<int>(ExitCode::kUsage);
    }
    if (const std::string url = monitor->Url(); !url.empty()) console.Info("Metrics: " + url);
    WarnOfReferences(options, console);
    const ExitCode exitCode = RunRecordings(options, interrupted, console, *monitor);
    monitor->End(exitCode);
    return static_cast<int>(exitCode);
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    using namespace receiver;
    try {
        const bool isOutputMissing = OpenMissingStandardStreams();
        const CommandLine line = ParseCommandLine(argc, argv);
        if (line.answer) return Give(*line.answer);
        if (line.options.ToStandardOutput() && isOutputMissing) {
            WriteStandardErrorLine("receiver-record: standard output is closed");
            return static_cast<int>(ExitCode::kOutputError);
        }
        return Run(line.options);
    } catch (const std::exception& e) {
        WriteStandardErrorLine(std::string("receiver-record: ") + e.what());
        return static_cast<int>(ExitCode::kFailure);
    }
}

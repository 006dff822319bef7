#include "receiver_scan/discover/discover_command.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <span>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "audio_output/part_file.h"
#include "command_line/duration.h"
#include "platform/standard_streams.h"
#include "platform/text.h"
#include "receiver_scan/cut/recording_cut.h"
#include "receiver_scan/discover/discovery.h"
#include "receiver_scan/discover/discovery_page.h"
#include "receiver_scan/discover/discovery_report.h"
#include "receiver_scan/discover/repeat_search.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/source/interruption.h"
#include "receiver_scan/source/opened_source.h"
#include "receiver_scan/source/progress_bar.h"
#include "receiver_scan/source/scan_output.h"
#include "session/program_end.h"

namespace receiver {
namespace {

struct DiscoverValues {
    std::vector<std::string> sources;
    std::string shortest, longest, exportFolder, reportFile;
    bool json = false;
    bool force = false;
};

struct DiscoverOptions {
    GroupingLimits limits;
    std::string exportFolder, reportFile;
};

ToolDescription DescribeDiscover() {
    ToolDescription tool = {};
    tool.name = "discover";
    tool.purpose = "what is heard again and again in hours of a station";
    tool.usage = "[OPTIONS] SOURCE...";
    tool.description =
        "Finds every stretch of 1 to 60 s that is heard at least twice: jingles, advertisements,\n"
        "signatures. The most jingle-like come first.";
    tool.notes = {"Durations: 90s, 2.5s, 00:01:00, or a number of seconds."};
    tool.details = {
        "Jingle-like is what is short, heard often, and at the same minutes of the hour, and not "
        "only within one song. Songs and programmes that are repeated whole are counted, but not "
        "listed.",
        "--export writes the clearest time of each, to be used as --start or --end of "
        "receiver-record; look at it with receiver-scan check first."};
    tool.examples = {
        {"the jingles of a morning, as files",
         "receiver-scan discover monday.mp3 tuesday.mp3 --export jingles"},
        {"a page that shows where each was heard",
         "receiver-scan discover monday.mp3 --report monday.html"},
    };
    tool.exitCodes = {
        {static_cast<int>(ScanExitCode::kFound), "something is heard again"},
        {static_cast<int>(ScanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(ScanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(ScanExitCode::kNotFound), "nothing is heard again"},
        {static_cast<int>(ScanExitCode::kSourceError), "a source cannot be read"},
        {static_cast<int>(ScanExitCode::kInterrupted), "interrupted; no file is left half-written"},
        {static_cast<int>(ScanExitCode::kOutputError), "a file could not be written, or exists"},
    };
    return tool;
}

void Declare(CLI::App& app, DiscoverValues& values) {
    app.add_option("SOURCE", values.sources,
                   "Recordings of a station in any format that FFmpeg reads")
        ->type_name("")
        ->required();
    const auto add = [&](const char* name, std::string& value, const char* type, const char* group,
                         const char* text) {
        app.add_option(name, value, text)->type_name(type)->group(group);
    };
    const char* const what = "What to find";
    add("--shortest", values.shortest, "DURATION", what, "1s to 60s (default: 1s)");
    add("--longest", values.longest, "DURATION", what, "1s to 10m (default: 60s)");
    const char* const output = "Output";
    add("--export", values.exportFolder, "FOLDER", output,
        "Write the clearest time of each as a WAV file into this folder");
    add("--report", values.reportFile, "FILE.html", output,
        "Write a page that shows where each was heard");
    app.add_flag("--json", values.json, "Write one JSON object per line instead of the text")
        ->group(output);
    app.add_flag("--force", values.force, "Replace existing files")->group(output);
}

double Seconds(const char* option, const std::string& text, uint64_t usualMs, uint64_t mostMs) {
    if (text.empty()) return static_cast<double>(usualMs) / 1000.0;
    const std::optional<uint64_t> ms = ParseDuration(text);
    if (!ms || *ms < 1000 || *ms > mostMs) {
        throw std::invalid_argument(std::string(option) + ": \"" + text +
                                    "\" is not a duration from 1s to " + FormatDuration(mostMs));
    }
    return static_cast<double>(*ms) / 1000.0;
}

DiscoverOptions Check(const DiscoverValues& values) {
    DiscoverOptions options;
    options.limits.shortest = Seconds("--shortest", values.shortest, 1000, 60000);
    options.limits.longest = Seconds("--longest", values.longest, 60000, 600000);
    if (options.limits.shortest > options.limits.longest) {
        throw std::invalid_argument("--shortest is above --longest");
    }
    if (!values.reportFile.empty() && !ToLowerAscii(values.reportFile).ends_with(".html")) {
        throw std::invalid_argument("--report: \"" + values.reportFile +
                                    "\" does not end in .html");
    }
    for (const std::string& source : values.sources) {
        if (IsUrl(source) || IsStandardInput(source)) {
            throw std::invalid_argument(PublicName(source) +
                                        ": record it to a file first, an hour or more of it");
        }
    }
    options.limits.threads = std::max(1u, std::thread::hardware_concurrency());
    return options;
}

StationFingerprint HearSources(const std::vector<std::string>& sources, const StopRequested& stop) {
    StationFingerprint station;
    ProgressBar bar(std::cerr, ProgressWidth());
    for (const std::string& name : sources) {
        const OpenedSource source = OpenSource(name);
        HearingOptions options;
        options.onProgress = [&](uint64_t frames) {
            const uint64_t ms = frames * 1000 / kStreamSampleRate;
            bar.Show(ms, source.lengthMs, FormatClock(ms) + " heard");
        };
        options.stopRequested = stop;
        AudioThinner thinner;
        options.onMono = [&](std::span<const int16_t> samples) { thinner.Append(samples); };
        const HeardAudio heard = Hear(*source.file, options);
        if (heard.end == HearingEnd::kStopped) throw Interrupted();
        if (heard.end == HearingEnd::kSourceFailed) {
            throw SourceError(PublicName(name) + ": cannot be read to its end");
        }
        AppendSource(name, heard, thinner.Finish(), station);
    }
    return station;
}

void Export(const std::string& folder, bool force, const StopRequested& stop,
            Discovery& discovery) {
    const std::filesystem::path path = ToFilesystemPath(folder);
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) throw OutputError(folder + ": " + error.message());
    std::map<size_t, std::vector<Cut>> cutsOf;  // of each source
    std::vector<double> rates;
    for (const StationSource& source : discovery.sources) {
        rates.push_back(RecordingReader(source.name).SampleRate());
    }
    for (Discovered& found : discovery.found) {
        const DiscoveredTime& time = found.times[found.clearest];
        const double rate = rates[time.source];
        found.exportedFile = Utf8ToAnsi(ToUtf8(path / (found.name + ".wav")));
        cutsOf[time.source].push_back(
            {static_cast<uint64_t>(std::llround(time.start * rate)),
             static_cast<uint64_t>(std::llround((time.start + found.seconds) * rate)),
             found.exportedFile});
    }
    for (const auto& [source, cuts] : cutsOf) {
        try {
            WriteCuts(discovery.sources[source].name, cuts, force, stop);
        } catch (const CutSourceError& failure) {
            throw SourceError(failure.what());
        } catch (const std::runtime_error& failure) {
            throw OutputError(failure.what());
        }
    }
}

void WriteReport(const std::string& file, bool force, const Discovery& discovery) {
    try {
        PartFile part(ToFilesystemPath(file), force);
        const std::string page = DiscoveryPage(discovery);
        if (!part.WriteAt(0, page.data(), page.size()) || !part.Commit()) {
            part.Discard();
            throw OutputError(file + ": " + part.FailureText());
        }
    } catch (const std::runtime_error& failure) {
        throw OutputError(failure.what());
    }
}

int Run(const DiscoverValues& values) {
    DiscoverOptions options = Check(values);
    const Interruption interruption(values.sources);
    options.limits.stop = interruption.Asked();
    const StopRequested& stop = options.limits.stop;
    const StationFingerprint station = HearSources(values.sources, stop);
    Discovery discovery = MakeDiscovery(
        station,
        GroupRepeats(station.words, station.levelsDb,
                     FindRepeats(station.words, station.levelsDb, options.limits.threads, stop),
                     options.limits));
    interruption.ThrowIfRequested();
    int exitCode =
        static_cast<int>(discovery.found.empty() ? ScanExitCode::kNotFound : ScanExitCode::kFound);
    try {
        if (!values.exportFolder.empty())
            Export(values.exportFolder, values.force, stop, discovery);
        if (!values.reportFile.empty()) WriteReport(values.reportFile, values.force, discovery);
    } catch (const OutputError& error) {
        WriteStandardErrorLine(std::string("receiver-scan: ") + error.what());
        exitCode = static_cast<int>(ScanExitCode::kOutputError);
    }
    for (const std::string& line :
         values.json ? DiscoveryJsonLines(discovery) : DiscoveryLines(discovery)) {
        WriteStandardOutputLine(line);
    }
    return exitCode;
}

}  // namespace

ToolCommand DiscoverCommand() {
    const auto values = std::make_shared<DiscoverValues>();
    return {DescribeDiscover(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver

#include "receiver_scan/listen/listen_options.h"

#include <limits>
#include <stdexcept>

#include "command_line/listening_options.h"
#include "platform/text.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/source/opened_source.h"

namespace receiver {
namespace {

constexpr size_t kUsualNearMisses = 5;
constexpr size_t kMaxNearMisses = 1000;
constexpr uint64_t kMaxListenMs = 366ULL * 24 * 3600 * 1000;

void DeclareListening(CLI::App& app, ListenValues& values) {
    const char* const group = "Listening";
    app.add_option("--for", values.duration,
                   "Listen no longer than this (default: until the source ends or Ctrl+C)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--io-timeout", values.ioTimeout,
                   "Longest silence of a URL, 100ms to 60s (default: 15s)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--near", values.nearMisses,
                   "Near misses to show of each recording, 0 to 1000 (default: 5)")
        ->type_name("NUMBER")
        ->group(group);
}

void DeclareOutput(CLI::App& app, ListenValues& values) {
    const char* const group = "Output";
    app.add_flag("--json", values.json,
                 "Write one JSON object per line instead of the table: matches, near misses, and "
                 "a summary")
        ->group(group);
    const auto add = [&](const char* name, std::string& file, const char* type, const char* text) {
        app.add_option(name, file, text)->type_name(type)->group(group);
    };
    add("--report", values.reportFile, "FILE.html",
        "Write a page with the curves, the matches and the near misses, to look at in a browser");
    add("--plot", values.plotFile, "FILE.svg", "Write the curves as a picture");
    add("--ber", values.berFile, "FILE.csv",
        "Write the bit error rate of every recording at every 12.5 ms");
    add("--dump-words", values.wordsFile, "FILE.hash",
        "Write the fingerprint of the source, as receiver-hash does");
}

// As the recorder has it: an end recording can only end a programme that has a maximum.
std::optional<ProgrammeLimits> LimitsOf(const ListenValues& values) {
    if (values.maximum.empty() && values.fade.empty() && values.ends.empty()) return {};
    ProgrammeLimits limits{kMaxProgramMs, 0};
    if (!values.maximum.empty()) {
        limits.maximumMs = static_cast<uint32_t>(
            DurationOf("--max", values.maximum, kMinProgramMs, kMaxProgramMs));
    }
    if (!values.fade.empty()) {
        limits.fadeMs = static_cast<uint32_t>(DurationOf("--fade", values.fade, 0, kMaxFadeMs));
    }
    return limits;
}

size_t NearMisses(const std::string& text) {
    if (text.empty()) return kUsualNearMisses;
    const bool isNumber = text.find_first_not_of("0123456789") == std::string::npos;
    const size_t number = isNumber && text.size() < 6 ? std::stoul(text) : kMaxNearMisses + 1;
    if (number > kMaxNearMisses) {
        throw std::invalid_argument("--near: \"" + text + "\" is not a number from 0 to " +
                                    std::to_string(kMaxNearMisses));
    }
    return number;
}

// A name that is typed in the wrong place must not cost a recording.
const std::string& WithExtension(const char* option, const std::string& file,
                                 const std::string& extension) {
    if (!file.empty() && !ToLowerAscii(file).ends_with(extension)) {
        throw std::invalid_argument(std::string(option) + ": \"" + file + "\" does not end in " +
                                    extension);
    }
    return file;
}

}  // namespace

void DeclareListenOptions(CLI::App& app, ListenValues& values) {
    app.add_option("SOURCE", values.source,
                   "A recording in any format that FFmpeg reads, - for standard input, or a "
                   "stream, http:// or https://")
        ->type_name("")
        ->required();
    DeclareRecordings(app, {values.starts, values.ends, values.others}, false);
    DeclareProgramme(app, values.maximum, values.fade);
    DeclareListening(app, values);
    DeclareOutput(app, values);
}

ListenOptions CheckListenOptions(const ListenValues& values) {
    if (values.starts.empty() && values.ends.empty() && values.others.empty()) {
        throw std::invalid_argument("there is nothing to listen for: --start, --end or --other");
    }
    ListenOptions options;
    options.source = values.source;
    options.starts = values.starts;
    options.ends = values.ends;
    options.others = values.others;
    options.limits = LimitsOf(values);
    if (!values.duration.empty()) {
        options.listenMs = DurationOf("--for", values.duration, 1, kMaxListenMs);
    }
    if (!values.ioTimeout.empty()) {
        options.ioTimeoutMs = static_cast<uint32_t>(
            DurationOf("--io-timeout", values.ioTimeout, kMinIoTimeoutMs, kMaxIoTimeoutMs));
    }
    options.maxNearMisses = NearMisses(values.nearMisses);
    options.reportFile = WithExtension("--report", values.reportFile, ".html");
    options.plotFile = WithExtension("--plot", values.plotFile, ".svg");
    options.berFile = WithExtension("--ber", values.berFile, ".csv");
    options.wordsFile = WithExtension("--dump-words", values.wordsFile, ".hash");
    options.json = values.json;
    return options;
}

ToolDescription DescribeListen() {
    ToolDescription tool = {};
    tool.name = "listen";
    tool.purpose = "what the receiver hears of its recordings";
    tool.usage = "[OPTIONS] SOURCE --start FILE";
    tool.description =
        "Lists every place at which the receiver would hear one of the recordings, and what it\n"
        "would do; and the places that came near, with a guess at what kept them from being heard.";
    tool.notes = {"Durations: 90s, 55m, 1h30m, 2.5s, 00:55:00, or a number of seconds."};
    tool.details = {
        "A recording is heard where at most 0.14 of the bits of its fingerprint differ from those "
        "of the source: its bit error rate, BER. Unlike audio differs in about half of them. The "
        "margin is what is left up to 0.14.",
        "A near miss is a place at which the BER has a minimum below 0.35 and the recording was "
        "not heard, at least the recording's length away from any other. Where a recording has "
        "neither, it was not in what was listened to, or too little of it."};
    tool.examples = {
        {"why did the recording not start?",
         "receiver-scan listen aircheck.mp3 --start jingle.wav --end outro.wav"},
        {"a page to look at and to send to somebody",
         "receiver-scan listen aircheck.mp3 --start jingle.wav --report aircheck.html"},
        {"ten minutes of a station, for another program",
         "receiver-scan listen http://radio.example/live --for 10m --start jingle.wav --json"},
    };
    tool.exitCodes = {
        {static_cast<int>(ScanExitCode::kFound), "a recording was heard"},
        {static_cast<int>(ScanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(ScanExitCode::kUsage),
         "wrong command line, or a recording to listen for is missing or unusable"},
        {static_cast<int>(ScanExitCode::kNotFound), "no recording was heard"},
        {static_cast<int>(ScanExitCode::kSourceError),
         "the source failed; what was heard until then is shown"},
        {static_cast<int>(ScanExitCode::kInterrupted),
         "interrupted; what was heard until then is shown"},
        {static_cast<int>(ScanExitCode::kOutputError), "an output file could not be written"},
    };
    return tool;
}

}  // namespace receiver

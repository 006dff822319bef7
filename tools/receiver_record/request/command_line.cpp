#include "receiver_record/request/command_line.h"

#include "audio_output/output_format.h"
#include "command_line/listening_options.h"
#include "receiver_record/exit_code.h"

namespace receiver {
namespace {

void DeclareReferences(CLI::App& app, CommandLineValues& values) {
    DeclareRecordings(app, {values.starts, values.ends, values.others}, false);
    app.add_option("--wait", values.wait, "Give up if no start has been heard after this long")
        ->type_name("DURATION")
        ->group(kListenForGroup);
}

void DeclareProgram(CLI::App& app, CommandLineValues& values) {
    const char* const group = "The programme";
    app.add_option("--max", values.maximum,
                   "Longest programme, 1s to 24h (default: no length ends it)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--min", values.minimum,
                   "Shortest programme: an --end recording that begins earlier does not end it")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--trim", values.trim,
                   "Cut off the recordings themselves: the programme begins after the start "
                   "recording, ends before the end recording, or both")
        ->type_name("start|end|both")
        ->group(group);
    app.add_option("--fade", values.fade,
                   "Fade out before the end, unless an --end recording ends the programme")
        ->type_name("DURATION")
        ->group(group);
}

void DeclareOutput(CLI::App& app, CommandLineValues& values) {
    const char* const group = "Output";
    app.add_option("-o,--output", values.output,
                   "The file to write; its name selects the format (" + SupportedExtensions() +
                       ") and may have fields; - writes WAV to standard output")
        ->type_name("FILE")
        ->group(group)
        ->required();
    DeclareEncoder(app, values.encoder);
    app.add_flag("--force", values.force, "Overwrite existing files: the audio and its .json")
        ->group(group);
    app.add_flag("--json", values.json,
                 "Write the events to standard output, one JSON object per line")
        ->group(group);
    app.add_flag("-q,--quiet", values.quiet, "Report nothing but failures")->group(group);
    app.add_flag("-v,--verbose", values.verbose, "Also report what helps to find a fault")
        ->group(group);
}

void DeclareReceiver(CLI::App& app, CommandLineValues& values) {
    const char* const group = "The receiver";
    app.add_option("--io-timeout", values.ioTimeout,
                   "Longest silence of the source, 100ms to 60s (default: 15s)")
        ->type_name("DURATION")
        ->group(group);
    app.add_option("--block", values.block,
                   "Bytes per block of its buffer, 4 to 1048576 (default: 8192)")
        ->type_name("BYTES")
        ->group(group);
    app.add_option("--control", values.control,
                   "Join the receiver that is running at this URI instead of starting one")
        ->type_name("URI")
        ->group(group);
    app.add_option("--receiver", values.receiver,
                   "The receiver program to start (default: ReceiverHost beside this program)")
        ->type_name("PROGRAM")
        ->group(group);
    app.add_option(
           "--log", values.log,
           "Where the receiver that is started writes its log, instead of a place of its own")
        ->type_name("FILE")
        ->group(group);
}

ToolDescription DescribeTool() {
    ToolDescription tool = {};
    tool.name = "receiver-record";
    tool.purpose = "record one programme of an internet radio stream";
    tool.usage = "[OPTIONS] URL --start FILE -o FILE";
    tool.description =
        "Records one programme of an internet radio stream, from the very sample with which a "
        "start\n"
        "recording begins to the last one of an end recording, or for a maximum length.";
    tool.notes = {"Durations: 90s, 55m, 1h30m, 2.5s, 00:55:00, or a number of seconds.",
                  "Fields of FILE: %Y %m %d %H %M %S %F %j %a %A %b %B of the programme's start;\n"
                  "{id} of the start recording, {title} that the station tells, {n} of the\n"
                  "programme in this run."};
    tool.details = {
        "A recording to listen for can be given a name: ID=FILE.",
        "The start and the end are found by comparing the recordings with the stream sample by "
        "sample. Where no place stands out (the station plays a recording at another speed, or "
        "much "
        "lies over it), the cut lies where the recording was heard, on a grid of 12.5 ms; the "
        "summary says so, and FILE.json.",
        "The same recording may open and close a programme: where it opens it, it does not end it.",
        "A URL may be that of a playlist: M3U, PLS, XSPF, ASX, or an HLS master. It is known by "
        "its "
        "extension, or by what it answers in place of audio. Of the addresses in it, of a master "
        "the "
        "best first, the first that opens is recorded.",
        "A station that is lost is connected to again, as --reconnect says, and the recording goes "
        "on exactly where it broke off as far as the station repeats what it has sent meanwhile; "
        "what is missing becomes silence of the same length. A station that does not answer at "
        "first is tried again for as long, unless what it says has to be mended: a wrong address, "
        "a password, a certificate, a page instead of audio.",
        "A FILE with fields, and with --repeat any, gets a name that is free: show.flac, "
        "show-2.flac, and so on. A FILE.part that a recording left which was cut off is kept as "
        "FILE.part.1.",
        "The audio goes to FILE.part, which is renamed once it is whole. The tags and FILE.json "
        "beside it tell the source, the start and end sample, the matches, the times and why the "
        "recording ended. The final tags are added by copying the file; when the disk has no room "
        "for the copy, the audio keeps the tags that it began with.",
        "A URL is shown and kept without its user's name and password, its query and its fragment.",
        "With --metrics a monitoring system asks at http://ADDRESS/metrics how the recorder is; "
        "--metrics-file writes the same to a file, every 15 seconds and at the end. The metrics "
        "are those of Prometheus; of the URL they show the host alone.",
        "The logs of the receivers that it starts are kept in ~/.local/state/receiver-record "
        "($XDG_STATE_HOME/receiver-record; %LOCALAPPDATA%\\receiver-record on Windows): the newest "
        "20, and together at most 256 MB. A message about a receiver that failed names its log."};
    tool.examples = {
        {"from the jingle to the outro, at most 55 minutes",
         "receiver-record http://radio.example/live --start jingle.wav --end outro.wav \\\n"
         "      --max 55m -o show.flac"},
        {"exactly half an hour with a fade, piped into another tool",
         "receiver-record http://radio.example/live --start jingle.wav --max 30m \\\n"
         "      --fade 3s -o - | ffmpeg -i - show.mp3"},
        {"for a scheduler: JSON events, and ten minutes of waiting at most",
         "receiver-record http://radio.example/live --start news=jingle.wav --wait 10m \\\n"
         "      --json -o news.wav"},
        {"every programme of the day, each in a file of its own",
         "receiver-record http://radio.example/live --start jingle.wav --end outro.wav \\\n"
         "      --repeat --until 23:59 -o \"%F %H.%M {title}.flac\""},
        {"what is on the air from now until half past six",
         "receiver-record http://radio.example/live --now --until 18:30 -o evening.flac"},
    };
    tool.exitCodes = {
        {static_cast<int>(ExitCode::kComplete), "the programme is complete"},
        {static_cast<int>(ExitCode::kFailure), "the receiver failed or refused the request"},
        {static_cast<int>(ExitCode::kUsage),
         "wrong command line, or a recording to listen for or --metrics is unusable"},
        {static_cast<int>(ExitCode::kStartNotFound), "no start recording was heard"},
        {static_cast<int>(ExitCode::kSourceError),
         "the source failed, or ended before the programme did"},
        {static_cast<int>(ExitCode::kInterrupted), "interrupted"},
        {static_cast<int>(ExitCode::kOutputError), "the output could not be written"},
        {static_cast<int>(ExitCode::kGaps),
         "the programme is complete, but parts of it are missing or damaged"},
    };
    tool.environment = {{"NO_COLOR", "When it is set, nothing is coloured."},
                        {"XDG_STATE_HOME", "Where the logs are kept, instead of ~/.local/state."}};
    return tool;
}

}  // namespace

void DeclareCommandLine(CLI::App& app, CommandLineValues& values) {
    app.add_option("URL", values.url, "The stream or a playlist of it, http:// or https://")
        ->type_name("")
        ->required();
    DeclareReferences(app, values);
    DeclareSchedule(app, values.schedule);
    DeclareProgram(app, values);
    DeclareOutput(app, values);
    DeclareConnection(app, values.connection);
    DeclareReceiver(app, values);
    DeclareMetrics(app, values.metrics);
}

const ToolDescription& RecordTool() {
    static const ToolDescription tool = DescribeTool();
    return tool;
}

}  // namespace receiver

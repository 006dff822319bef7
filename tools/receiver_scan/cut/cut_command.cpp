#include "receiver_scan/cut/cut_command.h"

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <stdexcept>

#include "audio_output/output_format.h"
#include "command_line/duration.h"
#include "platform/standard_streams.h"
#include "platform/text.h"
#include "receiver_scan/check/check_report.h"
#include "receiver_scan/cut/cut_position.h"
#include "receiver_scan/cut/recording_cut.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {
namespace {

struct CutValues {
    std::string source, from, to, output;
    bool snap = false;
    bool force = false;
};

ToolDescription DescribeCut() {
    ToolDescription tool = {};
    tool.name = "cut";
    tool.purpose = "a stretch of a recording as a file";
    tool.usage = "[OPTIONS] SOURCE --from TIME --to TIME -o FILE";
    tool.description =
        "Writes the stretch exact to the sample, as WAV or FLAC, with the rate, channels and "
        "width\n"
        "of the source, and checks whether it is fit to be listened for.";
    tool.notes = {
        "Times: 00:12:03.250, 2m3.5s, 90 (seconds), or 5292000samples at the source's own rate. "
        "The sample at --to is no longer in it."};
    tool.details = {
        "The source is decoded from its beginning, since only that finds the same sample in every "
        "format. What was coded with loss is written with 16 bits."};
    tool.examples = {
        {"an opening jingle",
         "receiver-scan cut aircheck.mp3 --from 00:12:03.25 --to 00:12:06 -o opening.wav"},
        {"where the cut is heard least",
         "receiver-scan cut aircheck.flac --from 723s --to 726s --snap -o opening.flac"},
    };
    tool.exitCodes = {
        {static_cast<int>(ScanExitCode::kFound), "it was written; how fit it is, is printed"},
        {static_cast<int>(ScanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(ScanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(ScanExitCode::kSourceError),
         "the source cannot be read, or ends before the stretch begins"},
        {static_cast<int>(ScanExitCode::kInterrupted), "interrupted; no file is left half-written"},
        {static_cast<int>(ScanExitCode::kOutputError), "the file could not be written, or exists"},
    };
    return tool;
}

void Declare(CLI::App& app, CutValues& values) {
    app.add_option("SOURCE", values.source, "A recording in any format that FFmpeg reads")
        ->type_name("")
        ->required();
    const auto add = [&](const char* name, std::string& value, const char* type, const char* text) {
        return app.add_option(name, value, text)->type_name(type)->required()->group("The stretch");
    };
    add("--from", values.from, "TIME", "Where it begins");
    add("--to", values.to, "TIME", "Where it ends");
    app.add_flag("--snap", values.snap, "Move both ends to the quietest sample within 100 ms")
        ->group("The stretch");
    app.add_option("-o,--output", values.output, "The file to write, .wav or .flac")
        ->type_name("FILE")
        ->required()
        ->group("Output");
    app.add_flag("--force", values.force, "Replace an existing file")->group("Output");
}

uint64_t Position(const char* option, const std::string& text, uint32_t rate) {
    const std::optional<uint64_t> position = ParsePosition(text, rate);
    if (!position) {
        throw std::invalid_argument(std::string(option) + ": invalid time \"" + text + "\"");
    }
    return *position;
}

std::string Clock(uint64_t samples, uint32_t rate) {
    return FormatPosition(samples * 1000 / rate);
}

std::string Summary(const std::string& output, const CutResult& result) {
    char text[200];
    std::snprintf(text, sizeof(text),
                  ": %s to %s, samples %" PRIu64 " to %" PRIu64 " at %u Hz, %u channel%s, %d bits",
                  Clock(result.from, result.sampleRate).c_str(),
                  Clock(result.to, result.sampleRate).c_str(), result.from, result.to,
                  result.sampleRate, result.channels, result.channels == 1 ? "" : "s", result.bits);
    return ReplaceIllFormedUtf8(AnsiToUtf8(output).value_or(output)) + text;
}

Cut CutOf(const CutValues& values, const StopRequested& stop) {
    const RecordingReader reader(values.source);
    LosslessFormatFor(values.output, reader.Bits());  // throws for another name
    const Cut cut{Position("--from", values.from, reader.SampleRate()),
                  Position("--to", values.to, reader.SampleRate()), values.output};
    if (cut.from >= cut.to) throw std::invalid_argument("--to is not behind --from");
    return values.snap ? SnapToQuiet(values.source, cut, stop) : cut;
}

int Fail(const std::exception& error, ScanExitCode code) {
    WriteStandardErrorLine(std::string("receiver-scan: ") + error.what());
    return static_cast<int>(code);
}

int Run(const CutValues& values) {
    const Interruption interruption({values.source});
    const StopRequested stop = interruption.Asked();
    try {
        const CutResult result = WriteCut(values.source, CutOf(values, stop), values.force, stop);
        WriteStandardOutputLine(Summary(values.output, result));
    } catch (const CutSourceError& error) {
        return Fail(error, ScanExitCode::kSourceError);
    } catch (const std::runtime_error& error) {
        return Fail(error, ScanExitCode::kOutputError);
    }
    ReferenceMeasurement measured = MeasureReference(values.output, {}, stop);
    interruption.ThrowIfRequested();
    std::vector<Finding> findings = FindingsOf(measured);
    for (const std::string& line : CheckLines({{std::move(measured), std::move(findings)}}, {})) {
        WriteStandardOutputLine(line);
    }
    return static_cast<int>(ScanExitCode::kFound);
}

}  // namespace

ToolCommand CutCommand() {
    const auto values = std::make_shared<CutValues>();
    return {DescribeCut(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver

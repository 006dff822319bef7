#include "receiver_scan/check/check_command.h"

#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>

#include "command_line/duration.h"
#include "platform/standard_streams.h"
#include "receiver_scan/check/check_report.h"
#include "receiver_scan/check/ordinary_programme.h"
#include "receiver_scan/check/reference_findings.h"
#include "receiver_scan/exit_code.h"
#include "receiver_scan/source/interruption.h"
#include "receiver_scan/source/progress_bar.h"

namespace receiver {
namespace {

struct CheckValues {
    std::vector<std::string> files;
    std::vector<std::string> against;
    bool json = false;
};

ToolDescription DescribeCheck() {
    ToolDescription tool = {};
    tool.name = "check";
    tool.purpose = "whether recordings are fit to be listened for";
    tool.usage = "[OPTIONS] FILE...";
    tool.description =
        "Looks for what makes a recording hard to recognise, or easy to confuse with something\n"
        "else, and says what to do about it: good, weak or unfit.";
    tool.notes = {
        "weak: it works, but less surely or not quite as one may expect. unfit: it will be missed, "
        "or heard where it is not."};
    tool.details = {
        "What is looked at: the length (fewer than 16 words of fingerprint are refused by the "
        "receiver, less than a second is weak); silence within; whether people hear the beginning "
        "later than the recording begins, after silence or a fade; whether it repeats itself, or "
        "hardly changes; channels that cancel each other in the mono mix that the receiver listens "
        "to; clipping; level; and each pair of the recordings, one within the other.",
        "--against listens to ordinary programme, in which none of the recordings should be heard: "
        "how often each would be at the receiver's 0.14, and how near the programme comes."};
    tool.examples = {
        {"two jingles, and whether they can be told apart",
         "receiver-scan check opening.wav closing.wav"},
        {"against a day of the station", "receiver-scan check opening.wav --against monday.mp3"},
    };
    tool.exitCodes = {
        {static_cast<int>(ScanExitCode::kFound), "every recording is good"},
        {static_cast<int>(ScanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(ScanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(ScanExitCode::kNotFound), "at least one is weak or unfit"},
        {static_cast<int>(ScanExitCode::kSourceError),
         "at least one recording, or what --against names, cannot be read"},
        {static_cast<int>(ScanExitCode::kInterrupted), "interrupted"},
    };
    return tool;
}

void Declare(CLI::App& app, CheckValues& values) {
    app.add_option("FILE", values.files, "A recording in any format that FFmpeg reads")
        ->type_name("")
        ->required();
    app.add_option("--against", values.against,
                   "Ordinary programme of the station, without the recordings; may be repeated")
        ->type_name("FILE")
        ->allow_extra_args(false)
        ->group("Checks");
    app.add_flag("--json", values.json, "Write one JSON object per line instead of the text")
        ->group("Output");
}

OrdinaryProgramme ListenAgainst(const CheckValues& values,
                                const std::vector<ReferenceVerdict>& references,
                                const StopRequested& stop) {
    ProgressBar bar(std::cerr, ProgressWidth());
    return ListenToProgramme(
        values.against, references,
        [&](const std::string&, uint64_t ms, uint64_t total) {
            bar.Show(ms, total, FormatClock(ms) + " heard");
        },
        stop);
}

int Run(const CheckValues& values) {
    // A recording that is no regular file is not opened.
    const Interruption interruption(values.against);
    const StopRequested stop = interruption.Asked();
    std::vector<ReferenceVerdict> references;
    for (const std::string& file : values.files) {
        ReferenceMeasurement measured = MeasureReference(file, {}, stop);
        interruption.ThrowIfRequested();
        std::vector<Finding> findings = FindingsOf(measured);
        references.push_back({std::move(measured), std::move(findings)});
    }
    AddLookAlikes(references, stop);
    interruption.ThrowIfRequested();
    std::optional<OrdinaryProgramme> programme;
    if (!values.against.empty()) {
        programme = ListenAgainst(values, references, stop);
        AddOrdinary(*programme, references);
    }
    for (const std::string& line :
         values.json ? CheckJsonLines(references, programme) : CheckLines(references, programme)) {
        WriteStandardOutputLine(line);
    }
    Verdict worst = Verdict::kGood;
    for (const ReferenceVerdict& reference : references) {
        worst = std::max(worst, reference.Overall());
    }
    if (worst == Verdict::kUnreadable) return static_cast<int>(ScanExitCode::kSourceError);
    return static_cast<int>(worst == Verdict::kGood ? ScanExitCode::kFound
                                                    : ScanExitCode::kNotFound);
}

}  // namespace

ToolCommand CheckCommand() {
    const auto values = std::make_shared<CheckValues>();
    return {DescribeCheck(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver

#include "receiver_plan/heal/heal_command.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio_output/output_format.h"
#include "command_line/duration.h"
#include "platform/standard_streams.h"
#include "receiver_plan/exit_code.h"
#include "receiver_plan/heal/healed_file.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {
namespace {

struct HealValues {
    std::vector<std::string> copies;
    std::string output;
    bool force = false;
};

ToolDescription DescribeHeal() {
    ToolDescription tool = {};
    tool.name = "heal";
    tool.purpose = "put copies of one programme together";
    tool.usage = "[OPTIONS] FILE FILE... -o FILE";
    tool.description =
        "Puts recordings of one programme by different machines together: where one lacks audio,\n"
        "another one gives it, to the sample.";
    tool.notes = {
        "What a copy lacks stands in the .json beside it. FILE.json says what came from where."};
    tool.details = {
        "Bit for bit what an unbroken recording would be, when no instant is lacking everywhere "
        "and "
        "the decoders of all machines give the same samples: MP3, Vorbis and FLAC streams, "
        "recorded "
        "as WAV or FLAC.",
        "Copies are joined where both have the same samples. A copy without a .json is taken to be "
        "whole. What no copy has stays as one of them has it: silence."};
    tool.examples = {
        {"two copies", "receiver-plan heal monday.copy1.flac monday.copy2.flac -o monday.flac"}};
    tool.exitCodes = {
        {static_cast<int>(PlanExitCode::kGood), "nothing is lacking"},
        {static_cast<int>(PlanExitCode::kFailure), "the tool itself failed"},
        {static_cast<int>(PlanExitCode::kUsage), "wrong command line"},
        {static_cast<int>(PlanExitCode::kFaulty), "something is lacking in every copy"},
        {static_cast<int>(PlanExitCode::kUnreadable),
         "a copy cannot be read, or has no sound in common with the first"},
        {static_cast<int>(PlanExitCode::kInterrupted), "interrupted; no file is left"},
        {static_cast<int>(PlanExitCode::kOutputError), "a file could not be written, or exists"},
    };
    return tool;
}

void Declare(CLI::App& app, HealValues& values) {
    app.add_option("FILE", values.copies, "Recordings of one programme")->type_name("")->required();
    app.add_option("-o,--output", values.output, "The file to write, .flac or .wav")
        ->type_name("FILE")
        ->group("Output")
        ->required();
    app.add_flag("--force", values.force, "Replace existing files: the audio and its .json")
        ->group("Output");
}

int Run(const HealValues& values) {
    if (values.copies.size() < 2) throw std::invalid_argument("at least two copies are needed");
    LosslessFormatFor(values.output, 16);
    const Interruption interruption(values.copies);
    const HealingResult result =
        Heal(values.copies, values.output, values.force, interruption.Asked());
    for (const std::string& note : result.notes) WriteStandardErrorLine(note);
    const auto positionOf = [&](uint64_t frame) {
        return FormatPosition(frame * 1000 / result.sampleRate);
    };
    uint64_t frame = 0;
    for (const HealedPiece& piece : result.pieces) {
        const uint64_t end = frame + (piece.frames.to - piece.frames.from);
        WriteStandardOutputLine(
            positionOf(frame) + " to " + positionOf(end) + "  " +
            (piece.lacking ? "lacking in every copy" : result.copies[piece.copy]));
        frame = end;
    }
    return static_cast<int>(result.LackingFrames() == 0 ? PlanExitCode::kGood
                                                        : PlanExitCode::kFaulty);
}

}  // namespace

ToolCommand HealCommand() {
    const auto values = std::make_shared<HealValues>();
    return {DescribeHeal(), [values](CLI::App& app) { Declare(app, *values); },
            [values] { return Run(*values); }};
}

}  // namespace receiver

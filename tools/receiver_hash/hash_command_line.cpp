#include "receiver_hash/hash_command_line.h"

namespace receiver {
namespace {

ToolDescription DescribeTool() {
    ToolDescription tool = {};
    tool.name = "receiver-hash";
    tool.purpose = "write the audio fingerprints of recordings";
    tool.usage = "[OPTIONS] FILE...";
    tool.description =
        "Writes the fingerprint of each recording to FILE.hash: a 32-bit word, little-endian,\n"
        "for every 12.5 ms. An existing FILE.hash is replaced.";
    tool.notes = {"Prints one line per file: what was found, or why nothing was written."};
    tool.examples = {{"two jingles", "receiver-hash opening.wav closing.mp3"}};
    tool.exitCodes = {{0, "every fingerprint was written"},
                      {1, "at least one was not"},
                      {kUsageExitCode, "wrong command line"}};
    return tool;
}

}  // namespace

HashCommandLine ParseHashCommandLine(int argc, const char* const* argv) {
    HashCommandLine line;
    const auto declare = [&](CLI::App& app) {
        app.add_option("FILE", line.files, "A recording in any format that FFmpeg reads")
            ->type_name("")
            ->required();
    };
    line.answer = ParseToolCommandLine(DescribeTool(), declare, argc, argv);
    return line;
}

}  // namespace receiver

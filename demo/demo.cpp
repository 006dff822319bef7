// receiver-demo: the three parts of the demo that are not the receiver itself.
#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "audio/ffmpeg_streaming_decoder.h"
#include "check.h"
#include "platform/standard_streams.h"
#include "station.h"
#include "studio.h"
#include "wav.h"

namespace receiver {
namespace {

constexpr double kProgrammeSeconds = 16.0;

StereoPcm StartJingle() {
    return MakeJingle(3.0, 21);
}
StereoPcm EndJingle() {
    return MakeJingle(2.5, 22);
}
Broadcast TheBroadcast() {
    return MakeBroadcast(StartJingle(), EndJingle(), kProgrammeSeconds);
}

void RunStudio(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    WriteWav(folder / "start-jingle.wav", StartJingle());
    WriteWav(folder / "end-jingle.wav", EndJingle());
    WriteWav(folder / "broadcast.wav", TheBroadcast().pcm);
}

bool RunCheck(const std::filesystem::path& folder) {
    std::ifstream file(folder / "programme.wav.json");
    const nlohmann::json sidecar = nlohmann::json::parse(file);
    return CheckRecording({.wav = folder / "programme.wav",
                           .tape = folder / "tape.mp3",
                           .startSample = sidecar.at("startSample"),
                           .endSample = sidecar.at("endSample")},
                          TheBroadcast());
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    using namespace receiver;
    try {
        OpenMissingStandardStreams();
    } catch (const std::exception& error) {
        std::cerr << "receiver-demo: " << error.what() << "\n";
        return 1;
    }
    CLI::App app{"The demo's studio, its radio station, and the check of a recording"};
    app.require_subcommand(1);
    std::filesystem::path folder;
    const auto add = [&](const char* name, const char* text) {
        CLI::App* command = app.add_subcommand(name, text);
        command->add_option("FOLDER", folder, "the demo's folder")->required();
        return command;
    };
    const CLI::App* studio = add("studio", "make the jingles and the broadcast as WAV files");
    const CLI::App* station = add("station", "put FOLDER/broadcast.mp3 on the air");
    add("check", "compare FOLDER/programme.wav with what was broadcast");
    CLI11_PARSE(app, argc, argv);

    try {
        if (studio->parsed()) {
            RunStudio(folder);
        } else if (station->parsed()) {
            const double seconds =
                static_cast<double>(TheBroadcast().pcm.size()) / kStudioChannels / kStudioRate;
            RunStation(folder / "broadcast.mp3", seconds, folder / "tape.mp3");
        } else if (!RunCheck(folder)) {
            return 1;
        }
    } catch (const std::exception& error) {
        std::cerr << "receiver-demo: " << error.what() << "\n";
        return 1;
    }
    return 0;
}

// receiver-demo: the three parts of the demo that are not the receiver itself.
#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>

#include "check.h"
#include "platform/standard_streams.h"
#include "station.h"
#include "studio.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

void RunStudio(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    const Broadcast day = MakeStationsDay();
    WriteWavFile((folder / "start-jingle.wav").string(), day.startJingle);
    WriteWavFile((folder / "end-jingle.wav").string(), day.endJingle);
    WriteWavFile((folder / "broadcast.wav").string(), day.audio);
}

bool RunCheck(const std::filesystem::path& folder) {
    std::ifstream file(folder / "programme.wav.json");
    const nlohmann::json sidecar = nlohmann::json::parse(file);
    return CheckRecording({.wav = folder / "programme.wav",
                           .tape = folder / "tape.mp3",
                           .startSample = sidecar.at("startSample"),
                           .endSample = sidecar.at("endSample")},
                          MakeStationsDay());
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
    const CLI::App* station =
        add("station", "put FOLDER/broadcast.mp3 on the air until the standard input ends");
    add("check", "compare FOLDER/programme.wav with what was broadcast");
    CLI11_PARSE(app, argc, argv);

    try {
        if (studio->parsed()) {
            RunStudio(folder);
        } else if (station->parsed()) {
            const double seconds =
                static_cast<double>(MakeStationsDay().audio.Frames()) / kStudioRate;
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

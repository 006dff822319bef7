// receiver-station-day SEED HOURS VOICE-DB FILE.mp3: hours of a made-up station, and on standard
// output, one JSON object a line, what was heard when. scripts/measure-discovery judges by it.
#include <cstdlib>
#include <exception>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

#include "audio_output/audio_encoder.h"
#include "audio_output/part_file.h"
#include "testing/station_day.h"

namespace receiver {
namespace {

const char* NameOf(HeardKind kind) {
    switch (kind) {
        case HeardKind::kJingle:
            return "jingle";
        case HeardKind::kAdvertisement:
            return "advertisement";
        case HeardKind::kSong:
            break;
    }
    return "song";
}

void Make(const StationDayPlan& plan, const std::string& output) {
    OutputFormat format = OutputFormatFor("station.mp3");
    format.bitRate = 64000;  // of one channel: what is usual for two is twice that
    PartFile file(output, true);
    AudioEncoder encoder(format, kStationRate, 1, {}, file);
    const std::vector<Heard> heard = MakeStationDay(plan, [&](const std::vector<int16_t>& samples) {
        if (!encoder.Write(samples.data(), samples.size())) {
            throw std::runtime_error(encoder.FailureText());
        }
    });
    if (!encoder.Finish() || !file.Commit()) throw std::runtime_error("cannot finish " + output);
    for (const Heard& one : heard) {
        std::cout << nlohmann::json{{"kind", NameOf(one.kind)}, {"item", one.item},
                                    {"start", one.start},       {"seconds", one.seconds},
                                    {"voice", one.voice},       {"faded", one.faded}}
                         .dump()
                  << '\n';
    }
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: receiver-station-day SEED HOURS VOICE-DB FILE.mp3\n";
        return EXIT_FAILURE;
    }
    try {
        receiver::StationDayPlan plan;
        plan.seed = std::stoull(argv[1]);
        plan.hours = std::stod(argv[2]);
        plan.voiceDb = std::stod(argv[3]);
        receiver::Make(plan, argv[4]);
        return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "receiver-station-day: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}

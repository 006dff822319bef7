// Judges a recording of the demo's broadcast by its samples.
#pragma once

#include <cstdint>
#include <filesystem>

#include "studio.h"

namespace receiver {

struct DemoRecording {
    std::filesystem::path wav;
    std::filesystem::path tape;  // what the station sent to the recorder
    uint64_t startSample = 0;    // where the receiver says that the programme lies on the tape
    uint64_t endSample = 0;
};

// Prints a line for each check; true when all hold. Throws std::runtime_error when
// a file cannot be read.
bool CheckRecording(const DemoRecording& recording, const Broadcast& broadcast);

}  // namespace receiver

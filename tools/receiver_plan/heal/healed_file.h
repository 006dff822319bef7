// Copies of a recording, put together into one file.
//
//   Threads  one.
//   Errors   PlanToolError with a text for people, and Interrupted once a stop was asked for; a
//   file
//            that was begun is gone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "receiver_plan/heal/healing.h"
#include "receiver_scan/source/interruption.h"

namespace receiver {

struct HealingResult {
    std::vector<std::string> copies;
    std::vector<std::string> notes;  // copies of which nothing is known: lines for people
    std::vector<HealedPiece> pieces;
    uint32_t sampleRate = 0;
    uint16_t channels = 0;

    uint64_t Frames() const;
    uint64_t LackingFrames() const;
};

// Writes FILE and what it came from as FILE.json. Each copy is read twice.
HealingResult Heal(const std::vector<std::string>& copies, const std::string& output,
                   bool overwrite, const StopRequested& stop);

// What FILE.json holds: which frames came from where.
std::string HealingJson(const HealingResult& result, const std::string& output);

}  // namespace receiver

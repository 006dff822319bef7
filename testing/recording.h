// One session from PREPARE to FINISHED, with everything that a controlling program
// sees of it, and the checks that every session must pass.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "testing/raw_audio_client.h"
#include "testing/receiver_driver.h"

namespace receiver {

struct ReferenceFile {
    std::string id, role, path;
};

// The body of a PREPARE. Time-outs and block size are left to the receiver's defaults.
nlohmann::json PrepareCommand(const std::string& sessionId, const std::string& url,
                              const std::vector<ReferenceFile>& references);
// With program bounds.
nlohmann::json PrepareCommand(const std::string& sessionId, const std::string& url,
                              const std::vector<ReferenceFile>& references, uint32_t maximumMs,
                              uint32_t fadeMs);

struct Recording {
    nlohmann::json acknowledged;  // the session's snapshot in the ACK
    std::vector<nlohmann::json> events;
    nlohmann::json ready, finished;
    std::optional<RawAudioClient::Header> header;  // nothing without READY
    RawAudioClient::Record end{};
    std::vector<int16_t> pcm;

    std::vector<std::string> EventTypes() const;
    // The events of one type.
    std::vector<nlohmann::json> All(const std::string& type) const;
};

// Runs one session on an introduced receiver. `onReady` runs before the audio client
// connects. Throws when the session does not reach FINISHED.
Recording Record(ReceiverDriver& receiver, const nlohmann::json& prepare,
                 const std::function<void()>& onReady = {});

// Sequence numbers, the order of types, no unknown type, "program" nowhere without
// bounds, statistics that agree with each other, FINISHED like the last state.
void ExpectSoundEvents(const Recording& recording, bool withProgram);
// The statistics object alone: keys, types, and what must hold between the numbers.
void ExpectSoundStatistics(const nlohmann::json& statistics);

}  // namespace receiver

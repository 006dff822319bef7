// Tells the cut what the receiver has heard, and says of which audio it has told all: a receiver
// that answers a question has sent before what it heard in the audio that came before.
//
//   Units    frames of the stream.
//   Threads  one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "receiver_record/control/receiver_watch.h"
#include "receiver_record/control/session_follower.h"
#include "receiver_record/output/audio_intake.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

// The plan for a session that is ready.
CutPlan PlanCut(const RecordOptions& options, const SessionRecord& session);
// The programme's bounds; nothing while no end is known.
std::optional<Program> ProgramOf(const CutState& cut);
// As an event, for those who follow the recording.
Event ProgramEndOf(const std::string& sessionId, const Program& program);

class CutSupervision final {
public:
    // With `asks`, when a recording can end the programme: only then the receiver is asked.
    explicit CutSupervision(bool asks) : asks_(asks) {}

    // After each step of the follower, with what the recording knows then. All that the session
    // has told is in it: how its samples lie in the recording is known.
    void Step(const SessionRecord& recording, const SessionFollower& follower, ReceiverWatch& watch,
              AudioIntake& intake);

private:
    bool IsTimeToAsk(const CutState& cut) const;

    const bool asks_;
    std::optional<uint64_t> askedFrames_;  // that had come before the question
};

}  // namespace receiver

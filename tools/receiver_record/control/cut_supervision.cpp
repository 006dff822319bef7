#include "receiver_record/control/cut_supervision.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/clock.h"
#include "wire/messages.h"

namespace receiver {
namespace {

// From question to question while nothing ends. Each is a line in the receiver's log.
constexpr uint64_t kSettleFrames = uint64_t{10} * kStreamSampleRate;

std::string PathOf(const RecordOptions& options, const std::string& referenceId) {
    const auto found =
        std::find_if(options.references.begin(), options.references.end(),
                     [&](const Reference& reference) { return reference.id == referenceId; });
    return found == options.references.end() ? "" : found->path;
}

}  // namespace

CutPlan PlanCut(const RecordOptions& options, const SessionRecord& session) {
    CutPlan plan;
    plan.startSample = session.startSample.value_or(0);
    plan.servedSample = session.servedSample.value_or(plan.startSample);
    plan.limits = options.limits;
    for (const Match& match : session.matches) {
        if (match.role != Role::kStart || match.sample != plan.startSample) continue;
        plan.startPath = PathOf(options, match.referenceId);
        break;
    }
    for (const Reference& reference : options.references) {
        if (reference.role == Role::kEnd) plan.ends.push_back({reference.id, reference.path});
    }
    return plan;
}

std::optional<Program> ProgramOf(const CutState& cut) {
    if (!cut.begin || !cut.end) return {};
    return Program{.startSample = *cut.begin,
                   .endSample = cut.end->endSample,
                   .sampleRate = kStreamSampleRate,
                   .fadeFrames = cut.end->fadeFrames,
                   .reason = WordOf(cut.end->reason)};
}

Event ProgramEndOf(const std::string& sessionId, const Program& program) {
    const nlohmann::json told = {{"type", kEventProgramEnd},
                                 {"version", 1},
                                 {"sessionId", sessionId},
                                 {"program",
                                  {{"startSample", program.startSample},
                                   {"endSample", program.endSample},
                                   {"sampleRate", program.sampleRate},
                                   {"fadeFrames", program.fadeFrames},
                                   {"reason", program.reason}}}};
    Event event;
    event.type = kEventProgramEnd;
    event.sessionId = sessionId;
    event.body = ProgramEndEvent{program};
    event.raw = told.dump();
    return event;
}

void CutSupervision::Step(const SessionRecord& recording, const SessionFollower& follower,
                          ReceiverWatch& watch, AudioIntake& intake) {
    intake.Tell(recording.matches);
    if (!asks_) return;
    if (askedFrames_ && follower.IsCaughtUp()) {
        intake.Settle(*askedFrames_);
        askedFrames_.reset();
    }
    if (askedFrames_ || !follower.IsConnected()) return;
    const CutState cut = intake.Cut();
    if (IsTimeToAsk(cut) && watch.Answers(follower.Session(), TickMs())) {
        askedFrames_ = cut.framesReceived;
    }
}

bool CutSupervision::IsTimeToAsk(const CutState& cut) const {
    if (cut.framesReceived >= cut.framesSettled + kSettleFrames) return true;
    return cut.framesToEnd && cut.framesReceived >= *cut.framesToEnd &&
           cut.framesSettled < *cut.framesToEnd;
}

}  // namespace receiver

#include "receiver_record/session_record.h"

#include <algorithm>

#include "wire/messages.h"

namespace receiver {
namespace {

constexpr const char* kRecording = "RECORDING";
constexpr const char* kDraining = "DRAINING";

struct Change {
    SessionRecord& session;

    void operator()(const UnknownEvent&) const {}
    void operator()(const ResumedEvent&) const {}
    void operator()(const DamagedEvent&) const {}
    void operator()(const TitleEvent&) const {}
    void operator()(const ConnectedEvent&) const { session.state = kStateScanning; }
    void operator()(const DetectedEvent& event) const { session.matches.push_back(event.match); }
    void operator()(const ProgramEndEvent& event) const { session.program = event.program; }
    void operator()(const ReadyEvent& event) const {
        session.state = kRecording;
        session.startSample = event.sourceSample;
        session.servedSample = event.servedSample;
        session.audioUri = event.uri;
    }
    void operator()(const SourceErrorEvent&) const {
        session.state = kDraining;
        session.sourceFailed = true;
    }
    void operator()(const FinishedEvent& event) const {
        session.state = kStateFinished;
        if (event.session.program) session.program = event.session.program;
        session.finished = {event.session.reason, event.session.message};
    }
};

// A snapshot that was asked for later holds all matches and the programme's newest end.
bool IsOutdated(const Event& event, const SessionRecord& session) {
    return event.sequence != 0 && event.sequence <= session.sequence &&
           (std::holds_alternative<DetectedEvent>(event.body) ||
            std::holds_alternative<ProgramEndEvent>(event.body));
}

}  // namespace

void Apply(const Event& event, SessionRecord& session) {
    if (IsOutdated(event, session)) return;
    std::visit(Change{session}, event.body);
    session.sequence = std::max(session.sequence, event.sequence);
}

void Apply(const SessionSnapshot& snapshot, SessionRecord& session) {
    session.matches = snapshot.matches;
    session.sequence = std::max(session.sequence, snapshot.sequence);
    if (snapshot.program) session.program = snapshot.program;
    if (snapshot.sourceSample) session.startSample = snapshot.sourceSample;
    if (snapshot.servedSample) session.servedSample = snapshot.servedSample;
    if (snapshot.uri) {
        session.state = kRecording;
        session.audioUri = *snapshot.uri;
    }
    if (snapshot.state == kStateFinished) session.finished = {snapshot.reason, snapshot.message};
}

std::optional<uint64_t> ProgramFrames(const SessionRecord& session) {
    if (!session.program) return {};
    const Program& program = *session.program;
    return program.endSample - std::min(program.startSample, program.endSample);
}

}  // namespace receiver

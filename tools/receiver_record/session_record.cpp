#include "receiver_record/session_record.h"

#include <algorithm>

#include "session/program_end.h"
#include "wire/messages.h"

namespace receiver {
namespace {

struct Change {
    SessionRecord& session;

    // What says nothing of the recording.
    template <typename Other>
    void operator()(const Other&) const {}
    void operator()(const ConnectedEvent&) const {
        session.state = kStateScanning;
        session.connected = true;
    }
    void operator()(const DetectedEvent& event) const { session.matches.push_back(event.match); }
    void operator()(const ProgramEndEvent& event) const { session.program = event.program; }
    void operator()(const ReadyEvent& event) const {
        session.state = kShownRecording;
        session.startSample = event.sourceSample;
        session.servedSample = event.servedSample;
        session.audioUri = event.uri;
    }
    void operator()(const SourceErrorEvent& event) const {
        session.state = kShownDraining;
        session.sourceFailed = true;
        session.cause = event.cause;
    }
    void operator()(const ResumedEvent& event) const { session.notes.Add(event.resumption); }
    void operator()(const DamagedEvent& event) const { session.notes.Add(event); }
    void operator()(const TitleEvent& event) const { session.notes.Add(event); }
    void operator()(const StationEvent& event) const { session.notes.Add(event); }
    void operator()(const FinishedEvent& event) const {
        session.state = kStateFinished;
        if (event.session.program) session.program = event.session.program;
        session.finished = {event.session.reason, event.session.message};
        if (event.session.sourceError) session.sourceFailed = true;
        if (event.session.cause) session.cause = event.session.cause;
    }
};

// A resumption that was told while the connection to the receiver was lost.
void TakeMissedGaps(const SessionSnapshot& snapshot, SessionRecord& session) {
    const auto& known = session.notes.Resumptions();
    const uint64_t newest = known.empty() ? 0 : known.back().sample;
    for (const Resumption& gap : snapshot.gaps) {
        if (known.empty() || gap.sample > newest) session.notes.Add(gap);
    }
}

// A snapshot that was asked for later holds all matches and the programme's newest end.
bool IsOutdated(const Event& event, const SessionRecord& session) {
    return event.sequence != 0 && event.sequence <= session.sequence &&
           (std::holds_alternative<DetectedEvent>(event.body) ||
            std::holds_alternative<ResumedEvent>(event.body) ||
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
    TakeMissedGaps(snapshot, session);
    if (snapshot.sourceError) session.sourceFailed = true;
    if (snapshot.cause) session.cause = snapshot.cause;
    if (snapshot.state == kStateScanning || snapshot.state == kStateReady ||
        snapshot.state == kStateOpened) {
        session.connected = true;
    }
    session.sequence = std::max(session.sequence, snapshot.sequence);
    if (snapshot.program) session.program = snapshot.program;
    if (snapshot.sourceSample) session.startSample = snapshot.sourceSample;
    if (snapshot.servedSample) session.servedSample = snapshot.servedSample;
    if (snapshot.uri) {
        session.state = kShownRecording;
        session.audioUri = *snapshot.uri;
    }
    if (snapshot.state == kStateFinished) session.finished = {snapshot.reason, snapshot.message};
}

const Match* StartMatch(const SessionRecord& session) {
    for (const Match& match : session.matches) {
        if (match.role == Role::kStart && match.sample == session.startSample) return &match;
    }
    return nullptr;
}

std::string StartId(const SessionRecord& session) {
    const Match* const start = StartMatch(session);
    return start != nullptr ? start->referenceId : "";
}

uint64_t StartLagMs(const SessionRecord& session) {
    const Match* const start = StartMatch(session);
    if (start == nullptr) return 0;
    const uint64_t frames =
        start->observedAfterSample - std::min(start->observedAfterSample, start->sample);
    return frames * 1000 / kStreamSampleRate;
}

StreamNotes NotesAtTheStart(const SessionRecord& session) {
    if (!session.startSample) return {};
    return session.notes.Within(*session.startSample, *session.startSample + 1);
}

std::optional<uint64_t> ProgramFrames(const SessionRecord& session) {
    if (!session.program) return {};
    const Program& program = *session.program;
    return program.endSample - std::min(program.startSample, program.endSample);
}

}  // namespace receiver

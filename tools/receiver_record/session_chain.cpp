#include "receiver_record/session_chain.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "wire/messages.h"

namespace receiver {
namespace {

uint64_t Moved(uint64_t sample, int64_t shift) {
    return static_cast<uint64_t>(std::max<int64_t>(static_cast<int64_t>(sample) + shift, 0));
}

Match Moved(Match match, int64_t shift) {
    match.sample = Moved(match.sample, shift);
    match.observedAfterSample = Moved(match.observedAfterSample, shift);
    return match;
}

struct Mover {
    int64_t shift;

    template <typename Other>
    void operator()(Other&) const {}
    void operator()(DetectedEvent& event) const { event.match = Moved(event.match, shift); }
    void operator()(ResumedEvent& event) const {
        event.resumption.sample = Moved(event.resumption.sample, shift);
    }
    void operator()(DamagedEvent& event) const { event.sample = Moved(event.sample, shift); }
    void operator()(TitleEvent& event) const { event.sample = Moved(event.sample, shift); }
    void operator()(StationEvent& event) const { event.sample = Moved(event.sample, shift); }
};

uint64_t FirstServed(const SessionRecord& session) {
    return session.servedSample.value_or(session.startSample.value_or(0));
}

void AddMoved(const StreamNotes& notes, int64_t shift, StreamNotes& to) {
    for (Resumption resumption : notes.Resumptions()) {
        resumption.sample = Moved(resumption.sample, shift);
        to.Add(resumption);
    }
    for (DamagedEvent damage : notes.Damages()) {
        damage.sample = Moved(damage.sample, shift);
        to.Add(damage);
    }
    for (TitleEvent title : notes.Titles()) {
        title.sample = Moved(title.sample, shift);
        to.Add(title);
    }
    if (!notes.Station().empty()) to.Add(StationEvent{.name = notes.Station()});
}

Event MakeResumed(const Resumption& resumption, const std::string& sessionId,
                  const std::string& lossText) {
    const nlohmann::json told = {{"type", kEventResumed},
                                 {"version", 1},
                                 {"sessionId", sessionId},
                                 {"sample", resumption.sample},
                                 {"outageMs", resumption.outageMs},
                                 {"repeatedFrames", resumption.repeatedFrames},
                                 {"lostFrames", resumption.lostFrames},
                                 {"attempts", resumption.attempts},
                                 {"exact", resumption.exact}};
    Event event;
    event.type = kEventResumed;
    event.sessionId = sessionId;
    event.body = ResumedEvent{.resumption = resumption,
                              .cause = Cause{.kind = kCauseOther,
                                             .text = lossText,
                                             .status = std::nullopt,
                                             .referenceId = std::nullopt}};
    event.raw = told.dump();
    return event;
}

}  // namespace

void SessionChain::Continue(SessionRecord whole, const std::string& lossText) {
    before_ = std::move(whole);
    lossText_ = lossText;
    shift_.reset();
}

void SessionChain::Place(const SourceResumption& joint, const SessionRecord& newest) {
    if (!before_) return;
    const uint64_t inRecording = FirstServed(*before_) + joint.sample + joint.lostFrames;
    shift_ = static_cast<int64_t>(inRecording) -
             static_cast<int64_t>(FirstServed(newest) + joint.repeatedFrames);
}

void SessionChain::PlaceFirst(const SessionRecord& newest) {
    if (!before_) return;
    const uint64_t first = FirstServed(*before_);
    shift_ = static_cast<int64_t>(first) - static_cast<int64_t>(FirstServed(newest));
    // How much of the beginning has passed meanwhile nobody can tell.
    before_->notes.Add(DamagedEvent{.sample = first, .frames = 0, .kind = kDamageDiscontinuity});
}

Event SessionChain::Note(const SourceResumption& joint, const std::string& sessionId) {
    const uint64_t first = before_ ? FirstServed(*before_) : 0;
    const Resumption resumption{.sample = first + joint.sample,
                                .outageMs = joint.outageMs,
                                .repeatedFrames = joint.repeatedFrames,
                                .lostFrames = joint.lostFrames,
                                .attempts = joint.attempts,
                                .exact = joint.exact};
    if (before_) before_->notes.Add(resumption);
    return MakeResumed(resumption, sessionId, lossText_);
}

SessionRecord SessionChain::Whole(const SessionRecord& newest) const {
    if (!before_) return newest;
    SessionRecord whole = newest;
    whole.state = newest.audioUri.empty() ? before_->state : newest.state;
    whole.startSample = before_->startSample;
    whole.servedSample = before_->servedSample;
    whole.missingAdditions = before_->missingAdditions;
    whole.matches = before_->matches;
    whole.notes = before_->notes;
    whole.connected = true;
    if (!shift_) return whole;
    for (const Match& match : newest.matches) whole.matches.push_back(Moved(match, *shift_));
    AddMoved(newest.notes, *shift_, whole.notes);
    return whole;
}

Event SessionChain::InRecording(Event event) const {
    if (!before_) return event;
    const bool saysNothing = std::holds_alternative<ConnectedEvent>(event.body) ||
                             std::holds_alternative<ReadyEvent>(event.body) ||
                             (!shift_ && std::holds_alternative<DetectedEvent>(event.body));
    if (saysNothing) event.body = UnknownEvent{};
    if (shift_) std::visit(Mover{*shift_}, event.body);
    return event;
}

}  // namespace receiver

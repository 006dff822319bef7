#include "receiver_record/control/session_follower.h"

#include <algorithm>
#include <utility>

#include "platform/clock.h"

namespace receiver {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kEventStep(100);  // redraws, and how soon an interruption is seen
constexpr milliseconds kPrepareTimeout(5000);
constexpr milliseconds kCancelTimeout(2000);
constexpr milliseconds kLastWordTimeout(200);
constexpr uint64_t kStopMs = 5000;
constexpr uint64_t kReconnectMs = 5000;

}  // namespace

SessionFollower::SessionFollower(ReceiverLink& link, RecordConsole& console, std::string instanceId)
    : link_(link), console_(console), instanceId_(std::move(instanceId)) {}

bool SessionFollower::Prepare(const PrepareRequest& request) {
    sessionId_ = request.sessionId;
    const std::optional<SessionSnapshot> snapshot =
        link_.Client().Prepare(request, kPrepareTimeout);
    if (!snapshot) {
        const Error error = link_.Client().LastError();
        refused_ = error.kind == ErrorKind::kRejected;
        failure_ = error.text;
        if (!refused_ && error.kind != ErrorKind::kInvalidArgument) TakeBack();
        return false;
    }
    session_.state = snapshot->state;
    session_.missingAdditions = MissingAdditions(request, *snapshot);
    return true;
}

// The receiver may have begun the session all the same, or begin it once it gets to it. In the
// pipe CANCEL stands behind PREPARE.
void SessionFollower::TakeBack() {
    if (link_.Client().IsConnected() || link_.Reopen()) {
        link_.Client().Cancel(sessionId_, kCancelTimeout);
    }
}

void SessionFollower::GiveUp(const std::string& why) {
    // For a receiver that goes on some day, and has nobody then to end the session.
    link_.Client().Cancel(sessionId_, kLastWordTimeout);
    link_.GiveUp();
    failure_ = why;
}

bool SessionFollower::Step(bool audioRuns) {
    return IsConnected() ? AwaitEvent() : Recover(audioRuns);
}

bool SessionFollower::AwaitEvent() {
    if (const std::optional<Event> event = link_.Client().NextEvent(kEventStep)) {
        lastHeard_ = TickMs();
        isCaughtUp_ = false;
        if (event->sessionId.empty() || event->sessionId == sessionId_) {
            console_.ShowEvent(recording_ != nullptr ? recording_->InRecording(*event) : *event);
            Apply(*event, session_);
        }
        return !session_.finished;
    }
    const Error& error = link_.Client().LastError();
    isCaughtUp_ = error.kind == ErrorKind::kTimedOut;
    if (session_.over) {
        console_.Info("The session has finished; the receiver's last message about it was lost");
        return false;
    }
    if (error.kind == ErrorKind::kTimedOut) return !IsOverdue();
    lostSince_ = std::max<uint64_t>(TickMs(), 1);
    failure_ = error.text;
    console_.Detail(error.text);
    return error.kind == ErrorKind::kDisconnected || error.kind == ErrorKind::kProtocol;
}

// The audio goes on without the control pipe, so that there is time to get it back.
bool SessionFollower::Recover(bool audioRuns) {
    if (link_.IsGone()) {
        failure_ = "The receiver exited unexpectedly";
        return false;
    }
    if (IsOverdue()) return false;
    if (!audioRuns && TickMs() - lostSince_ > kReconnectMs) return false;
    const std::optional<Welcome> welcome = link_.Reopen();
    if (!welcome) return true;
    lostSince_ = 0;
    lastHeard_ = TickMs();
    return TakeUp(*welcome);
}

bool SessionFollower::TakeUp(const Welcome& welcome) {
    const bool isAnother = welcome.active && welcome.active->sessionId != sessionId_;
    if (welcome.instanceId != instanceId_ || isAnother) {
        console_.Detail("The session ended while the connection was lost");
        return false;
    }
    failure_.clear();
    if (!welcome.active) {
        session_.over = true;  // events that waited for this connection still follow
        return true;
    }
    Apply(*welcome.active, session_);
    if (session_.finished) return false;
    if (cancelUntil_ != 0) link_.Client().Cancel(sessionId_, kCancelTimeout);
    return true;
}

void SessionFollower::Cancel() {
    cancelUntil_ = TickMs() + kStopMs;
    if (!IsConnected() || link_.Client().Cancel(sessionId_, kCancelTimeout)) return;
    console_.Detail(link_.Client().LastError().text);
}

bool SessionFollower::IsOverdue() const {
    return cancelUntil_ != 0 && TickMs() >= cancelUntil_;
}

}  // namespace receiver

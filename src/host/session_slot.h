// The receiver's one session and the queue of its events.
//
//   Threads  the main thread; PostEvent comes from the session's threads, which signal WakeUp.
//   Lock     mutex_ guards the queue alone; a leaf, taken under the session's mutex.
#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/thread_safety.h"
#include "platform/wake_up_event.h"
#include "session/receiver_session.h"

namespace receiver {

class SessionSlot final {
public:
    // `makeSource` is for every session of the slot; see ReceiverSession. Throws
    // std::runtime_error "Could not initialize pipe I/O".
    explicit SessionSlot(std::string instanceId, ReceiverSession::SourceFactory makeSource = {});

    // Throws std::runtime_error "Receiver already has an active session" unless the
    // last one has finished. Counts the session and makes its audio URI.
    void Create(PreparedProgram program);
    void Start();    // the session's thread; throws as ReceiverSession::Start
    void Discard();  // removes the session in whatever state, stopping it first
    void Poll();
    void Reap();  // removes a finished session
    // Whether a session was removed whose FINISHED could not be posted; once for each.
    bool TakeUntoldEnd() { return std::exchange(endIsUntold_, false); }
    void RequestStop();
    void StopAndJoin();
    // Whether there is a session and the id is empty or its own.
    bool Holds(const std::string& sessionId) const;
    nlohmann::json SnapshotOf(const std::string& sessionId) const;  // null unless it holds it
    std::optional<SessionState::Standing> StandingOf(const std::string& sessionId) const;

    std::vector<nlohmann::json> TakeEvents() EXCLUDES(mutex_);

    // Signalled when there are events to take, and when a source has ended: a reason to poll.
    const WakeUpEvent& WakeUp() const { return *wakeUp_; }
    // Before the events are taken and the session is polled.
    void TakeBackWakeUp() { wakeUp_->TakeBack(); }
    // In how many ms Poll and Reap are due without a wake-up; UINT64_MAX for never.
    uint64_t NextPollMs() const;

private:
    void PostEvent(nlohmann::json event) EXCLUDES(mutex_);

    const std::string instanceId_;
    const ReceiverSession::SourceFactory makeSource_;
    uint64_t counter_ = 0;
    bool endIsUntold_ = false;
    Mutex mutex_;
    std::vector<nlohmann::json> events_ GUARDED_BY(mutex_);
    bool endIsPosted_ GUARDED_BY(mutex_) = false;  // FINISHED of the current session
    const std::unique_ptr<WakeUpEvent> wakeUp_;    // never null
    std::unique_ptr<ReceiverSession> session_;     // last: its threads post until it is gone
};

}  // namespace receiver

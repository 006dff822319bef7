// The receiver's one session and the queue of its events.
//
//   Threads  the main thread; PostEvent comes from the session's threads.
//   Lock     mutex_ guards the queue alone; a leaf, taken under the session's mutex.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/thread_safety.h"
#include "session/receiver_session.h"

namespace receiver {

class SessionSlot final {
public:
    // `makeSource` is for every session of the slot; see ReceiverSession.
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
    void WaitForEvents(uint32_t timeoutMs) EXCLUDES(mutex_);

private:
    void PostEvent(nlohmann::json event) EXCLUDES(mutex_);

    const std::string instanceId_;
    const ReceiverSession::SourceFactory makeSource_;
    uint64_t counter_ = 0;
    bool endIsUntold_ = false;
    Mutex mutex_;
    std::condition_variable posted_;
    std::vector<nlohmann::json> events_ GUARDED_BY(mutex_);
    bool endIsPosted_ GUARDED_BY(mutex_) = false;  // FINISHED of the current session
    std::unique_ptr<ReceiverSession> session_;     // last: its threads post until it is gone
};

}  // namespace receiver

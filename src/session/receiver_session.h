// One reception, from an accepted PREPARE to FINISHED: the state that the controlling
// program sees (session_state.h), and the thread on which the worker drives the audio
// chain (session_worker.h).
//
//   Threads  one thread, the host's, creates, polls, stops and destroys.
//   Lock     the state's alone, never while the chain is asked or cancelled.
//   Errors   a failure of the reception ends the session with FINISHED "error" and its
//            text; what the event sink throws in PollSource comes out of it.
#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <thread>

#include "session/prepared_program.h"
#include "session/session_state.h"
#include "session/session_worker.h"

namespace receiver {

class ReceiverSession final {
public:
    using EventSink = SessionState::EventSink;
    using SourceFactory = SessionWorker::SourceFactory;

    // Without a factory the source is the program's URL under the detector. `onSourceEnd` may
    // be empty: a thread of the session calls it, without a lock, when PollSource may find a
    // failed source.
    ReceiverSession(PreparedProgram program, std::string audioUri, EventSink postEvent,
                    SourceFactory makeSource = {}, std::function<void()> onSourceEnd = {});
    ~ReceiverSession();  // stops and joins
    ReceiverSession(const ReceiverSession&) = delete;
    ReceiverSession& operator=(const ReceiverSession&) = delete;

    void Start();  // once; throws std::system_error if no thread can be started
    // Ends the session with reason "cancelled" unless it has finished; returns at once.
    void RequestStop();
    // Waits for the worker. Throws std::system_error on the worker itself.
    void Join();
    // Notices a failed source; cheap, called on every pass of the host's loop.
    void PollSource();
    // With the buffer's statistics of this moment once there is a buffer.
    nlohmann::json Snapshot() const;

    const std::string& Id() const { return state_.Program().sessionId; }
    SessionState::Standing GetStanding() const { return state_.GetStanding(); }
    bool IsFinished() const { return state_.IsFinished(); }

private:
    SessionState state_;
    SessionWorker worker_;  // after the state, which its chain reports into to the last
    std::thread thread_;
};

}  // namespace receiver

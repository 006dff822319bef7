// Follows one session of the receiver from the request to its end, through losses of the
// control connection.
//
//   Units    times ms (TickMs).
//   Threads  one.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "receiver_record/control/receiver_link.h"
#include "receiver_record/display/record_console.h"
#include "receiver_record/session_chain.h"
#include "receiver_record/session_record.h"

namespace receiver {

class SessionFollower final {
public:
    // Link and console outlive the object; instanceId is the receiver's.
    SessionFollower(ReceiverLink& link, RecordConsole& console, std::string instanceId);

    // Events are shown as they stand in a recording of several sessions; it outlives the object.
    void ShowIn(const SessionChain& recording) { recording_ = &recording; }
    // Asks for the session. On false FailureText says why, and no session is left behind.
    bool Prepare(const PrepareRequest& request);
    // Waits a moment for what comes next, for a lost connection too: longer while audio still
    // comes. False when nothing more will come.
    bool Step(bool audioRuns);
    // Asks the session to stop, again when a lost connection is back. Its end is waited for
    // until IsOverdue.
    void Cancel();
    bool IsOverdue() const;
    // Ends the following of a receiver that does not answer.
    void GiveUp(const std::string& why);

    bool IsConnected() const { return lostSince_ == 0; }
    // The last step found nothing new: all that the receiver had sent before it is known.
    bool IsCaughtUp() const { return isCaughtUp_; }
    const SessionRecord& Session() const { return session_; }
    uint64_t LastHeard() const { return lastHeard_; }  // when the receiver last said something
    // Why the session was not prepared, or the receiver is lost; empty while all is well.
    const std::string& FailureText() const { return failure_; }
    bool WasRefused() const { return refused_; }

private:
    void TakeBack();
    bool AwaitEvent();
    bool Recover(bool audioRuns);
    bool TakeUp(const Welcome& welcome);  // after a reconnection; false when the session is over

    ReceiverLink& link_;
    RecordConsole& console_;
    const std::string instanceId_;
    const SessionChain* recording_ = nullptr;
    std::string sessionId_;
    SessionRecord session_;
    std::string failure_;
    bool refused_ = false;
    bool isCaughtUp_ = false;
    uint64_t lastHeard_ = 0;
    uint64_t lostSince_ = 0;    // 0 while there is a connection
    uint64_t cancelUntil_ = 0;  // 0 while nobody has cancelled
};

}  // namespace receiver

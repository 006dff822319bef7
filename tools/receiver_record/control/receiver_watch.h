// Asks the receiver how it is: now and then while somebody looks at the answer, and else only
// when nothing has come from it for long, to tell a quiet station from a receiver that hangs.
// Seldom, because each answer is a line in the receiver's log.
//
//   Units    times ms (TickMs).
//   Threads  one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "receiver_client/receiver_client.h"
#include "receiver_record/session_record.h"

namespace receiver {

class ReceiverWatch final {
public:
    static constexpr uint64_t kLookMs = 10000;   // from question to question while it is looked at
    static constexpr uint64_t kQuietMs = 60000;  // without a word or a sound, before it is asked
    static constexpr int kMaxQuestions = 10;     // without an answer; each waits for a second

    // The client outlives the object.
    ReceiverWatch(ReceiverClient& client, uint64_t now) : client_(client), lastHeard_(now) {}

    // Something has come from the receiver by then.
    void Heard(uint64_t when);
    // Asks if it is time, and waits for the answer for a second at most; without one it is time
    // again. Returns what the receiver's buffer holds, where it says so. Needs a connection.
    std::optional<BufferStatistics> Ask(const SessionRecord& session, bool isLookedAt,
                                        uint64_t now);
    // Asks at once, whether it is time or not. True when it has answered.
    bool Answers(const SessionRecord& session, uint64_t now);
    // It has not answered kMaxQuestions. Not a time: a machine that slept has counted its sleep.
    bool IsSilent() const { return unanswered_ >= kMaxQuestions; }

private:
    bool IsTime(const SessionRecord& session, bool isLookedAt, uint64_t now) const;
    bool Question(const SessionRecord& session, std::optional<Welcome>* welcome);
    void NoteAnswer(bool isAnswered, uint64_t now);

    ReceiverClient& client_;
    uint64_t lastHeard_;
    uint64_t lastLook_ = 0;
    std::string lookedAtState_;  // of the session at the last look
    int unanswered_ = 0;         // questions since it was last heard
};

}  // namespace receiver

// Asks the receiver once a second what its buffer holds.
//
//   Units    times ms (TickMs).
//   Threads  one.
#pragma once

#include <cstdint>
#include <optional>

#include "receiver_client/receiver_client.h"
#include "receiver_record/session_record.h"

namespace receiver {

class BufferPoll final {
public:
    explicit BufferPoll(ReceiverClient& client) : client_(client) {}  // outlives the object

    // Nothing when it is not yet time again, or the receiver does not say.
    std::optional<BufferStatistics> Poll(const SessionRecord& session, uint64_t now);

private:
    ReceiverClient& client_;
    uint64_t next_ = 0;
};

}  // namespace receiver

#include "receiver_record/control/buffer_poll.h"

namespace receiver {
namespace {

constexpr std::chrono::milliseconds kReplyTimeout(5000);
constexpr uint64_t kPollMs = 1000;
// A welcome carries the whole snapshot; asking stops well before it becomes too long to send.
constexpr size_t kMaxPolledMatches = 150;

}  // namespace

std::optional<BufferStatistics> BufferPoll::Poll(const SessionRecord& session, uint64_t now) {
    if (session.finished || session.matches.size() > kMaxPolledMatches || now < next_) {
        return {};
    }
    next_ = now + kPollMs;
    const std::optional<Welcome> welcome = client_.Hello(kReplyTimeout);
    if (!welcome || !welcome->active) return {};
    return welcome->active->buffer;
}

}  // namespace receiver

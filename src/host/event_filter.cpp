#include "host/event_filter.h"

#include "wire/messages.h"

namespace receiver {

bool IsOvertaken(std::string_view type, const std::optional<SessionState::Standing>& session) {
    using State = SessionStatus::State;
    if (type == kEventFinished || !session) return false;
    switch (session->state) {
        case State::kCancelling:
            return true;
        case State::kStopping:
            return type == kEventReady;
        case State::kFinished:
            return type == kEventReady || session->reason == SessionStatus::Reason::kCancelled;
        default:
            return false;
    }
}

}  // namespace receiver

// Which of a session's queued events the client must not see any more: what it was told
// by a stop or an end must not be contradicted by an event that was queued before it. Pure.
#pragma once

#include <optional>
#include <string_view>

#include "session/session_state.h"

namespace receiver {

// `session` is where the event's session stands now, nothing once it is gone. An event of
// type FINISHED is never overtaken.
bool IsOvertaken(std::string_view type, const std::optional<SessionState::Standing>& session);

}  // namespace receiver

// What is known of a recording whose receiver died and was replaced: its sessions as one, in the
// samples of the first. Pure.
//
//   Units  samples as in receiver_client/messages.h.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "audio/source_notes.h"
#include "receiver_record/session_record.h"

namespace receiver {

class SessionChain final {
public:
    // The recording as Whole gave it goes on in a session that is yet to come.
    void Continue(SessionRecord whole, const std::string& lossText);
    bool IsContinued() const { return before_.has_value(); }
    // Whether the newest session's place in the recording is known.
    bool IsPlaced() const { return !before_ || shift_; }

    // The newest session's audio has been joined to what came before; in frames from the first
    // that was served.
    void Place(const SourceResumption& joint, const SessionRecord& newest);
    // Nothing had come before.
    void PlaceFirst(const SessionRecord& newest);
    // Keeps the joint as the recording's own. For those who follow, as an event of this session.
    Event Note(const SourceResumption& joint, const std::string& sessionId);

    // All sessions in one record; of the newest without what it heard while its place is not known.
    SessionRecord Whole(const SessionRecord& newest) const;
    // What the newest session tells, for people: in the recording's samples, and without what only
    // its first session has to say.
    Event InRecording(Event event) const;

private:
    std::optional<SessionRecord> before_;
    std::string lossText_;
    std::optional<int64_t> shift_;  // from the newest session's samples to the recording's
};

}  // namespace receiver

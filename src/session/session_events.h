// The JSON of a session: its events and its snapshot, and the objects in them. The one
// place that turns the session's typed fields into the words and keys of the wire. Pure.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "session/session_status.h"

namespace receiver {

// `body` with the keys that every event carries.
nlohmann::json MakeEvent(std::string_view type, const std::string& sessionId, uint64_t sequence,
                         nlohmann::json body);

// Bodies. That of CONNECTED is empty, of DETECTED the match object, of FINISHED the snapshot.
nlohmann::json MakeProgramEndBody(const ProgramEnd& end);
nlohmann::json MakeReadyBody(const std::string& uri, uint64_t startSample);
nlohmann::json MakeSourceErrorBody(const CRubberBufferAudioFile::Stats& stats, bool canDrain);

nlohmann::json MakeSnapshotObject(const SessionStatus& status);
nlohmann::json MakeMatchObject(const SessionMatch& match);
nlohmann::json MakeProgramObject(const ProgramEnd& end);
nlohmann::json MakeStatisticsObject(const CRubberBufferAudioFile::Stats& stats);

}  // namespace receiver

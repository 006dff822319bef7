// The JSON of a session: its events and its snapshot, and the objects in them. The one
// place that turns the session's typed fields into the words and keys of the wire. Pure.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "session/session_status.h"

namespace receiver {

// `body` with the keys that every event carries.
nlohmann::json MakeEvent(std::string_view type, const std::string& sessionId, uint64_t sequence,
                         nlohmann::json body);

// Bodies. That of CONNECTED is empty, of DETECTED the match object, of FINISHED the snapshot.
nlohmann::json MakeProgramEndBody(const ProgramEnd& end);
nlohmann::json MakeReadyBody(const std::string& uri, uint64_t startSample,
                             const std::optional<uint64_t>& servedSample = std::nullopt);
nlohmann::json MakeSourceErrorBody(const CRubberBufferAudioFile::Stats& stats, bool canDrain,
                                   const std::optional<SessionCause>& cause = std::nullopt);
// With the cause of the loss only where causes were asked for.
nlohmann::json MakeResumedBody(const SourceResumption& resumption, bool withCause);
nlohmann::json MakeDamagedBody(const SourceDamage& damage);
nlohmann::json MakeTitleBody(const SourceTitle& title);
nlohmann::json MakeStationBody(const SourceStation& station);

nlohmann::json MakeSnapshotObject(const SessionStatus& status);
nlohmann::json MakeMatchObject(const SessionMatch& match);
nlohmann::json MakeProgramObject(const ProgramEnd& end);
nlohmann::json MakeCauseObject(const SessionCause& cause);
nlohmann::json MakeStatisticsObject(const CRubberBufferAudioFile::Stats& stats);

}  // namespace receiver

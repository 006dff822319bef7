// The JSON objects that a session puts into its events and its snapshot. Pure.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "audio/rubber_buffer_audio_file.h"
#include "detect/detector_match.h"
#include "session/prepared_program.h"

namespace receiver {

inline constexpr uint32_t kStreamSampleRate = 44100;  // every sample position is counted at it

struct ProgramEnd {
    uint64_t startSample;
    uint64_t endSample;
    uint64_t fadeFrames;
    const char* reason;  // "maximum", "outro", "interrupted" or "source_ended"
};

nlohmann::json MakeMatchObject(const PreparedReference& reference, const DetectorMatch& match);
nlohmann::json MakeProgramObject(const ProgramEnd& end);
nlohmann::json MakeStatisticsObject(const CRubberBufferAudioFile::Stats& stats);

}  // namespace receiver

#include "session/session_events.h"

#include <nlohmann/json.hpp>

namespace receiver {

using nlohmann::json;

json MakeMatchObject(const PreparedReference& reference, const DetectorMatch& match) {
    return {{"referenceId", reference.id},
            {"role", reference.role},
            {"sample", match.sample},
            {"observedAfterSample", match.observedAfterSample},
            {"ber", match.ber}};
}

json MakeProgramObject(const ProgramEnd& end) {
    return {{"startSample", end.startSample},
            {"endSample", end.endSample},
            {"sampleRate", kStreamSampleRate},
            {"fadeFrames", end.fadeFrames},
            {"reason", end.reason}};
}

json MakeStatisticsObject(const CRubberBufferAudioFile::Stats& stats) {
    return {{"receivedBytes", stats.receivedBytes},
            {"retainedBytes", stats.retainedBytes},
            {"peakRetainedBytes", stats.peakRetainedBytes},
            {"readBytes", stats.readBytes},
            {"readSample", stats.readSample},
            {"firstSample", stats.firstSample},
            {"nextSample", stats.nextSample},
            {"availableBytes", stats.availableBytes},
            {"sampleRate", stats.sampleRate},
            {"blockAlign", stats.blockAlign},
            {"blocks", stats.blocks},
            {"error", stats.error},
            {"finished", stats.finished},
            {"ownerThread", stats.ownerThread}};
}

}  // namespace receiver

#include "receiver_record/output/sidecar.h"

#include <stdexcept>

#include "audio_output/part_file.h"
#include "platform/text.h"

namespace receiver {
namespace {

using nlohmann::json;

json MatchJson(const Match& match) {
    return {{"referenceId", match.referenceId},
            {"role", RoleName(match.role)},
            {"sample", match.sample},
            {"observedAfterSample", match.observedAfterSample},
            {"ber", match.ber}};
}

json GapJson(const Resumption& gap) {
    return {{"sample", gap.sample},
            {"outageMs", gap.outageMs},
            {"repeatedFrames", gap.repeatedFrames},
            {"lostFrames", gap.lostFrames},
            {"attempts", gap.attempts},
            {"exact", gap.exact}};
}

// Keys that are there only when there is something to tell.
void AddNotes(const StreamNotes& notes, json& object) {
    if (!notes.Station().empty()) object["station"] = notes.Station();
    for (const Resumption& gap : notes.Resumptions()) object["gaps"].push_back(GapJson(gap));
    for (const DamagedEvent& damage : notes.Damages()) {
        object["damage"].push_back(
            {{"sample", damage.sample}, {"frames", damage.frames}, {"kind", damage.kind}});
    }
    for (const TitleEvent& told : notes.Titles()) {
        object["titles"].push_back({{"sample", told.sample}, {"title", told.title}});
    }
}

}  // namespace

json ToJson(const RecordReport& report) {
    json object = {{"outcome", OutcomeName(report.exitCode)},
                   {"complete", report.exitCode == ExitCode::kComplete},
                   {"exitCode", static_cast<int>(report.exitCode)},
                   {"message", report.message},
                   {"reason", EndReason(report)},
                   {"source", report.url},
                   {"file", report.output},
                   {"sessionId", report.sessionId},
                   {"receiverInstanceId", report.instanceId},
                   {"frames", report.frames},
                   {"startedAt", report.startedAt},
                   {"finishedAt", report.finishedAt},
                   {"sessionReason", report.finishedReason}};
    if (report.frames > 0) {
        object["sampleRate"] = report.format.sampleRate;
        object["channels"] = report.format.channels;
    }
    if (report.startSample) {
        object["startSample"] = *report.startSample;
        object["endSample"] = *report.startSample + report.frames;
    }
    if (report.heardAt) object["heardAtSample"] = *report.heardAt;
    if (report.startIsExact) object["startIsExact"] = *report.startIsExact;
    if (report.endIsExact) object["endIsExact"] = *report.endIsExact;
    if (report.program) {
        object["program"] = {{"startSample", report.program->startSample},
                             {"endSample", report.program->endSample},
                             {"fadeFrames", report.program->fadeFrames},
                             {"reason", report.program->reason}};
    }
    if (!report.programStartedAt.empty()) object["programStartedAt"] = report.programStartedAt;
    if (!report.receiverLog.empty()) object["receiverLog"] = report.receiverLog;
    AddNotes(report.notes, object);
    object["matches"] = json::array();
    for (const Match& match : report.matches) {
        object["matches"].push_back(MatchJson(match));
    }
    return object;
}

void WriteSidecar(const std::string& path, const RecordReport& report, bool overwrite) {
    const std::string text =
        ToJson(report).dump(2, ' ', false, json::error_handler_t::replace) + "\n";
    // What is left of an earlier attempt is nobody's: who writes the audio writes this, too.
    PartFile file(ToFilesystemPath(path), overwrite, true);
    if (file.WriteAt(0, text.data(), text.size()) && file.Commit()) return;
    const std::string why = file.FailureText();
    file.Discard();
    throw std::runtime_error(why);
}

}  // namespace receiver

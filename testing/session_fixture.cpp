#include "testing/session_fixture.h"

#include <algorithm>

#include "platform/ids.h"
#include "testing/audio_generator.h"
#include "testing/patience.h"
#include "testing/wav_file.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr uint64_t kHostWaitMs = 10;

}  // namespace

ReceiverSession::EventSink EventLog::Sink() {
    return [this](json event) {
        MutexLock lock(mutex_);
        events_.push_back(std::move(event));
        posted_.notify_all();
    };
}

const json* EventLog::Find(const std::string& type) const {
    const auto found = std::find_if(events_.begin(), events_.end(),
                                    [&](const json& event) { return event["type"] == type; });
    return found == events_.end() ? nullptr : &*found;
}

json EventLog::WaitFor(const std::string& type) {
    const SteadyTime deadline = DeadlineIn(kPatienceMs);
    MutexLock lock(mutex_);
    while (!Find(type)) {
        if (!lock.WaitUntil(posted_, deadline)) break;
    }
    const json* found = Find(type);
    return found ? *found : json();
}

void EventLog::WaitForNews() {
    const SteadyTime deadline = DeadlineIn(kHostWaitMs);
    MutexLock lock(mutex_);
    const size_t before = events_.size();
    while (events_.size() == before) {
        if (!lock.WaitUntil(posted_, deadline)) return;
    }
}

std::vector<json> EventLog::All() {
    MutexLock lock(mutex_);
    return events_;
}

std::vector<std::string> EventLog::Types() {
    std::vector<std::string> types;
    for (const json& event : All()) types.push_back(event["type"]);
    return types;
}

size_t EventLog::Count(const std::string& type) {
    const auto types = Types();
    return static_cast<size_t>(std::count(types.begin(), types.end(), type));
}

ReferenceFiles::ReferenceFiles() {
    uint64_t seed = 1;
    for (const char* role : {"start", "end", "other"}) {
        WriteWavFile(Path(role), MakeNoise(seed++, 22050, 1, kReferenceFrames / 2));
    }
}

PreparedProgram MakeRequest(const ReferenceFiles& files) {
    PreparedProgram program;
    program.sessionId = "session-1";
    program.url = "http://127.0.0.1/stream";
    for (const char* role : {"start", "end", "other"}) {
        program.references.push_back(
            {std::string("the-") + role, ReferenceRoleNamed(role).value(), files.Path(role)});
    }
    return program;
}

std::string UniqueAudioUri() {
    return "pcm-pipe://receiver-audio-" + CreateInstanceId() + "-1";
}

DetectorMatch MatchAt(uint64_t referenceIndex, uint64_t sample) {
    return {.referenceIndex = referenceIndex,
            .sample = sample,
            .observedAfterSample = sample + 30000,
            .ber = 0.0625};
}

}  // namespace receiver

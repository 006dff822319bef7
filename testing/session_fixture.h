// What the tests of sessions share: reference files on the disk, a request for
// them, and the events in the order in which they came.
#pragma once

#include <condition_variable>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/thread_safety.h"
#include "session/prepared_program.h"
#include "session/receiver_session.h"
#include "testing/temp_folder.h"

namespace receiver {

// The events that a session has posted. Any thread.
class EventLog final {
public:
    ReceiverSession::EventSink Sink();

    // The first event of the type, waiting for it; null when it does not come.
    nlohmann::json WaitFor(const std::string& type) EXCLUDES(mutex_);
    // Until the next event, or for as long as a host's loop waits for one.
    void WaitForNews() EXCLUDES(mutex_);
    std::vector<nlohmann::json> All() EXCLUDES(mutex_);
    std::vector<std::string> Types() EXCLUDES(mutex_);
    size_t Count(const std::string& type) EXCLUDES(mutex_);

private:
    const nlohmann::json* Find(const std::string& type) const REQUIRES(mutex_);

    Mutex mutex_;
    std::condition_variable posted_;
    std::vector<nlohmann::json> events_ GUARDED_BY(mutex_);
};

// Files "start", "end" and "other", each of kReferenceFrames frames of the stream.
class ReferenceFiles final {
public:
    static constexpr uint64_t kReferenceFrames = 2 * 13230;

    ReferenceFiles();
    std::string Path(const std::string& role) const { return folder_.File(role + ".wav"); }

private:
    const TempFolder folder_;
};

// The places of the request's references, in its list.
inline constexpr uint64_t kStartReference = 0;
inline constexpr uint64_t kEndReference = 1;
inline constexpr uint64_t kOtherReference = 2;

PreparedProgram MakeRequest(const ReferenceFiles& files);
std::string UniqueAudioUri();
DetectorMatch MatchAt(uint64_t referenceIndex, uint64_t sample);

}  // namespace receiver

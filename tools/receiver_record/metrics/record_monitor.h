// Lets others see what the recorder does: on a page that can be asked for, in a file, or both;
// without --metrics and --metrics-file it does nothing.
//
//   Units    times ms (TickMs).
//   Threads  one feeds it; the page's server reads what was fed.
//   Lock     mutex_ guards the metrics; a leaf, never held across the file or the network.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/thread_safety.h"
#include "receiver_record/metrics/metrics_gathering.h"
#include "receiver_record/metrics/metrics_server.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

class RecordMonitor final {
public:
    static constexpr uint64_t kFileMs = 15000;  // from one writing to the next

    using Tell = std::function<void(const std::string& line)>;
    // Listens, and writes the file for the first time. Throws std::runtime_error, with a text for
    // people, where either cannot be done. `warn` is told, once, of a file that cannot be written
    // later; it outlives the object.
    RecordMonitor(const RecordOptions& options, Tell warn);

    bool IsOn() const { return isOn_; }
    // Where it can be asked; empty where it cannot.
    std::string Url() const { return server_ ? server_->Url() : ""; }

    // As MetricsGathering has them.
    void BeginRecording() EXCLUDES(mutex_);
    void BeginSession(bool isContinued) EXCLUDES(mutex_);
    void Note(const RecordMoment& moment) EXCLUDES(mutex_);
    void NoteBuffer(const BufferStatistics& buffer) EXCLUDES(mutex_);
    void EndRecording(const RecordReport& report) EXCLUDES(mutex_);
    void End(ExitCode exitCode) EXCLUDES(mutex_);

private:
    std::string Text() EXCLUDES(mutex_);
    // When it is time; a state that has changed is news.
    void WriteWhenDue() EXCLUDES(mutex_);
    void WriteNow() EXCLUDES(mutex_);
    std::string WriteFile() EXCLUDES(mutex_);  // why it could not

    const bool isOn_;
    const std::string file_;
    const Tell warn_;

    uint64_t nextWriting_ = 0;  // the feeding thread's, as what follows
    RecorderState writtenState_ = RecorderState::kStarting;
    bool hasWarned_ = false;

    Mutex mutex_;
    MetricsGathering gathering_ GUARDED_BY(mutex_);

    std::optional<MetricsServer> server_;  // before all it reads goes
};

}  // namespace receiver

#include "receiver_record/metrics/record_monitor.h"

#include <chrono>
#include <stdexcept>
#include <utility>

#include "platform/clock.h"
#include "platform/text.h"
#include "receiver_record/metrics/metrics_file.h"
#include "receiver_record/metrics/metrics_text.h"

namespace receiver {
namespace {

double UnixTime() {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    return static_cast<double>(duration_cast<milliseconds>(now).count()) / 1000;
}

}  // namespace

RecordMonitor::RecordMonitor(const RecordOptions& options, Tell warn)
    : isOn_(options.metrics.IsWanted()),
      file_(options.metrics.file),
      warn_(std::move(warn)),
      gathering_(options.metrics.id, options.url, options.references, UnixTime()) {
    if (options.metrics.address) {
        server_.emplace(*options.metrics.address, [this] { return Text(); });
    }
    const std::string why = WriteFile();
    if (!why.empty()) throw std::runtime_error("Cannot write " + file_ + ": " + why);
}

void RecordMonitor::BeginRecording() {
    const MutexLock lock(mutex_);
    gathering_.BeginRecording();
}

void RecordMonitor::BeginSession(bool isContinued) {
    const MutexLock lock(mutex_);
    gathering_.BeginSession(isContinued);
}

void RecordMonitor::Note(const RecordMoment& moment) {
    {
        const MutexLock lock(mutex_);
        gathering_.Note(moment, UnixTime());
    }
    WriteWhenDue();
}

void RecordMonitor::NoteBuffer(const BufferStatistics& buffer) {
    const MutexLock lock(mutex_);
    gathering_.NoteBuffer(buffer);
}

void RecordMonitor::EndRecording(const RecordReport& report) {
    {
        const MutexLock lock(mutex_);
        gathering_.EndRecording(report, UnixTime());
    }
    WriteNow();
}

void RecordMonitor::End(ExitCode exitCode) {
    {
        const MutexLock lock(mutex_);
        gathering_.End(exitCode);
    }
    WriteNow();
}

std::string RecordMonitor::Text() {
    RecordMetrics metrics;
    {
        const MutexLock lock(mutex_);
        metrics = gathering_.Metrics();
    }
    return MetricsText(metrics);
}

void RecordMonitor::WriteWhenDue() {
    RecorderState state;
    {
        const MutexLock lock(mutex_);
        state = gathering_.Metrics().state;
    }
    if (state != writtenState_ || TickMs() >= nextWriting_) WriteNow();
}

void RecordMonitor::WriteNow() {
    const std::string why = WriteFile();
    if (why.empty() || hasWarned_) return;
    hasWarned_ = true;
    warn_("Cannot write " + file_ + ": " + why);
}

std::string RecordMonitor::WriteFile() {
    if (file_.empty()) return {};
    {
        const MutexLock lock(mutex_);
        writtenState_ = gathering_.Metrics().state;
    }
    nextWriting_ = TickMs() + kFileMs;
    return WriteMetricsFile(ToFilesystemPath(file_), Text());
}

}  // namespace receiver

#include "testing/scripted_audio_file.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "testing/patience.h"
#include "testing/pcm_format.h"

namespace receiver {

ScriptedAudioFile::ScriptedAudioFile(int channels, int rate, int bits)
    : record(FormatOf(channels, rate, bits)) {}

ScriptedAudioFile::ScriptedAudioFile(const TestPcm& pcm)
    : ScriptedAudioFile(pcm.channels, pcm.rate) {
    Deliver(pcm);
    End();
}

void ScriptedAudioFile::Hold() {
    MutexLock lock(mutex_);
    held_ = true;
}

void ScriptedAudioFile::Proceed() {
    MutexLock lock(mutex_);
    held_ = false;
    changed_.notify_all();
}

void ScriptedAudioFile::AppendBytes(const uint8_t* bytes, size_t count) {
    data_.insert(data_.end(), bytes, bytes + count);
    blocked_ = false;
    changed_.notify_all();
}

void ScriptedAudioFile::Deliver(size_t bytes) {
    MutexLock lock(mutex_);
    std::vector<uint8_t> pattern(bytes);
    for (size_t i = 0; i < bytes; ++i) pattern[i] = PatternByte(data_.size() + i);
    AppendBytes(pattern.data(), bytes);
}

void ScriptedAudioFile::Deliver(const TestPcm& pcm) {
    MutexLock lock(mutex_);
    AppendBytes(reinterpret_cast<const uint8_t*>(pcm.samples.data()), pcm.Bytes());
}

void ScriptedAudioFile::End() {
    MutexLock lock(mutex_);
    outcome_ = Outcome::kEnd;
    changed_.notify_all();
}

void ScriptedAudioFile::Fail() {
    MutexLock lock(mutex_);
    outcome_ = Outcome::kFail;
    changed_.notify_all();
}

void ScriptedAudioFile::Stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

bool ScriptedAudioFile::WaitUntilBlocked(uint32_t timeoutMs) {
    MutexLock lock(mutex_);
    const SteadyTime deadline = DeadlineIn(timeoutMs);
    while (!blocked_) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
    return blocked_;
}

bool ScriptedAudioFile::WaitUntilClosed(uint32_t timeoutMs) {
    MutexLock lock(mutex_);
    const SteadyTime deadline = DeadlineIn(timeoutMs);
    while (!closed_) {
        if (!lock.WaitUntil(changed_, deadline)) break;
    }
    return closed_;
}

size_t ScriptedAudioFile::ReadCalls() const {
    MutexLock lock(mutex_);
    return readCalls_;
}

std::string ScriptedAudioFile::OpenedPath() const {
    MutexLock lock(mutex_);
    return openedPath_;
}

uint8_t ScriptedAudioFile::PatternByte(uint64_t position) {
    return static_cast<uint8_t>((position * 0x9E3779B97F4A7C15) >> 56);
}

BOOL ScriptedAudioFile::Open(const std::string& path) {
    if (open_ != 0) return 0;
    MutexLock lock(mutex_);
    openedPath_ = path;
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    while (held_ && !stopped_) {
        blocked_ = true;
        changed_.notify_all();
        if (!lock.WaitUntil(changed_, deadline)) GiveUp("nobody lets the file open", kMaxHoldMs);
    }
    blocked_ = false;
    if (faults.openFails || stopped_) return 0;
    if (!faults.formatMissing) format_ = &record;
    open_ = 1;
    return 1;
}

BOOL ScriptedAudioFile::Close() {
    open_ = 0;
    format_ = nullptr;
    MutexLock lock(mutex_);
    closed_ = true;
    changed_.notify_all();
    return 1;
}

int32_t ScriptedAudioFile::Read(void* buffer, uint32_t count) {
    if (open_ == 0 || !buffer || count == 0) return -1;
    MutexLock lock(mutex_);
    ++readCalls_;
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    while (taken_ == data_.size() && outcome_ == Outcome::kNone && !stopped_) {
        blocked_ = true;
        changed_.notify_all();
        if (!lock.WaitUntil(changed_, deadline)) GiveUp("nobody feeds the file", kMaxHoldMs);
    }
    blocked_ = false;
    if (stopped_) return -1;
    if (faults.readThrowsBadAlloc) throw std::bad_alloc();
    if (faults.readThrows) throw std::runtime_error("scripted");
    if (faults.oversizeResult) return static_cast<int32_t>(count + record.nBlockAlign);
    if (taken_ == data_.size()) return outcome_ == Outcome::kEnd ? 0 : -1;
    return TakeData(static_cast<uint8_t*>(buffer), count);
}

int32_t ScriptedAudioFile::TakeData(uint8_t* buffer, uint32_t count) {
    size_t bytes = std::min<size_t>({count, mostBytesPerRead, data_.size() - taken_});
    if (faults.oddPartialRead && bytes > 1) --bytes;
    std::memcpy(buffer, data_.data() + taken_, bytes);
    taken_ += bytes;
    return static_cast<int32_t>(bytes);
}

}  // namespace receiver

#include "audio/rubber_buffer_audio_file.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/clock.h"
#include "platform/error_codes.h"
#include "platform/ids.h"
#include "platform/thread_name.h"

namespace receiver {
namespace {

constexpr uint32_t kMaxBlockBytes = 1048576;
constexpr uint64_t kLastByte = std::numeric_limits<uint64_t>::max();
// Large enough that the C library takes it from the system alone and gives it back whole, to
// whichever thread asks next. Never touched: it is no memory until then.
constexpr size_t kReserveBytes = 34603008;
// FFmpeg and FFTW want memory of their own for every read, and FFTW ends the process when it
// gets none: so much must be left, which is looked at whenever so much has been stored.
constexpr size_t kHeadroomBytes = 4194304;
constexpr uint64_t kHeadroomCheckBytes = 262144;

void RequireHeadroom() {
    const auto headroom = std::make_unique_for_overwrite<std::byte[]>(kHeadroomBytes);
    // Seen from outside, so that the compiler cannot do without the memory.
    *static_cast<volatile std::byte*>(headroom.get()) = std::byte{};
}

// A source that fails because it gets no memory need not say so.
bool IsMemoryExhausted() {
    try {
        RequireHeadroom();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

}  // namespace

CRubberBufferAudioFile::CRubberBufferAudioFile(std::unique_ptr<CAudioFile> inner,
                                               std::function<void()> stopInner, uint32_t blockBytes,
                                               uint32_t readTimeoutMs)
    : inner_(std::move(inner)),
      stopInner_(std::move(stopInner)),
      blockBytes_(blockBytes),
      readTimeoutMs_(readTimeoutMs),
      reserve_(std::make_unique_for_overwrite<std::byte[]>(kReserveBytes)) {
    if (!inner_ || !stopInner_ || blockBytes < 1 || blockBytes > kMaxBlockBytes ||
        readTimeoutMs == 0) {
        throw std::invalid_argument("Invalid Rubberbuffer configuration");
    }
}

CRubberBufferAudioFile::~CRubberBufferAudioFile() {
    CRubberBufferAudioFile::Close();
}

BOOL CRubberBufferAudioFile::Open(const std::string& path) {
    MutexLock lock(mutex_);
    if (started_ || filler_.joinable() || stopRequested_) return 0;
    filler_ = std::thread([this, path] { RunFiller(path); });
    while (!started_ && !stopRequested_) lock.Wait(changed_);
    return open_ != 0 && !stopRequested_ ? 1 : 0;
}

void CRubberBufferAudioFile::RunFiller(const std::string& path) {
    SetCurrentThreadName("filler");
    const uint32_t reason = Fill(path);
    {
        MutexLock lock(mutex_);
        if (error_ == kErrorNone) error_ = reason;
        started_ = true;
        finished_ = true;
        changed_.notify_all();
    }
    if (onEnd_) onEnd_();
}

// Runs the source to its end and closes it.
uint32_t CRubberBufferAudioFile::Fill(const std::string& path) {
    uint32_t reason = kErrorReadFault;
    try {
        reason = ReadInner(OpenInner(path));
    } catch (const std::bad_alloc&) {
        reason = kErrorOutOfMemory;
    } catch (...) {
        reason = kErrorReadFault;
    }
    if (reason == kErrorReadFault && IsMemoryExhausted()) reason = kErrorOutOfMemory;
    reserve_.reset();
    try {
        inner_->Close();
    } catch (...) {
        reason = kErrorReadFault;
    }
    return reason;
}

uint32_t CRubberBufferAudioFile::OpenInner(const std::string& path) {
    if (!inner_->Open(path)) throw std::runtime_error("Inner Open failed");
    const WAVEFORMATEX* format = FormatOf16BitPcm(*inner_);
    if (!format) throw std::runtime_error("Invalid PCM format");
    MutexLock lock(mutex_);
    record_ = *format;
    format_ = &record_;
    bytesPerSecond_ = record_.nAvgBytesPerSec;
    ownerThread_ = CurrentThreadId();
    lastWriteTick_ = TickMs();
    open_ = 1;
    started_ = true;
    changed_.notify_all();
    return record_.nBlockAlign;
}

uint32_t CRubberBufferAudioFile::ReadInner(uint32_t blockAlign) {
    const uint32_t chunkBytes = std::max(blockBytes_ / blockAlign, 1U) * blockAlign;
    uint64_t unchecked = kHeadroomCheckBytes;
    while (!IsStopRequested()) {
        if (unchecked >= kHeadroomCheckBytes) {
            RequireHeadroom();
            unchecked = 0;
        }
        std::vector<std::byte> pcm(chunkBytes);
        const int32_t got = inner_->Read(pcm.data(), chunkBytes);
        if (got < 1) return got < 0 ? kErrorReadFault : kErrorNone;
        const auto bytes = static_cast<uint32_t>(got);
        if (bytes > chunkBytes || bytes % blockAlign != 0) {
            throw std::runtime_error("Invalid inner partial Read");
        }
        if (bytes < chunkBytes) {
            pcm.resize(bytes);
            pcm.shrink_to_fit();  // a block may be kept for hours
        }
        unchecked += bytes;
        Append(std::move(pcm));
    }
    return kErrorNone;
}

bool CRubberBufferAudioFile::IsStopRequested() const {
    MutexLock lock(mutex_);
    return stopRequested_;
}

void CRubberBufferAudioFile::Append(std::vector<std::byte> pcm) {
    const uint64_t bytes = pcm.size();
    MutexLock lock(mutex_);
    if (receivedBytes_ > kLastByte - bytes) throw std::runtime_error("PCM position overflow");
    blocks_.push_back({receivedBytes_, std::move(pcm)});
    receivedBytes_ += bytes;
    lastWriteTick_ = TickMs();
    retainedBytes_ += bytes;
    if (lookBackFrames_) ReleaseBeyondLookBack();
    peakRetainedBytes_ = std::max(peakRetainedBytes_, retainedBytes_);
    changed_.notify_all();
}

int32_t CRubberBufferAudioFile::Read(void* buffer, uint32_t count) {
    MutexLock lock(mutex_);
    if (open_ == 0) return -1;
    if (!buffer) return count > 0 ? -1 : 0;
    if (count == 0) return 0;
    const SteadyTime deadline = DeadlineIn(readTimeoutMs_);
    bool inTime = true;
    while (readPosition_ >= receivedBytes_ && !finished_ && !stopRequested_) {
        if (!inTime) {
            error_ = kErrorTimedOut;
            return -1;
        }
        inTime = lock.WaitUntil(changed_, deadline);
    }
    if (stopRequested_) return -1;
    if (readPosition_ >= receivedBytes_) return error_ > 0 ? -1 : 0;
    return CopyFromBlock(buffer, count);
}

int32_t CRubberBufferAudioFile::CopyFromBlock(void* buffer, uint32_t count) {
    const auto after = std::upper_bound(
        blocks_.begin(), blocks_.end(), readPosition_,
        [](uint64_t position, const Block& block) { return position < block.startByte; });
    if (after == blocks_.begin()) {
        error_ = kErrorPositionReleased;
        return -1;
    }
    const Block& block = *std::prev(after);
    const uint64_t offset = readPosition_ - block.startByte;
    const auto copied = static_cast<uint32_t>(std::min<uint64_t>(count, block.pcm.size() - offset));
    std::memcpy(buffer, block.pcm.data() + offset, copied);
    readPosition_ += copied;
    readBytes_ += copied;
    if (releaseConsumed_) ReleaseBlocksBefore(readPosition_);
    return static_cast<int32_t>(copied);
}

BOOL CRubberBufferAudioFile::Seek(float ms) {
    uint32_t rate = 0;
    {
        MutexLock lock(mutex_);
        rate = record_.nSamplesPerSec;
    }
    if (!std::isfinite(ms) || ms < 0.0F || rate / 1000.0 * ms > 0x1p63) return 0;
    // Formed in single precision: controlling programs depend on the sample that it names.
    const float product = static_cast<float>(rate) * ms;
    return SeekToSample(static_cast<uint64_t>(std::nearbyint(product / 1000.0)));
}

BOOL CRubberBufferAudioFile::SeekToSample(uint64_t sample) {
    MutexLock lock(mutex_);
    uint64_t byte = 0;
    if (stopRequested_ || !ByteOfSample(sample, &byte)) return 0;
    if (byte < FirstByte() || byte > receivedBytes_) return 0;
    readPosition_ = byte;
    if (releaseConsumed_) ReleaseBlocksBefore(readPosition_);
    return 1;
}

BOOL CRubberBufferAudioFile::WaitForSample(uint64_t sample, uint32_t timeoutMs) {
    MutexLock lock(mutex_);
    uint64_t byte = 0;
    if (!ByteOfSample(sample, &byte)) return 0;
    const SteadyTime deadline = DeadlineIn(timeoutMs);
    bool inTime = true;
    while (inTime && receivedBytes_ <= byte && !finished_ && !stopRequested_) {
        inTime = lock.WaitUntil(changed_, deadline);
    }
    return !stopRequested_ && FirstByte() <= byte && byte < receivedBytes_ ? 1 : 0;
}

bool CRubberBufferAudioFile::ByteOfSample(uint64_t sample, uint64_t* byte) const {
    if (open_ == 0 || sample > kLastByte / record_.nBlockAlign) return false;
    *byte = sample * record_.nBlockAlign;
    return true;
}

uint64_t CRubberBufferAudioFile::FirstByte() const {
    return blocks_.empty() ? receivedBytes_ : blocks_.front().startByte;
}

void CRubberBufferAudioFile::SetReleaseConsumed(bool release) {
    MutexLock lock(mutex_);
    releaseConsumed_ = release;
    if (release) ReleaseBlocksBefore(readPosition_);
}

void CRubberBufferAudioFile::SetLookBack(std::optional<uint64_t> frames) {
    MutexLock lock(mutex_);
    lookBackFrames_ = frames;
}

void CRubberBufferAudioFile::ReleaseBeyondLookBack() {
    if (*lookBackFrames_ >= receivedBytes_ / record_.nBlockAlign) return;
    ReleaseBlocksBefore(receivedBytes_ - *lookBackFrames_ * record_.nBlockAlign);
    readPosition_ = std::max(readPosition_, FirstByte());
}

void CRubberBufferAudioFile::ReleaseBlocksBefore(uint64_t byte) {
    while (!blocks_.empty() && blocks_.front().startByte + blocks_.front().pcm.size() <= byte) {
        retainedBytes_ -= blocks_.front().pcm.size();
        blocks_.pop_front();
    }
}

void CRubberBufferAudioFile::RequestStop() {
    {
        MutexLock lock(mutex_);
        stopRequested_ = true;
        changed_.notify_all();
    }
    // Outside the lock, which the filler may need before the stop can take effect on it.
    stopInner_();
}

BOOL CRubberBufferAudioFile::Close() {
    RequestStop();
    std::thread filler;
    {
        MutexLock lock(mutex_);
        if (filler_.get_id() == std::this_thread::get_id()) {
            throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
        }
        filler = std::move(filler_);
    }
    if (filler.joinable()) filler.join();
    MutexLock lock(mutex_);
    open_ = 0;
    blocks_.clear();  // in its place: even an empty deque needs memory, and a destructor calls this
    retainedBytes_ = 0;
    return 1;
}

CRubberBufferAudioFile::Stats CRubberBufferAudioFile::GetStats() const {
    MutexLock lock(mutex_);
    Stats stats;
    stats.receivedBytes = receivedBytes_;
    stats.retainedBytes = retainedBytes_;
    stats.peakRetainedBytes = peakRetainedBytes_;
    stats.readBytes = readBytes_;
    if (record_.nBlockAlign != 0) {
        stats.readSample = readPosition_ / record_.nBlockAlign;
        stats.firstSample = FirstByte() / record_.nBlockAlign;
        stats.nextSample = receivedBytes_ / record_.nBlockAlign;
    }
    stats.availableBytes = open_ != 0 ? receivedBytes_ - readPosition_ : 0;
    stats.sampleRate = record_.nSamplesPerSec;
    stats.blockAlign = record_.nBlockAlign;
    stats.blocks = blocks_.size();
    stats.error = error_;
    stats.finished = finished_;
    stats.ownerThread = ownerThread_;
    stats.lastWriteTick = lastWriteTick_;
    return stats;
}

BOOL CRubberBufferAudioFile::GetInfo(AudioFileInfo* info) {
    MutexLock lock(mutex_);
    return CAudioFile::GetInfo(info);
}

uint32_t CRubberBufferAudioFile::GetFormat(const WAVEFORMATEX** format) {
    MutexLock lock(mutex_);
    return CAudioFile::GetFormat(format);
}

bool CRubberBufferAudioFile::IsOpen() const {
    MutexLock lock(mutex_);
    return open_ != 0;
}

}  // namespace receiver

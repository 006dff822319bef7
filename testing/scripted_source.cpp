#include "testing/scripted_source.h"

#include <algorithm>
#include <cstring>

#include "testing/patience.h"
#include "testing/pcm_format.h"

namespace receiver {
namespace {

constexpr uint16_t kBlockAlign = 4;

}  // namespace

class ScriptedSource::File final : public CAudioFile {
public:
    File(ScriptedSource& script, Listeners listeners)
        : script_(script),
          listeners_(std::move(listeners)),
          record_(FormatOf(2, kStreamSampleRate)) {}

    BOOL Open(const std::string&) override {
        open_ = script_.Open(listeners_);
        if (open_) format_ = &record_;
        return open_;
    }
    BOOL Close() override {
        open_ = 0;
        return 1;
    }
    int32_t Read(void* buffer, uint32_t count) override {
        return script_.Read(buffer, count, listeners_);
    }
    BOOL Seek(float) override { return 0; }
    bool IsOpen() const override { return open_ != 0; }

private:
    ScriptedSource& script_;
    const Listeners listeners_;
    const WAVEFORMATEX record_;
};

ReceiverSession::SourceFactory ScriptedSource::Factory() {
    return [this](std::vector<ReferenceFingerprint>&&,
                  std::function<void(const DetectorMatch&)> onMatch, SourceNotes notes) {
        return SessionSource{
            std::make_unique<File>(*this, Listeners{std::move(onMatch), std::move(notes)}),
            [this] { Stop(); }};
    };
}

void ScriptedSource::HoldOpen() {
    MutexLock lock(mutex_);
    holdsOpen_ = true;
}

void ScriptedSource::LetOpen() {
    MutexLock lock(mutex_);
    holdsOpen_ = false;
    changed_.notify_all();
}

void ScriptedSource::RefuseOpen() {
    MutexLock lock(mutex_);
    refusesOpen_ = true;
}

void ScriptedSource::MatchWhileOpening(const DetectorMatch& match) {
    MutexLock lock(mutex_);
    openingMatches_.push_back(match);
}

void ScriptedSource::Push(Part part) {
    MutexLock lock(mutex_);
    parts_.push_back(part);
    waiting_ = false;
    changed_.notify_all();
}

void ScriptedSource::Stop() {
    MutexLock lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

bool ScriptedSource::WaitUntilOpening() {
    const SteadyTime deadline = DeadlineIn(kPatienceMs);
    MutexLock lock(mutex_);
    while (!opening_) {
        if (!lock.WaitUntil(changed_, deadline)) return opening_;
    }
    return true;
}

bool ScriptedSource::WaitUntilDrained() {
    const SteadyTime deadline = DeadlineIn(kPatienceMs);
    MutexLock lock(mutex_);
    while (!waiting_) {
        if (!lock.WaitUntil(changed_, deadline)) return waiting_;
    }
    return true;
}

void ScriptedSource::NoteWhileOpening(Notice note) {
    MutexLock lock(mutex_);
    openingNotes_.push_back(std::move(note));
}

BOOL ScriptedSource::Open(const Listeners& listeners) {
    MutexLock lock(mutex_);
    const std::vector<DetectorMatch> matches = openingMatches_;
    const std::vector<Notice> notes = openingNotes_;
    lock.Unlock();
    for (const DetectorMatch& match : matches) listeners.onMatch(match);
    for (const Notice& note : notes) note(listeners.notes);
    lock.Lock();
    opening_ = true;
    stopped_ = false;
    nextFrame_ = 0;
    changed_.notify_all();
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    while (holdsOpen_ && !stopped_) {
        if (!lock.WaitUntil(changed_, deadline)) GiveUp("nobody lets the source open", kMaxHoldMs);
    }
    return stopped_ || refusesOpen_ ? 0 : 1;
}

int32_t ScriptedSource::Read(void* buffer, uint32_t count, const Listeners& listeners) {
    const SteadyTime deadline = DeadlineIn(kMaxHoldMs);
    MutexLock lock(mutex_);
    while (true) {
        while (parts_.empty() && !stopped_) {
            waiting_ = true;
            changed_.notify_all();
            if (!lock.WaitUntil(changed_, deadline)) GiveUp("nobody feeds the source", kMaxHoldMs);
        }
        if (stopped_) return -1;
        if (const auto* last = std::get_if<Last>(&parts_.front())) {
            const int32_t result = last->result;
            parts_.pop_front();
            return result;
        }
        if (const auto* match = std::get_if<DetectorMatch>(&parts_.front())) {
            const DetectorMatch reported = *match;
            parts_.pop_front();
            lock.Unlock();
            listeners.onMatch(reported);
            lock.Lock();
            continue;
        }
        if (const auto* notice = std::get_if<Notice>(&parts_.front())) {
            const Notice told = *notice;
            parts_.pop_front();
            lock.Unlock();
            told(listeners.notes);
            lock.Lock();
            continue;
        }
        auto& frames = std::get<Frames>(parts_.front());
        const uint64_t now = std::min<uint64_t>(frames.left, count / kBlockAlign);
        auto* pcm = static_cast<unsigned char*>(buffer);
        for (uint64_t i = 0; i < now; ++i, ++nextFrame_) {
            const int16_t frame[] = {Left(nextFrame_), Right(nextFrame_)};
            std::memcpy(pcm + i * kBlockAlign, frame, kBlockAlign);
        }
        frames.left -= now;
        if (frames.left == 0) parts_.pop_front();
        if (now > 0) return static_cast<int32_t>(now * kBlockAlign);
    }
}

}  // namespace receiver

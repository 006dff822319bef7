#include "receiver_record/cut/program_cutter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

#include "detect/detector_audio_file.h"
#include "detect/fade_out.h"
#include "platform/thread_name.h"

namespace receiver {
namespace {

// Of a longer fade only its end is held back until it is sure that nothing else ends the
// programme within it.
constexpr uint64_t kMaxHeldFadeFrames = uint64_t{60} * kStreamSampleRate;
constexpr size_t kPieceFrames = 8192;

double PeakOf(std::span<const int16_t> samples) {
    int peak = 0;
    for (const int16_t sample : samples) peak = std::max(peak, std::abs(static_cast<int>(sample)));
    return peak / 32768.0;
}

}  // namespace

ProgramCutter::ProgramCutter(CutPlan plan, const PcmFormat& format, Sink sink, size_t maxBytes)
    : plan_(std::move(plan)),
      channels_(format.channels),
      sink_(std::move(sink)),
      maximumBytes_(maxBytes),
      audio_(plan_.servedSample, format.channels),
      thread_([this] { Run(); }) {}

ProgramCutter::~ProgramCutter() {
    Finish();
}

bool ProgramCutter::Append(std::span<const std::byte> pcm) {
    MutexLock lock(mutex_);
    if (!state_.failure.empty()) return false;
    if (bytesHeld_ + arrived_.size() * sizeof(int16_t) + pcm.size() > maximumBytes_) {
        state_.failure = "The receiver has not told for too long what it hears";
        return false;
    }
    const size_t before = arrived_.size();
    arrived_.resize(before + pcm.size() / sizeof(int16_t));
    if (!pcm.empty()) std::memcpy(arrived_.data() + before, pcm.data(), pcm.size());
    peak_ = std::max(peak_, PeakOf(std::span(arrived_).subspan(before)));
    framesReceived_ += pcm.size() / (channels_ * sizeof(int16_t));
    isNews_ = true;
    changed_.notify_all();
    return true;
}

void ProgramCutter::Tell(const std::vector<Match>& matches) {
    MutexLock lock(mutex_);
    for (; matchesTold_ < matches.size(); ++matchesTold_) {
        const Match& match = matches[matchesTold_];
        if (match.role != Role::kEnd || !CountsAsEnd(plan_, match.sample)) continue;
        told_.push_back(match);
        isNews_ = true;
    }
    if (isNews_) changed_.notify_all();
}

void ProgramCutter::Settle(uint64_t frames) {
    MutexLock lock(mutex_);
    if (frames <= framesSettled_) return;
    framesSettled_ = frames;
    isNews_ = true;
    changed_.notify_all();
}

void ProgramCutter::Finish(std::optional<ProgramEndReason> sourceEnd) {
    {
        MutexLock lock(mutex_);
        if (!finishing_) sourceEnd_ = sourceEnd;
        finishing_ = isNews_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

CutState ProgramCutter::State() {
    MutexLock lock(mutex_);
    CutState state = state_;
    state.framesReceived = framesReceived_;
    if (state.begin) {
        const uint64_t newest = plan_.servedSample + framesReceived_;
        const uint64_t end = state.end ? std::min(newest, state.end->endSample) : newest;
        state.framesFound = end - std::min(end, *state.begin);
    }
    state.framesSettled = framesSettled_;
    return state;
}

double ProgramCutter::TakePeak() {
    MutexLock lock(mutex_);
    return std::exchange(peak_, 0);
}

void ProgramCutter::Run() {
    SetCurrentThreadName("record-cutter");
    std::string failure;
    try {
        Work();
    } catch (const std::exception& e) {
        failure = std::string("The programme cannot be cut: ") + e.what();
    }
    Publish(failure);
}

void ProgramCutter::Work() {
    LoadRecordings();
    bool goesOn = true;
    while (goesOn) {
        goesOn = TakeNews();
        Advance(!goesOn);
        Publish("");
    }
}

bool ProgramCutter::TakeNews() {
    std::vector<int16_t> arrived;
    MutexLock lock(mutex_);
    while (!isNews_) lock.Wait(changed_);
    isNews_ = false;
    arrived.swap(arrived_);
    bytesHeld_ += arrived.size() * sizeof(int16_t);
    awaiting_.insert(awaiting_.end(), told_.begin(), told_.end());
    told_.clear();
    settled_ = plan_.servedSample + framesSettled_;
    const bool isLast = finishing_;
    if (isLast && sourceEnd_) {
        forced_ = ForcedEnd{plan_.servedSample + framesReceived_, *sourceEnd_};
    }
    lock.Unlock();
    audio_.Append(arrived);
    return !isLast;
}

void ProgramCutter::Publish(const std::string& failure) {
    MutexLock lock(mutex_);
    const std::string earlier = state_.failure;
    state_ = known_;
    if (!failure.empty()) state_.failure = failure;
    if (!earlier.empty()) state_.failure = earlier;
    bytesHeld_ = audio_.Bytes();
}

void ProgramCutter::LoadRecordings() {
    if (!plan_.startPath.empty()) start_ = LoadJingleSound(plan_.startPath);
    uint64_t longest = 0;
    for (const EndRecording& end : plan_.ends) {
        const JingleSound& sound = ends_[end.referenceId] = LoadJingleSound(end.path);
        longest = std::max(longest, sound.frames);
        historyFrames_ = std::max<uint64_t>(historyFrames_, sound.tail.size());
    }
    if (ends_.empty()) return;
    hearingFrames_ = kDetectionReachFrames + kSearchFrames;
    if (plan_.limits.trimEnd) hearingFrames_ += longest + kSearchFrames;
    historyFrames_ += hearingFrames_ + 2 * kSearchFrames;
}

void ProgramCutter::Advance(bool isLast) {
    if (!known_.begin && !FindBegin(isLast)) return;
    FindEnds(isLast);
    DecideEnd(isLast);
    HandOn(DecidedUpTo(isLast));
    ForgetAudio();
    const bool isEnded = known_.end && (known_.end->reason == ProgramEndReason::kMaximum ||
                                        known_.end->reason == ProgramEndReason::kOutro);
    known_.isComplete = isEnded && position_ >= known_.end->endSample;
    if (isEnded && !ends_.empty()) {
        known_.framesToEnd = known_.end->endSample + hearingFrames_ - plan_.servedSample;
    }
}

bool ProgramCutter::FindBegin(bool isLast) {
    JinglePlace place{.sample = plan_.startSample, .exact = true};
    if (start_) {
        const bool isTrimmed = plan_.limits.trimStart;
        const uint64_t needs = isTrimmed ? EndNeeds(*start_, plan_.startSample)
                                         : BeginNeeds(*start_, plan_.startSample);
        if (!isLast && audio_.End() < needs) return false;
        place = isTrimmed ? EndOf(*start_, plan_.startSample, audio_)
                          : BeginOf(*start_, plan_.startSample, audio_);
    }
    known_.begin = std::max(place.sample, plan_.servedSample);
    known_.beginIsExact = place.exact && *known_.begin == place.sample;
    position_ = *known_.begin;
    return true;
}

void ProgramCutter::FindEnds(bool isLast) {
    const bool isTrimmed = plan_.limits.trimEnd;
    std::erase_if(awaiting_, [&](const Match& match) {
        const auto found = ends_.find(match.referenceId);
        if (found == ends_.end()) return true;
        const JingleSound& sound = found->second;
        const uint64_t needs =
            isTrimmed ? BeginNeeds(sound, match.sample) : EndNeeds(sound, match.sample);
        if (!isLast && audio_.End() < needs) return false;
        const JinglePlace place =
            isTrimmed ? BeginOf(sound, match.sample, audio_) : EndOf(sound, match.sample, audio_);
        // Trimming at the start may have left nothing before it.
        if (place.sample > *known_.begin) found_.push_back({place.sample, place.exact});
        return true;
    });
}

void ProgramCutter::DecideEnd(bool isLast) {
    known_.end = EndOfCut(*known_.begin, plan_.limits, found_, isLast ? forced_ : std::nullopt);
    known_.endIsExact =
        known_.end && std::any_of(found_.begin(), found_.end(), [&](const CutEnd& end) {
            return end.exact && end.sample == known_.end->endSample;
        });
}

// What lies before it is part of the programme or not, whatever may still be told.
uint64_t ProgramCutter::DecidedUpTo(bool isLast) const {
    const uint64_t newest = audio_.End();
    if (isLast) return newest;
    const uint64_t fade = std::min(FadeFrames(), kMaxHeldFadeFrames);
    const bool hasEnd = known_.end && newest >= known_.end->endSample;
    // The source may end at any moment, and the programme fades out then, too.
    const uint64_t faded = hasEnd ? newest : newest - std::min(newest, fade);
    if (ends_.empty()) return faded;
    const uint64_t decided = std::min(faded, settled_ - std::min(settled_, hearingFrames_));
    if (!hasEnd || decided >= known_.end->endSample || known_.end->fadeFrames == 0) return decided;
    return std::min(decided, known_.end->endSample - std::min(known_.end->endSample, fade));
}

uint64_t ProgramCutter::FadeFrames() const {
    return uint64_t{plan_.limits.fadeMs} * kStreamSampleRate / 1000;
}

void ProgramCutter::HandOn(uint64_t upTo) {
    upTo = std::min(upTo, audio_.End());
    if (known_.end) upTo = std::min(upTo, known_.end->endSample);
    while (position_ < upTo) {
        const uint64_t end = std::min(upTo, position_ + kPieceFrames);
        HandOn(audio_.Between(position_, end));
        position_ = end;
    }
}

void ProgramCutter::HandOn(std::span<const int16_t> pcm) {
    std::vector<int16_t> piece(pcm.begin(), pcm.end());
    if (known_.end) {
        FadeOut(piece.data(), piece.size() / channels_, channels_,
                known_.end->endSample - position_, known_.end->fadeFrames);
    }
    if (!sink_(std::as_bytes(std::span(piece)))) known_.failure = "The output takes no more";
}

void ProgramCutter::ForgetAudio() {
    audio_.DropBefore(position_ - std::min(position_, historyFrames_));
}

}  // namespace receiver

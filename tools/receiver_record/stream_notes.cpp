#include "receiver_record/stream_notes.h"

#include <algorithm>
#include <cstdio>

namespace receiver {
namespace {

constexpr uint64_t kStreamRate = 44100;

template <typename T>
void Keep(std::deque<T>& kept, const T& note) {
    kept.push_back(note);
    if (kept.size() > StreamNotes::kMaxKept) kept.pop_front();
}

std::string Places(size_t count) {
    return std::to_string(count) + (count == 1 ? " place" : " places");
}

// Of something that takes `frames` from `sample` on, at least its own place.
bool Lies(uint64_t sample, uint64_t frames, uint64_t begin, uint64_t end) {
    return sample < end && sample + std::max<uint64_t>(frames, 1) > begin;
}

uint64_t Overlap(uint64_t sample, uint64_t frames, uint64_t begin, uint64_t end) {
    const uint64_t from = std::max(sample, begin);
    const uint64_t to = std::min(sample + frames, end);
    return to > from ? to - from : 0;
}

}  // namespace

void StreamNotes::Add(const Resumption& resumption) {
    Keep(resumptions_, resumption);
    ++totals_.reconnections;
    totals_.outageMs += resumption.outageMs;
    totals_.lostFrames += resumption.lostFrames;
    if (resumption.lostFrames > 0) ++totals_.gaps;
}

void StreamNotes::Add(const DamagedEvent& damage) {
    Keep(damages_, damage);
    ++totals_.damages;
}

void StreamNotes::Add(const TitleEvent& title) {
    Keep(titles_, title);
}

void StreamNotes::Add(const StationEvent& station) {
    station_ = station.name;
}

StreamNotes StreamNotes::Within(uint64_t begin, uint64_t end) const {
    StreamNotes within;
    within.station_ = station_;
    for (Resumption resumption : resumptions_) {
        if (!Lies(resumption.sample, resumption.lostFrames, begin, end)) continue;
        resumption.lostFrames = Overlap(resumption.sample, resumption.lostFrames, begin, end);
        within.Add(resumption);
    }
    for (const DamagedEvent& damage : damages_) {
        if (Lies(damage.sample, damage.frames, begin, end)) within.Add(damage);
    }
    for (size_t i = 0; i < titles_.size(); ++i) {
        const bool isReplaced = i + 1 < titles_.size() && titles_[i + 1].sample <= begin;
        if (titles_[i].sample < end && !isReplaced) within.Add(titles_[i]);
    }
    return within;
}

std::string StreamNotes::TitleAt(uint64_t sample) const {
    std::string title;
    for (const TitleEvent& told : titles_) {
        if (told.sample <= sample) title = told.title;
    }
    return title;
}

std::string FormatSeconds(uint64_t frames) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f s", static_cast<double>(frames) / kStreamRate);
    return text;
}

std::string DescribeLosses(const StreamNotes& notes) {
    uint64_t lost = 0;
    size_t gaps = 0;
    for (const Resumption& resumption : notes.Resumptions()) {
        lost += resumption.lostFrames;
        if (resumption.lostFrames > 0) ++gaps;
    }
    std::string text;
    if (gaps > 0) text = FormatSeconds(lost) + " are missing in " + Places(gaps);
    if (const size_t damaged = notes.Damages().size(); damaged > 0) {
        text += (text.empty() ? "" : ", and ") + Places(damaged) +
                (damaged == 1 ? " is damaged" : " are damaged");
    }
    return text;
}

}  // namespace receiver

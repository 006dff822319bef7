#include "testing/station_day.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include "testing/audio_generator.h"
#include "testing/station_sounds.h"

namespace receiver {
namespace {

double Factor(double db) {
    return std::pow(10.0, db / 20.0);
}

// The sum of sounds that may overlap, handed on once nothing more can be added to it.
class Mixer final {
public:
    explicit Mixer(const std::function<void(const std::vector<int16_t>&)>& sink) : sink_(sink) {}

    void Add(double start, const StationSound& sound, double gain) {
        const auto first = static_cast<size_t>(std::llrint(start * kStationRate)) - done_;
        if (mix_.size() < first + sound.size()) mix_.resize(first + sound.size());
        for (size_t i = 0; i < sound.size(); ++i) {
            mix_[first + i] += static_cast<float>(gain) * sound[i];
        }
    }
    // Nothing will be added before this.
    void HandOnUntil(double end) {
        const size_t frames =
            std::min(mix_.size(), static_cast<size_t>(std::llrint(end * kStationRate)) - done_);
        std::vector<int16_t> pcm(frames);
        for (size_t i = 0; i < frames; ++i) {
            const double scaled = std::nearbyint(static_cast<double>(mix_[i]) * 32767.0);
            pcm[i] = static_cast<int16_t>(std::clamp(scaled, -32768.0, 32767.0));
        }
        mix_.erase(mix_.begin(), mix_.begin() + static_cast<std::ptrdiff_t>(frames));
        done_ += frames;
        sink_(pcm);
    }

private:
    const std::function<void(const std::vector<int16_t>&)>& sink_;
    std::vector<float> mix_;
    size_t done_ = 0;
};

class StationDay final {
public:
    StationDay(const StationDayPlan& plan,
               const std::function<void(const std::vector<int16_t>&)>& sink)
        : plan_(plan), random_(plan.seed), mixer_(sink) {
        for (int i = 0; i < plan.jingles; ++i) {
            // Evenly from 1 to 20 s, so that each seed has short and long ones.
            const double seconds = 1.0 + 19.0 * std::pow((i + random_.Unit()) / plan.jingles, 1.5);
            jingles_.push_back(MakeJingle(plan.seed * 1000 + static_cast<uint64_t>(i), seconds));
        }
        for (int i = 0; i < plan.advertisements; ++i) {
            advertisements_.push_back(MakeAdvertisement(plan.seed * 2000 + static_cast<uint64_t>(i),
                                                        random_.Between(12.0, 35.0)));
        }
    }

    std::vector<Heard> Run() {
        const double end = plan_.hours * 3600.0;
        while (now_ < end) {
            PlayJingle();
            switch (random_.Below(4)) {
                case 0:
                    PlayBreak();
                    break;
                case 1:
                    Talk(random_.Between(20.0, 120.0));
                    break;
                default:
                    PlaySong();
            }
            mixer_.HandOnUntil(std::max(0.0, now_ - 10.0));
        }
        mixer_.HandOnUntil(now_ + 60.0);
        return heard_;
    }

private:
    using Item = std::pair<HeardKind, int>;

    void PlayJingle() {
        const auto item = static_cast<size_t>(NotTheSameAfterLast(
            HeardKind::kJingle, [&] { return random_.Below(jingles_.size()); }));
        StationSound sound = jingles_[item];
        const double seconds = static_cast<double>(sound.size()) / kStationRate;
        const double gain = Factor(random_.Between(-plan_.levelRangeDb, 0.0));
        Heard heard{HeardKind::kJingle, static_cast<int>(item), now_, seconds, false, false};
        heard.faded = random_.Unit() < plan_.fadeShare;
        heard.voice = random_.Unit() < plan_.voiceShare;
        if (heard.faded && random_.Below(2) == 0) {
            FadeUnder(gain, seconds);
        } else if (heard.faded) {
            // Faded out over its last quarter, though not to nothing.
            const size_t begin = sound.size() - sound.size() / 4;
            for (size_t i = begin; i < sound.size(); ++i) {
                const double part =
                    static_cast<double>(i - begin) / static_cast<double>(sound.size() - begin);
                sound[i] *= static_cast<float>(Factor(-12.0 * part));
            }
        }
        if (heard.voice) SpeakOver(gain, seconds);
        mixer_.Add(now_, sound, gain);
        heard_.push_back(heard);
        now_ += seconds;
        if (random_.Below(3) == 0) now_ += random_.Between(0.0, 0.5);
    }

    // The end of something else under the beginning.
    void FadeUnder(double gain, double seconds) {
        StationSound tail = MakeSong(random_.Next(), std::min(2.0, 0.4 * seconds));
        for (size_t i = 0; i < tail.size(); ++i) {
            const double part = static_cast<double>(i) / static_cast<double>(tail.size());
            tail[i] *= static_cast<float>(1.0 - part);
        }
        mixer_.Add(now_, tail, gain * Factor(-6.0));
    }

    // From somewhere within on, for part of it.
    void SpeakOver(double gain, double seconds) {
        const double begin = random_.Between(0.0, 0.7) * seconds;
        const double length = random_.Between(0.3, 1.0) * (seconds - begin);
        mixer_.Add(now_ + begin, MakeSpeech(random_.Next(), length),
                   gain * Factor(random_.Between(plan_.voiceDb - 10.0, plan_.voiceDb)));
    }

    // Draws until the item has not yet followed the one before it: what always comes together is
    // one thing to any listener, and the truth would be wrong to call it two.
    template <typename Draw>
    uint64_t NotTheSameAfterLast(HeardKind kind, const Draw& draw) {
        constexpr int kMaxDraws = 50;
        const auto last = heard_.empty() ? Item{HeardKind::kSong, -1}
                                         : Item{heard_.back().kind, heard_.back().item};
        uint64_t item = draw();
        for (int i = 0;
             i < kMaxDraws && !followed_.insert({last, {kind, static_cast<int>(item)}}).second;
             ++i) {
            item = draw();
        }
        return item;
    }

    void PlayBreak() {
        const auto count = 2 + random_.Below(3);
        std::set<size_t> played;
        while (played.size() < count) {
            const auto item = static_cast<size_t>(NotTheSameAfterLast(
                HeardKind::kAdvertisement, [&] { return random_.Below(advertisements_.size()); }));
            if (!played.insert(item).second) continue;
            const StationSound& sound = advertisements_[item];
            Keep(HeardKind::kAdvertisement, static_cast<int>(item), sound, 1.0);
            now_ += random_.Between(0.0, 0.3);
        }
    }

    void PlaySong() {
        const uint64_t song = NotTheSameAfterLast(HeardKind::kSong, [&]() -> uint64_t {
            return songs_ > 0 && random_.Unit() < plan_.songRepeatShare ? random_.Below(songs_)
                                                                        : songs_;
        });
        songs_ = std::max(songs_, song + 1);
        const double seconds = 100.0 + static_cast<double>(song * 37 % 110);
        Keep(HeardKind::kSong, static_cast<int>(song), MakeSong(plan_.seed * 3000 + song, seconds),
             Factor(random_.Between(-3.0, 0.0)));
    }

    void Keep(HeardKind kind, int item, const StationSound& sound, double gain) {
        mixer_.Add(now_, sound, gain);
        const double seconds = static_cast<double>(sound.size()) / kStationRate;
        heard_.push_back({kind, item, now_, seconds, false, false});
        now_ += seconds;
    }

    void Talk(double seconds) {
        mixer_.Add(now_, MakeSpeech(random_.Next(), seconds), 1.0);
        now_ += seconds;
    }

    const StationDayPlan plan_;
    TestRandom random_;
    Mixer mixer_;
    std::vector<StationSound> jingles_;
    std::vector<StationSound> advertisements_;
    uint64_t songs_ = 0;  // that were heard
    std::set<std::pair<Item, Item>> followed_;
    std::vector<Heard> heard_;
    double now_ = 0.0;
};

}  // namespace

std::vector<Heard> MakeStationDay(const StationDayPlan& plan,
                                  const std::function<void(const std::vector<int16_t>&)>& sink) {
    return StationDay(plan, sink).Run();
}

}  // namespace receiver

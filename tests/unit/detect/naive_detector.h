// The detector as its rules read, sample by sample and bit by bit, with queues:
// slow, and so plain that the fast one can be held against it.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <ostream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "audio/mono_resampler.h"
#include "detect/audio_fingerprinter.h"
#include "detect/detector_match.h"
#include "detect/reference_loading.h"

namespace receiver {

class NaiveMatcher final {
public:
    NaiveMatcher(const std::vector<ReferenceFingerprint>& references, double threshold)
        : threshold_(threshold) {
        for (const ReferenceFingerprint& reference : references) {
            searches_.push_back({reference.words});
            if (reference.words.size() > longest_) longest_ = reference.words.size();
        }
    }

    void Push(uint32_t word, uint64_t sourceSample, uint64_t observedAfterSample) {
        live_.emplace_back(word, sourceSample);
        if (live_.size() > longest_) live_.pop_front();
        for (size_t index = 0; index < searches_.size(); ++index) {
            if (live_.size() >= searches_[index].words.size()) Match(index, observedAfterSample);
        }
    }

    void Flush(uint64_t observedAfterSample) {
        for (size_t index = 0; index < searches_.size(); ++index) {
            if (searches_[index].armed) Report(index, observedAfterSample);
        }
    }

    std::vector<DetectorMatch> matches;

private:
    struct Search {
        std::vector<uint32_t> words;
        bool armed = false;
        int countdown = 0;
        DetectorMatch pending = {};
    };

    void Match(size_t index, uint64_t observedAfterSample) {
        Search& search = searches_[index];
        const size_t length = search.words.size();
        const double ber = ErrorRate(search.words);
        if (ber <= threshold_) {
            const bool better = ber < search.pending.ber;
            if (!search.armed || better) {
                search.pending.sample = live_[live_.size() - length].second;
                search.pending.ber = ber;
            }
            if (!search.armed) {
                search.armed = true;
                search.countdown = 6;
            }
        }
        if (search.armed && --search.countdown < 1) Report(index, observedAfterSample);
    }

    double ErrorRate(const std::vector<uint32_t>& words) const {
        const size_t length = words.size();
        int64_t bits = 0;
        for (size_t j = length - 1; j >= 1; --j) {
            uint32_t difference = words[j] ^ live_[live_.size() - length + j].first;
            for (; difference != 0; difference >>= 1) bits += difference & 1u;
        }
        return static_cast<double>(bits) / static_cast<double>((length - 1) * 32);
    }

    void Report(size_t index, uint64_t observedAfterSample) {
        Search& search = searches_[index];
        search.armed = false;
        search.pending.referenceIndex = index;
        search.pending.observedAfterSample = observedAfterSample;
        matches.push_back(search.pending);
    }

    const double threshold_;
    std::vector<Search> searches_;
    size_t longest_ = 0;
    std::deque<std::pair<uint32_t, uint64_t>> live_;
};

class NaiveDetector final {
public:
    NaiveDetector(const std::vector<ReferenceFingerprint>& references, double threshold,
                  int channels, int rate)
        : matcher_(references, threshold), channels_(channels), rate_(rate) {
        fingerprinter_.SetUp(22050, 0.4, 0.0125);
        if (!resampler_.Open(static_cast<uint32_t>(rate), 22050)) {
            throw std::runtime_error("no resampler");
        }
    }

    void Feed(const int16_t* pcm, size_t frames) {
        framesRead_ += frames;
        std::vector<int16_t> mono;
        for (size_t frame = 0; frame < frames; ++frame) {
            int sum = 0;
            for (int channel = 0; channel < channels_; ++channel) sum += *pcm++;
            mono.push_back(static_cast<int16_t>(sum / channels_));
        }
        std::vector<int16_t> out(
            static_cast<size_t>(resampler_.OutputBound(static_cast<int>(frames))));
        Take(out, resampler_.Convert(mono.data(), static_cast<int>(frames), out.data(),
                                     static_cast<int>(out.size())));
    }

    void End() {
        std::vector<int16_t> out(4096);
        while (const int count = resampler_.Drain(out.data(), 4096)) Take(out, count);
        matcher_.Flush(framesRead_);
    }

    const std::vector<DetectorMatch>& Matches() const { return matcher_.matches; }
    uint64_t PeakHistory() const { return peak_; }

private:
    void Take(const std::vector<int16_t>& samples, int count) {
        if (count < 0) throw std::runtime_error("resampling failed");
        for (int i = 0; i < count; ++i) TakeSample(samples[static_cast<size_t>(i)]);
    }

    void TakeSample(int16_t sample) {
        const size_t window = fingerprinter_.WindowLength();
        if (history_.size() == window) {
            history_.pop_front();
            ++dropped_;
        }
        history_.push_back(sample);
        if (history_.size() > peak_) peak_ = history_.size();
        const auto start = static_cast<uint64_t>(std::llrint(time_ * 22050));
        if (start + window > history_.size() + dropped_) return;
        if (start < dropped_) throw std::runtime_error("overrun");
        const auto first = history_.begin() + static_cast<ptrdiff_t>(start - dropped_);
        const std::vector<int16_t> frame(first, first + static_cast<ptrdiff_t>(window));
        const double position = static_cast<double>(rate_) * static_cast<double>(start);
        matcher_.Push(fingerprinter_.ComputeWord(frame.data()),
                      static_cast<uint64_t>(std::llrint(position / 22050)), framesRead_);
        time_ += 0.0125;
    }

    NaiveMatcher matcher_;
    CAudioFingerprinter fingerprinter_;
    MonoResampler resampler_;
    const int channels_;
    const int rate_;
    std::deque<int16_t> history_;
    uint64_t dropped_ = 0;
    uint64_t framesRead_ = 0;
    uint64_t peak_ = 0;
    double time_ = 0.0;
};

inline bool operator==(const DetectorMatch& a, const DetectorMatch& b) {
    return a.referenceIndex == b.referenceIndex && a.sample == b.sample &&
           a.observedAfterSample == b.observedAfterSample && a.ber == b.ber;
}

inline std::ostream& operator<<(std::ostream& out, const DetectorMatch& match) {
    return out << "{reference " << match.referenceIndex << " at " << match.sample << ", observed "
               << match.observedAfterSample << ", ber " << match.ber << "}";
}

}  // namespace receiver

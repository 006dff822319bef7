// PCM in memory behind the audio-file interface, handed out in pieces of chosen
// sizes, with the faults that a wrapper has to cope with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "audio/audio_file.h"
#include "testing/audio_generator.h"
#include "testing/pcm_format.h"

namespace receiver {

class MemoryAudioFile final : public CAudioFile {
public:
    explicit MemoryAudioFile(const TestPcm& pcm)
        : record_(FormatOf(pcm.channels, pcm.rate)), bytes_(pcm.Bytes()) {
        if (!bytes_.empty()) std::memcpy(bytes_.data(), pcm.samples.data(), bytes_.size());
    }

    BOOL Open(const std::string& path) override {
        if (failOpen || open_) return 0;
        openedPath = path;
        format_ = &record_;
        open_ = 1;
        return 1;
    }
    BOOL Close() override {
        open_ = 0;
        ++closes;
        return 1;
    }
    int32_t Read(void* buffer, uint32_t count) override {
        ++reads;
        if (onRead) onRead();
        if (!open_ || !buffer) return -1;
        if (at_ == bytes_.size() && repeats) at_ = 0;
        if (at_ == bytes_.size()) return endResult;
        size_t size = std::min<size_t>(count, bytes_.size() - at_);
        if (!readSizes.empty()) size = std::min(size, readSizes[reads % readSizes.size()]);
        std::memcpy(buffer, bytes_.data() + at_, size);
        at_ += size;
        return static_cast<int32_t>(size);
    }
    BOOL Seek(float) override { return 1; }
    bool IsOpen() const override { return open_ != 0; }

    WAVEFORMATEX& Record() { return record_; }
    void Rewind() { at_ = 0; }

    std::vector<size_t> readSizes;  // bytes, used in turn; empty: what was asked for
    std::function<void()> onRead;
    bool failOpen = false;
    bool repeats = false;   // from the beginning, after the last byte
    int32_t endResult = 0;  // of reads after the last byte
    std::string openedPath;
    size_t reads = 0;
    size_t closes = 0;

private:
    WAVEFORMATEX record_;
    std::vector<std::byte> bytes_;
    size_t at_ = 0;
};

}  // namespace receiver

// Counts what passes on its way to another sink. The count may be read by any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "audio_output/recording_sink.h"

namespace receiver {

class CountingSink final : public RecordingSink {
public:
    explicit CountingSink(std::unique_ptr<RecordingSink> sink) : sink_(std::move(sink)) {}

    // Written so far; what is written in the place of something counts, too.
    uint64_t Bytes() const { return bytes_; }

    bool CanSeek() const override { return sink_->CanSeek(); }
    bool WriteAt(uint64_t offset, const void* data, size_t size) override {
        if (!sink_->WriteAt(offset, data, size)) return false;
        bytes_ += size;
        return true;
    }
    bool Truncate(uint64_t size) override { return sink_->Truncate(size); }
    void Stop() override { sink_->Stop(); }
    std::string FailureText() const override { return sink_->FailureText(); }

private:
    const std::unique_ptr<RecordingSink> sink_;
    std::atomic<uint64_t> bytes_{0};
};

}  // namespace receiver

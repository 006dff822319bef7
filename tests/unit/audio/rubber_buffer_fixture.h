// A rubber buffer over a scripted source, which delivers when a test says so.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "audio/rubber_buffer_audio_file.h"
#include "testing/pcm_reading.h"
#include "testing/scripted_audio_file.h"

namespace receiver {

class RubberBufferTest : public testing::Test {
protected:
    RubberBufferTest() { UseSource(std::make_unique<ScriptedAudioFile>()); }
    // No test may leave the filler blocked.
    ~RubberBufferTest() override { source_->Stop(); }

    void UseSource(std::unique_ptr<ScriptedAudioFile> source) {
        owned_ = std::move(source);
        source_ = owned_.get();
    }

    bool OpenBuffer(uint32_t blockBytes = 4096, uint32_t readTimeoutMs = kTestDeadlineMs) {
        MakeBuffer(blockBytes, readTimeoutMs);
        return buffer_->Open("scripted") != 0;
    }

    void MakeBuffer(uint32_t blockBytes = 4096, uint32_t readTimeoutMs = kTestDeadlineMs) {
        ScriptedAudioFile* source = source_;
        buffer_ = std::make_unique<CRubberBufferAudioFile>(
            std::move(owned_),
            [this, source] {
                ++stops_;
                source->Stop();
            },
            blockBytes, readTimeoutMs);
    }

    // Delivers and waits until all of it is in the buffer.
    void Fill(size_t bytes) {
        source_->Deliver(bytes);
        ASSERT_TRUE(source_->WaitUntilBlocked());
    }

    void WaitUntilFinished() {
        // Beyond any sample: returns when the filler has ended.
        EXPECT_FALSE(buffer_->WaitForSample(uint64_t{1} << 40, kTestDeadlineMs));
        ASSERT_TRUE(buffer_->GetStats().finished);
    }

    void ExpectPattern(uint64_t position, size_t bytes) {
        for (size_t i = 0; i < bytes; ++i) {
            ASSERT_EQ(pcm_[i], ScriptedAudioFile::PatternByte(position + i)) << i;
        }
    }

    void ExpectFailedOpen(uint32_t error) {
        EXPECT_FALSE(OpenBuffer());
        EXPECT_FALSE(buffer_->IsOpen());
        EXPECT_EQ(buffer_->GetStats().error, error);
        EXPECT_TRUE(buffer_->GetStats().finished);
    }

    // The filler ends by `error` while it reads.
    void ExpectFailedRead(uint32_t error) {
        ASSERT_TRUE(OpenBuffer());
        source_->Deliver(100);
        WaitUntilFinished();
        EXPECT_EQ(buffer_->GetStats().error, error);
        EXPECT_EQ(buffer_->Read(pcm_, 4), -1);
        EXPECT_TRUE(source_->WaitUntilClosed());
    }

    std::unique_ptr<ScriptedAudioFile> owned_;
    ScriptedAudioFile* source_ = nullptr;  // owned by buffer_ once it is made
    std::atomic<int> stops_{0};
    uint8_t pcm_[65536] = {};
    std::unique_ptr<CRubberBufferAudioFile> buffer_;
};

}  // namespace receiver

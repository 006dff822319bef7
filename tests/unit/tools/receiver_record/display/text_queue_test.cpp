#include "receiver_record/display/text_queue.h"

#include <gtest/gtest.h>

#include "platform/manual_reset_event.h"
#include "testing/patience.h"

namespace receiver {
namespace {

// A stream whose reader reads when the test says so.
struct Reader {
    ManualResetEvent reads;
    ManualResetEvent isWaitedFor;
    ManualResetEvent stopped;
    std::string text;
    bool isGone = false;
};

class FakeStream final : public OutputStream {
public:
    explicit FakeStream(Reader& reader) : reader_(reader) {}
    bool Write(const void* data, size_t size) override {
        reader_.isWaitedFor.Signal();
        if (!reader_.reads.Wait(kMaxHoldMs) || reader_.stopped.IsSignalled()) return false;
        if (!reader_.isGone) reader_.text.append(static_cast<const char*>(data), size);
        return !reader_.isGone;
    }
    void Stop() noexcept override {
        reader_.stopped.Signal();
        reader_.reads.Signal();
    }
    const std::string& FailureText() const override { return failure_; }

private:
    Reader& reader_;
    const std::string failure_;
};

class TextQueueTest : public testing::Test {
protected:
    std::unique_ptr<TextQueue> Open(size_t maxBytes, unsigned flushMs = kPatienceMs) {
        return std::make_unique<TextQueue>(
            std::make_unique<FakeStream>(reader_),
            TextQueue::Settings{"test",
                                [](uint64_t count) { return "-" + std::to_string(count) + "\n"; },
                                maxBytes, flushMs});
    }
    Reader reader_;
};

}  // namespace

TEST_F(TextQueueTest, EverythingIsWrittenInOrderAtTheLatestAtTheEnd) {
    reader_.reads.Signal();
    {
        const auto queue = Open(1000);
        EXPECT_TRUE(queue->Write("one\n"));
        EXPECT_TRUE(queue->Write("two\n"));
    }
    EXPECT_EQ(reader_.text, "one\ntwo\n");
}

TEST_F(TextQueueTest, AReaderThatStandsStillIsNotWaitedForAndWhatItMissesIsTold) {
    auto queue = Open(8);
    EXPECT_TRUE(queue->Write("one\n"));
    ASSERT_TRUE(reader_.isWaitedFor.Wait(kPatienceMs));
    EXPECT_TRUE(queue->IsBehind());
    EXPECT_TRUE(queue->Write("two\n"));
    EXPECT_FALSE(queue->Write("three\n"));
    EXPECT_FALSE(queue->Write("four\n"));
    reader_.reads.Signal();
    queue.reset();
    EXPECT_EQ(reader_.text, "one\ntwo\n-2\n");
}

TEST_F(TextQueueTest, WhatIsLostIsToldBeforeWhatComesNext) {
    auto queue = Open(8);
    EXPECT_TRUE(queue->Write("one\n"));
    EXPECT_FALSE(queue->Write("too long\n"));
    EXPECT_FALSE(queue->Write("or\n" + std::string(8, 'x')));
    EXPECT_FALSE(queue->Write("five\n"));  // with the note it does not fit either
    reader_.reads.Signal();
    const Patience patience("the writer");
    while (queue->IsBehind()) patience.Check();
    EXPECT_TRUE(queue->Write("six\n"));
    queue.reset();
    EXPECT_EQ(reader_.text, "one\n-3\nsix\n");
}

TEST_F(TextQueueTest, TheEndWaitsForAStuckReaderForALittleOnly) {
    auto queue = Open(1000, 1);
    EXPECT_TRUE(queue->Write("one\n"));
    queue.reset();
    EXPECT_TRUE(reader_.stopped.IsSignalled());
    EXPECT_EQ(reader_.text, "");
}

TEST_F(TextQueueTest, AReaderThatHasGoneMissesNothing) {
    reader_.isGone = true;
    reader_.reads.Signal();
    const auto queue = Open(8);
    EXPECT_TRUE(queue->Write("one\n"));
    const Patience patience("the writer");
    while (queue->IsBehind()) patience.Check();
    EXPECT_TRUE(queue->Write("far too long for the queue\n"));
    EXPECT_FALSE(queue->IsBehind());
}

}  // namespace receiver

// The sizes of what crosses the border of the shared library by value. Symbols do not tell when
// one of these changes, and a program that was compiled before it then reads the wrong bytes: a
// change here is a new SOVERSION (docs/client.md).
#include <gtest/gtest.h>

#include <cstddef>

#include "receiver_client.h"
#include "receiver_client/receiver_client.h"
#include "receiver_client/receiver_process.h"

namespace receiver {

TEST(Abi, TheRecordsHaveTheSizesOfSoVersion1) {
#if defined(__x86_64__) && defined(__GLIBCXX__)
    EXPECT_EQ(sizeof(Cancellation), 16u);
    EXPECT_EQ(sizeof(ReceiverClient), 8u);
    EXPECT_EQ(sizeof(Pcm1Reader), 8u);
    EXPECT_EQ(sizeof(ReceiverProcess), 8u);
    EXPECT_EQ(sizeof(Error), 40u);
    EXPECT_EQ(sizeof(PcmFormat), 8u);
    EXPECT_EQ(sizeof(Reference), 72u);
    EXPECT_EQ(sizeof(PrepareRequest), 264u);
    EXPECT_EQ(sizeof(Match), 64u);
    EXPECT_EQ(sizeof(Program), 64u);
    EXPECT_EQ(sizeof(BufferStatistics), 64u);
    EXPECT_EQ(sizeof(SessionSnapshot), 592u);
    EXPECT_EQ(sizeof(Welcome), 664u);
    EXPECT_EQ(sizeof(Event), 704u);
    EXPECT_EQ(sizeof(ProgramSink), 96u);
    EXPECT_EQ(sizeof(ProgramResult), 784u);
#else
    GTEST_SKIP() << "the sizes are those of x86-64 with libstdc++";
#endif
}

// Members are added at the ends alone.
TEST(Abi, TheRecordsOfCKeepTheirOrder) {
    EXPECT_EQ(offsetof(receiver_reference, role), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(receiver_request, fade_ms), 5 * sizeof(void*) + 12);
    EXPECT_EQ(offsetof(receiver_sink, event), 4 * sizeof(void*));
    EXPECT_EQ(offsetof(receiver_event, type_name), sizeof(void*));
    EXPECT_EQ(offsetof(receiver_event, sequence), 4 * sizeof(void*));
    EXPECT_EQ(offsetof(receiver_result, frames), sizeof(void*) + 16);

    EXPECT_EQ(offsetof(receiver_request, look_back_ms), 5 * sizeof(void*) + 16);
    EXPECT_EQ(offsetof(receiver_event, served_sample),
              offsetof(receiver_event, can_drain) + sizeof(int));
    EXPECT_EQ(offsetof(receiver_result, served_sample), 3 * sizeof(void*) + 40);
}

TEST(Abi, TheRecordsOfCHaveTheSizesOfSoVersion1) {
#if defined(__x86_64__) && defined(__GLIBCXX__)
    EXPECT_EQ(sizeof(receiver_request), 120u);
    EXPECT_EQ(sizeof(receiver_event), 216u);
    EXPECT_EQ(sizeof(receiver_result), 72u);
    EXPECT_EQ(sizeof(receiver_header), 16u);
#else
    GTEST_SKIP() << "the sizes are those of x86-64";
#endif
}

}  // namespace receiver

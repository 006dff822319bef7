#include "receiver_record/output/counting_sink.h"

#include <gtest/gtest.h>

#include "audio_output/part_file.h"
#include "testing/temp_folder.h"
#include "unit/tools/audio_output/fake_sink.h"

namespace receiver {

TEST(CountingSink, WhatIsWrittenCountsAlsoWhereSomethingWas) {
    const TempFolder folder;
    CountingSink sink(std::make_unique<PartFile>(folder.Path() / "a.wav", false));
    EXPECT_EQ(sink.Bytes(), 0u);
    EXPECT_TRUE(sink.WriteAt(0, "abcd", 4));
    EXPECT_TRUE(sink.WriteAt(1, "xy", 2));
    EXPECT_TRUE(sink.Truncate(3));
    EXPECT_EQ(sink.Bytes(), 6u);
    EXPECT_TRUE(sink.CanSeek());
    EXPECT_EQ(std::filesystem::file_size(folder.Path() / "a.wav.part"), 3u);
}

TEST(CountingSink, WhatCouldNotBeWrittenDoesNotCount) {
    auto full = std::make_unique<FakeSink>();
    full->SetCapacity(2);
    CountingSink sink(std::move(full));
    EXPECT_FALSE(sink.WriteAt(0, "abcd", 4));
    EXPECT_EQ(sink.Bytes(), 0u);
    EXPECT_EQ(sink.FailureText(), "No space left");
}

}  // namespace receiver

#include "detect/reference_list.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/audio_generator.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr const char* kCancelled = "Cancelled during reference loading";

// With one thread, with fewer than references and with more.
class ReferenceListTest : public testing::TestWithParam<size_t> {
protected:
    // A recording of its own length for each seed.
    std::string Sound(int seed) {
        const std::string path = folder_.File("sound" + std::to_string(seed) + ".wav");
        WriteWavFile(path, MakeMusic(static_cast<uint64_t>(seed), 22050, 1,
                                     20000 + 1000 * static_cast<size_t>(seed)));
        return path;
    }
    std::string Short() {
        const std::string path = folder_.File("short.wav");
        WriteWavFile(path, MakeMusic(1, 22050, 1, 100));
        return path;
    }
    std::string Absent() { return folder_.File("absent.wav"); }

    static std::string FailureOf(const std::vector<std::string>& paths,
                                 const std::function<bool()>& stopRequested = {}) {
        try {
            LoadReferenceList(paths, stopRequested, nullptr, GetParam());
            return "";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    const TempFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(Threads, ReferenceListTest, testing::Values(1, 2, 3, 40),
                         testing::PrintToStringParamName());

TEST_P(ReferenceListTest, OfNoPathsIsEmpty) {
    EXPECT_TRUE(LoadReferenceList({}, {}, nullptr, GetParam()).empty());
}

TEST_P(ReferenceListTest, IsInTheOrderOfThePathsAndAsLoadedOneByOne) {
    std::vector<std::string> paths;
    for (int seed = 12; seed > 0; --seed) paths.push_back(Sound(seed));
    const auto references = LoadReferenceList(paths, {}, nullptr, GetParam());
    ASSERT_EQ(references.size(), paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
        const ReferenceFingerprint alone = LoadReference(paths[i]);
        EXPECT_EQ(references[i].sampleCount, alone.sampleCount) << i;
        EXPECT_EQ(references[i].words, alone.words) << i;
    }
}

// The absent one fails at once, the one before it only after its whole length.
TEST_P(ReferenceListTest, FailsAsTheFirstOfThemThatFails) {
    const std::string longAndBad = folder_.File("long.mp3");
    WriteFileBytes(longAndBad, std::string(2'000'000, 'x'));
    EXPECT_EQ(FailureOf({Sound(1), longAndBad, Absent()}), "Reference Open failed");
    EXPECT_EQ(FailureOf({Sound(1), Sound(2), Short(), Absent(), Sound(3)}), "Reference too short");
    EXPECT_EQ(FailureOf({Absent(), Short()}), "Reference Open failed");
    EXPECT_EQ(FailureOf({Sound(1), Sound(2), Absent()}), "Reference Open failed");
}

// As one after the other would have found it: gone when the one before it was loaded.
TEST_P(ReferenceListTest, OneThatIsGoneWhenItsTurnComesCannotBeOpened) {
    const std::string first = Sound(1);
    const std::string second = Sound(2);
    // Each asks before it opens, and waits here for the first: Windows removes nothing that is
    // open.
    std::once_flag removed;
    const auto remove = [&] {
        std::call_once(removed, [&] { std::filesystem::remove(second); });
        return false;
    };
    EXPECT_EQ(FailureOf({first, second}, remove), "Reference Open failed");
}

TEST_P(ReferenceListTest, NothingIsLoadedOnceAStopIsRequested) {
    EXPECT_EQ(FailureOf({Absent(), Short()}, [] { return true; }), kCancelled);
}

TEST_P(ReferenceListTest, AStopEndsAListThatIsBeingLoaded) {
    std::vector<std::string> paths(20, Sound(1));
    std::atomic<int> asked{0};
    EXPECT_EQ(FailureOf(paths, [&] { return ++asked > 10; }), kCancelled);
}

// Whoever loads them one by one has met the failure before the stop.
TEST_P(ReferenceListTest, AFailureBeforeTheStopIsTheFailure) {
    int asked = 0;
    EXPECT_EQ(FailureOf({Absent()}, [&] { return ++asked > 1; }), "Reference Open failed");
}

TEST(ReferenceList, AfterAFailureNoOtherOneIsBegun) {
    int asked = 0;
    const auto count = [&] {
        ++asked;
        return false;
    };
    EXPECT_THROW(LoadReferenceList({"absent 1", "absent 2", "absent 3"}, count, nullptr, 1),
                 std::runtime_error);
    EXPECT_EQ(asked, 1);  // before the first
}

}  // namespace
}  // namespace receiver

#include "receiver_plan/status/found_recording.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "audio_output/part_file.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

using namespace std::chrono;
namespace fs = std::filesystem;

constexpr const char* kWholeRecord =
    R"({"complete":true,"outcome":"complete","message":"","startedAt":"2026-03-30T12:00:00.000Z",
        "finishedAt":"2026-03-30T13:00:00.000Z"})";
constexpr const char* kDamagedRecord =
    R"({"complete":false,"outcome":"source-error","message":"The station is gone",
        "startedAt":"2026-03-30T12:00:00.000Z","finishedAt":"2026-03-30T12:10:00.000Z"})";

class FoundRecordingTest : public testing::Test {
protected:
    void SetUp() override { fs::create_directories(folder_.File("news")); }

    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(folder_.File("news/" + name), std::ios::binary) << text;
    }
    // As if it had last been written so long ago.
    void MakeOld(const std::string& name) const {
        fs::last_write_time(folder_.File("news/" + name), file_clock::now() - hours(5));
    }
    FoundRecordings Find() const {
        return FindRecordings(folder_.Path().string(), floor<milliseconds>(system_clock::now()));
    }
    FoundRecording Only() const {
        FoundRecordings found = Find();
        EXPECT_EQ(found.recordings.size(), 1u);
        if (found.recordings.empty()) return {};
        return found.recordings[0];
    }

    const TempFolder folder_;
};

}  // namespace

TEST_F(FoundRecordingTest, ARecordingIsWhatStandsBesideIt) {
    Write("a.flac", "audio");
    Write("a.flac.json", kWholeRecord);
    const FoundRecording whole = Only();
    EXPECT_EQ(whole.state, RecordingState::kWhole);
    EXPECT_EQ(whole.file, folder_.File("news/a.flac"));
    EXPECT_EQ(whole.folder, "news");
    EXPECT_EQ(whole.Begins(), sys_days(2026y / March / 30) + hours(12));
    Write("a.flac.json", kDamagedRecord);
    EXPECT_EQ(Only().state, RecordingState::kDamaged);
    EXPECT_EQ(Only().why, "The station is gone");
    EXPECT_TRUE(Find().notes.empty());
}

TEST_F(FoundRecordingTest, WhatCannotBeReadBesideARecordingIsToldAndTheRecordingIsUnclear) {
    const std::string large = std::string((size_t{4} << 20) + 1, ' ') + kWholeRecord;
    for (const std::string& text : std::vector<std::string>{"{", "[1]", "", large}) {
        Write("a.flac", "audio");
        Write("a.flac.json", text);
        EXPECT_EQ(Only().state, RecordingState::kUnclear);
        ASSERT_EQ(Find().notes.size(), 1u);
        EXPECT_EQ(Find().notes[0].find(folder_.File("news/a.flac.json") + ": left out: "), 0u);
    }
}

// A pipe would be waited for.
TEST_F(FoundRecordingTest, WhatIsNoFileBesideARecordingIsNotOpened) {
    Write("a.flac", "audio");
    ASSERT_EQ(mkfifo(folder_.File("news/a.flac.json").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(folder_.File("news/b.flac").c_str(), 0600), 0);
    EXPECT_EQ(Only().state, RecordingState::kUnclear);
    fs::remove(folder_.File("news/a.flac.json"));
    fs::create_directory(folder_.File("news/a.flac.json"));
    EXPECT_EQ(Only().state, RecordingState::kUnclear);
}

TEST_F(FoundRecordingTest, AudioWithoutARecordIsUnclearAndARecordWithoutAudioIsDamage) {
    Write("a.flac", "audio");
    EXPECT_EQ(Only().state, RecordingState::kUnclear);
    EXPECT_EQ(Only().why, "There is no a.flac.json beside it");
    fs::remove(folder_.File("news/a.flac"));
    Write("a.flac.json", kWholeRecord);
    EXPECT_EQ(Only().state, RecordingState::kDamaged);
    EXPECT_EQ(Only().why, "The audio is not there");
    Write("a.flac", "");
    EXPECT_EQ(Only().state, RecordingState::kDamaged);
    EXPECT_EQ(Only().why, "The file is empty");
}

TEST_F(FoundRecordingTest, APartIsBeingRecordedWhileItIsHeldOrChangesAndLeftAfterwards) {
    {
        PartFile part(folder_.File("news/a.flac"), false);
        MakeOld("a.flac.part");
        EXPECT_EQ(Only().state, RecordingState::kRecording);  // held
        EXPECT_EQ(Only().name, "a.flac");
    }
    EXPECT_EQ(Only().state, RecordingState::kLeft);
    Write("a.flac.part", "more");
    EXPECT_EQ(Only().state, RecordingState::kRecording);  // as on another machine
    fs::rename(folder_.File("news/a.flac.part"), folder_.File("news/a.flac.part.3"));
    EXPECT_EQ(Only().state, RecordingState::kLeft);
    EXPECT_EQ(Only().name, "a.flac");
}

TEST_F(FoundRecordingTest, FilesThatAreNoRecordingsAreLeftAlone) {
    for (const char* name : {"notes.txt", "plan.json", "a.flac.part.copy", "b.flac.json.part",
                             ".part", ".json", "c.part", "d.part.1"}) {
        Write(name, "{");
    }
    fs::create_directory(folder_.File("news/e.flac"));
    fs::create_directory_symlink(folder_.Path(), folder_.File("news/round"));
    const FoundRecordings found = Find();
    EXPECT_TRUE(found.recordings.empty());
    EXPECT_TRUE(found.notes.empty());
}

TEST_F(FoundRecordingTest, AFolderThatIsNotThereIsAnError) {
    EXPECT_THROW(FindRecordings(folder_.File("none"), {}), std::runtime_error);
}

TEST(CopyName, TheNumberOfACopyIsNoPartOfItsName) {
    const auto check = [](const char* given, const char* name, unsigned copy) {
        EXPECT_EQ(ReadCopyName(given).name, name) << given;
        EXPECT_EQ(ReadCopyName(given).copy, copy) << given;
    };
    check("news.copy2.flac", "news.flac", 2);
    check("news.copy1-3.flac", "news-3.flac", 1);
    check("news.copy1.copy2.flac", "news.copy1.flac", 2);
    check("news.flac", "news.flac", 1);
    check("news.copy.flac", "news.copy.flac", 1);
    check("news.copy0.flac", "news.copy0.flac", 1);
    check("news.copy12.flac", "news.copy12.flac", 1);
    check("news.copy2x.flac", "news.copy2x.flac", 1);
    check("news.copy2-.flac", "news.copy2-.flac", 1);
    check("news.copy2", "news.copy2", 1);
    check(".copy", ".copy", 1);
    check("", "", 1);
}

}  // namespace receiver

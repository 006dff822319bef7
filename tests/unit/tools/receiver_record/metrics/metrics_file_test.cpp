#include "receiver_record/metrics/metrics_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "testing/temp_folder.h"

namespace receiver {
namespace {

std::string Content(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

size_t FilesIn(const std::filesystem::path& folder) {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

}  // namespace

TEST(MetricsFile, TheNewTextTakesTheOldOnesPlace) {
    const TempFolder folder;
    const std::filesystem::path path = folder.Path() / "news.prom";
    EXPECT_EQ(WriteMetricsFile(path, "a longer text\n"), "");
    EXPECT_EQ(Content(path), "a longer text\n");
    EXPECT_EQ(WriteMetricsFile(path, "text\n"), "");
    EXPECT_EQ(Content(path), "text\n");
    EXPECT_EQ(FilesIn(folder.Path()), 1u);
}

TEST(MetricsFile, WhatARecorderThatWasKilledLeftIsReplaced) {
    const TempFolder folder;
    const std::filesystem::path path = folder.Path() / "news.prom";
    std::ofstream(folder.Path() / "news.prom.part") << "half";
    EXPECT_EQ(WriteMetricsFile(path, "text\n"), "");
    EXPECT_EQ(Content(path), "text\n");
    EXPECT_EQ(FilesIn(folder.Path()), 1u);
}

TEST(MetricsFile, AFileThatCannotBeWrittenSaysWhyAndLeavesNothing) {
    const TempFolder folder;
    EXPECT_NE(WriteMetricsFile(folder.Path() / "none" / "news.prom", "text\n"), "");
    // A folder cannot be replaced by a file.
    std::filesystem::create_directories(folder.Path() / "news.prom" / "within");
    EXPECT_NE(WriteMetricsFile(folder.Path() / "news.prom", "text\n"), "");
    EXPECT_EQ(FilesIn(folder.Path()), 1u);
}

}  // namespace receiver

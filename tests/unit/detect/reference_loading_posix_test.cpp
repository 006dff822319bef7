#include <gtest/gtest.h>
#include <sys/stat.h>

#include <stdexcept>

#include "detect/reference_loading.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

TEST(ReferenceLoadingPosix, RefusesAFifoInsteadOfWaitingForItsWriter) {
    const TempFolder folder;
    const std::string path = folder.File("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    try {
        LoadReference(path);
        FAIL() << "loaded a FIFO";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Reference Open failed");
    }
}

TEST(ReferenceLoadingPosix, RefusesADevice) {
    EXPECT_THROW(LoadReference("/dev/zero"), std::runtime_error);
}

}  // namespace
}  // namespace receiver

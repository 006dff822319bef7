#include <fftw3.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdio>

#include "detect/fft.h"
#include "detect/fft_wisdom.h"

namespace receiver {
namespace {

// For as long as it lives the process can open nothing.
class NoFilesScope final {
public:
    NoFilesScope() {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit none = before_;
        none.rlim_cur = 0;
        setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoFilesScope() { setrlimit(RLIMIT_NOFILE, &before_); }
    NoFilesScope(const NoFilesScope&) = delete;
    NoFilesScope& operator=(const NoFilesScope&) = delete;

private:
    rlimit before_ = {};
};

TEST(FftWisdom, NeedsNoFile) {
    Fft first(2);
    fftw_forget_wisdom();
    bool withFiles = ImportFftWisdom(FftWisdom());
    fftw_forget_wisdom();

    bool withoutFiles = false;
    {
        NoFilesScope noFiles;
        ASSERT_EQ(std::fopen("/dev/null", "r"), nullptr);
        ASSERT_EQ(errno, EMFILE);
        withoutFiles = ImportFftWisdom(FftWisdom());
        Fft fft(8192);
    }
    if (!withFiles) GTEST_SKIP() << "no text was made with " << fftw_version;
    EXPECT_TRUE(withoutFiles);
}

}  // namespace
}  // namespace receiver
